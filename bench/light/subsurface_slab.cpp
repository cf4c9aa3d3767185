// Measures subsurface scattering out of points: how near an evenly lit, thick slab comes to the
// formula of ptc/light.h, and how fast.
//
// usage: subsurface_slab
//
// A slab is a square grid of points with its spacing in units of 1 / (scattering + absorption). The
// places are points, corners and edges of its cells, and random. Prints the least and greatest
// error of the places in percent of the formula; how far the mean of all places is off when a slab
// of the same size has 4 and 16 times the points; places a second; and how much faster two threads
// are than one.

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "bench/rounds.h"
#include "ptc/access.h"
#include "ptc/light.h"
#include "ptc/organise.h"
#include "ptc/writer.h"

namespace {

/// In units of 1 / (scattering + absorption), of one colour.
struct Case {
    const char* name;
    float absorbed;  ///< part of what is scattered and absorbed
};
constexpr Case kCases[] = {{"clear", 0.01f}, {"usual", 0.05f}, {"dark", 0.6f}};
constexpr float kRefraction = 1.3f;

[[noreturn]] void Die(const char* what) {
    std::fprintf(stderr, "subsurface_slab: %s: %s\n", what, PtcLastFailure().text);
    std::exit(1);
}

PtcSubsurface Material(float solid_angle) {
    PtcSubsurface material;
    material.refraction = kRefraction;
    material.solid_angle = solid_angle;
    for (int i = 0; i < 3; ++i) {
        material.scattering[i] = 1 - kCases[i].absorbed;
        material.absorption[i] = kCases[i].absorbed;
    }
    return material;
}

/// What leaves the slab where 1 enters.
double Formula(double absorbed) {
    const double e = kRefraction;
    const double f = -1.440 / (e * e) + 0.710 / e + 0.668 + 0.0636 * e;
    const double s = std::sqrt(3 * absorbed), b = (1 + f) / (1 - f);
    return (1 - absorbed) / 2 * (1 + std::exp(-4.0 / 3 * b * s)) * std::exp(-s);
}

/// A file with a square of side 2 * `half`, deleted at the end.
class Slab {
public:
    Slab(float spacing, float half) : spacing_(spacing) {
        const char* const types[] = {"float", "color"};
        const char* const names[] = {"_area", "_irradiance"};
        PtcCloudDescription description;
        description.name = name_.c_str();
        description.point_variables = {2, types, names};
        PtcCloudWriter* const cloud = PtcCreateCloud(description);
        if (!cloud) Die("a file");
        const int count = static_cast<int>(half / spacing);
        const float up[] = {0, 0, 1};
        const float data[] = {spacing * spacing, 1, 1, 1};
        for (int y = -count; y <= count; ++y)
            for (int x = -count; x <= count; ++x) {
                const float at[] = {static_cast<float>(x) * spacing,
                                    static_cast<float>(y) * spacing, 0};
                if (!PtcWritePoint(cloud, at, up, spacing / 2, data)) Die("a point");
            }
        if (!PtcFinishCloud(cloud)) Die("a file");
        const char* const inputs[] = {name_.c_str()};
        PtcOrganiseRequest request;
        request.inputs = inputs;
        request.input_count = 1;
        request.output = name_.c_str();
        request.light = true;
        if (!PtcOrganise(request, nullptr)) Die("an octree");
        file_ = PtcFile(name_.c_str());
        PtcManagedFile* const files[] = {file_.Get()};
        light_ = PtcLight({files, 1});
        if (!light_) Die("light");
    }
    ~Slab() { std::remove(name_.c_str()); }

    const PtcLight& Light() const { return light_; }
    float Spacing() const { return spacing_; }

private:
    static std::string NextName() {
        static int number = 0;
        return "/tmp/subsurface_slab." + std::to_string(getpid()) + "." + std::to_string(++number);
    }

