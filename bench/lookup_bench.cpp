// Measures lookups beside nanoflann, which has all points in memory and one tree over them: the
// nearest 8 of many surface points, and filtered values.
//
// usage: lookup_bench [POINTS [ROUNDS [TEXT]]]    by default 1000000, 5 and all
//
// TEXT: only the lines that contain it.
// Both look for the same places in turns, and every answer is compared. A line is a ratio, queries
// a second of the lookup through those of nanoflann in the same round: the median of the rounds,
// and in brackets the best one.

#include <unistd.h>

#include <algorithm>
#include <barrier>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <thread>

#include "bench/lookup_peer.h"
#include "bench/rounds.h"
#include "bench/surface_points.h"
#include "ptc/access.h"
#include "ptc/lookup.h"
#include "ptc/organise.h"
#include "ptc/statistics.h"
#include "ptc/writer.h"

namespace {

using surface_points::Point;

constexpr std::int64_t kBlockPoints = 256;

[[noreturn]] void Die(const char* what) {
    std::fprintf(stderr, "lookup_bench: %s: %s\n", what, PtcLastFailure().text);
    std::exit(1);
}

// --- the two that are compared ---

PtcNearestArrays ArraysAt(Found* found, std::size_t place) {
    PtcNearestArrays arrays;
    arrays.squared_distances = &found->squared[kMost * place];
    arrays.indexes = &found->indexes[kMost * place];
    return arrays;
}

void AskOneByOne(const PtcLookup& lookup, const std::vector<float>& places, std::size_t begin,
                 std::size_t end, Found* found) {
    std::int32_t count = 0;
    for (std::size_t i = begin; i < end; ++i)
        if (!lookup.Nearest({&places[3 * i]}, {kMost}, ArraysAt(found, i), &count) ||
            count != kMost)
            Die("a lookup");
}

void AskMany(const PtcLookup& lookup, const std::vector<float>& places, std::size_t begin,
             std::size_t end, Found* found) {
    std::vector<std::int32_t> counts(end - begin);
    if (!lookup.NearestOfMany({static_cast<std::int64_t>(end - begin), &places[3 * begin]}, {kMost},
                              ArraysAt(found, begin), counts.data()))
        Die("a lookup of many");
}

using Ask = void (*)(const PtcLookup&, const std::vector<float>&, std::size_t, std::size_t, Found*);

// --- rounds ---

/// Prints how many blocks were looked up since `before`, for each of `queries`, and how many of
/// these had to be read.
void PrintBlocks(const PtcStatistics& before, double queries) {
    PtcStatistics now{};
    (void)PtcGetStatistics(&now);
    const auto each = [&](std::uint64_t after, std::uint64_t first) {
        return static_cast<double>(after - first) / queries;
    };
    std::printf("  blocks looked up, and read: nodes %.1f, %.2f; points %.1f, %.2f a query\n",
                each(now.nodes.lookups, before.nodes.lookups),
                each(now.nodes.misses, before.nodes.misses),
                each(now.points.lookups, before.points.lookups),
                each(now.points.misses, before.points.misses));
}

/// The file, the peer over the same points, and how both are asked.
class Bench {
public:
    Bench(std::int64_t points, int rounds, const char* text)
        : rounds_(rounds), text_(text), points_(surface_points::Make(points)) {
        spacing_ = surface_points::Spacing(static_cast<std::int64_t>(points_.size()));
        std::printf("%zu points, spacing %g\n", points_.size(), double{spacing_});
        Write(name_, false);
        Write(with_nan_, true);
        ReadPositions();
        BuildPeer();
    }
    ~Bench() {
        std::remove(name_.c_str());
        std::remove(with_nan_.c_str());
    }

