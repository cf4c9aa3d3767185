// The image handle: everything that one open image keeps from call to call.
//
// Units      counts in points, sizes in floats, positions in world space.
// Errors     the driver's codes; texts go through DriverError under the driver's name.
// Ownership  the driver owns a handle from OpenImage() to CloseImage(); the host passes it back
//            as an opaque pointer.
// Threads    one caller at a time for one image; images share only the projection.

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "driver/batch.h"
#include "driver/channels.h"
#include "driver/duplicate_grids.h"
#include "driver/duplicate_samples.h"
#include "driver/point_buffer.h"
#include "driver/simplify.h"
#include "ptc/cloud/writer.h"
#include "ptc/dspy.h"
#include "util/base/results.h"
#include "util/host/parameters.h"

/// The name of an image that was opened without one.
inline constexpr const char* kDefaultFileName = "qv.ptc";

/// Longest file name, in bytes.
inline constexpr std::size_t kMaxFileName = 4095;

/// Recognises repeated batches; exists only if the image drops duplicates.
struct Duplicates {
    DuplicateGrids grids;
    DuplicateSamples samples;
};

/// Thins the points; exists only if the image is simplified.
struct Simplifier {
    SimplifySettings settings;
    PointBuffer buffer;
};

struct PointCloudImage {
    // Set at open; constant after it.
    std::optional<std::string> driver_name;  ///< printed with messages; none: no messages
    std::string file_name;

    std::unique_ptr<CloudWriter> writer;

    // KEPT: no code reads these four members. They are for a debugger that examines the handle, and
    // are updated where the samples are read anyway, so that they need no loop of their own.
    // Test: DriverIntake.AHandleKeepsTheCountAndTheBoxOfWhatItAccepted
    std::int32_t variable_count = 0;
    std::vector<std::int32_t> variable_sizes;
    std::int64_t accepted_samples = 0;  ///< also those that do not reach the file
    PositionBox accepted_positions;     ///< of these samples, up to a batch that was not written

    std::optional<Duplicates> duplicates;
    std::optional<Simplifier> simplifier;

    std::int64_t lost_points = 0;  ///< because memory ran out; reported at the close

    const char* DriverName() const { return driver_name ? driver_name->c_str() : nullptr; }
};

/// The host's arguments for opening an image. A null file name counts as empty.
struct OpenRequest {
    const char* driver_name;  ///< null: nothing is printed for this image
    const char* file_name;
    std::span<const Parameter> parameters;
    std::span<DspyFormat> formats;  ///< the byte order bits of their types are set
};

/// Opens an image and its file (image_open.cpp). `*image` is set on success only.
///
/// KEPT: if there is no memory for the handle, the call succeeds and sets no handle.
/// Test: DriverFaults.LeaveAFileThatHoldsWhatItCountsAndAreTold
DriverStatus OpenImage(const OpenRequest& request, PointCloudImage** image);

/// Answers query `type`; kUnsupported for an unknown type.
DriverStatus AnswerQuery(int type, int data_length, void* data);

/// Takes one batch (intake.cpp). A batch that is a copy of an earlier one is dropped.
/// kNoResource: there was no memory for some points, of this batch or of those that were buffered;
/// all other points are stored. Throws std::bad_alloc when memory runs out before the end
/// of the batch; then all its points count as lost.
DriverStatus TakeBatch(PointCloudImage& image, const Batch& batch);

/// Thins the buffered points, writes those that are left, and empties the buffer (intake.cpp).
/// Leaves out points for which there is no memory, and counts them in `lost_points`.
void FlushBuffer(PointCloudImage& image);

/// Writes the points that are still buffered and completes the file. An incomplete file is reported
/// under the driver's name; the image is freed in any case.
void CloseImage(std::unique_ptr<PointCloudImage> image) noexcept;
