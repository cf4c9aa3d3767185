// Answers: calls of the library.

#include "bench/light/answers.h"

#include "tools/common/failure.h"

namespace accuracy {

namespace {

PtcFile Opened(const std::string& file) {
    PtcFile opened(file.c_str());
    if (!opened) throw Failure(PtcLastFailure().text);
    return opened;
}

PtcLight LightOf(PtcManagedFile* file) {
    PtcManagedFile* const files[] = {file};
    PtcLight light({files, 1});
    if (!light) throw Failure(PtcLastFailure().text);
    return light;
}

PtcLookup ColoursOf(PtcManagedFile* file, const std::string& colour) {
    PtcManagedFile* const files[] = {file};
    const char* const names[] = {colour.c_str()};
    PtcLookup lookup({files, 1, names, 1});
    if (!lookup) throw Failure(PtcLastFailure().text);
    if (lookup.FloatsPerPoint() != 3) throw Failure("the cloud has no color " + colour);
    return lookup;
}

}  // namespace

OpenedCloud::OpenedCloud(const std::string& file, const std::string& colour)
    : file_(Opened(file)), light_(LightOf(file_.Get())), colours_(ColoursOf(file_.Get(), colour)) {
    PtcHeader header;
    if (!PtcGetHeader(file_.Get(), &header)) throw Failure(PtcLastFailure().text);
    points_ = header.points;
    largest_radius_ = header.largest_radius;
}

std::vector<NamedQuality> QualitiesOf(const std::string& name) {
    const NamedQuality all[] = {
        {"coarse", kPtcCoarseGather}, {"default", kPtcUsualGather}, {"fine", kPtcFineGather}};
    std::vector<NamedQuality> chosen;
    for (const NamedQuality& quality : all)
        if (name == "all" || name == quality.name) chosen.push_back(quality);
    return chosen;
}

PtcGathering SettingsOf(Quantity quantity, const PtcGatherQuality& quality, float bias) {
    PtcGathering settings;
    settings.quality = quality;
    settings.bias = bias;
    if (quantity == Quantity::kNearOcclusion) settings.within = kNear;
    return settings;
}

Vec3d GatherAt(const PtcLight& light, Quantity quantity, const Place& place,
               const PtcGathering& settings) {
    const PtcPlace at{&place.position.x, &place.normal.x};
    float answer[3] = {};
    if (quantity == Quantity::kIndirect) {
        if (!light.Indirect(at, settings, answer)) throw Failure(PtcLastFailure().text);
        return {double{answer[0]}, double{answer[1]}, double{answer[2]}};
    }
    if (!light.Occlusion(at, settings, answer, nullptr)) throw Failure(PtcLastFailure().text);
    return {double{answer[0]}, double{answer[0]}, double{answer[0]}};
}

}  // namespace accuracy
