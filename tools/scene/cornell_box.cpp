// The bundled scene: a room with a red and a green wall, and three solids that catch their light.

#include <memory>

#include "tools/scene/patch.h"
#include "tools/scene/scene.h"

namespace scene {

namespace {

constexpr Material kWhite = {{0.74f, 0.72f, 0.68f}, {}};
constexpr Material kRed = {{0.63f, 0.06f, 0.05f}, {}};
constexpr Material kGreen = {{0.14f, 0.46f, 0.10f}, {}};
constexpr Material kPlaster = {kWhite.albedo, {}, true};
constexpr Material kBlue = {{0.16f, 0.28f, 0.62f}, {}, true};
constexpr Material kSand = {{0.72f, 0.56f, 0.30f}, {}, true};

/// Hangs a little below the ceiling, so that neither hides the other.
constexpr AreaLight kLamp = {
    {-0.35f, 0.995f, -0.25f}, {0.7f, 0, 0}, {0, 0, 0.6f}, {19.0f, 17.0f, 13.4f}};

// Curved surfaces are so finely faceted for rays that a facet never lies farther from the smooth
// shape than the distance at which rays start.
constexpr int kCurvedFacets = 96;
constexpr int kFlatFacets = 1;

void AddFlat(Scene* scene, const Material& material, const Dicing& dicing, const Shape& shape) {
    scene->Add(std::make_unique<Patch>(material, dicing, shape, kFlatFacets));
}

/// An upright box on the floor. `right` and `back` are horizontal edges from its near `corner`.
struct Box {
    Vec3f corner;
    Vec3f right;
    Vec3f back;
    float height;
};

/// All sides but the bottom, which nothing sees.
void AddBox(Scene* scene, const Material& material, const Dicing& dicing, const Box& box) {
    const Vec3f up = {0, box.height, 0};
    const Vec3f opposite = box.corner + box.right + box.back;
    AddFlat(scene, material, dicing, Parallelogram(box.corner, up, box.right));
    AddFlat(scene, material, dicing, Parallelogram(box.corner + box.right, up, box.back));
    AddFlat(scene, material, dicing, Parallelogram(opposite, up, -box.right));
    AddFlat(scene, material, dicing, Parallelogram(box.corner + box.back, up, -box.back));
    AddFlat(scene, material, dicing, Parallelogram(box.corner + up, box.back, box.right));
}

}  // namespace

Scene MakeRoom(const Dicing& dicing) {
    constexpr Vec3f kX = {2, 0, 0};
    constexpr Vec3f kY = {0, 2, 0};
    constexpr Vec3f kZ = {0, 0, 2};
    constexpr Vec3f kNear = {-1, -1, -1};  // the corner at the left, on the floor, in front
    Scene room(kLamp);
    AddFlat(&room, kWhite, dicing, Parallelogram(kNear, kZ, kX));       // floor
    AddFlat(&room, kWhite, dicing, Parallelogram(kNear + kY, kX, kZ));  // ceiling
    AddFlat(&room, kWhite, dicing, Parallelogram(kNear + kZ, kY, kX));  // back
    AddFlat(&room, kRed, dicing, Parallelogram(kNear, kY, kZ));         // left
    AddFlat(&room, kGreen, dicing, Parallelogram(kNear + kX, kZ, kY));  // right
    AddFlat(&room, {{}, kLamp.emission}, dicing,
            Parallelogram(kLamp.corner, kLamp.edge_u, kLamp.edge_v));
    return room;
}

Scene MakeCornellBox(const Dicing& dicing) {
    Scene scene = MakeRoom(dicing);
    AddBox(&scene, kPlaster, dicing,
           {{-0.76f, -1, 0.2f}, {0.56f, 0, -0.17f}, {0.17f, 0, 0.56f}, 1.2f});
    for (int face = 0; face < 6; ++face)
        scene.Add(std::make_unique<Patch>(
            kSand, dicing, SphereSixth({0.45f, -0.62f, 0.15f}, 0.38f, face), kCurvedFacets));
    scene.Add(std::make_unique<Patch>(kBlue, dicing, Torus({-0.18f, -0.89f, -0.5f}, 0.28f, 0.11f),
                                      kCurvedFacets));
    return scene;
}

}  // namespace scene
