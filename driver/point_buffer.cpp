// The block of points that wait for the simplifier.

#include "driver/point_buffer.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace {

constexpr std::size_t kFirstRoom = 1024;

/// Memory that is filled before it is read.
template <class T>
std::unique_ptr<T[]> Uncleared(std::size_t count) {
    return std::unique_ptr<T[]>(new T[count]);
}

}  // namespace

void PointBuffer::Reserve(std::size_t count) {
    if (count <= room_) return;
    const auto capacity = static_cast<std::size_t>(std::max<std::int64_t>(capacity_, 0));
    const std::size_t room = std::max(count, std::min(std::max(2 * room_, kFirstRoom), capacity));

    auto records = Uncleared<PointRecord>(room);
    auto rows = Uncleared<float>(room * row_floats_);
    auto removed = std::make_unique<std::uint8_t[]>(room);

    std::copy_n(rows_.get(), count_ * row_floats_, rows.get());
    for (std::size_t i = 0; i < count_; ++i)
        records[i] = {records_[i].head, rows.get() + i * row_floats_};

    records_ = std::move(records);
    rows_ = std::move(rows);
    removed_ = std::move(removed);
    room_ = room;
}

void PointBuffer::Add(const PointHead& head, const PointData& data) {
    float* const row = rows_.get() + count_ * row_floats_;
    data.CopyTo(std::as_writable_bytes(std::span(row, row_floats_)).data());
    records_[count_++] = {head, row};
}

void PointBuffer::Clear() {
    std::fill_n(removed_.get(), count_, std::uint8_t{0});
    count_ = 0;
}
