// Lighting by clouds: values that are looked up, and light that is gathered.

#include <atomic>
#include <cmath>
#include <map>
#include <string>

#include "ptc/light.h"
#include "ptc/lookup.h"
#include "tools/clouds/lookup_clouds.h"
#include "tools/clouds/spacing.h"
#include "tools/common/failure.h"
#include "tools/render/lighting.h"

namespace render {

namespace {

/// Wide enough for four neighbours on a regular grid everywhere, and little more.
constexpr float kFilterSpacings = 1.5f;

/// Otherwise a disc whose centre is on the surface hides it where rounding puts the centre above
/// it.
constexpr float kBiasSpacings = 0.05f;

/// All clouds have to be usable: a picture that lacks the light of one of them is wrong.
void RequireAll(const LookupClouds& clouds) {
    if (!clouds.Failures().empty()) throw Failure(clouds.Failures().front());
    if (clouds.Count() > kPtcMostLookupFiles)
        throw Failure("more than " + std::to_string(kPtcMostLookupFiles) + " clouds");
}

float SpacingOf(const LookupClouds& clouds, const PtcLookup& lookup) {
    float spacing = 0;
    if (!FindSpacing(lookup, clouds.Handles(), &spacing)) throw Failure(clouds.FailureText());
    return spacing;
}

/// The whole baked light, filtered at each hit.
class RadiosityLookup : public Lighting {
public:
    explicit RadiosityLookup(const Options& options)
        : clouds_(options.clouds),
          lookup_(Make(options.variable)),
          filter_{FilterRadius(options), 0} {}

    Vec3f Sharp(const Hit& hit) const override {
        // Filtered, a lamp would take in what is dark close behind it.
        if (hit.Material().emission != Vec3f{}) return hit.Material().emission;
        const auto& [position, normal, facing] = hit.place;
        Vec3f value;
        float weight = 0;
        if (!lookup_.Sample({&position.x, &normal.x}, filter_, &value.x, &weight))
            throw Failure(clouds_.FailureText());
        if (weight == 0) ++holes_;
        return value;
    }

    std::uint64_t Holes() const override { return holes_; }

private:
    PtcLookup Make(const std::string& name) {
        RequireAll(clouds_);
        CloudVariables wanted;
        AddVariable("color", name, 3, &wanted);
        PtcLookup lookup = clouds_.Make(&wanted);
        RequireAll(clouds_);
        for (int file = 0; file < clouds_.Count(); ++file) RequireColor(file, name);
        return lookup;
    }

    /// A file without the variable would answer black.
    void RequireColor(int file, const std::string& name) const {
        PtcVariables declared;
        (void)PtcGetVariables(clouds_.Handles()[static_cast<std::size_t>(file)], &declared,
                              nullptr);
        for (std::size_t i = 0; i < declared.names.size(); ++i)
            if (declared.names[i] == name && declared.sizes[i] == 3) return;
        throw Failure(clouds_.Name(file) + ": has no color " + name);
    }

    float FilterRadius(const Options& options) const {
        return options.filter ? *options.filter : kFilterSpacings * SpacingOf(clouds_, lookup_);
    }

    LookupClouds clouds_;
    const PtcLookup lookup_;
    const PtcFilter filter_;
    mutable std::atomic<std::uint64_t> holes_{0};
};

/// Direct light with shadow rays, and what is gathered.
class GatheredLighting : public Lighting {
public:
    GatheredLighting(const Options& options, const scene::Shader& shader)
        : options_(options), shader_(shader), clouds_(options.clouds), light_(Make()) {}

    Vec3f Sharp(const Hit& hit) const override {
        return DirectLight(hit, shader_, options_.shadow_rays);
    }

protected:
    static PtcPlace PlaceOf(const Hit& hit) { return {&hit.place.position.x, &hit.place.normal.x}; }

    PtcGathering Settings() {
        PtcGathering settings;
        CloudVariables none;
        settings.bias = kBiasSpacings * SpacingOf(clouds_, clouds_.Make(&none));
        settings.quality = kPtcUsualGather;
        if (!options_.solid_angle) return settings;
        // The map's resolution belongs to the size of the groups: see PtcGatherQuality.
        const float pixels = std::round(4.5f / std::sqrt(*options_.solid_angle));
        settings.quality = {*options_.solid_angle, std::clamp(static_cast<int>(pixels), 4, 64)};
        return settings;
    }

