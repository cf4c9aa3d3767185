// ptc query: the points nearest to places, or values filtered there.

#include "tools/ptc/lookup/query.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>
#include <vector>

#include "tools/clouds/lookup_clouds.h"
#include "tools/clouds/open_through_caches.h"
#include "tools/common/failure.h"
#include "tools/common/parts.h"
#include "tools/common/progress.h"
#include "tools/common/standard_streams.h"
#include "tools/ptc/lookup/parallel_lookup.h"
#include "tools/ptc/lookup/places.h"
#include "tools/ptc/lookup/query_answers.h"
#include "util/math/vec3.h"

namespace {

constexpr std::uint64_t kProgressSteps = 1000;

/// Answers are collected up to about this many bytes, and for no more places than this.
constexpr std::int64_t kBatchBytes = 1 << 25;
constexpr std::int64_t kMostPlaces = 1 << 17;

/// Where a row of floats has what: a point's own, or a place's position, then the data, then the
/// weights of a sample.
constexpr std::size_t kNormalAt = 3;
constexpr std::size_t kRadiusAt = 6;
constexpr std::size_t kPointFloats = 7;
constexpr std::size_t kPlaceFloats = 3;

/// The variables that `names` chooses; names of other things are passed over.
CloudVariables Named(const CloudVariables& all, const std::string& names) {
    if (names.empty()) return all;
    std::vector<std::string_view> wanted;
    Parts parts(names, ',');
    for (std::string_view name; parts.Next(&name);) wanted.push_back(name);
    CloudVariables chosen;
    for (std::size_t i = 0; i < all.names.size(); ++i)
        if (std::find(wanted.begin(), wanted.end(), all.names[i]) != wanted.end())
            AddVariable(all.types[i], all.names[i], all.sizes[i], &chosen);
    return chosen;
}

/// The chosen groups of a row with the data of `variables`. Fails when a name is not there.
AnswerShape ShapeOf(const CloudVariables& variables, const std::string& names, bool is_sample) {
    const std::size_t first = is_sample ? kPlaceFloats : kPointFloats;
    std::vector<PrintGroup> groups = {{"position", {{"x", 0}, {"y", 1}, {"z", 2}}}};
    if (!is_sample) {
        groups.push_back(
            {"normal", {{"nx", kNormalAt}, {"ny", kNormalAt + 1}, {"nz", kNormalAt + 2}}});
        groups.push_back({"radius", {{"radius", kRadiusAt}}});
    }
    for (PrintGroup& group : VariableGroups(variables, first)) groups.push_back(std::move(group));
    AnswerShape shape;
    shape.is_sample = is_sample;
    for (const PrintGroup& group : ChooseGroups(groups, names)) {
        const bool is_own = !group.columns.empty() && group.columns.front().source < first;
        (is_own ? shape.own : shape.variables).push_back(group);
    }
    std::size_t weight = first + variables.DataFloats();
    for (const std::string& name : variables.names)
        if (is_sample) shape.weights.push_back({name, {{name + "_weight", weight++}}});
    return shape;
}

class Query {
public:
    explicit Query(const QueryOptions& options)
        : options_(options),
          clouds_(options.files),
          variables_(Named(clouds_.Variables(), CheckedNames())),
          lookup_(clouds_.Make(&variables_)),
          parallel_(clouds_, lookup_, options.threads) {}

    /// The exit status.
    int Run() {
        for (const std::string& failure : clouds_.Failures()) Tell("ptc", failure);
        int status = clouds_.Failures().empty() ? 0 : 1;
        if (PointsInUse() < 0) {
            if (options_.json) MakeAnswerJson({})->Finish();
            return status;
        }
        if (options_.filter && lookup_.FloatsPerPoint() == 0)
            throw Failure(clouds_.Name(0) + ": there are no variables to filter");
        output_ = MakeOutput();
        std::string failure;
        const auto answer = [&](const PlaceBatch& batch) {
            const std::string words = options_.filter ? Sample(batch) : Nearest(batch);
            if (failure.empty()) failure = words;
        };
        if (options_.at) {
            answer(PlaceOf(*options_.at, options_.normal));
        } else {
            AnswerFile(answer);
        }
        output_->Finish();
        if (!failure.empty()) throw Failure(failure);
        return status;
    }

private:
    /// The names of the variables. Fails when one of them is not there.
    const std::string& CheckedNames() const {
        if (clouds_.Failures().size() < static_cast<std::size_t>(clouds_.Count())) {
            try {
                (void)ShapeOf(clouds_.Variables(), options_.variables, options_.filter.has_value());
            } catch (const Failure& failure) {
                throw Failure(clouds_.Name(0) + ": " + failure.what());
            }
        }
        return options_.variables;
    }

    /// Of all files that are used; -1 when there is none.
    std::int64_t PointsInUse() const {
        std::int64_t points = -1;
        for (int file = 0; file < clouds_.Count(); ++file) {
            if (!lookup_.UsesFile(file)) continue;
            PtcHeader header{};
            (void)PtcGetHeader(clouds_.Handles()[static_cast<std::size_t>(file)], &header);
            points = std::max<std::int64_t>(points, 0) + header.points;
        }
        return points;
    }

