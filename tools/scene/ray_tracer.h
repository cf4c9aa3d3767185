// RayTracer: finds the surface that a ray hits, with Embree.
//
// Units      world units; directions have unit length.
// Errors     the constructor throws Failure when Embree cannot start or cannot build.
// Ownership  borrows the scene, which must outlive it; owns Embree's device and tree.
// Threads    one thread builds it; any number may trace rays at once. An answer depends on the ray
//            alone.

#pragma once

#include <embree3/rtcore.h>

#include <memory>
#include <optional>

#include "tools/scene/scene.h"

namespace scene {

class RayTracer {
public:
    explicit RayTracer(const Scene& scene);

    struct Hit {
        float distance;
        Vec3f facing;  ///< unit normal of the facet, on the side that the ray came from
        const Surface* surface;
        TrianglePlace place;  ///< on the triangles of the surface
    };

    /// The first surface on the way from `origin` along `direction`, or none.
    std::optional<Hit> Nearest(Vec3f origin, Vec3f direction) const;

    /// Whether a surface lies between the two points.
    bool Blocked(Vec3f from, Vec3f to) const;

private:
    struct Release {
        void operator()(RTCDevice device) const { rtcReleaseDevice(device); }
        void operator()(RTCScene scene) const { rtcReleaseScene(scene); }
    };
    using Device = std::unique_ptr<RTCDeviceTy, Release>;
    using Tree = std::unique_ptr<RTCSceneTy, Release>;

    /// Passes one surface's triangles to Embree, under `number`.
    void Attach(const Surface& surface, unsigned number);

    const Scene& scene_;
    const Device device_;
    const Tree tree_;
};

}  // namespace scene
