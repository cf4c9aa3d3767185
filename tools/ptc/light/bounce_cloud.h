// BounceCloud: the points of a cloud with the light that they pass on, for the next bounce.
//
// Units      a colour is the light that an eye sees of a matt surface.
// Errors     a Failure.
// Ownership  owns its temporary files; borrows nothing but what a call gets.
// Threads    one caller at a time; any thread may gather from Clouds().

#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tools/common/spool.h"
#include "tools/ptc/convert/point_stream.h"
#include "tools/ptc/light/light_clouds.h"
#include "tools/ptc/light/light_options.h"

namespace lighting {

class BounceCloud {
public:
    /// `file`: the name of the cloud whose points are added, with this header. `area_channel`: the
    /// one that its areas come from; empty: its radii.
    BounceCloud(const std::string& file, const StoredHeader& header, const Albedo& albedo,
                const std::string& area_channel);

    /// Adds points, which get the albedo times `light` as colour, 3 floats each. An albedo counts
    /// as 0 where it is below that or not a number, and as 1 above it.
    void Add(std::span<const std::byte> records, std::span<const float> light);

    /// Caller: has added all points, here and in what follows.
    void Organise(int threads);
    const LightClouds& Clouds() const { return *clouds_; }

private:
    float AlbedoAt(const std::byte* record, std::size_t colour) const;

    const std::size_t record_;  ///< bytes of a point that is added
    const Albedo albedo_;
    const bool has_area_;
    std::size_t albedo_at_ = 0;  ///< bytes from the record's start
    std::size_t area_at_ = 0;
    std::unique_ptr<Spool> spool_ = std::make_unique<Spool>();
    std::unique_ptr<convert::PointSink> sink_;
    std::size_t out_record_ = 0;
    std::vector<std::byte> out_;
    std::unique_ptr<LibraryInputs> inputs_;
    std::unique_ptr<LightClouds> clouds_;
};

}  // namespace lighting
