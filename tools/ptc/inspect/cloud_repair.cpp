// The repair: one pass over the records to count them, one to copy them.

#include "tools/ptc/inspect/cloud_repair.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <system_error>

#include "ptc/cloud/cloud_file.h"
#include "ptc/format/header_write.h"
#include "ptc/format/point_bounds.h"
#include "tools/common/failure.h"
#include "tools/common/progress.h"
#include "tools/ptc/header_check.h"
#include "tools/ptc/inspect/node_check.h"
#include "tools/ptc/inspect/octree_cover.h"
#include "tools/ptc/open_input.h"
#include "tools/ptc/point_scan.h"
#include "tools/ptc/read_error.h"

namespace {

constexpr std::size_t kCopyPiece = std::size_t{1} << 16;

/// The header's values as they follow from the records.
struct Rebuilt {
    PointBounds bounds;  ///< by the writer's own rules
    std::int64_t unsound = 0;

    // The same as an octree's file has them.
    PointBounds organised_bounds;
    std::int64_t organised_unsound = 0;

    /// A record as PointScan reads it.
    void Include(std::int64_t index, std::span<const float> values, const OctreeCover& cover) {
        const float* const position = &values[PointScan::kPosition];
        const float radius = values[PointScan::kRadius];
        const bool is_apart = cover.IsApart(index, position);
        const bool is_zero = cover.CountsAsZero(radius);
        bounds.Include(position, radius);
        // NaN enters no box, but the radius counts.
        constexpr std::array<float, 3> kNowhere = {NAN, NAN, NAN};
        organised_bounds.Include(is_apart ? kNowhere.data() : position, is_zero ? 0 : radius);
        const bool is_radius = radius >= 0 && std::isfinite(radius);
        bool is_position = true;
        bool is_data = true;
        for (std::size_t i = 0; i < PointScan::kCodes; ++i)
            is_position = is_position && std::isfinite(values[i]);
        for (std::size_t i = PointScan::kData; i < values.size(); ++i)
            is_data = is_data && std::isfinite(values[i]);
        if (!is_position || !is_radius || !is_data) ++unsound;
        if (!(is_position || is_apart) || !(is_radius || is_zero) || !is_data) ++organised_unsound;
    }
};

/// Writes the block that a writer rewrites in place.
TokenStatus WriteBlock(TokenFile& file, const CloudHeader& header) {
    file.BeginBuffering(0);
    if (Failed(WriteRewritableBlock(file, header))) return TokenStatus::kFailed;
    return file.EndBuffering();
}

[[noreturn]] void FailToWrite(const OutputFile& output, const TokenFile& file) {
    throw Failure(output.Name() + ": " + std::generic_category().message(file.Error()));
}

/// The place in the output. Fails when the system does not say.
std::int64_t PlaceIn(TokenFile& file, const OutputFile& output) {
    const std::int64_t place = file.Tell();
    if (place < 0) FailWithErrno(output.Name());
    return place;
}

/// Copies the input's bytes from `begin` to `end` as they are: records are not decoded and encoded
/// again, which would change normals and the bits of NaN. Through the token file's
/// own buffer, because that keeps the place in the file.
void CopyBytes(CloudReader& cloud, const InputFile& input, std::int64_t begin, std::int64_t end,
               const OutputFile& output, TokenFile& file) {
    const auto fail_to_read = [&] {
        FailIfUnread(cloud, input.Name());
        throw Failure(input.Name() + ": it changed while it was read");
    };
    Progress progress(static_cast<std::uint64_t>(end - begin), true);
    std::array<std::byte, kCopyPiece> piece;
    if (Failed(cloud.input.Seek(begin))) fail_to_read();
    for (std::int64_t at = begin; at < end;) {
        const auto part = std::span(piece).first(static_cast<std::size_t>(
            std::min<std::int64_t>(end - at, static_cast<std::int64_t>(kCopyPiece))));
        if (Failed(cloud.input.ReadBytes(part))) fail_to_read();
        file.BeginBuffering(kCopyPiece);
        std::byte* const room = file.Reserve(part.size());
        if (!room) FailToWrite(output, file);
        std::memcpy(room, part.data(), part.size());
        file.Commit(part.size());
        if (Failed(file.EndBuffering())) FailToWrite(output, file);
        at += static_cast<std::int64_t>(part.size());
        progress.Show(static_cast<std::uint64_t>(at - begin));
    }
}

/// Whether the nodes behind the points can stay: all of them sound, and at their old places.
bool IsIntact(CloudReader& cloud, const HeaderPlaces& places, std::int64_t points_end) {
    FaultList faults;
    Progress none(1, false);
    CheckNodes(cloud, places, points_end, faults, &none);
    return faults.Total() == 0;
}

/// Reads every whole point, and counts what follows. The answer: the end of the points.
std::int64_t ReadPoints(CloudReader& cloud, const OctreeCover& cover, Rebuilt* rebuilt,
                        RepairReport* report) {
    // In an organised file nodes follow the points, and would be taken for points.
    PointScan scan(cloud, 0, cover.IsOrganised() ? cloud.point_count : INT64_MAX);
    {
        const std::int64_t bytes = std::max<std::int64_t>(cloud.input.StoredBytes(), 0);
        Progress progress(static_cast<std::uint64_t>(bytes), true);
        while (scan.Next()) {
            rebuilt->Include(scan.Count() - 1, scan.Values(), cover);
            if (scan.Count() % 4096 == 0) progress.Show(static_cast<std::uint64_t>(scan.End()));
        }
    }
    report->kept = scan.Count();
    report->unsound = rebuilt->unsound;
    report->dropped_bytes = scan.BytesBehind();
    return scan.End();
}

}  // namespace