    void Run() {
        const std::size_t count = 100'000;
        const auto random = [&](unsigned round) {
            return surface_points::RandomPlaces(points_, count, 100 + round);
        };
        const auto walk = [&](unsigned round) {
            return surface_points::Walk(points_, count, 200 + round);
        };
        Configure(1, 1.5);
        Compare("all cached, random places", random, AskOneByOne);
        Compare("all cached, random places, asked at once", random, AskMany);
        Compare("all cached, a walk", walk, AskOneByOne);
        Compare("all cached, a walk, asked at once", walk, AskMany);
        Filter(random, 1.5f);
        Filter(random, 2);
        Configure(1, 2.5);
        CompareWithNan("with a point that is not finite", random);
        Configure(1, 0.1);
        Compare("cache of 10 %, random places", random, AskOneByOne);
        Compare("cache of 10 %, random places, asked at once", random, AskMany);
        Compare("cache of 10 %, a walk", walk, AskOneByOne);
        Configure(2, 1.5);
        Scale("all cached, two threads", random);
        Configure(2, 0.1);
        Scale("cache of 10 %, two threads", random);
        PtcShutdown();
    }

private:
    using MakePlaces = std::function<std::vector<float>(unsigned)>;

    void Write(const std::string& name, bool has_nan) const;
    void ReadPositions();
    void BuildPeer();

    /// Makes caches that hold `share` of the blocks, for all threads together.
    void Configure(int threads, double share) const {
        PtcShutdown();
        const auto blocks = static_cast<double>(points_.size()) / kBlockPoints;
        const double of_points = share * blocks * 13312 / 1024 / (threads + 1);
        const double of_nodes = share * inner_nodes_ * 1216 / 1024 / (threads + 1);
        // A table holds what the budget of one thread allows, so a thread that is to find all gets
        // room for all.
        const double spare = share >= 1 ? threads + 1 : 1;
        PtcConfigure(threads, static_cast<std::int64_t>(of_points * spare) + 1,
                     static_cast<std::int64_t>(of_nodes * spare) + 1, nullptr);
    }

    double RoundOfPeer(const std::vector<float>& places, Found* found) const {
        const std::size_t count = places.size() / 3;
        return static_cast<double>(count) /
               Seconds([&] { AskPeer(*peer_, places, 0, count, found); });
    }
    double Round(const PtcLookup& lookup, const std::vector<float>& places, Ask ask,
                 Found* found) const {
        const std::size_t count = places.size() / 3;
        return static_cast<double>(count) / Seconds([&] { ask(lookup, places, 0, count, found); });
    }

    void Compare(const char* what, const MakePlaces& make, Ask ask) const;
    void CompareWithNan(const char* what, const MakePlaces& make) const;
    void Scale(const char* what, const MakePlaces& make) const;
    void Filter(const MakePlaces& make, float spacings) const;

    bool IsWanted(const char* what) const { return std::strstr(what, text_) != nullptr; }

