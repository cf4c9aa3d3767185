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
    auto slots = Uncleared<float>(room * slot_floats_);
    auto removed = std::make_unique<std::uint8_t[]>(room);

    std::copy_n(slots_.get(), count_ * slot_floats_, slots.get());
    for (std::size_t i = 0; i < count_; ++i)
        records[i] = {records_[i].head, slots.get() + i * slot_floats_};

    records_ = std::move(records);
    slots_ = std::move(slots);
    removed_ = std::move(removed);
    room_ = room;
}

void PointBuffer::Add(const PointHead& head, const PointData& data) {
    float* const slot = slots_.get() + count_ * slot_floats_;
    data.CopyTo(std::as_writable_bytes(std::span(slot, slot_floats_)).data());
    records_[count_++] = {head, slot};
}

void PointBuffer::Clear() {
    std::fill_n(removed_.get(), count_, std::uint8_t{0});
    count_ = 0;
}