    const std::string name_ = NextName();
    const float spacing_;
    PtcFile file_;
    PtcLight light_{PtcLightClouds{}};
};

/// Near the middle of a slab.
std::vector<float> Places(float spacing, std::size_t count) {
    std::mt19937 random(5);
    const float half = spacing / 2;
    std::vector<float> places = {0, 0, 0, half, half, 0, half, 0, 0};
    const auto along = [&] { return spacing * static_cast<float>(random() % 65536) / 8192; };
    while (places.size() < 3 * count) {
        places.push_back(along());
        places.push_back(along());
        places.push_back(0);
    }
    return places;
}

/// Errors in percent.
struct Errors {
    double least = 1e9, most = -1e9, mean = 0;
};

void Measure(const Slab& slab, float solid_angle, Errors* errors) {
    const std::vector<float> places = Places(slab.Spacing(), 300);
    const PtcSubsurface material = Material(solid_angle);
    std::vector<float> light(places.size());
    const double seconds = Seconds([&] {
        for (std::size_t i = 0; i < places.size(); i += 3)
            if (!slab.Light().Subsurface({&places[i]}, material, &light[i])) Die("a place");
    });
    for (std::size_t k = 0; k < 3; ++k) {
        Errors& of = errors[k] = {};
        const double truth = Formula(kCases[k].absorbed);
        for (std::size_t i = k; i < light.size(); i += 3) {
            const double error = 100 * (light[i] / truth - 1);
            of.least = std::min(of.least, error);
            of.most = std::max(of.most, error);
            of.mean += 3 * error / static_cast<double>(light.size());
        }
    }
    const double count = static_cast<double>(places.size()) / 3;
    std::printf("spacing %-5g solid angle %-6g", double{slab.Spacing()}, double{solid_angle});
    for (std::size_t k = 0; k < 3; ++k)
        std::printf("  %s %+6.2f to %+6.2f", kCases[k].name, errors[k].least, errors[k].most);
    std::printf("  %7.0f places/s\n", count / seconds);
}

double ProcessorSeconds() {
    timespec time;
    (void)clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// In the processor time of the slowest thread, so that other programs do not count.
double PlacesASecond(const Slab& slab, int threads) {
    const std::vector<float> places = Places(slab.Spacing(), 3000);
    const PtcSubsurface material = Material(0.05f);
    std::vector<double> seconds(static_cast<std::size_t>(threads));
    std::vector<std::jthread> crew;
    crew.reserve(seconds.size());
    for (double& own : seconds)
        crew.emplace_back([&] {
            float light[3];
            const double begin = ProcessorSeconds();
            for (std::size_t i = 0; i < places.size(); i += 3)
                if (!slab.Light().Subsurface({&places[i]}, material, light)) Die("a place");
            own = ProcessorSeconds() - begin;
        });
    crew.clear();  // joins
    return threads * static_cast<double>(places.size()) / 3 /
           *std::max_element(seconds.begin(), seconds.end());
}

}  // namespace

int main() {
    PtcConfigure(2, 1 << 18, 1 << 18, nullptr);
    constexpr float kHalf = 90;
    Errors errors[3];
    for (const float spacing : {0.25f, 0.5f, 1.0f, 2.0f, 4.0f}) {
        const Slab slab(spacing, kHalf);
        for (const float solid_angle : {0.0125f, 0.05f, 0.2f}) Measure(slab, solid_angle, errors);
    }
    for (const float coarse : {1.0f, 2.0f}) {
        Errors of[3][3];
        for (int i = 0; i < 3; ++i) Measure(Slab(std::ldexp(coarse, -i), kHalf), 0.05f, of[i]);
        for (std::size_t k = 0; k < 3; ++k)
            std::printf("  %s: 4 times the points %+.2f, 16 times %+.2f\n", kCases[k].name,
                        of[1][k].mean - of[0][k].mean, of[2][k].mean - of[0][k].mean);
    }
    const Slab slab(0.5f, kHalf);
    (void)PlacesASecond(slab, 2);
    std::vector<double> ratios(5);
    for (double& ratio : ratios) ratio = PlacesASecond(slab, 2) / PlacesASecond(slab, 1);
    const Rate rate = RateOf(ratios);
    std::printf("two threads / one: %.2f (best %.2f)\n", rate.median, rate.best);
    std::printf("one thread: %.0f places a second\n", PlacesASecond(slab, 1));
}
