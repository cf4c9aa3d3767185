// The plain walks that lookups are compared with.

#include "tests/support/plain_lookup.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <sstream>

#include "ptc/cloud/reader.h"

namespace {

float SquaredDistance(const float* a, const float* b) {
    const float x = a[0] - b[0];
    const float y = a[1] - b[1];
    const float z = a[2] - b[2];
    return (x * x + y * y) + z * z;
}

float Dot(const float* a, const float* b) {
    return (a[0] * b[0] + a[1] * b[1]) + a[2] * b[2];
}

bool IsFinite(const float* v) {
    return std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2]);
}

/// Which float of a point's data variable `name` begins at, and its size; -1: there is none.
std::pair<std::ptrdiff_t, std::size_t> Find(const CloudReader& cloud, const char* name) {
    const CloudVariables& variables = cloud.point_variables;
    std::ptrdiff_t begin = 0;
    for (std::size_t i = 0; i < variables.names.size(); begin += variables.sizes[i++])
        if (variables.names[i] == name)
            return {begin, static_cast<std::size_t>(variables.sizes[i])};
    return {-1, 0};
}

}  // namespace

PlainLookup::PlainLookup(const std::vector<std::string>& files,
                         std::span<const char* const> variables)
    : clouds_(files.size()), sizes_(variables.size()) {
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (files[i].empty()) continue;
        std::string why;
        const auto cloud = OpenCloud(files[i].c_str(), &why, {CountCheck::kStrict, true});
        if (!cloud) {
            ADD_FAILURE() << files[i] << ": " << why;
            continue;
        }
        Cloud& read = clouds_[i];
        read.floats = cloud->point_variables.DataFloats();
        read.heads.resize(static_cast<std::size_t>(cloud->point_count));
        read.data.resize(read.heads.size() * read.floats);
        std::size_t count = 0;
        EXPECT_EQ(ReadPoints(*cloud, read.heads, read.data, &count), CloudStatus::kOk);
        for (std::size_t v = 0; v < variables.size(); ++v) {
            const auto [begin, size] = Find(*cloud, variables[v]);
            if (sizes_[v] == 0) sizes_[v] = size;
            read.begin.push_back(size == sizes_[v] ? begin : -1);
        }
    }
    for (const std::size_t size : sizes_) floats_ += size;
}

std::vector<PlainFound> PlainLookup::Nearest(const PtcPlace& place,
                                             const PtcNearest& wanted) const {
    std::vector<PlainFound> found;
    if (!IsFinite(place.position)) return found;
    const bool has_test = place.normal && wanted.least_dot > -1;
    for (std::size_t file = 0; file < clouds_.size(); ++file)
        for (std::size_t i = 0; i < clouds_[file].heads.size(); ++i) {
            const PointHead& head = clouds_[file].heads[i];
            if (!IsFinite(head.position)) continue;
            const float squared = SquaredDistance(head.position, place.position);
            if (squared > wanted.within * wanted.within) continue;
            if (has_test && !(Dot(head.normal, place.normal) >= wanted.least_dot)) continue;
            found.push_back(
                {squared, static_cast<std::int32_t>(file), static_cast<std::int64_t>(i)});
        }
    const auto count = std::min(found.size(), static_cast<std::size_t>(wanted.most));
    std::partial_sort(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(count),
                      found.end());
    found.resize(count);
    return found;
}

std::vector<float> PlainLookup::Data(const PlainFound& point) const {
    const Cloud& cloud = clouds_[static_cast<std::size_t>(point.file)];
    const float* const own =
        cloud.data.data() + static_cast<std::size_t>(point.index) * cloud.floats;
    std::vector<float> data;
    for (std::size_t v = 0; v < sizes_.size(); ++v)
        for (std::size_t i = 0; i < sizes_[v]; ++i)
            data.push_back(
                cloud.begin[v] < 0 ? 0 : own[cloud.begin[v] + static_cast<std::ptrdiff_t>(i)]);
    return data;
}

// --- filtered values ---

