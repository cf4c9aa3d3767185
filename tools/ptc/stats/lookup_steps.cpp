// LookupSteps: the place of a point, and one lookup there.

#include "tools/ptc/stats/lookup_steps.h"

#include <span>
#include <vector>

#include "tools/clouds/spacing.h"

namespace {

constexpr std::int32_t kNearest = 8;

}  // namespace

PtcLookup LookupSteps::Make(PtcManagedFile* file, bool filters) {
    PtcVariables declared;
    std::vector<const char*> names;
    if (filters && PtcGetVariables(file, &declared, nullptr))
        for (const std::string& name : declared.names) names.push_back(name.c_str());
    return PtcLookup({.files = &file,
                      .file_count = 1,
                      .variables = names.data(),
                      .variable_count = static_cast<int>(names.size())});
}

LookupSteps::LookupSteps(PtcManagedFile* file, bool filters)
    : file_(file), filters_(filters), lookup_(Make(file, filters)), is_usable_(lookup_) {
    if (!is_usable_ || !filters) return;
    float spacing = 0;
    is_usable_ = FindSpacing(lookup_, std::span(&file_, 1), &spacing);
    radius_ = kUsualFilterSpacings * spacing;
}

bool LookupSteps::At(std::int64_t index) const {
    float position[3];
    float normal[3];
    if (PtcGetPoints(file_, index, 1, {position, normal, nullptr, nullptr}) != 1) return false;
    if (!filters_) {
        std::int64_t indexes[kNearest];
        std::int32_t found = 0;
        return lookup_.Nearest({position}, {.most = kNearest}, {.indexes = indexes}, &found);
    }
    // Of the thread, so that a step takes no memory after the first.
    thread_local std::vector<float> values;
    const auto floats = static_cast<std::size_t>(lookup_.FloatsPerPoint());
    values.resize(floats + static_cast<std::size_t>(lookup_.VariableCount()));
    const bool has_normal = normal[0] != 0 || normal[1] != 0 || normal[2] != 0;
    return lookup_.Sample({position, has_normal ? normal : nullptr}, {.radius = radius_},
                          values.data(), values.data() + floats);
}
