// ptc light: records as they are, with gathered light behind them.

#include "tools/ptc/light/light.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "ptc/statistics.h"
#include "tools/clouds/open_through_caches.h"
#include "tools/common/failure.h"
#include "tools/common/output_file.h"
#include "tools/ptc/convert/cloud_source.h"
#include "tools/ptc/convert/form_files.h"
#include "tools/ptc/convert/tree_copy.h"
#include "tools/ptc/light/earlier_bounces.h"
#include "tools/ptc/light/light_clouds.h"
#include "tools/ptc/light/light_variables.h"
#include "tools/ptc/light/place_light.h"
#include "tools/ptc/light/point_pieces.h"
#include "tools/ptc/report.h"
#include "util/text/printable_text.h"

namespace lighting {

namespace {

/// What to write: what is asked for, or what the clouds have.
Kinds Choose(const Options& options, const LightClouds& clouds, const std::string& file) {
    Kinds kinds = options.kinds;
    if (!kinds.HasAny()) {
        kinds.occlusion = true;
        kinds.indirect = clouds.HasColour() || options.bounces > 1;
    }
    if (kinds.NeedColour() && !clouds.HasColour())
        throw Failure(file + ": has no color that light could have");
    return kinds;
}

/// The records of the output.
class LitRecords {
public:
    LitRecords(std::vector<Channel> channels, std::size_t old_bytes, std::size_t new_bytes)
        : channels_(std::move(channels)), old_bytes_(old_bytes), new_bytes_(new_bytes) {}

    /// The records with `values`, `floats` of them a point; valid until the next call.
    std::span<const std::byte> Make(std::span<const std::byte> records,
                                    std::span<const float> values, std::size_t floats) {
        const std::size_t count = records.size() / old_bytes_;
        out_.assign(count * new_bytes_, std::byte{});
        for (std::size_t i = 0; i < count; ++i) {
            std::byte* const to = &out_[i * new_bytes_];
            std::memcpy(to, &records[i * old_bytes_], old_bytes_);
            for (const Channel& channel : channels_)
                std::memcpy(to + ptc_layout::PointBytes(channel.to),
                            &values[i * floats + channel.from], channel.floats * sizeof(float));
        }
        return out_;
    }

    const std::vector<Channel>& Channels() const { return channels_; }

private:
    const std::vector<Channel> channels_;
    const std::size_t old_bytes_;
    const std::size_t new_bytes_;
    std::vector<std::byte> out_;
};

/// Writes all points. The answer: how many have no light.
std::int64_t Light(const Job& job, convert::PointSource& source, LitRecords& lit,
                   convert::PointSink& sink) {
    const EarlierBounces earlier(job);
    const bool is_only = job.options.bounces == 1;
    const PlaceLight gathering(earlier.Clouds(), job.options,
                               is_only ? job.kinds : Kinds{.indirect = true});
    const ValueLayout layout(job.kinds);
    PlaceBatch places;
    std::vector<float> values, light;
    std::int64_t dark = earlier.Dark();
    ForEachPiece(source, [&](std::span<const std::byte> records, std::int64_t first) {
        DecodePlaces(records, source.Header().PointBytes(), true, &places);
        if (is_only) {
            dark += gathering.Gather(places, &values);
        } else {
            (void)gathering.Gather(places, &light);  // the same places were dark before
            earlier.Sum(first, light, &values);
        }
        sink.Write(lit.Make(records, values, layout.floats));
    });
    return dark;
}

std::string Report(const std::string& name, const std::vector<Channel>& channels,
                   std::int64_t points, std::int64_t dark) {
    std::string list;
    for (const Channel& channel : channels) list += (list.empty() ? "" : ", ") + channel.name;
    std::string line = fmt::format("{}: {} for {} points", Printable(name), list, points);
    if (dark > 0)
        line += fmt::format(", 0 for {} of them without a normal or a finite position", dark);
    return line + '\n';
}

}  // namespace

void RunLight(const Options& options, Reporter& reporter) {
    reporter.Start();
    PtcConfigure(options.threads, options.kilobytes, options.kilobytes, nullptr);
    const LibraryShutdown at_end;
    const LibraryInputs inputs(options.inputs);
    std::unique_ptr<InputFile> other;
    if (!options.onto.empty()) other = std::make_unique<InputFile>(options.onto);
    const InputFile& onto = other ? *other : inputs[0];
    const auto source = convert::OpenCloudSource(onto);
    StoredHeader header = source->Header();
    OutputFile output(options.output);

    const LightClouds clouds(inputs, options.channels, options.threads,
                             LightClouds::Notes::kOfEachFile);
    const Kinds kinds = Choose(options, clouds, inputs[0].Name());
    std::vector<Channel> channels = Connect(onto.Name(), kinds, &header.point_variables);
    LitRecords lit(std::move(channels), source->Header().PointBytes(), header.PointBytes());
    const auto sink = convert::MakeSink(
        output,
        convert::FormOfCopy(other ? options.onto : options.inputs[0], options.output, *source),
        header, source->Count(), "");
    const std::int64_t dark = Light({options, kinds, onto, clouds}, *source, lit, *sink);
    convert::CopyTree(onto, *source, output, *sink,
                      !ChangeNodes(lit.Channels(), header.node_variables));
    sink->Finish();
    // The report is written first: when that fails, the target must be as it was.
    TellReport(Report(output.Name(), lit.Channels(), source->Count(), dark) +
                   (options.stats ? PtcCacheTable() : ""),
               output.IsStandardOutput());
    output.Commit();
    reporter.Add("points", source->Count());
}

}  // namespace lighting
