// Takes delivered batches: drops repeats, writes or buffers points.

#include <new>

#include "driver/image.h"

namespace {

bool IsRepeat(Duplicates& duplicates, const Batch& batch) {
    return batch.count > 1 ? duplicates.grids.IsCopy(batch)
                           : duplicates.samples.IsCopy(batch.Head(0));
}

/// Makes room for a batch. Flushes the buffered points first if the batch does not fit, or if there
/// is no memory for both together.
void MakeRoom(PointCloudImage& image, std::size_t more) {
    PointBuffer& buffer = image.simplifier->buffer;
    if (static_cast<std::int64_t>(buffer.Count() + more) > buffer.Capacity()) FlushBuffer(image);
    try {
        buffer.Reserve(buffer.Count() + more);
    } catch (const std::bad_alloc&) {
        if (buffer.Count() == 0) throw;
        FlushBuffer(image);
        buffer.Reserve(more);
    }
}

/// Leaves out points without extent, because they have no surface that could merge. (Without a
/// simplifier, such points are written like others.)
void StoreBatch(PointBuffer& buffer, const Batch& batch, PositionBox* positions) {
    for (std::size_t i = 0; i < batch.count; ++i) {
        const PointHead head = batch.Head(i);
        positions->Include(head.position);
        if (head.radius > 0) buffer.Add(head, batch.Data(i, buffer.RowFloats()));
    }
}

void Take(PointCloudImage& image, const Batch& batch) {
    if (image.simplifier) {
        MakeRoom(image, batch.count);
        StoreBatch(image.simplifier->buffer, batch, &image.accepted_positions);
    } else {
        // The writer remembers a failed write; it is reported when the image closes.
        (void)WritePoints(*image.writer, {batch.samples, batch.count, batch.Stride(),
                                          batch.DataFloats(), &image.accepted_positions});
    }
}

}  // namespace

DriverStatus TakeBatch(PointCloudImage& image, const Batch& batch) {
    if (image.duplicates && IsRepeat(*image.duplicates, batch)) return DriverStatus::kSuccess;
    const std::int64_t lost_before = image.lost_points;
    try {
        Take(image, batch);
    } catch (const std::bad_alloc&) {
        image.lost_points += static_cast<std::int64_t>(batch.count);
        throw;
    }
    image.accepted_samples += static_cast<std::int64_t>(batch.count);
    return image.lost_points == lost_before ? DriverStatus::kSuccess : DriverStatus::kNoResource;
}

void FlushBuffer(PointCloudImage& image) {
    PointBuffer& buffer = image.simplifier->buffer;
    const auto records = buffer.Records();
    const auto removed = buffer.Removed();
    Simplify(records, removed, image.simplifier->settings, CurrentProjection());
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (removed[i]) continue;
        try {
            (void)WritePoint(*image.writer, records[i].head, records[i].data);
        } catch (const std::bad_alloc&) {
            ++image.lost_points;
        }
    }
    buffer.Clear();
}
