// One delivered batch: repeats dropped, points written or buffered.

#include <new>

#include "driver/image.h"

namespace {

bool IsRepeat(Duplicates& duplicates, const Batch& batch) {
    return batch.count > 1 ? duplicates.grids.IsCopy(batch)
                           : duplicates.samples.IsCopy(batch.Head(0));
}

/// Makes room for a batch; what is buffered is flushed first when the batch would not fit, or when
/// the memory for both together cannot be had.
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

/// Points without extent say nothing about a surface; they are left out here, but not where
/// points are written as they come.
void StoreBatch(PointBuffer& buffer, const Batch& batch, PositionBox* positions) {
    for (std::size_t i = 0; i < batch.count; ++i) {
        const PointHead head = batch.Head(i);
        positions->Include(head.position);
        if (head.radius > 0) buffer.Add(head, batch.Data(i, buffer.SlotFloats()));
    }
}

void Take(PointCloudImage& image, const Batch& batch) {
    if (image.simplifier) {
        MakeRoom(image, batch.count);
        StoreBatch(image.simplifier->buffer, batch, &image.accepted_positions);
    } else {
        // A write that fails is the writer's to remember; it is told when the image closes.
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