RepairReport RepairCloud(const InputFile& input, OutputFile& output) {
    const OpenedCloud opened = OpenInput(input);
    const auto& [cloud, places] = opened;
    const OctreeCover cover(*cloud);
    Rebuilt rebuilt;
    RepairReport report;
    report.counted = cloud->point_count;
    // Everything is known before the first byte is written; the copy then is one piece, from the
    // header's fixed part to the end of what stays.
    const std::int64_t points_end = ReadPoints(*cloud, cover, &rebuilt, &report);
    std::int64_t kept_end = points_end;
    FailIfUnread(*cloud, input.Name());

    TokenFile file;
    const TokenForm form = cloud->input.IsText() ? TokenForm::kText : TokenForm::kBinary;
    if (Failed(CreateCloudFile(file, output.Path().c_str(), form, cloud->version)))
        FailToWrite(output, file);
    const std::int64_t block = PlaceIn(file, output);
    CloudHeader header = *cloud;
    rebuilt.bounds.StoreTo(&header);
    header.point_count = report.kept;
    header.node_count = 0;
    header.root_position = 0;
    if (Failed(WriteBlock(file, header))) FailToWrite(output, file);

    if (cover.IsOrganised()) {
        // In a text file of other widths everything behind the header moves, and offsets with it.
        const bool stays = PlaceIn(file, output) == places.fixed_header;
        const bool is_kept =
            stays && report.kept == report.counted && IsIntact(*cloud, places, points_end);
        report.octree = is_kept ? RepairReport::Octree::kKept : RepairReport::Octree::kDropped;
        if (is_kept) {
            // Nodes name places in the file, and these are the same in the copy.
            kept_end += report.dropped_bytes;
            report.dropped_bytes = 0;
            // The block was first written to learn its length; its numbers have fixed widths.
            rebuilt.organised_bounds.StoreTo(&header);
            for (float& end : header.box_min) end = cover.InBox(end);
            for (float& end : header.box_max) end = cover.InBox(end);
            report.unsound = rebuilt.organised_unsound;
            header.node_count = cloud->node_count;
            header.root_position = cloud->root_position;
            if (Failed(file.Seek(block)) || Failed(WriteBlock(file, header)))
                FailToWrite(output, file);
        }
    }
    CopyBytes(*cloud, input, places.fixed_header, kept_end, output, file);
    if (Failed(file.Close())) FailToWrite(output, file);
    // Nodes that could not be read would otherwise have passed for an octree that is not intact.
    FailIfUnread(*cloud, input.Name());
    return report;
}
