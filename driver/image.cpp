// The image handle: queries and the end of an image.

#include "driver/image.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "driver/driver_messages.h"

DriverStatus AnswerQuery(int type, int data_length, void* data) {
    if (data_length < 1 || !data) return DriverStatus::kSuccess;
    if (type != kDspyQueryDeepData) return DriverStatus::kUnsupported;
    const std::int32_t yes = 1;
    std::memcpy(data, &yes, std::min(static_cast<std::size_t>(data_length), sizeof yes));
    return DriverStatus::kSuccess;
}

namespace {

/// Runs `step`. False: an exception ended it.
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
    // Both steps run, even if the first one fails, so that the points written get their header.
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
    driver_messages::FileIsIncomplete(image->DriverName(), image->file_name,
                                      SystemReason(error ? error : ENOMEM), cloud.counted_points);
}