    void Require(bool gathered) const {
        if (!gathered) throw Failure(clouds_.FailureText());
    }

    void RequireColours() const {
        for (int file = 0; file < clouds_.Count(); ++file)
            if (!light_.HasColour(file))
                throw Failure(
                    clouds_.Name(file) +
                    ": has no colour to gather; ptc organize --light --color chooses one");
    }

    const Options& options_;
    const scene::Shader& shader_;
    LookupClouds clouds_;
    const PtcLight light_;

private:
    PtcLight Make() const {
        RequireAll(clouds_);
        const auto handles = clouds_.Handles();
        PtcLight light({.files = handles.data(), .file_count = clouds_.Count()});
        if (!light) throw Failure(clouds_.FailureText());
        return light;
    }
};

class OcclusionGather : public GatheredLighting {
public:
    OcclusionGather(const Options& options, const scene::Shader& shader)
        : GatheredLighting(options, shader), settings_(Settings()) {
        settings_.within = options.reach;
        settings_.falloff = 1;
    }

    Vec3f Smooth(const Hit& hit) const override {
        const auto [r, g, b] = options_.ambient;
        float occlusion = 0;
        Require(light_.Occlusion(PlaceOf(hit), settings_, &occlusion, nullptr));
        return hit.Material().albedo * Vec3f{r, g, b} * (1 - occlusion);
    }

private:
    PtcGathering settings_;
};

class IndirectGather : public GatheredLighting {
public:
    IndirectGather(const Options& options, const scene::Shader& shader)
        : GatheredLighting(options, shader), settings_(Settings()) {
        RequireColours();
    }

    Vec3f Smooth(const Hit& hit) const override {
        Vec3f arriving;
        Require(light_.Indirect(PlaceOf(hit), settings_, &arriving.x));
        return hit.Material().albedo * arriving;
    }

private:
    const PtcGathering settings_;
};

/// Things are translucent and have no other light; walls have the lamp's.
class SubsurfaceGather : public GatheredLighting {
public:
    SubsurfaceGather(const Options& options, const scene::Scene& scene, const scene::Shader& shader)
        : GatheredLighting(options, shader) {
        RequireColours();
        for (const auto& surface : scene.Surfaces()) {
            const scene::Material& material = surface->GetMaterial();
            if (material.scatters) materials_.emplace(surface.get(), MaterialOf(material));
        }
    }

    Vec3f Sharp(const Hit& hit) const override {
        return hit.Material().scatters ? Vec3f{} : GatheredLighting::Sharp(hit);
    }

    Vec3f Smooth(const Hit& hit) const override {
        if (!hit.Material().scatters) return {};
        const auto& [material, share] = materials_.at(hit.surface);
        Vec3f leaving;
        Require(light_.Subsurface(PlaceOf(hit), material, &leaving.x));
        return leaving * share;
    }

private:
    struct Translucent {
        PtcSubsurface material;
        Vec3f share;
    };

    /// What the cloud has as a colour is the light that is reflected: it has been multiplied by the
    /// albedo. So the material spreads it, and the loss is made up for.
    Translucent MaterialOf(const scene::Material& matt) const {
        const Vec3f albedo = Most(Least(matt.albedo, {0.95f, 0.95f, 0.95f}), {0.05f, 0.05f, 0.05f});
        Translucent made;
        if (!PtcSubsurfaceOf(&albedo.x, options_.mean_free_path.data(), kRefraction,
                             &made.material))
            throw Failure(PtcLastFailure().text);
        if (options_.solid_angle) made.material.solid_angle = *options_.solid_angle;
        made.share = {1 / albedo.x, 1 / albedo.y, 1 / albedo.z};
        return made;
    }

    static constexpr float kRefraction = 1.3f;
    std::map<const scene::Surface*, Translucent> materials_;
};

}  // namespace

std::unique_ptr<Lighting> MakeCloudLighting(const Options& options, const scene::Scene& scene,
                                            const scene::Shader& shader) {
    switch (options.light) {
        case Light::kOcclusion:
            return std::make_unique<OcclusionGather>(options, shader);
        case Light::kIndirect:
            return std::make_unique<IndirectGather>(options, shader);
        case Light::kSubsurface:
            return std::make_unique<SubsurfaceGather>(options, scene, shader);
        case Light::kRadiosity:
        case Light::kDirect:
            break;  // which has no clouds
    }
    return std::make_unique<RadiosityLookup>(options);
}

}  // namespace render
