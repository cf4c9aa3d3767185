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
#include "driver/dspy.h"
#include "driver/duplicate_grids.h"
#include "driver/duplicate_samples.h"
#include "driver/point_buffer.h"
#include "driver/simplify.h"
#include "ptc/cloud/writer.h"
#include "util/base/results.h"
#include "util/host/parameters.h"

/// The name of an image that was opened without one.
inline constexpr const char* kDefaultFileName = "qv.ptc";

/// Longest file name, in bytes.
inline constexpr std::size_t kMaxFileName = 4095;

/// What recognises repeated batches; there only when duplicates are to be dropped.
struct Duplicates {
    DuplicateGrids grids;
    DuplicateSamples samples;
};

/// What thins the points; there only when they are to be simplified.
struct Simplifier {
    SimplifySettings settings;
    PointBuffer buffer;
};

struct PointCloudImage {
    // Set at open, and constant from there on.
    std::optional<std::string> driver_name;  ///< under which messages are printed; none: no message
    std::string file_name;

    std::unique_ptr<CloudWriter> writer;

    // KEPT: nothing reads these four. They are part of what a handle is, for whoever looks at one,
    // and are kept where the samples pass anyway, so that they cost no pass of their own.
    // Test: DriverIntake.AHandleKeepsTheCountAndTheBoxOfWhatItAccepted
    std::int32_t variable_count = 0;
    std::vector<std::int32_t> variable_sizes;
    std::int64_t accepted_samples = 0;  ///< whether or not they reach the file
    PositionBox accepted_positions;     ///< of them, up to a batch that could not be written

    std::optional<Duplicates> duplicates;
    std::optional<Simplifier> simplifier;

    std::int64_t lost_points = 0;  ///< for want of memory; reported at the close

    const char* DriverName() const { return driver_name ? driver_name->c_str() : nullptr; }
};

/// What a host hands over to open an image. A null file name counts as empty.
struct OpenRequest {
    const char* driver_name;  ///< null: nothing is printed for this image
    const char* file_name;
    std::span<const Parameter> parameters;
    std::span<DspyFormat> formats;  ///< the byte order bits of their types are set
};

/// Opens an image and its file (image_open.cpp). `*image` is set on success only.
///
/// KEPT: a handle that cannot be allocated is a success without a handle.
/// Test: DriverOpen.AHandleWithoutMemoryIsASuccessWithoutAHandle
DriverStatus OpenImage(const OpenRequest& request, PointCloudImage** image);

/// Answers query `type`; kUnsupported for a type that is not known.
DriverStatus AnswerQuery(int type, int data_length, void* data);

/// Takes one batch (intake.cpp). A batch that is a copy of an earlier one is dropped.
/// kNoResource: points found no memory, of this batch or of those that were buffered; all others
/// are taken. Throws std::bad_alloc when that ended the taking.
DriverStatus TakeBatch(PointCloudImage& image, const Batch& batch);

/// Thins the buffered points, writes what is left of them, and empties the buffer (intake.cpp).
/// A point that finds no memory is left out and counted in `lost_points`.
void FlushBuffer(PointCloudImage& image);

/// Writes what is still buffered and completes the file. A file that is not whole is told under
/// the driver's name; the image is freed whatever happens.
void CloseImage(std::unique_ptr<PointCloudImage> image) noexcept;
