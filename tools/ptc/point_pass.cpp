// PointPass: reading records in pieces.

#include "tools/ptc/point_pass.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "ptc/cloud/raw_points.h"
#include "tools/common/failure.h"
#include "tools/ptc/read_error.h"

namespace {

/// Records are read in pieces of about this many bytes.
constexpr std::size_t kPieceBytes = std::size_t{1} << 17;

}  // namespace

PointHead PointPiece::Head(std::size_t i, bool has_normal) const {
    PointHead head{};
    std::copy_n(Position(i), 3, head.position);
    if (has_normal) Normals().Decode(Code(i), head.normal);
    head.radius = Radius(i);
    return head;
}

/// Messages number a file's points: those that cannot be drawn count, too.
void PointPass::Run(Progress& progress, std::uint64_t done, const Visit& visit) {
    const std::size_t stride = PointScan::kData + cloud_.point_variables.DataFloats();
    const std::size_t record = sizeof(float) * stride;
    const auto all = static_cast<std::uint64_t>(cloud_.point_count);
    std::vector<float> piece(
        std::min<std::uint64_t>(all, std::max<std::size_t>(1, kPieceBytes / record)) * stride);
    std::uint64_t count = 0;
    cloud_.next_point = 0;
    bool is_whole = !Failed(cloud_.input.Seek(cloud_.data_start));
    while (is_whole && count < all) {
        const std::size_t wanted = std::min<std::uint64_t>(piece.size() / stride, all - count);
        const auto floats = std::span(piece).first(wanted * stride);
        std::size_t bytes = 0;
        is_whole = !Failed(ReadPointRecords(cloud_, std::as_writable_bytes(floats), &bytes));
        visit({floats.first(bytes / sizeof(float)), stride});
        count += bytes / record;
        progress.Show(done + count);
    }
    FailIfUnread(cloud_, name_);
    if (count < all)
        throw Failure(fmt::format("{}: point {} of {} is cut off or damaged", name_, count, all));
}
