// Lighting by rays: what the modes show when nothing is looked up.

#include "tools/render/lighting.h"

namespace render {

namespace {

class DirectLighting : public Lighting {
public:
    DirectLighting(const scene::Shader& shader, int rays) : shader_(shader), rays_(rays) {}

    Vec3f Sharp(const Hit& hit) const override { return DirectLight(hit, shader_, rays_); }

private:
    const scene::Shader& shader_;
    const int rays_;
};

/// Nothing is shared: every hit has all of its rays.
class RadiosityTruth : public Lighting {
public:
    explicit RadiosityTruth(const scene::Shader& shader) : shader_(shader) {}

    Vec3f Sharp(const Hit& hit) const override {
        return shader_.Evaluate(hit.place, hit.Material(), hit.seed).radiosity;
    }

private:
    const scene::Shader& shader_;
};

class OcclusionTruth : public Lighting {
public:
    OcclusionTruth(const Options& options, const scene::Shader& shader)
        : options_(options), shader_(shader) {}

    Vec3f Sharp(const Hit& hit) const override {
        const auto [r, g, b] = options_.ambient;
        const float open =
            1 - shader_.Around(hit.place, {options_.rays, 0, options_.reach}, hit.seed).occlusion;
        return DirectLight(hit, shader_, options_.shadow_rays) +
               hit.Material().albedo * Vec3f{r, g, b} * open;
    }

private:
    const Options& options_;
    const scene::Shader& shader_;
};

/// The clouds have light that was reflected once more after the first surface, so these rays have
/// two bounces.
class IndirectTruth : public Lighting {
public:
    IndirectTruth(const Options& options, const scene::Shader& shader)
        : options_(options), shader_(shader) {}

    Vec3f Sharp(const Hit& hit) const override {
        constexpr int kBounces = 2;
        const Vec3f arriving =
            shader_.Around(hit.place, {options_.rays, kBounces}, hit.seed).arriving;
        return DirectLight(hit, shader_, options_.shadow_rays) + hit.Material().albedo * arriving;
    }

private:
    const Options& options_;
    const scene::Shader& shader_;
};

}  // namespace

Vec3f DirectLight(const Hit& hit, const scene::Shader& shader, int rays) {
    const scene::Material& material = hit.Material();
    return material.emission + material.albedo * shader.FromLamp(hit.place, rays, hit.seed);
}

std::unique_ptr<Lighting> MakeRayLighting(const Options& options, const scene::Shader& shader) {
    if (options.light == Light::kRadiosity) return std::make_unique<RadiosityTruth>(shader);
    if (options.light == Light::kOcclusion)
        return std::make_unique<OcclusionTruth>(options, shader);
    if (options.light == Light::kIndirect) return std::make_unique<IndirectTruth>(options, shader);
    return std::make_unique<DirectLighting>(shader, options.shadow_rays);
}

}  // namespace render
