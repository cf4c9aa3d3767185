// ptc transfer: records as they are, with filtered values behind them.

#include "tools/ptc/lookup/transfer.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "tools/clouds/lookup_clouds.h"
#include "tools/clouds/open_through_caches.h"
#include "tools/clouds/spacing.h"
#include "tools/common/failure.h"
#include "tools/common/output_file.h"
#include "tools/common/parts.h"
#include "tools/common/progress.h"
#include "tools/common/standard_streams.h"
#include "tools/ptc/convert/form_files.h"
#include "tools/ptc/lookup/parallel_lookup.h"
#include "tools/ptc/lookup/places.h"
#include "tools/ptc/report.h"
#include "util/text/printable_text.h"

namespace {

/// Bytes of new records and of answers that are worked on at a time.
constexpr std::size_t kPieceBytes = std::size_t{1} << 25;
constexpr std::size_t kMostPieceRecords = std::size_t{1} << 17;
constexpr std::uint64_t kTransferSteps = 1000;

std::size_t PlaceOf(const std::string& name, const CloudVariables& variables) {
    const auto& names = variables.names;
    return static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin());
}

bool Has(const CloudVariables& variables, const std::string& name) {
    return PlaceOf(name, variables) < variables.names.size();
}

/// The variables to transfer. Fails when one that is named is not there, or not to be replaced, and
/// when there is none.
CloudVariables Choose(const TransferOptions& options, const LookupClouds& clouds,
                      const InputFile& file, const CloudVariables& onto) {
    const CloudVariables& all = clouds.Variables();
    CloudVariables chosen;
    const auto take = [&](std::size_t i) {
        AddVariable(all.types[i], all.names[i], all.sizes[i], &chosen);
    };
    if (options.variables.empty()) {
        for (std::size_t i = 0; i < all.names.size(); ++i)
            if (options.replace || !Has(onto, all.names[i])) take(i);
        if (chosen.names.empty())
            throw Failure(file.Name() + ": there is no variable that it lacks" +
                          (all.names.empty() ? "" : "; --replace writes over those that it has"));
        return chosen;
    }
    Parts parts(options.variables, ',');
    for (std::string_view part; parts.Next(&part);) {
        const std::string name(part);
        if (!Has(all, name))
            throw Failure(fmt::format("{}: no variable \"{}\"", clouds.Name(0), name));
        if (!options.replace && Has(onto, name))
            throw Failure(fmt::format("{}: has a variable \"{}\"; --replace writes over it",
                                      file.Name(), name));
        if (!Has(chosen, name)) take(PlaceOf(name, all));
    }
    return chosen;
}

/// One variable on its way.
struct Channel {
    std::size_t from = 0;  ///< its first float among the answer's
    std::size_t to = 0;    ///< and among the new record's data
    std::size_t floats = 0;
};

/// The channels of `variables`; those that `all`, the variables of the new points, lacks are added.
std::vector<Channel> Connect(const InputFile& file, const CloudVariables& variables,
                             CloudVariables* all) {
    std::vector<Channel> channels;
    std::size_t from = 0;
    for (std::size_t i = 0; i < variables.names.size(); ++i) {
        const std::int32_t floats = variables.sizes[i];
        const std::string& name = variables.names[i];
        if (floats == 0)
            throw Failure(fmt::format("variable \"{}\" has no floats to transfer", name));
        const std::size_t place = PlaceOf(name, *all);
        std::size_t to = all->DataFloats();
        if (place == all->names.size()) {
            AddVariable(variables.types[i], name, floats, all);
        } else if (all->sizes[place] == floats) {
            to = 0;
            for (std::size_t k = 0; k < place; ++k) to += static_cast<std::size_t>(all->sizes[k]);
        } else {
            throw Failure(fmt::format("{}: its variable \"{}\" takes {} floats, not {}",
                                      file.Name(), name, all->sizes[place], floats));
        }
        channels.push_back({from, to, static_cast<std::size_t>(floats)});
        from += static_cast<std::size_t>(floats);
    }
    return channels;
}

/// What is done to every point.
class RecordTransfer {
public:
    RecordTransfer(const ParallelLookup& lookup, const PtcFilter& filter,
                   std::vector<Channel> channels, std::size_t old_bytes, std::size_t new_bytes)
        : lookup_(lookup),
          filter_(filter),
          channels_(std::move(channels)),
          old_bytes_(old_bytes),
          new_bytes_(new_bytes) {}

    /// The new records of `records`, valid until the next call.
    std::span<const std::byte> Transfer(std::span<const std::byte> records) {
        DecodePlaces(records, old_bytes_, true, &places_);
        const std::string failure = lookup_.Sample(places_, filter_, &answers_);
        if (!failure.empty()) throw Failure(failure);
        const std::size_t count = records.size() / old_bytes_;
        out_.assign(count * new_bytes_, std::byte{});
        for (std::size_t i = 0; i < count; ++i) {
            std::memcpy(&out_[i * new_bytes_], &records[i * old_bytes_], old_bytes_);
            if (!Store(i)) ++empty_;
        }
        points_ += static_cast<std::int64_t>(count);
        return out_;
    }

