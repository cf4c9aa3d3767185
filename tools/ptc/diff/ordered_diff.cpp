// Points compared in their order.

#include "tools/ptc/diff/ordered_diff.h"

#include <algorithm>
#include <cstring>

#include "tools/common/progress.h"

namespace {

/// Of the longer records. Two pieces, with what belongs to each pair, stay within a cache.
constexpr std::size_t kPieceBytes = std::size_t{1} << 16;

}  // namespace

void CompareInOrder(DiffInput& a, DiffInput& b, bool stops_early, PointDifferences* differences) {
    const std::int64_t points = std::min(a.Cloud().point_count, b.Cloud().point_count);
    const std::size_t longer = std::max(a.RecordBytes(), b.RecordBytes());
    const auto most = static_cast<std::int64_t>(std::max<std::size_t>(kPieceBytes / longer, 1));
    const auto room = static_cast<std::size_t>(std::min(points, most));
    std::vector<std::byte> piece_a(room * a.RecordBytes());
    std::vector<std::byte> piece_b(room * b.RecordBytes());
    std::vector<PairIndexes> indexes(room);

    Progress progress(static_cast<std::uint64_t>(points), true);
    for (std::int64_t first = 0; first < points; first += most) {
        const auto count = static_cast<std::size_t>(std::min(points - first, most));
        const auto records_a = std::span(piece_a).first(count * a.RecordBytes());
        const auto records_b = std::span(piece_b).first(count * b.RecordBytes());
        a.Read(records_a);
        b.Read(records_b);
        if (differences->SameBytesAreSame() &&
            std::memcmp(records_a.data(), records_b.data(), records_a.size()) == 0) {
            differences->AddSame(static_cast<std::int64_t>(count));
        } else {
            for (std::size_t i = 0; i < count; ++i)
                indexes[i].a = indexes[i].b = first + static_cast<std::int64_t>(i);
            differences->Add({piece_a.data(), piece_b.data(), std::span(indexes).first(count)});
            if (stops_early && differences->DifferentPairs() > 0) return;
        }
        progress.Show(static_cast<std::uint64_t>(first));
    }
}