    std::unique_ptr<AnswerOutput> MakeOutput() const {
        const AnswerShape shape =
            ShapeOf(variables_, options_.variables, options_.filter.has_value());
        if (options_.json) return MakeAnswerJson(shape);
        TableShape table;
        if (options_.csv) table.form = PrintTable::Form::kCsv;
        table.has_places = !options_.at;
        table.has_files = clouds_.Count() > 1;
        return MakeAnswerTable(shape, table);
    }

    static PlaceBatch PlaceOf(const std::array<float, 3>& position,
                              const std::optional<std::array<float, 3>>& normal) {
        PlaceBatch batch;
        batch.positions.assign(position.begin(), position.end());
        if (normal) {
            const Vec3d given{(*normal)[0], (*normal)[1], (*normal)[2]};
            const Vec3d unit = Normalized(given);
            batch.normals = {static_cast<float>(unit.x), static_cast<float>(unit.y),
                             static_cast<float>(unit.z)};
        }
        return batch;
    }

    void AnswerFile(const std::function<void(const PlaceBatch&)>& answer) const {
        PlaceSource source(options_.at_points, options_.use_normals);
        // On one terminal the bar would run through the rows.
        Progress progress(kProgressSteps, isatty(STDOUT_FILENO) == 0);
        const std::int64_t most =
            std::clamp<std::int64_t>(kBatchBytes / AnswerBytes(), 1, kMostPlaces);
        for (PlaceBatch batch; source.Next(most, &batch);) {
            answer(batch);
            progress.Show(static_cast<std::uint64_t>(source.Share() * kProgressSteps));
        }
    }

    /// Of one place, about.
    std::int64_t AnswerBytes() const {
        const std::int64_t floats = lookup_.FloatsPerPoint() + lookup_.VariableCount();
        return 4 * (static_cast<std::int64_t>(kPointFloats) + 4 + floats) *
               (options_.filter ? 1 : MostPoints());
    }

    /// No more than there are, so that a large count takes no memory for nothing.
    std::int32_t MostPoints() const {
        return static_cast<std::int32_t>(
            std::clamp<std::int64_t>(PointsInUse(), 1, options_.count));
    }

    std::string Nearest(const PlaceBatch& batch) {
        const PtcNearest wanted = {MostPoints(), options_.within,
                                   options_.least_dot.value_or(batch.normals.empty() ? -1.0f : 0)};
        std::string failure = parallel_.Nearest(batch, wanted, &nearest_);
        const auto floats = static_cast<std::size_t>(lookup_.FloatsPerPoint());
        std::vector<float> row(kPointFloats + floats);
        for (std::int64_t place = 0; place < batch.Count(); ++place, ++place_) {
            output_->BeginPlace(place_, batch.Position(place));
            auto point = static_cast<std::size_t>(place * wanted.most);
            const auto found = nearest_.found[static_cast<std::size_t>(place)];
            for (std::int32_t i = 0; i < found; ++i, ++point) {
                std::copy_n(&nearest_.positions[3 * point], 3, row.begin());
                std::copy_n(&nearest_.normals[3 * point], 3, row.begin() + kNormalAt);
                row[kRadiusAt] = nearest_.radii[point];
                std::copy_n(nearest_.data.begin() + static_cast<std::ptrdiff_t>(floats * point),
                            floats, row.begin() + kPointFloats);
                output_->AddPoint(clouds_.Name(nearest_.files[point]), nearest_.indexes[point],
                                  std::sqrt(nearest_.squared_distances[point]), row);
            }
            output_->EndPlace();
        }
        return failure;
    }

    std::string Sample(const PlaceBatch& batch) {
        std::string failure = parallel_.Sample(
            batch, {*options_.filter, options_.least_dot.value_or(0.0f)}, &samples_);
        const auto floats = static_cast<std::size_t>(lookup_.FloatsPerPoint());
        const auto weights = static_cast<std::size_t>(lookup_.VariableCount());
        std::vector<float> row(kPlaceFloats + floats + weights);
        for (std::int64_t place = 0; place < batch.Count(); ++place, ++place_) {
            const auto at = static_cast<std::size_t>(place);
            output_->BeginPlace(place_, batch.Position(place));
            std::copy_n(batch.Position(place), kPlaceFloats, row.begin());
            std::copy_n(&samples_.values[floats * at], floats, row.begin() + kPlaceFloats);
            std::copy_n(&samples_.weights[weights * at], weights,
                        row.begin() + static_cast<std::ptrdiff_t>(kPlaceFloats + floats));
            output_->AddSample(row);
            output_->EndPlace();
        }
        return failure;
    }

    const QueryOptions& options_;
    LookupClouds clouds_;
    CloudVariables variables_;  ///< of the answers
    PtcLookup lookup_;
    ParallelLookup parallel_;
    std::unique_ptr<AnswerOutput> output_;
    std::int64_t place_ = 0;
    NearestAnswers nearest_;
    SampleAnswers samples_;
};

}  // namespace

int RunQuery(const QueryOptions& options) {
    PtcConfigure(options.threads, 0, 0, nullptr);
    const LibraryShutdown at_end;
    return Query(options).Run();
}
