// Speed: the law of the rays' errors, then the rate of both sides in rounds that take turns.
//
// Times are the processor's, because other programs share the machines.

#include "bench/light/speed.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>

#include "bench/light/error_law.h"
#include "bench/light/errors.h"
#include "bench/light/processor_time.h"
#include "tools/scene/random.h"

namespace accuracy {

namespace {

constexpr std::uint64_t kSeed = 0x5EED'0000'0000'0000u;
constexpr int kRounds = 3;

/// One place, by a number of rays.
using Estimate = std::function<Vec3d(const Place& place, int rays, std::uint64_t seed)>;

/// A way to trace what is gathered.
struct Rival {
    const char* name;
    Quantity quantity;
    Estimate estimate;
    ErrorLaw law = {};
};

std::vector<Rival> RivalsOf(const Rays& rays, const OpenedCloud& cloud, int bounces) {
    const auto traced = [&rays, bounces](Quantity quantity) -> Estimate {
        return [&rays, quantity, bounces](const Place& place, int count, std::uint64_t seed) {
            return rays.Estimate(quantity, place, {count, 1, bounces}, seed);
        };
    };
    const float within = 2 * cloud.LargestRadius();
    return {{"rays", Quantity::kNearOcclusion, traced(Quantity::kNearOcclusion)},
            {"rays", Quantity::kOcclusion, traced(Quantity::kOcclusion)},
            {"rays", Quantity::kIndirect, traced(Quantity::kIndirect)},
            {"rays to baked points", Quantity::kIndirect,
             [&rays, &cloud, within](const Place& place, int count, std::uint64_t seed) {
                 return rays.Baked({cloud.Colours(), within}, place, count, seed);
             }}};
}

/// The rival's error, without the part that the truth's own noise has in it.
double ErrorOf(const Rival& rival, int rays, const std::vector<Place>& places,
               const TrueValues& truth) {
    std::vector<Vec3d> values;
    for (std::size_t i = 0; i < places.size(); ++i)
        values.push_back(rival.estimate(places[i], rays, kSeed + i));
    const double rms = Compare(values, truth.values).rms;
    return std::sqrt(std::max(1e-12, rms * rms - truth.noise * truth.noise));
}

void MeasureLaw(Rival* rival, const std::vector<Place>& places, const TrueValues& truth) {
    std::vector<MeasuredError> measured;
    fmt::print("{:<22} {:<21}", NameOf(rival->quantity), rival->name);
    for (const int rays : {16, 32, 64, 128, 256, 512}) {
        measured.push_back({rays, ErrorOf(*rival, rays, places, truth)});
        fmt::print(" {:>4}: {:.4f}", rays, measured.back().error);
    }
    rival->law = LawOf(measured);
    fmt::print("   {:.3f} * N^-{:.3f}\n", rival->law.factor, rival->law.power);
}

std::vector<Place> Shuffled(std::vector<Place> places) {
    for (std::size_t i = places.size(); i > 1; --i)
        std::swap(places[i - 1], places[scene::Hash(i) % i]);
    return places;
}

/// How many places a second one thread does: the best of some rounds.
class Rate {
public:
    void Measure(const std::vector<Place>& places, const std::function<void(std::size_t)>& work) {
        const double begin = ProcessorTime();
        for (std::size_t i = 0; i < places.size(); ++i) work(i);
        best_ = std::max(best_, static_cast<double>(places.size()) / (ProcessorTime() - begin));
    }
    double Best() const { return best_; }

private:
    double best_ = 0;
};

/// A quantity at the places, gathered in one quality.
class Contest {
public:
    Contest(const OpenedCloud& cloud, const std::vector<Place>& places, Quantity quantity,
            const PtcGathering& settings)
        : light_(cloud.Light()), places_(places), quantity_(quantity), settings_(settings) {}

    double Error(const TrueValues& truth) const {
        std::vector<Vec3d> answers;
        answers.reserve(places_.size());
        for (const Place& place : places_)
            answers.push_back(GatherAt(light_, quantity_, place, settings_));
        return Compare(answers, truth.values).rms;
    }

    /// Gathers in order, shuffled, and lets the rival trace `rays`, in turns.
    void Run(const Rival& rival, double rays, const char* quality, double error) const {
        // Rays cost all the same: a number nearby is timed, and scaled.
        const int traced = static_cast<int>(std::clamp(rays, 8.0, 2048.0));
        const std::vector<Place> shuffled = Shuffled(places_);
        Rate in_order;
        Rate any_order;
        Rate by_rays;
        for (int round = 0; round < kRounds; ++round) {
            in_order.Measure(places_, [&](std::size_t i) {
                (void)GatherAt(light_, quantity_, places_[i], settings_);
            });
            any_order.Measure(shuffled, [&](std::size_t i) {
                (void)GatherAt(light_, quantity_, shuffled[i], settings_);
            });
            by_rays.Measure(places_, [&](std::size_t i) {
                (void)rival.estimate(places_[i], traced, kSeed + i);
            });
        }
        const double rate = by_rays.Best() * traced / rays;
        fmt::print("{:<8} {:<20} {:>8.5f} {:>9.0f} {:>9.0f}  {:<20} {:>6.0f} {:>9.0f} {:>7.2f}\n",
                   quality, NameOf(quantity_), error, in_order.Best(), any_order.Best(), rival.name,
                   rays, rate, in_order.Best() / rate);
        (void)std::fflush(stdout);
    }

private:
    const PtcLight& light_;
    const std::vector<Place>& places_;
    const Quantity quantity_;
    const PtcGathering settings_;
};

}  // namespace

void PrintSpeed(const Rays& rays, const OpenedCloud& cloud, const Questions& questions,
                const std::vector<Place>& places, const Truth& truth) {
    std::vector<Rival> rivals = RivalsOf(rays, cloud, truth.light.bounces);
    fmt::print("\nerrors of rays by their number\n");
    for (Rival& rival : rivals) MeasureLaw(&rival, places, truth.Of(rival.quantity));

    fmt::print("\n{:<8} {:<20} {:>8} {:>9} {:>9}  {:<20} {:>6} {:>9} {:>7}\n", "quality",
               "queries a second", "error", "in order", "shuffled", "beside", "rays", "a second",
               "ratio");
    for (const NamedQuality& quality : questions.qualities)
        for (const Quantity quantity : kQuantities) {
            const Contest contest(cloud, places, quantity,
                                  SettingsOf(quantity, quality.quality, questions.bias));
            const double error = contest.Error(truth.Of(quantity));
            for (const Rival& rival : rivals)
                if (rival.quantity == quantity)
                    contest.Run(rival, rival.law.RaysFor(error), quality.name, error);
        }
}

}  // namespace accuracy
