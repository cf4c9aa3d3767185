// Known scenes: written by the library, organised with light, in a folder that ends with the call.

#include "bench/light/known_scenes.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <functional>
#include <numbers>

#include "bench/light/cloud_writer.h"
#include "ptc/organise.h"
#include "tools/scene/random.h"

namespace accuracy {

namespace {

constexpr Vec3f kWhite = {1, 1, 1};
constexpr int kPlaces = 1000;

/// Of the box, in points along an edge of length 2; the points of ball and plane are as dense.
constexpr int kAlong = 128;
constexpr float kSpacing = 2.0f / kAlong;
constexpr float kArea = kSpacing * kSpacing;
constexpr float kRadius = 0.5f * std::numbers::sqrt2_v<float> * kSpacing;

constexpr float kBall = 0.5f;    ///< radius of the ball
constexpr float kHeight = 0.8f;  ///< of its centre above the plane
constexpr float kReach = 3;      ///< half the width of the plane

class ScratchFolder {
public:
    ScratchFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "light_XXXXXX").string();
        if (!mkdtemp(name.data())) FailWithErrno(name);
        path_ = name;
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string File(const char* name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

/// A square of points around `centre`; `along` and `across` are half its edges.
void WriteSquare(CloudWriter* cloud, Vec3f centre, Vec3f along, Vec3f across, int count) {
    const Vec3f normal = Normalized(Cross(along, across));
    const auto step = [count](int i) {
        return 2 * (static_cast<float>(i) + 0.5f) / static_cast<float>(count) - 1;
    };
    for (int j = 0; j < count; ++j)
        for (int i = 0; i < count; ++i)
            cloud->Write(centre + along * step(i) + across * step(j), normal, kRadius, kArea,
                         kWhite);
}

void WriteBox(CloudWriter* cloud) {
    const Vec3f axes[] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    for (std::size_t k = 0; k < 3; ++k)
        for (const float side : {-1.0f, 1.0f})
            WriteSquare(cloud, axes[k] * side, axes[(k + 1) % 3] * -side, axes[(k + 2) % 3],
                        kAlong);
}

/// Points on a spiral from pole to pole, all of the same area.
void WriteBall(CloudWriter* cloud) {
    const double sphere = 4 * std::numbers::pi * double{kBall} * double{kBall};
    const int count = static_cast<int>(sphere / double{kArea});
    const double turn = std::numbers::pi * (3 - std::sqrt(5.0));
    for (int i = 0; i < count; ++i) {
        const double height = 1 - 2 * (i + 0.5) / count;
        const double around = turn * i;
        const double width = std::sqrt(1 - height * height);
        const Vec3f normal = {static_cast<float>(width * std::cos(around)),
                              static_cast<float>(height),
                              static_cast<float>(width * std::sin(around))};
        cloud->Write(Vec3f{0, kHeight, 0} + normal * kBall, normal, kRadius, kArea, kWhite);
    }
}

void WriteBallOverPlane(CloudWriter* cloud) {
    WriteBall(cloud);
    WriteSquare(cloud, {}, {0, 0, kReach}, {kReach, 0, 0}, static_cast<int>(kReach) * kAlong);
}

/// The cloud that `write` writes, organised with light.
OpenedCloud Organised(const ScratchFolder& folder, const char* name,
                      const std::function<void(CloudWriter*)>& write) {
    const std::string points = folder.File((std::string(name) + "_points.ptc").c_str());
    const std::string output = folder.File(name);
    CloudWriter cloud(points);
    write(&cloud);
    cloud.Finish();
    const char* const inputs[] = {points.c_str()};
    PtcOrganiseRequest request;
    request.inputs = inputs;
    request.input_count = 1;
    request.output = output.c_str();
    request.leaf_points = 16;
    request.light = true;
    if (!PtcOrganise(request, nullptr)) throw Failure(PtcLastFailure().text);
    return {output, "_reflected"};
}

/// A place with the occlusion that it has.
struct KnownPlace {
    Place place;
    double occlusion;
};

/// In the box and on its walls.
std::vector<KnownPlace> PlacesInBox() {
    std::vector<KnownPlace> places;
    for (std::uint64_t i = 0; i < kPlaces; ++i) {
        const scene::Point2 a = scene::RandomPoint(2 * i);
        const scene::Point2 b = scene::RandomPoint(2 * i + 1);
        std::array<float, 3> position = {1.8f * a.u - 0.9f, 1.8f * a.v - 0.9f, 1.8f * b.u - 0.9f};
        const float up = 2 * b.v - 1;
        const float around = 2 * std::numbers::pi_v<float> * scene::RandomPoint(~i).u;
        const float width = std::sqrt(1 - up * up);
        Vec3f normal = {width * std::cos(around), up, width * std::sin(around)};
        if (i % 2 == 0) {  // on the wall with this number
            const std::size_t wall = i / 2 % 6;
            const float side = wall % 2 == 0 ? -1 : 1;
            std::array<float, 3> inwards = {0, 0, 0};
            inwards[wall / 2] = -side;
            position[wall / 2] = side;
            normal = {inwards[0], inwards[1], inwards[2]};
        }
        places.push_back({{{position[0], position[1], position[2]}, normal, {}}, 1});
    }
    return places;
}

/// On the plane, outwards from below the ball, which is above the horizon of all of them.
std::vector<KnownPlace> PlacesOnPlane() {
    std::vector<KnownPlace> places;
    for (int i = 0; i < kPlaces; ++i) {
        const scene::Point2 at = scene::RandomPoint(static_cast<std::uint64_t>(i));
        const Vec3f position = {(2 * at.u - 1) * 2, 0, (2 * at.v - 1) * 2};
        const Vec3f way = Vec3f{0, kHeight, 0} - position;
        const double squared = double{Dot(way, way)};
        const double cosine = double{kHeight} / std::sqrt(squared);
        places.push_back(
            {{position, {0, 1, 0}, {}}, double{kBall} * double{kBall} / squared * cosine});
    }
    return places;
}

void PrintScene(const char* name, const OpenedCloud& cloud, const std::vector<KnownPlace>& places,
                const Questions& questions) {
    for (const NamedQuality& quality : questions.qualities)
        for (const Quantity quantity : {Quantity::kOcclusion, Quantity::kIndirect}) {
            const PtcGathering settings = SettingsOf(quantity, quality.quality, questions.bias);
            double least = 0;
            double most = 0;
            double squared = 0;
            Vec3f at;
            for (const KnownPlace& known : places) {
                const double error =
                    GatherAt(cloud.Light(), quantity, known.place, settings).x - known.occlusion;
                if (std::abs(error) > std::max(-least, most)) at = known.place.position;
                least = std::min(least, error);
                most = std::max(most, error);
                squared += error * error;
            }
            fmt::print("{:<16} {:<8} {:<16} {:>8.4f} {:>8.4f} {:>8.4f}  {:.3f} {:.3f} {:.3f}\n",
                       name, quality.name, NameOf(quantity), std::sqrt(squared / kPlaces), least,
                       most, at.x, at.y, at.z);
        }
}

}  // namespace

void PrintKnownScenes(const Questions& questions) {
    const ScratchFolder folder;
    fmt::print("\n{:<16} {:<8} {:<16} {:>8} {:>8} {:>8}  {}\n", "known scene", "quality",
               "error of", "rms", "least", "most", "largest at");
    const OpenedCloud box = Organised(folder, "box.ptc", WriteBox);
    PrintScene("closed box", box, PlacesInBox(), questions);
    const OpenedCloud ball = Organised(folder, "ball.ptc", WriteBallOverPlane);
    PrintScene("ball over plane", ball, PlacesOnPlane(), questions);
}

}  // namespace accuracy
