// The C interface: checks what it is handed, forwards, answers a status.

#include "ptc/ptc.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>
#include <span>
#include <vector>

#include "ptc/access.h"
#include "ptc/access/last_failure.h"
#include "ptc/c/cloud.h"
#include "ptc/version.h"

// What programs in other languages have compiled in.
static_assert(sizeof(ptc_header) == 192 && sizeof(ptc_variable) == 24);
static_assert(PTC_BAD_ARGUMENT == static_cast<int>(PtcFailureCode::kBadArgument));
static_assert(PTC_CANNOT_OPEN == static_cast<int>(PtcFailureCode::kCannotOpen));
static_assert(PTC_NOT_A_CLOUD == static_cast<int>(PtcFailureCode::kNotACloud));
static_assert(PTC_NO_SUCH_RECORD == static_cast<int>(PtcFailureCode::kNoSuchRecord));
static_assert(PTC_UNREADABLE == static_cast<int>(PtcFailureCode::kUnreadable));
static_assert(PTC_NO_MEMORY == static_cast<int>(PtcFailureCode::kNoMemory));

namespace {

ptc_status Refuse(const ptc_cloud* cloud, const char* why) {
    SetFailure(PtcFailureCode::kBadArgument, cloud ? cloud->Name() : nullptr, why);
    return PTC_BAD_ARGUMENT;
}

ptc_status LastStatus() {
    return static_cast<ptc_status>(PtcLastFailure().code);
}

/// What a search is asked for, once its values are sound.
bool IsSound(std::int64_t count, const float* places, std::int32_t most, float within,
             const char** why) {
    constexpr std::int64_t kBytes = std::numeric_limits<std::int64_t>::max();
    *why = nullptr;
    if (count < 0) {
        *why = "the number of places is negative";
    } else if (count > 0 && !places) {
        *why = "no places";
    } else if (most < 1 || most > 65536) {
        *why = "the number of points wanted is not from 1 to 65536";
    } else if (!(within >= 0)) {
        *why = "the greatest distance is not a number from 0 on";
    } else if (count > kBytes / (static_cast<int>(sizeof(std::int64_t)) * std::int64_t{most})) {
        *why = "more answers than memory can have";
    }
    return *why == nullptr;
}

/// Marks the places for answers that are not filled.
void MarkUnfilled(std::span<const std::int32_t> found, std::int32_t most, std::int64_t* indexes,
                  float* squared_distances) {
    for (const std::int32_t filled : found) {
        if (indexes) {
            std::fill(indexes + filled, indexes + most, -1);
            indexes += most;
        }
        if (squared_distances) {
            std::fill(squared_distances + filled, squared_distances + most,
                      std::numeric_limits<float>::infinity());
            squared_distances += most;
        }
    }
}

}  // namespace

const char* ptc_last_error(void) {
    return PtcLastFailure().text;
}

int32_t ptc_last_system_error(void) {
    return PtcLastFailure().system_error;
}

const char* ptc_version(void) {
    return PtcVersion();
}

ptc_status ptc_open(const char* name, ptc_cloud** cloud) {
    if (!cloud) return Refuse(nullptr, "no place for the cloud");
    *cloud = nullptr;
    return CatchNoMemory(name, ptc_status{PTC_NO_MEMORY}, [&] {
        auto opened = std::make_unique<ptc_cloud>();
        if (!opened->Open(name)) return LastStatus();
        *cloud = opened.release();
        return ptc_status{PTC_OK};
    });
}

void ptc_close(ptc_cloud* cloud) {
    delete cloud;
}

ptc_status ptc_get_header(const ptc_cloud* cloud, ptc_header* header) {
    if (!cloud) return Refuse(cloud, "no cloud");
    if (!header) return Refuse(cloud, "no place for the header");
    *header = cloud->Header();
    return PTC_OK;
}

ptc_status ptc_get_variable(const ptc_cloud* cloud, int32_t index, ptc_variable* variable) {
    if (!cloud) return Refuse(cloud, "no cloud");
    if (!variable) return Refuse(cloud, "no place for the variable");
    if (cloud->GetVariable(index, variable)) return PTC_OK;
    SetFailure(PtcFailureCode::kNoSuchRecord, cloud->Name(), "has no variable of that number");
    return PTC_NO_SUCH_RECORD;
}

// NOLINTNEXTLINE(readability-function-size): C has no structures with names for arguments
ptc_status ptc_read_points(const ptc_cloud* cloud, int64_t first, int64_t count, float* positions,
                           float* normals, float* radii, float* data, int64_t* got) {
    if (!cloud) return Refuse(cloud, "no cloud");
    if (first < 0) return Refuse(cloud, "the first point's number is negative");
    if (count < 0) return Refuse(cloud, "the number of points is negative");
    return CatchNoMemory(cloud->Name(), ptc_status{PTC_NO_MEMORY}, [&] {
        const std::int64_t copied =
            PtcGetPoints(cloud->File(), first, count, {positions, normals, radii, data});
        if (got) *got = copied;
        return copied == count ? PTC_OK : LastStatus();
    });
}

// NOLINTNEXTLINE(readability-function-size): C has no structures with names for arguments
ptc_status ptc_nearest(const ptc_cloud* cloud, int64_t count, const float* places, int32_t most,
                       float within, int64_t* indexes, float* squared_distances, int32_t* found) {
    if (!cloud) return Refuse(cloud, "no cloud");
    const char* why = nullptr;
    if (!IsSound(count, places, most, within, &why)) return Refuse(cloud, why);
    if (count == 0) return PTC_OK;
    return CatchNoMemory(cloud->Name(), ptc_status{PTC_NO_MEMORY}, [&] {
        std::vector<std::int32_t> own(found ? 0 : static_cast<std::size_t>(count));
        std::int32_t* const filled = found ? found : own.data();
        std::fill_n(filled, count, 0);
        const bool is_whole =
            cloud->Nearest({count, places}, {.most = most, .within = within},
                           {.indexes = indexes, .squared_distances = squared_distances}, filled);
        const ptc_status status = is_whole ? PTC_OK : LastStatus();
        MarkUnfilled({filled, static_cast<std::size_t>(count)}, most, indexes, squared_distances);
        return status;
    });
}

void ptc_set_message_handler(ptc_message_handler handler) {
    PtcSetMessageHandler(handler);
}

void ptc_shutdown(void) {
    PtcShutdown();
}
