// Orders places along a curve through the octants of the cube around them.

#include "ptc/lookup/place_order.h"

std::span<const CodedIndex> PlaceOrder::Of(const float* positions, std::int64_t count) {
    const auto size = static_cast<std::size_t>(count);
    codes_.resize(size);
    if (size > 1) {
        scratch_.resize(size);
        FiniteBox box;
        for (std::size_t i = 0; i < size; ++i)
            if (IsFinite(positions + 3 * i)) box.Include(positions + 3 * i);
        const OctreeCube cube(box);
        for (std::size_t i = 0; i < size; ++i)
            codes_[i] = {cube.CodeOf(positions + 3 * i), static_cast<std::uint32_t>(i)};
        SortByCode(codes_, scratch_);
    } else {
        codes_.front() = {};
    }
    return codes_;
}
