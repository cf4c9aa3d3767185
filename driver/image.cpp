// The image handle: queries and the end of an image.

#include "driver/image.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "util/host/message.h"
#include "util/text/printable_text.h"
#include "util/text/system_reason.h"

DriverStatus AnswerQuery(int type, int data_length, void* data) {
    if (data_length < 1 || !data) return DriverStatus::kSuccess;
    if (type != kDspyQueryDeepData) return DriverStatus::kUnsupported;
    const std::int32_t yes = 1;
    std::memcpy(data, &yes, std::min(static_cast<std::size_t>(data_length), sizeof yes));
    return DriverStatus::kSuccess;
}

namespace {

/// Runs `step`. False: it was ended by an exception.
template <class Step>
bool Completes(Step step) noexcept {
    try {
        step();
        return true;
    } catch (...) {
        return false;
    }
}

}  // namespace

void CloseImage(std::unique_ptr<PointCloudImage> image) noexcept {
    // However the one ends, the other is done: what has been written gets its header.
    CloudWriter& cloud = *image->writer;
    bool is_whole = Completes([&] {
        if (image->simplifier) FlushBuffer(*image);
    });
    is_whole = Completes([&] {
                   if (Failed(FinishCloud(cloud))) is_whole = false;
               }) &&
               is_whole;
    if (is_whole && image->lost_points == 0) return;
    const int error = cloud.file.Error();
    DriverError(image->DriverName(), "cannot write all of '%s': %s; %lld points are kept\n",
                PrintableText<kMaxFileName>(image->file_name).c_str(),
                SystemReason(error ? error : ENOMEM).c_str(),
                static_cast<long long>(cloud.counted_points));
}