    const int rounds_;
    const char* const text_;
    const std::vector<Point> points_;
    const std::string name_ = "/tmp/lookup_bench." + std::to_string(getpid());
    const std::string with_nan_ = name_ + ".nan";
    float spacing_;
    double inner_nodes_ = 0;
    Positions positions_;  ///< in the order of the file
    std::unique_ptr<Peer> peer_;
};

void Bench::Write(const std::string& name, bool has_nan) const {
    const char* const types[] = {"color"};
    const char* const names[] = {"_radiosity"};
    PtcCloudDescription description;
    description.name = name.c_str();
    description.point_variables = {1, types, names};
    PtcCloudWriter* const cloud = PtcCreateCloud(description);
    if (!cloud) Die("a file");
    std::size_t i = 0;
    for (const Point& point : points_) {
        const float lost[] = {0, std::numeric_limits<float>::quiet_NaN(), 0};
        if (has_nan && ++i == points_.size() / 2)
            (void)PtcWritePoint(cloud, lost, point.normal, spacing_ / 2, point.color);
        if (!PtcWritePoint(cloud, point.position, point.normal, spacing_ / 2, point.color))
            Die("a point");
    }
    if (!PtcFinishCloud(cloud)) Die("a file");
    const char* const inputs[] = {name.c_str()};
    PtcOrganiseRequest request;
    request.inputs = inputs;
    request.input_count = 1;
    request.output = name.c_str();
    PtcOrganiseSummary summary;
    if (!PtcOrganise(request, &summary)) Die("organising");
    const_cast<double&>(inner_nodes_) = static_cast<double>(summary.nodes - summary.leaves);
}

void Bench::ReadPositions() {
    const PtcFile file(name_.c_str());
    positions_.floats.resize(3 * points_.size());
    PtcPointArrays arrays{};
    arrays.positions = positions_.floats.data();
    const auto count = static_cast<std::int64_t>(points_.size());
    if (PtcGetPoints(file.Get(), 0, count, arrays) != count) Die("reading");
}

/// Of some sizes of leaves, the one with which the peer answers fastest.
void Bench::BuildPeer() {
    const std::vector<float> places = surface_points::RandomPlaces(points_, 50'000, 1);
    Found found(places.size() / 3);
    double best = 0;
    std::size_t best_leaf = 0;
    const auto build = [&](std::size_t leaf) {
        peer_.reset();
        peer_ =
            std::make_unique<Peer>(3, positions_, nanoflann::KDTreeSingleIndexAdaptorParams(leaf));
        peer_->buildIndex();
    };
    for (const std::size_t leaf : {8u, 10u, 16u, 24u, 32u}) {
        build(leaf);
        double rate = 0;
        for (int i = 0; i < 3; ++i) rate = std::max(rate, RoundOfPeer(places, &found));
        if (rate > best) {
            best = rate;
            best_leaf = leaf;
        }
    }
    build(best_leaf);
    std::printf("nanoflann is fastest with %zu points a leaf\n", best_leaf);
}

void Bench::Compare(const char* what, const MakePlaces& make, Ask ask) const {
    if (!IsWanted(what)) return;
    const PtcFile file(name_.c_str());
    PtcManagedFile* const files[] = {file.Get()};
    const PtcLookup lookup({files, 1});
    if (!lookup) Die("making a lookup");
    std::vector<double> own, ratios, peers;
    PtcStatistics before{};
    double asked = 0;
    for (int round = -1; round < rounds_; ++round) {
        const std::vector<float> places = make(static_cast<unsigned>(round + 1));
        Found right(places.size() / 3);
        Found found(places.size() / 3);
        if (round < 0) {  // fills the caches
            for (unsigned extra = 0; extra < 20; ++extra)
                (void)Round(lookup, make(1000 + extra), ask, &found);
            (void)RoundOfPeer(places, &right);
            (void)PtcGetStatistics(&before);
            continue;
        }
        peers.push_back(RoundOfPeer(places, &right));
        own.push_back(Round(lookup, places, ask, &found));
        ratios.push_back(own.back() / peers.back());
        asked += static_cast<double>(places.size()) / 3;
        if (found.squared != right.squared) Die("other distances than the peer's");
        std::size_t others = 0;
        for (std::size_t i = 0; i < found.indexes.size(); ++i)
            others += found.indexes[i] != right.indexes[i];
        if (others > found.indexes.size() / 1000) Die("other points than the peer's");
    }
    std::printf("%-46s %6.2f (%.2f)   %8.0f, nanoflann %8.0f a second\n", what,
                RateOf(ratios).median, RateOf(ratios).best, RateOf(own).median,
                RateOf(peers).median);
    PrintBlocks(before, asked);
}

void Bench::CompareWithNan(const char* what, const MakePlaces& make) const {
    if (!IsWanted(what)) return;
    const PtcFile file(name_.c_str());
    const PtcFile other(with_nan_.c_str());
    PtcManagedFile* const files[] = {file.Get(), other.Get()};
    const PtcLookup lookup({files, 1});
    const PtcLookup with_nan({files + 1, 1});
    std::vector<double> ratios;
    for (int round = -20; round < rounds_; ++round) {
        const std::vector<float> places = make(static_cast<unsigned>(round + 20));
        Found right(places.size() / 3);
        Found found(places.size() / 3);
        const double without = Round(lookup, places, AskOneByOne, &right);
        const double with = Round(with_nan, places, AskOneByOne, &found);
        if (found.squared != right.squared || found.indexes != right.indexes)
            Die("other points than without the one that is not finite");
        if (round >= 0) ratios.push_back(with / without);
    }
    std::printf("%-46s %6.2f (%.2f)   through without it\n", what, RateOf(ratios).median,
                RateOf(ratios).best);
}

/// Two threads look up all the time; in every second round the second one has nothing to do.
void Bench::Scale(const char* what, const MakePlaces& make) const {
    if (!IsWanted(what)) return;
    const PtcFile file(name_.c_str());
    PtcManagedFile* const files[] = {file.Get()};
    const PtcLookup lookup({files, 1});
    std::vector<float> places;
    std::size_t busy = 0;  // threads that share the places; 0: the end
    bool is_peer = false;
    Found found(100'000);
    std::barrier step(3);
    const auto work = [&](std::size_t id) {
        for (;;) {
            step.arrive_and_wait();
            if (busy == 0) return;
            const std::size_t count = id < busy ? places.size() / 3 / busy : 0;
            if (is_peer) AskPeer(*peer_, places, id * count, (id + 1) * count, &found);
            if (!is_peer) AskOneByOne(lookup, places, id * count, (id + 1) * count, &found);
            step.arrive_and_wait();
        }
    };
    std::jthread one(work, 0);
    std::jthread two(work, 1);
    const auto seconds = [&](std::size_t threads, bool of_peer) {
        busy = threads;
        is_peer = of_peer;
        return Seconds([&] {
            step.arrive_and_wait();
            step.arrive_and_wait();
        });
    };
    std::vector<double> own, peers;
    for (int round = -40; round < 2 * rounds_; ++round) {
        places = make(static_cast<unsigned>(round + 40));
        const double alone = seconds(round < 0 ? 2 : 1, false);
        const double together = seconds(2, false);
        if (round < 0) continue;  // both threads have filled their tables
        own.push_back(alone / together);
        const double peer_alone = seconds(1, true);
        peers.push_back(peer_alone / seconds(2, true));
    }
    busy = 0;
    step.arrive_and_wait();
    std::printf("%-46s %6.2f (%.2f)   through one; nanoflann %.2f (%.2f)\n", what,
                RateOf(own).median, RateOf(own).best, RateOf(peers).median, RateOf(peers).best);
}

void Bench::Filter(const MakePlaces& make, float spacings) const {
    if (!IsWanted("samples")) return;
    const char* const names[] = {"_radiosity"};
    const PtcFile file(name_.c_str());
    PtcManagedFile* const files[] = {file.Get()};
    const PtcLookup lookup({files, 1, names, 1});
    std::vector<double> own;
    double weight = 0;
    for (int round = -1; round < rounds_; ++round) {
        const std::vector<float> places = make(static_cast<unsigned>(round + 1));
        const std::size_t count = places.size() / 3;
        const PtcFilter filter{spacings * spacing_};
        const double seconds = Seconds([&] {
            for (std::size_t i = 0; i < count; ++i) {
                float values[3];
                float sum = 0;
                if (!lookup.Sample({&places[3 * i]}, filter, values, &sum)) Die("a sample");
                weight += double{sum};
            }
        });
        if (round >= 0) own.push_back(static_cast<double>(count) / seconds);
    }
    std::printf("samples, radius of %.1f spacings %30.0f a second\n", double{spacings},
                RateOf(own).best);
    if (!(weight > 0)) Die("no sample has a weight");
}

}  // namespace

int main(int count, char** arguments) {
    const std::int64_t points = count > 1 ? std::atoll(arguments[1]) : 1'000'000;
    const int rounds = count > 2 ? std::atoi(arguments[2]) : 5;
    const char* const text = count > 3 ? arguments[3] : "";
    if (points < 200'000 || rounds < 1) {
        std::fputs("usage: lookup_bench [POINTS [ROUNDS [TEXT]]]    at least 200000 points\n",
                   stderr);
        return 2;
    }
    PtcSetThreadCount(2);
    Bench(points, rounds, text).Run();
    return 0;
}
