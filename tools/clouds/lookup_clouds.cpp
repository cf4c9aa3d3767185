// LookupClouds: opening the files, and making lookups.

#include "tools/clouds/lookup_clouds.h"

#include <algorithm>
#include <utility>

#include "tools/clouds/open_through_caches.h"
#include "tools/common/failure.h"

LookupClouds::LookupClouds(const std::vector<std::string>& names) : inputs_(names) {
    for (int file = 0; file < Count(); ++file) Open(file);
}

void LookupClouds::Open(int file) {
    PtcFile& open = files_.emplace_back();
    try {
        open = OpenThroughCaches(inputs_[file]);
    } catch (const Failure& failure) {
        failures_.emplace_back(failure.what());
    }
    handles_.push_back(open.Get());
    PtcVariables declared;
    if (!open || !PtcGetVariables(open.Get(), &declared, nullptr)) return;
    for (std::size_t i = 0; i < declared.names.size(); ++i) {
        std::string& name = declared.names[i];
        const auto& known = variables_.names;
        if (std::find(known.begin(), known.end(), name) == known.end())
            AddVariable(std::move(declared.types[i]), std::move(name), declared.sizes[i],
                        &variables_);
    }
}

/// The library keeps the reason for the last file only, so each is asked for by itself.
void LookupClouds::TellUnused(const PtcLookup& lookup) {
    // Those beyond the limit are the subject of a message of the library.
    const int most = std::min(Count(), kPtcMostLookupFiles);
    for (int file = 0; file < most; ++file) {
        PtcManagedFile* const handle = handles_[static_cast<std::size_t>(file)];
        if (!handle || lookup.UsesFile(file)) continue;
        const PtcLookup alone({.files = &handle, .file_count = 1});
        failures_.push_back(alone ? Name(file) + ": cannot be looked up" : FailureText());
    }
}

PtcLookup LookupClouds::Make(CloudVariables* variables) {
    std::vector<const char*> names;
    for (const std::string& name : variables->names) names.push_back(name.c_str());
    PtcLookup lookup({.files = handles_.data(),
                      .file_count = Count(),
                      .variables = names.data(),
                      .variable_count = static_cast<int>(names.size())});
    TellUnused(lookup);
    CloudVariables answered;
    for (std::size_t i = 0; i < names.size(); ++i)
        AddVariable(std::move(variables->types[i]), std::move(variables->names[i]),
                    lookup.VariableSize(static_cast<int>(i)), &answered);
    *variables = std::move(answered);
    return lookup;
}

void AddVariable(std::string type, std::string name, std::int32_t size, CloudVariables* variables) {
    variables->types.push_back(std::move(type));
    variables->names.push_back(std::move(name));
    variables->sizes.push_back(size);
    variables->data_size += size;
}
