// Measures how near filtered values are to baked ones: looks up one bake of a scene at the points
// of another, whose values are the truth.
//
// usage: lookup_accuracy BAKE TRUTH SPACING [VARIABLE [BRIGHTEST]]
//
// SPACING is the distance between neighbours in BAKE. Prints the root of the mean squared error
// through that of the values, for some radii of the filter, with and without normals, for all
// points of TRUTH and without the worst 0.2 % of them, which lie at steps of the value. Points
// brighter than BRIGHTEST, by default 10, and all that is within 4 spacings of the box around them
// are left out: a lamp close to a ceiling shines through to it whatever the filter.
//
// Where points of both bakes are in one place, the difference of their values is printed first: it
// is what rays at random do to both.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "ptc/access.h"
#include "ptc/lookup.h"

namespace {

[[noreturn]] void Die(const char* what) {
    std::fprintf(stderr, "lookup_accuracy: %s\n", what);
    std::exit(1);
}

struct Points {
    std::vector<float> positions, normals, values;
    std::size_t floats;  ///< of a value

    std::size_t Count() const { return positions.size() / 3; }
    float Brightness(std::size_t i) const {
        return *std::max_element(&values[floats * i], &values[floats * i] + floats);
    }
};

Points Read(PtcManagedFile* file, const char* variable) {
    PtcHeader header;
    std::int32_t offset = -1;
    std::int32_t size = 0;
    if (!PtcGetHeader(file, &header) || !PtcFindVariables(file, 1, &variable, &offset, &size))
        Die(PtcLastFailure().text);
    if (offset < 0) Die("a file lacks the variable");
    Points points;
    points.floats = static_cast<std::size_t>(size);
    for (std::int64_t i = 0; i < header.points; ++i) {
        const PtcPoint* const point = PtcGetPoint(file, i);
        if (!point) Die(PtcLastFailure().text);
        points.positions.insert(points.positions.end(), point->position, point->position + 3);
        points.normals.insert(points.normals.end(), point->normal, point->normal + 3);
        const float* const value = point->data + offset;
        points.values.insert(points.values.end(), value, value + size);
    }
    return points;
}

/// Leaves out what is brighter than `brightest` in `bake`, and what is near.
Points WithoutLamps(const Points& from, const Points& bake, float brightest, float margin) {
    float box[6] = {1e30f, 1e30f, 1e30f, -1e30f, -1e30f, -1e30f};
    for (std::size_t i = 0; i < bake.Count(); ++i)
        for (std::size_t k = 0; bake.Brightness(i) > brightest && k < 3; ++k) {
            box[k] = std::min(box[k], bake.positions[3 * i + k] - margin);
            box[k + 3] = std::max(box[k + 3], bake.positions[3 * i + k] + margin);
        }
    Points points;
    points.floats = from.floats;
    for (std::size_t i = 0; i < from.Count(); ++i) {
        const float* const at = &from.positions[3 * i];
        const float* const normal = &from.normals[3 * i];
        const float* const value = &from.values[from.floats * i];
        bool is_inside = true;
        for (std::size_t k = 0; k < 3; ++k)
            is_inside = is_inside && at[k] >= box[k] && at[k] <= box[k + 3];
        if (is_inside || from.Brightness(i) > brightest) continue;
        points.positions.insert(points.positions.end(), at, at + 3);
        points.normals.insert(points.normals.end(), normal, normal + 3);
        points.values.insert(points.values.end(), value, value + from.floats);
    }
    return points;
}

/// Squared errors, and what they are measured by.
struct Errors {
    std::vector<double> squared;  ///< one a point
    double of_values = 0;         ///< the sum of the values' squares
    std::size_t nothing = 0;      ///< points where nothing was found

    void Add(const float* value, const float* truth, std::size_t floats) {
        double error = 0;
        for (std::size_t i = 0; i < floats; ++i) {
            const double difference = double{value[i]} - truth[i];
            error += difference * difference;
            of_values += double{truth[i]} * truth[i];
        }
        squared.push_back(error);
    }
    /// In percent, without the worst `left_out` of all points.
    double Relative(double left_out) {
        std::sort(squared.begin(), squared.end());
        const auto count = static_cast<double>(squared.size()) * (1 - left_out);
        double sum = 0;
        for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) sum += squared[i];
        return 100 * std::sqrt(sum / of_values);
    }
};

void PrintNoise(const PtcLookup& lookup, const Points& truth, float spacing) {
    Errors errors;
    std::vector<float> value(truth.floats);
    for (std::size_t i = 0; i < truth.Count(); ++i) {
        PtcNearestArrays arrays;
        arrays.data = value.data();
        std::int32_t found = 0;
        const PtcPlace place{&truth.positions[3 * i], &truth.normals[3 * i]};
        if (!lookup.Nearest(place, {1, 1e-3f * spacing, 0.99f}, arrays, &found))
            Die(PtcLastFailure().text);
        if (found > 0) errors.Add(value.data(), &truth.values[truth.floats * i], truth.floats);
    }
    if (errors.squared.empty()) return;
    std::printf("%zu points are in one place: difference %.3f %%, of one bake %.3f %%\n",
                errors.squared.size(), errors.Relative(0), errors.Relative(0) / std::sqrt(2.0));
}

Errors ErrorsOf(const PtcLookup& lookup, const Points& truth, float radius, bool has_normals) {
    Errors errors;
    std::vector<float> value(truth.floats);
    float weight = 0;
    for (std::size_t i = 0; i < truth.Count(); ++i) {
        const PtcPlace place{&truth.positions[3 * i],
                             has_normals ? &truth.normals[3 * i] : nullptr};
        if (!lookup.Sample(place, {radius}, value.data(), &weight)) Die(PtcLastFailure().text);
        if (weight > 0) {
            errors.Add(value.data(), &truth.values[truth.floats * i], truth.floats);
        } else {
            ++errors.nothing;
        }
    }
    return errors;
}

}  // namespace

int main(int count, char** arguments) {
    const float spacing = count > 3 ? std::strtof(arguments[3], nullptr) : 0;
    if (!(spacing > 0) || count > 6) {
        std::fputs("usage: lookup_accuracy BAKE TRUTH SPACING [VARIABLE [BRIGHTEST]]\n", stderr);
        return 2;
    }
    const char* const variable = count > 4 ? arguments[4] : "_radiosity";
    const float brightest = count > 5 ? std::strtof(arguments[5], nullptr) : 10;
    const PtcFile bake(arguments[1]);
    const PtcFile other(arguments[2]);
    if (!bake || !other) Die(PtcLastFailure().text);
    const Points truth = WithoutLamps(Read(other.Get(), variable), Read(bake.Get(), variable),
                                      brightest, 4 * spacing);
    PtcManagedFile* const files[] = {bake.Get()};
    const PtcLookup lookup({files, 1, &variable, 1});
    if (!lookup) Die(PtcLastFailure().text);
    std::printf("%zu points\n", truth.Count());
    PrintNoise(lookup, truth, spacing);
    std::puts("radius in spacings    error     worst 0.2 % left out    without normals    nothing");
    for (const float spacings : {1.0f, 1.5f, 1.75f, 2.0f, 2.5f, 3.0f}) {
        Errors with = ErrorsOf(lookup, truth, spacings * spacing, true);
        Errors without = ErrorsOf(lookup, truth, spacings * spacing, false);
        std::printf("%18.2f %7.2f %% %21.2f %% %16.2f %% %10zu\n", double{spacings},
                    with.Relative(0), with.Relative(0.002), without.Relative(0), with.nothing);
    }
    return 0;
}