namespace {

/// The filter's radius is squared in single precision, as greatest distances are. A radius of a
/// point that is not finite counts as 0.
double Weight(const PointHead& head, const PtcPlace& place, const PtcFilter& filter) {
    const double own = std::isfinite(head.radius) ? head.radius : 0;
    const double reach = own > filter.radius ? own * own : filter.radius * filter.radius;
    const double near = 1 - SquaredDistance(head.position, place.position) / reach;
    if (!(near > 0)) return 0;
    const float* const n = head.normal;
    if (!place.normal || (n[0] == 0 && n[1] == 0 && n[2] == 0)) return near * near;
    const double least = filter.least_dot;
    return near * near * std::max(0.0, (Dot(place.normal, n) - least) / (1 - least));
}

}  // namespace

PlainLookup::Sums PlainLookup::Sample(const PtcPlace& place, const PtcFilter& filter) const {
    Sums sums{std::vector<double>(floats_), std::vector<double>(floats_),
              std::vector<double>(sizes_.size())};
    if (!IsFinite(place.position)) return sums;
    for (const Cloud& cloud : clouds_)
        for (std::size_t i = 0; i < cloud.heads.size(); ++i) {
            if (!IsFinite(cloud.heads[i].position)) continue;
            const double weight = Weight(cloud.heads[i], place, filter);
            if (weight > 0) AddTo(&sums, cloud, i, weight);
        }
    return sums;
}

void PlainLookup::AddTo(Sums* sums, const Cloud& cloud, std::size_t point, double weight) const {
    for (std::size_t v = 0, to = 0; v < sizes_.size(); to += sizes_[v++]) {
        if (cloud.begin[v] < 0) continue;
        const float* const from = &cloud.data[point * cloud.floats] + cloud.begin[v];
        if (!std::all_of(from, from + sizes_[v], [](float value) { return std::isfinite(value); }))
            continue;
        sums->weights[v] += weight;
        for (std::size_t i = 0; i < sizes_[v]; ++i) {
            sums->values[to + i] += weight * from[i];
            sums->sizes[to + i] += weight * std::abs(from[i]);
        }
    }
}

// --- comparing ---

namespace {

/// Arrays of the sizes that a lookup needs, and no float larger.
struct NearestAnswers {
    NearestAnswers(std::size_t points, std::size_t floats)
        : files(points),
          indexes(points),
          squared(points),
          positions(3 * points),
          normals(3 * points),
          radii(points),
          data(floats * points) {}

    PtcNearestArrays Arrays(unsigned unwanted) {
        PtcNearestArrays arrays{files.data(),   indexes.data(), squared.data(), positions.data(),
                                normals.data(), radii.data(),   data.data()};
        if (unwanted & 1) arrays.files = nullptr;
        if (unwanted & 2) arrays.indexes = nullptr;
        if (unwanted & 4) arrays.squared_distances = nullptr;
        if (unwanted & 8) arrays.positions = nullptr;
        if (unwanted & 16) arrays.normals = nullptr;
        if (unwanted & 32) arrays.radii = nullptr;
        if (unwanted & 64) arrays.data = nullptr;
        return arrays;
    }

    std::vector<std::int32_t> files;
    std::vector<std::int64_t> indexes;
    std::vector<float> squared, positions, normals, radii, data;
};

bool IsSame(const float* a, const float* b, std::size_t count) {
    return count == 0 || std::memcmp(a, b, count * sizeof *a) == 0;
}

/// What is wrong with answer `at`, which is to be `right`; null: nothing.
const char* Fault(const NearestAnswers& answers, std::size_t at, const PlainFound& right,
                  const PlainLookup& plain, unsigned unwanted) {
    const PointHead& head =
        plain.Heads(static_cast<std::size_t>(right.file))[static_cast<std::size_t>(right.index)];
    const std::size_t floats = plain.FloatsPerPoint();
    if (~unwanted & 1 && answers.files[at] != right.file) return "file";
    if (~unwanted & 2 && answers.indexes[at] != right.index) return "index";
    if (~unwanted & 4 && !IsSame(&answers.squared[at], &right.squared_distance, 1))
        return "squared distance";
    if (~unwanted & 8 && !IsSame(&answers.positions[3 * at], head.position, 3)) return "position";
    if (~unwanted & 16 && !IsSame(&answers.normals[3 * at], head.normal, 3)) return "normal";
    if (~unwanted & 32 && !IsSame(&answers.radii[at], &head.radius, 1)) return "radius";
    if (~unwanted & 64 &&
        !IsSame(answers.data.data() + floats * at, plain.Data(right).data(), floats))
        return "data";
    return nullptr;
}

std::string At(const ManyPlaces& places, std::size_t i) {
    std::ostringstream text;
    text.precision(9);
    const PtcPlace place = places[i];
    text << "place " << i << " (" << place.position[0] << ' ' << place.position[1] << ' '
         << place.position[2] << (place.normal ? ", normal): " : "): ");
    return text.str();
}

}  // namespace

