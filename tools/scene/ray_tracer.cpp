// RayTracer: passes the surfaces to Embree, traces single rays.
//
// Rays are traced one at a time, so that an answer depends neither on other rays nor on the way
// the work is divided.

#include "tools/scene/ray_tracer.h"

#include <fmt/format.h>

#include <cstring>
#include <limits>

#include "tools/common/failure.h"

namespace scene {

namespace {

// One building thread always makes the same tree. One instruction set for all machines, because
// wider ones round differently in places, and one different bit in a hit changes a sample's value.
constexpr const char* kDeviceSettings = "threads=1,isa=sse4.2";

/// A copy of `items` as a buffer of `geometry`.
template <class Item>
void SetBuffer(RTCGeometry geometry, RTCBufferType type, RTCFormat format,
               const std::vector<Item>& items) {
    void* const copy =
        rtcSetNewGeometryBuffer(geometry, type, 0, format, sizeof(Item), items.size());
    if (!copy) throw Failure("Embree: no memory for the scene");
    std::memcpy(copy, items.data(), items.size() * sizeof(Item));
}

/// A ray from its origin on; `length` is in units of the direction.
RTCRay Ray(Vec3f origin, Vec3f direction, float length) {
    RTCRay ray{};
    ray.org_x = origin.x;
    ray.org_y = origin.y;
    ray.org_z = origin.z;
    ray.dir_x = direction.x;
    ray.dir_y = direction.y;
    ray.dir_z = direction.z;
    ray.tfar = length;
    ray.mask = ~0u;
    return ray;
}

}  // namespace

RayTracer::RayTracer(const Scene& scene)
    : scene_(scene),
      device_(rtcNewDevice(kDeviceSettings)),
      tree_(device_ ? rtcNewScene(device_.get()) : nullptr) {
    if (!tree_) throw Failure("Embree: cannot start");
    // Robust: a ray does not slip through the edge between two triangles.
    rtcSetSceneFlags(tree_.get(), RTC_SCENE_FLAG_ROBUST);
    for (unsigned number = 0; number < scene.Surfaces().size(); ++number)
        Attach(*scene.Surfaces()[number], number);
    rtcCommitScene(tree_.get());
    const RTCError error = rtcGetDeviceError(device_.get());
    if (error != RTC_ERROR_NONE)
        throw Failure(fmt::format("Embree: error {} while building", static_cast<int>(error)));
}

void RayTracer::Attach(const Surface& surface, unsigned number) {
    const TriangleMesh mesh = surface.Tessellate();
    if (mesh.triangles.empty()) return;
    const RTCGeometry geometry = rtcNewGeometry(device_.get(), RTC_GEOMETRY_TYPE_TRIANGLE);
    SetBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, RTC_FORMAT_FLOAT3, mesh.vertices);
    SetBuffer(geometry, RTC_BUFFER_TYPE_INDEX, RTC_FORMAT_UINT3, mesh.triangles);
    rtcCommitGeometry(geometry);
    // The number of the hit geometry is then the number of the surface.
    rtcAttachGeometryByID(tree_.get(), geometry, number);
    rtcReleaseGeometry(geometry);
}

std::optional<RayTracer::Hit> RayTracer::Nearest(Vec3f origin, Vec3f direction) const {
    RTCRayHit query{};
    query.ray = Ray(origin, direction, std::numeric_limits<float>::infinity());
    query.hit.geomID = RTC_INVALID_GEOMETRY_ID;
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    rtcIntersect1(tree_.get(), &context, &query);
    if (query.hit.geomID == RTC_INVALID_GEOMETRY_ID) return std::nullopt;

    // Facets have two sides: a ray that hits one from behind sees its back.
    const Vec3f normal = Normalized(Vec3f{query.hit.Ng_x, query.hit.Ng_y, query.hit.Ng_z});
    return Hit{query.ray.tfar,
               Dot(normal, direction) > 0 ? -normal : normal,
               scene_.Surfaces()[query.hit.geomID].get(),
               {query.hit.primID, query.hit.u, query.hit.v}};
}

bool RayTracer::Blocked(Vec3f from, Vec3f to) const {
    // The direction is the whole way, so that the end of the ray is exactly at 1.
    RTCRay ray = Ray(from, to - from, 1);
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    rtcOccluded1(tree_.get(), &context, &ray);
    return ray.tfar < 0;  // Embree's mark for a hit
}

}  // namespace scene
