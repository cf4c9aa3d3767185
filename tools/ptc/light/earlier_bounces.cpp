// EarlierBounces: one gathering after the other.

#include "tools/ptc/light/earlier_bounces.h"

#include <algorithm>
#include <utility>

#include "tools/ptc/convert/cloud_source.h"
#include "tools/ptc/light/point_pieces.h"

namespace lighting {

EarlierBounces::EarlierBounces(const Job& job)
    : job_(job), layout_(job.kinds), clouds_(&job.clouds) {
    for (int bounce = 1; bounce < job.options.bounces; ++bounce) Run(bounce == 1);
}

void EarlierBounces::Sum(std::int64_t first, std::span<const float> light,
                         std::vector<float>* values) const {
    const std::size_t count = light.size() / 3;
    values->resize(count * layout_.floats);
    sums_.Read(first * static_cast<std::int64_t>(layout_.floats), *values);
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t colour = 0; colour < 3; ++colour)
            (*values)[i * layout_.floats + layout_.indirect + colour] += light[3 * i + colour];
}

void EarlierBounces::Run(bool is_first) {
    const auto source = convert::OpenCloudSource(job_.onto);
    auto next = std::make_unique<BounceCloud>(job_.onto.Name(), source->Header(),
                                              job_.options.albedo, job_.clouds.AreaChannel());
    const PlaceLight gathering(*clouds_, job_.options,
                               is_first ? job_.kinds : Kinds{.indirect = true});
    PlaceBatch places;
    std::vector<float> values, light;
    ForEachPiece(*source, [&](std::span<const std::byte> records, std::int64_t first) {
        DecodePlaces(records, source->Header().PointBytes(), true, &places);
        if (is_first) {
            dark_ += gathering.Gather(places, &values);
            TakeIndirect(values, &light);
        } else {
            (void)gathering.Gather(places, &light);  // the same places were dark before
            Sum(first, light, &values);
        }
        sums_.Write(first * static_cast<std::int64_t>(layout_.floats), values);
        next->Add(records, light);
    });
    next->Organise(job_.options.threads);
    clouds_ = &next->Clouds();
    last_ = std::move(next);
}

void EarlierBounces::TakeIndirect(const std::vector<float>& values,
                                  std::vector<float>* light) const {
    const std::size_t count = values.size() / layout_.floats;
    light->resize(3 * count);
    for (std::size_t i = 0; i < count; ++i)
        std::copy_n(&values[i * layout_.floats + layout_.indirect], 3, &(*light)[3 * i]);
}

}  // namespace lighting