    std::int64_t Points() const { return points_; }

    /// Points at which nothing was found for at least one of the variables.
    std::int64_t Empty() const { return empty_; }

private:
    /// Stores the values that were found at place `i`. False: not all were.
    bool Store(std::size_t i) {
        const auto floats = static_cast<std::size_t>(lookup_.Library().FloatsPerPoint());
        bool is_full = true;
        for (std::size_t k = 0; k < channels_.size(); ++k) {
            const Channel& channel = channels_[k];
            const bool is_found = answers_.weights[i * channels_.size() + k] > 0;
            is_full = is_full && is_found;
            if (is_found)
                std::memcpy(&out_[i * new_bytes_ + ptc_layout::PointBytes(channel.to)],
                            &answers_.values[i * floats + channel.from],
                            channel.floats * sizeof(float));
        }
        return is_full;
    }

    const ParallelLookup& lookup_;
    const PtcFilter filter_;
    const std::vector<Channel> channels_;
    const std::size_t old_bytes_;
    const std::size_t new_bytes_;
    PlaceBatch places_;
    SampleAnswers answers_;
    std::vector<std::byte> out_;
    std::int64_t points_ = 0;
    std::int64_t empty_ = 0;
};

void TransferPoints(convert::PointSource& source, RecordTransfer& transfer,
                    std::size_t largest_record, convert::PointSink& sink) {
    Progress progress(kTransferSteps, true);
    const std::size_t record = source.Header().PointBytes();
    const std::size_t records =
        std::clamp<std::size_t>(kPieceBytes / largest_record, 1, kMostPieceRecords);
    std::vector<std::byte> piece(records * record);
    for (std::size_t read = records; read == records;) {
        read = source.Read(piece);
        sink.Write(transfer.Transfer(std::span(piece).first(read * record)));
        progress.Show(static_cast<std::uint64_t>(source.Share() * kTransferSteps));
    }
}

std::string Report(const TransferOptions& options, const std::string& name,
                   const CloudVariables& variables, const RecordTransfer& transfer, float radius) {
    std::string list;
    for (const std::string& variable : variables.names)
        list += (list.empty() ? "" : ", ") + Printable(variable);
    std::string lines = fmt::format("{}: {} for {} points, filtered within {}\n", Printable(name),
                                    list, transfer.Points(), radius);
    if (transfer.Empty() > 0)
        lines += fmt::format("{}: {} points are too far from all; {}\n", Printable(name),
                             transfer.Empty(),
                             options.replace ? "what they had stays, and what is new is 0"
                                             : "the values are 0 there");
    return lines;
}

void TellFailures(const LookupClouds& clouds) {
    // A cloud that is missing would show only as values of its neighbours.
    if (!clouds.Failures().empty()) throw Failure(clouds.Failures().front());
}

float UsualRadius(const LookupClouds& clouds, const PtcLookup& lookup) {
    float spacing = 0;
    if (!FindSpacing(lookup, clouds.Handles(), &spacing)) throw Failure(clouds.FailureText());
    return kUsualFilterSpacings * spacing;
}

}  // namespace

void RunTransfer(const TransferOptions& options) {
    PtcConfigure(options.threads, 0, 0, nullptr);
    const LibraryShutdown at_end;
    LookupClouds clouds(options.from);
    TellFailures(clouds);
    const InputFile onto(options.onto);
    const auto source = convert::OpenSource(
        onto, convert::FormOf(options.onto).value_or(convert::Form()).kind, std::nullopt);
    StoredHeader header = source->Header();
    CloudVariables variables = Choose(options, clouds, onto, header.point_variables);
    const PtcLookup library = clouds.Make(&variables);
    TellFailures(clouds);
    const std::vector<Channel> channels = Connect(onto, variables, &header.point_variables);

    const float radius = options.filter ? *options.filter : UsualRadius(clouds, library);
    OutputFile output(options.output);
    const auto sink =
        convert::MakeSink(output, convert::FormOf(options.output).value_or(convert::Form()), header,
                          source->Count(), "");
    const ParallelLookup lookup(clouds, library, options.threads);
    RecordTransfer transfer(lookup, {radius, options.least_dot.value_or(0.0f)}, channels,
                            source->Header().PointBytes(), header.PointBytes());
    TransferPoints(*source, transfer,
                   header.PointBytes() + ptc_layout::PointBytes(variables.DataFloats()), *sink);
    sink->Finish();
    const CloudReader* const cloud = source->AsCloud();
    if (cloud && cloud->stored_node_count > 0)
        Tell("ptc", fmt::format("{}: its {} octree nodes are left out, {} is unorganised",
                                onto.Name(), cloud->stored_node_count, output.Name()));
    // The report is written first: when that fails, the target must be as it was.
    TellReport(Report(options, output.Name(), variables, transfer, radius),
               output.IsStandardOutput());
    output.Commit();
}
