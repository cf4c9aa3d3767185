// Truth: traced as two halves with seeds of their own, kept as text.

#include "bench/light/truth.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdio>
#include <fstream>

#include "tools/common/failure.h"
#include "tools/common/output_file.h"
#include "tools/common/parallel.h"
#include "tools/common/progress.h"

namespace accuracy {

namespace {

/// Seeds of the two halves; the estimates that are measured have others.
constexpr std::uint64_t kHalves[] = {0x7A11'0000'0000'0000u, 0x7A12'0000'0000'0000u};

TrueValues Trace(const Rays& rays, Quantity quantity, const std::vector<Place>& places,
                 const TruthWork& work) {
    RayWork half = work.light;
    if (quantity != Quantity::kIndirect) half.rays = work.rays;
    half.rays = std::max(1, half.rays / 2);
    TrueValues truth;
    truth.values.resize(places.size());
    std::vector<double> squared(places.size());
    Progress progress(places.size(), true);
    constexpr std::size_t kPart = 50;
    for (std::size_t first = 0; first < places.size(); first += kPart) {
        const std::size_t count = std::min(kPart, places.size() - first);
        ParallelFor(count, work.threads, [&](std::size_t k) {
            const std::size_t i = first + k;
            const Vec3d a = rays.Estimate(quantity, places[i], half, kHalves[0] + i);
            const Vec3d b = rays.Estimate(quantity, places[i], half, kHalves[1] + i);
            truth.values[i] = (a + b) * 0.5;
            squared[i] = Dot(a - b, a - b) / (3 * 4);
        });
        progress.Show(first + count);
    }
    double sum = 0;
    for (const double error : squared) sum += error;
    truth.noise = std::sqrt(sum / static_cast<double>(places.size()));
    return truth;
}

/// Reads what Keep() has written; false: the file is another one's, or not there.
bool Read(const std::string& file, const std::string& key, std::size_t places, Truth* truth) {
    std::ifstream in(file);
    std::string first;
    if (!std::getline(in, first) || first != key) return false;
    for (TrueValues& of : truth->of) {
        if (!(in >> of.noise)) return false;
        of.values.resize(places);
        for (Vec3d& value : of.values)
            if (!(in >> value.x >> value.y >> value.z)) return false;
    }
    return true;
}

void Keep(const std::string& file, const std::string& key, const Truth& truth) {
    OutputFile output(file);
    std::ofstream out(output.Path());
    out << key << '\n';
    for (const TrueValues& of : truth.of) {
        out << fmt::format("{}\n", of.noise);
        for (const Vec3d& value : of.values)
            out << fmt::format("{} {} {}\n", value.x, value.y, value.z);
    }
    out.close();
    if (!out) throw Failure(file + ": cannot be written");
    output.Commit();
}

}  // namespace

Truth FindTruth(const Rays& rays, const std::vector<Place>& places, const TruthWork& work,
                const std::string& key, const std::string& file) {
    const std::string whole_key = fmt::format(
        "{}, {} places, {} rays, {} rays for light, {} to the lamp, {} bounces", key, places.size(),
        work.rays, work.light.rays, work.light.lamp_rays, work.light.bounces);
    Truth truth;
    truth.light = work.light;
    if (!file.empty() && Read(file, whole_key, places.size(), &truth)) return truth;
    for (const Quantity quantity : kQuantities)
        truth.of[static_cast<int>(quantity)] = Trace(rays, quantity, places, work);
    if (!file.empty()) Keep(file, whole_key, truth);
    return truth;
}

}  // namespace accuracy
