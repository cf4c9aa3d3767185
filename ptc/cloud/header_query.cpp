// Header values by name.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "ptc/cloud/reader.h"

namespace {

/// Stores one value at `out`, whatever its alignment.
template <class T>
CloudStatus Store(const T& value, void* out) {
    std::memcpy(out, &value, sizeof value);
    return CloudStatus::kOk;
}

CloudStatus StoreCount(std::int64_t count, void* out) {
    constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
    return Store(static_cast<std::int32_t>(std::min(count, kMost)), out);
}

CloudStatus StoreSizes(const std::vector<std::int32_t>& sizes, void* out) {
    const std::size_t bytes = sizes.size() * sizeof sizes[0];
    auto* const array = static_cast<std::int32_t*>(std::malloc(std::max<std::size_t>(bytes, 1)));
    if (!array) return CloudStatus::kFailed;
    std::copy(sizes.begin(), sizes.end(), array);
    return Store(array, out);
}

CloudStatus StoreTexts(const std::vector<std::string>& texts, void* out) {
    auto** const array =
        static_cast<char**>(std::calloc(std::max<std::size_t>(texts.size(), 1), sizeof(char*)));
    if (!array) return CloudStatus::kFailed;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        array[i] = strdup(texts[i].c_str());
        if (array[i]) continue;
        while (i > 0) std::free(array[--i]);
        std::free(array);
        return CloudStatus::kFailed;
    }
    return Store(array, out);
}

CloudStatus StoreBox(const Cloud& cloud, void* out) {
    std::array<float, 6> box;
    std::copy(cloud.box_min.begin(), cloud.box_min.end(), box.begin());
    std::copy(cloud.box_max.begin(), cloud.box_max.end(), box.begin() + 3);
    return Store(box, out);
}

CloudStatus StoreFormat(const Cloud& cloud, void* out) {
    return Store(std::array{static_cast<float>(cloud.x_resolution),
                            static_cast<float>(cloud.y_resolution), cloud.pixel_aspect},
                 out);
}

CloudStatus StoreVariableCount(const CloudVariables& variables, void* out) {
    return StoreCount(static_cast<std::int64_t>(variables.types.size()), out);
}

struct Request {
    std::string_view name;
    CloudStatus (*store)(const Cloud& cloud, void* out);
};

// The names differ from the keys in the file; both are part of the interface.
constexpr Request kRequests[] = {
    {"version",
     [](const Cloud& c, void* out) { return Store(static_cast<std::int32_t>(c.version), out); }},
    {"bbox", StoreBox},
    {"largestradius", [](const Cloud& c, void* out) { return Store(c.largest_radius, out); }},
    {"npoints", [](const Cloud& c, void* out) { return StoreCount(c.point_count, out); }},
    {"nnodes", [](const Cloud& c, void* out) { return StoreCount(c.node_count, out); }},
    {"nvars", [](const Cloud& c, void* out) { return StoreVariableCount(c.point_variables, out); }},
    {"npointvars",
     [](const Cloud& c, void* out) { return StoreVariableCount(c.point_variables, out); }},
    {"pointvartypes",
     [](const Cloud& c, void* out) { return StoreTexts(c.point_variables.types, out); }},
    {"pointvarnames",
     [](const Cloud& c, void* out) { return StoreTexts(c.point_variables.names, out); }},
    {"varsizes",
     [](const Cloud& c, void* out) { return StoreSizes(c.point_variables.sizes, out); }},
    {"pointvarsizes",
     [](const Cloud& c, void* out) { return StoreSizes(c.point_variables.sizes, out); }},
    {"pointdatasize",
     [](const Cloud& c, void* out) { return Store(c.point_variables.data_size, out); }},
    {"ntreevars",
     [](const Cloud& c, void* out) { return StoreVariableCount(c.node_variables, out); }},
    {"treevartypes",
     [](const Cloud& c, void* out) { return StoreTexts(c.node_variables.types, out); }},
    {"treevarnames",
     [](const Cloud& c, void* out) { return StoreTexts(c.node_variables.names, out); }},
    {"treedatasize",
     [](const Cloud& c, void* out) { return Store(c.node_variables.data_size, out); }},
    {"world2eye", [](const Cloud& c, void* out) { return Store(c.world_to_eye, out); }},
    {"world2ndc", [](const Cloud& c, void* out) { return Store(c.world_to_ndc, out); }},
    {"format", StoreFormat},
    {"rootpos", [](const Cloud& c, void* out) { return Store(c.root_position, out); }},
    {"firstpointpos", [](const Cloud& c, void* out) { return Store(c.data_start, out); }},
};

}  // namespace

CloudStatus GetHeaderValue(const Cloud& cloud, std::string_view request, void* out) {
    for (const Request& known : kRequests)
        if (known.name == request) return out ? known.store(cloud, out) : CloudStatus::kFailed;
    return CloudStatus::kFailed;
}
