// The four functions that the shared object exports, and nothing else.
//
// Each one checks what only this boundary can check (null pointers, signed counts), turns the
// interface's types into ours and forwards. No exception leaves this file.

#include <new>
#include <vector>

#include "driver/image.h"
#include "ptc/dspy.h"

namespace {

static_assert(ToHostCode(DriverStatus::kSuccess) == kDspySuccess &&
              ToHostCode(DriverStatus::kUnsupported) == kDspyUnsupported &&
              ToHostCode(DriverStatus::kBadParameters) == kDspyBadParameters &&
              ToHostCode(DriverStatus::kNoResource) == kDspyNoResource &&
              ToHostCode(DriverStatus::kUndefined) == kDspyUndefined);

template <class T>
std::span<T> Counted(T* items, int count) {
    return items && count > 0 ? std::span<T>(items, static_cast<std::size_t>(count))
                              : std::span<T>();
}

template <class Call>
int AtBoundary(Call call) noexcept {
    try {
        return ToHostCode(call());
    } catch (const std::bad_alloc&) {
        return kDspyNoResource;
    } catch (...) {
        return kDspyUndefined;
    }
}

std::vector<Parameter> Translated(std::span<const DspyParameter> given) {
    std::vector<Parameter> parameters;
    for (const DspyParameter& p : given)
        parameters.push_back({p.name, p.type, p.count, p.values, p.byteCount});
    return parameters;
}

/// The batch that the arguments describe. False: it has no sample, or its samples are too short for
/// a point.
bool ReadBatch(int first, int last, const unsigned char* data, int length, Batch* batch) {
    const std::int64_t count = std::int64_t{last} - first + 1;
    if (!data || count < 1) return false;
    const std::int64_t floats = length / (std::int64_t{sizeof(float)} * count);
    if (floats < std::int64_t{Batch::kHeadFloats}) return false;
    *batch = {std::as_bytes(std::span(data, static_cast<std::size_t>(length))).data(),
              static_cast<std::size_t>(count), static_cast<std::size_t>(floats)};
    return true;
}

}  // namespace

extern "C" {

#pragma GCC visibility push(default)
DspyImageOpenFunction DspyImageOpen;
DspyImageQueryFunction DspyImageQuery;
DspyImageDeepDataFunction DspyImageDeepData;
DspyImageCloseFunction DspyImageClose;
#pragma GCC visibility pop

// NOLINTNEXTLINE(readability-function-size): the interface's own signature
int DspyImageOpen(void** image, const char* driverName, const char* fileName, int, int,
                  int paramCount, const DspyParameter* params, int formatCount, DspyFormat* formats,
                  void*) {
    if (!image) return kDspyBadParameters;
    return AtBoundary([&] {
        const std::vector<Parameter> parameters = Translated(Counted(params, paramCount));
        PointCloudImage* opened = nullptr;
        const DriverStatus status =
            OpenImage({driverName, fileName, parameters, Counted(formats, formatCount)}, &opened);
        if (opened) *image = opened;
        return status;
    });
}

int DspyImageQuery(void*, int type, int dataLength, void* data) {
    return AtBoundary([&] { return AnswerQuery(type, dataLength, data); });
}

// NOLINTNEXTLINE(readability-function-size): the interface's own signature
int DspyImageDeepData(void* image, int first, int last, int, int, const unsigned char* data,
                      int dataLength) {
    Batch batch;
    if (!image || !ReadBatch(first, last, data, dataLength, &batch)) return kDspyBadParameters;
    return AtBoundary([&] { return TakeBatch(*static_cast<PointCloudImage*>(image), batch); });
}

int DspyImageClose(void* image) {
    if (!image) return kDspyBadParameters;
    // KEPT: closing an open image succeeds, even if writing has failed; a loss is printed.
    // Test: Plugin.ALossIsToldAtTheClose
    CloseImage(std::unique_ptr<PointCloudImage>(static_cast<PointCloudImage*>(image)));
    return kDspySuccess;
}

}  // extern "C"
