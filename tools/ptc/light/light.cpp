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
#include "tools/common/failure.h"
#include "tools/common/output_file.h"
#include "tools/common/progress.h"
#include "tools/ptc/convert/cloud_source.h"
#include "tools/ptc/convert/form_files.h"
#include "tools/ptc/convert/tree_copy.h"
#include "tools/ptc/light/bounce_cloud.h"
#include "tools/ptc/light/light_clouds.h"
#include "tools/ptc/light/light_variables.h"
#include "tools/ptc/light/place_light.h"
#include "tools/ptc/light/value_file.h"
#include "tools/ptc/open_through_caches.h"
#include "tools/ptc/report.h"
#include "util/text/printable_text.h"

namespace lighting {

namespace {

/// Bytes of records that are worked on at a time; enough points that all threads have some.
constexpr std::size_t kPieceBytes = std::size_t{1} << 24;
constexpr std::size_t kMostPieceRecords = std::size_t{1} << 16;
constexpr std::uint64_t kProgressSteps = 1000;

/// Reads all points and calls `visit(records, first)` for each piece, of which `first` is the
/// number of the first point.
template <class Visit>
void ForEachPiece(convert::PointSource& source, Visit visit) {
    Progress progress(kProgressSteps, true);
    const std::size_t record = source.Header().PointBytes();
    const std::size_t most = std::clamp<std::size_t>(kPieceBytes / record, 1, kMostPieceRecords);
    std::vector<std::byte> piece(most * record);
    std::int64_t first = 0;
    for (std::size_t read = most; read == most;) {
        read = source.Read(piece);
        visit(std::span<const std::byte>(piece).first(read * record), first);
        first += static_cast<std::int64_t>(read);
        progress.Show(static_cast<std::uint64_t>(source.Share() * kProgressSteps));
    }
}

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

/// All bounces but the last: they are summed up in a file, and each leaves a cloud for the next.
class EarlierBounces {
public:
    EarlierBounces(const Options& options, const Kinds& kinds, const InputFile& onto,
                   const LightClouds& first)
        : options_(options),
          kinds_(kinds),
          layout_(kinds),
          onto_(onto),
          area_channel_(first.AreaChannel()),
          clouds_(&first) {
        for (int bounce = 1; bounce < options.bounces; ++bounce) Run(bounce == 1);
    }

    /// What the last bounce comes out of.
    const LightClouds& Clouds() const { return *clouds_; }

    /// Puts the sum of these bounces and `light`, the indirect light of another, into `*values`.
    /// `first`: the number of the first point.
    void Sum(std::int64_t first, std::span<const float> light, std::vector<float>* values) const {
        values->resize(light.size() / 3 * layout_.floats);
        sums_.Read(first * static_cast<std::int64_t>(layout_.floats), *values);
        for (std::size_t i = 0; i < light.size() / 3; ++i)
            for (std::size_t colour = 0; colour < 3; ++colour)
                (*values)[i * layout_.floats + layout_.indirect + colour] += light[3 * i + colour];
    }

    /// Points without light.
    std::int64_t Dark() const { return dark_; }

private:
    void Run(bool is_first) {
        const auto source = convert::OpenCloudSource(onto_);
        auto next = std::make_unique<BounceCloud>(onto_.Name(), source->Header(), options_.albedo,
                                                  area_channel_);
        const Kinds kinds = is_first ? kinds_ : Kinds{.indirect = true};
        const PlaceLight gathering(*clouds_, options_, kinds);
        PlaceBatch places;
        std::vector<float> values, light;
        if (is_first) dark_ = 0;
        ForEachPiece(*source, [&](std::span<const std::byte> records, std::int64_t first) {
            DecodePlaces(records, source->Header().PointBytes(), true, &places);
            const std::int64_t dark = gathering.Gather(places, is_first ? &values : &light);
            if (is_first) {
                dark_ += dark;
                TakeIndirect(values, &light);
            } else {
                Sum(first, light, &values);
            }
            sums_.Write(first * static_cast<std::int64_t>(layout_.floats), values);
            next->Add(records, light);
        });
        next->Organise(options_.threads);
        clouds_ = &next->Clouds();
        last_ = std::move(next);
    }

    void TakeIndirect(const std::vector<float>& values, std::vector<float>* light) const {
        const std::size_t count = values.size() / layout_.floats;
        light->resize(3 * count);
        for (std::size_t i = 0; i < count; ++i)
            std::copy_n(&values[i * layout_.floats + layout_.indirect], 3, &(*light)[3 * i]);
    }

    const Options& options_;
    const Kinds kinds_;
    const ValueLayout layout_;
    const InputFile& onto_;
    const std::string area_channel_;
    const ValueFile sums_;
    const LightClouds* clouds_;
    std::unique_ptr<BounceCloud> last_;
    std::int64_t dark_ = 0;
};

/// Writes all points. The answer: how many have no light.
std::int64_t Light(const Options& options, const Kinds& kinds, const InputFile& onto,
                   const LightClouds& clouds, convert::PointSource& source, LitRecords& lit,
                   convert::PointSink& sink) {
    const EarlierBounces earlier(options, kinds, onto, clouds);
    const bool is_only = options.bounces == 1;
    const PlaceLight gathering(earlier.Clouds(), options,
                               is_only ? kinds : Kinds{.indirect = true});
    const ValueLayout layout(kinds);
    PlaceBatch places;
    std::vector<float> values, light;
    std::int64_t dark = earlier.Dark();
    ForEachPiece(source, [&](std::span<const std::byte> records, std::int64_t first) {
        DecodePlaces(records, source.Header().PointBytes(), true, &places);
        if (is_only) {
            dark += gathering.Gather(places, &values);
        } else {
            (void)gathering.Gather(places, &light);
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

void RunLight(const Options& options) {
    PtcConfigure(options.threads, options.kilobytes, options.kilobytes, nullptr);
    const LibraryShutdown at_end;
    const LibraryInputs inputs(options.inputs);
    std::unique_ptr<InputFile> other;
    if (!options.onto.empty()) other = std::make_unique<InputFile>(options.onto);
    const InputFile& onto = other ? *other : inputs[0];
    const auto source = convert::OpenCloudSource(onto);
    StoredHeader header = source->Header();

    const LightClouds clouds(inputs, options.channels, options.threads,
                             LightClouds::Notes::kOfEachFile);
    const Kinds kinds = Choose(options, clouds, inputs[0].Name());
    std::vector<Channel> channels = Connect(onto.Name(), kinds, &header.point_variables);
    LitRecords lit(std::move(channels), source->Header().PointBytes(), header.PointBytes());
    OutputFile output(options.output);
    const auto sink = convert::MakeSink(
        output,
        convert::FormOfCopy(other ? options.onto : options.inputs[0], options.output, *source),
        header, source->Count(), "");
    const std::int64_t dark = Light(options, kinds, onto, clouds, *source, lit, *sink);
    convert::CopyTree(onto, *source, output, *sink,
                      !ChangeNodes(lit.Channels(), header.node_variables));
    sink->Finish();
    // The report is written first: when that fails, the target must be as it was.
    TellReport(Report(output.Name(), lit.Channels(), source->Count(), dark) +
                   (options.stats ? PtcCacheTable() : ""),
               output.IsStandardOutput());
    output.Commit();
}

}  // namespace lighting
