// The image handle: queries and the end of an image.

#include "driver/image.h"

#include <algorithm>
#include <cstring>
#include <system_error>

#include "ptc/writer.h"
#include "util/message.h"

DriverStatus AnswerQuery(int type, int data_length, void* data) {
    if (data_length < 1 || !data) return DriverStatus::kSuccess;
    if (type != kDspyQueryDeepData) return DriverStatus::kUnsupported;
    const std::int32_t yes = 1;
    std::memcpy(data, &yes, std::min(static_cast<std::size_t>(data_length), sizeof yes));
    return DriverStatus::kSuccess;
}

void CloseImage(std::unique_ptr<PointCloudImage> image) {
    if (image->simplifier) FlushBuffer(*image);
    Cloud& cloud = *image->writer;
    if (!Failed(FinishCloud(cloud))) return;
    DriverError(image->driver_name.c_str(), "cannot write all of '%s': %s; %lld points are kept\n",
                image->file_name.c_str(),
                std::generic_category().message(cloud.file.Error()).c_str(),
                static_cast<long long>(cloud.stored_points));
}