std::string DifferenceOfNearest(const PtcLookup& lookup, const PlainLookup& plain,
                                const ManyPlaces& places, const PtcNearest& wanted, bool one_by_one,
                                unsigned unwanted) {
    const auto most = static_cast<std::size_t>(wanted.most);
    const std::size_t at_once = one_by_one ? 1 : places.Count();
    NearestAnswers answers(most * at_once, plain.FloatsPerPoint());
    std::vector<std::int32_t> found(at_once, -1);
    const PtcNearestArrays arrays = answers.Arrays(unwanted);
    if (!one_by_one && !lookup.NearestOfMany(places.All(), wanted, arrays, found.data()))
        return std::string("many places: ") + PtcLastFailure().text;
    for (std::size_t i = 0; i < places.Count(); ++i) {
        if (one_by_one && !lookup.Nearest(places[i], wanted, arrays, found.data()))
            return At(places, i) + PtcLastFailure().text;
        const std::size_t own = one_by_one ? 0 : i;
        const std::vector<PlainFound> right = plain.Nearest(places[i], wanted);
        std::ostringstream text;
        text.precision(9);
        text << At(places, i) << "within " << wanted.within << ", least dot " << wanted.least_dot
             << ", found " << found[own] << ", not " << right.size() << " of " << most;
        if (found[own] != static_cast<std::int32_t>(right.size())) return text.str();
        for (std::size_t k = 0; k < right.size(); ++k) {
            const char* const fault = Fault(answers, own * most + k, right[k], plain, unwanted);
            if (!fault) continue;
            text << "; wrong " << fault << " of answer " << k << ", which is to be point "
                 << right[k].index << " of file " << right[k].file << " at "
                 << right[k].squared_distance;
            return text.str();
        }
    }
    return {};
}

std::string DifferenceOfSamples(const PtcLookup& lookup, const PlainLookup& plain,
                                const ManyPlaces& places, const PtcFilter& filter,
                                bool one_by_one) {
    constexpr double kRounding = 1e-6;
    constexpr double kNothing = 1e-9;  // at the rim of a point rounding decides whether it counts
    const std::size_t floats = plain.FloatsPerPoint();
    const std::size_t variables = plain.VariableCount();
    const std::size_t at_once = one_by_one ? 1 : places.Count();
    std::vector<float> values(floats * at_once, 7);
    std::vector<float> weights(variables * at_once, 7);
    if (!one_by_one && !lookup.SampleMany(places.All(), filter, values.data(), weights.data()))
        return std::string("many samples: ") + PtcLastFailure().text;
    for (std::size_t i = 0; i < places.Count(); ++i) {
        if (one_by_one && !lookup.Sample(places[i], filter, values.data(), weights.data()))
            return At(places, i) + PtcLastFailure().text;
        const float* value = values.data() + (one_by_one ? 0 : i * floats);
        const float* const weight = weights.data() + (one_by_one ? 0 : i * variables);
        const PlainLookup::Sums right = plain.Sample(places[i], filter);
        for (std::size_t v = 0, at = 0; v < variables; ++v) {
            const double sum = right.weights[v];
            std::ostringstream text;
            text.precision(9);
            text << At(places, i) << "radius " << filter.radius << ", least dot "
                 << filter.least_dot << ", variable " << v << ": weight " << weight[v] << ", not "
                 << sum;
            if (!(std::abs(weight[v] - sum) <= kRounding * sum + kNothing)) return text.str();
            for (std::size_t k = 0; k < plain.VariableSize(v); ++k, ++at, ++value) {
                const double wanted = sum > 0 ? right.values[at] / sum : 0;
                const double size = sum > 0 ? right.sizes[at] / sum : 0;
                text << "; value " << *value << ", not " << wanted;
                const bool is_right = std::abs(*value - wanted) <= kRounding * size ||
                                      (sum <= kNothing && std::isfinite(*value));
                if (!is_right) return text.str();
            }
        }
    }
    return {};
}
