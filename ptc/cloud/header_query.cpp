// Header values by name.

#include "ptc/cloud/header_query.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

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

CloudStatus StoreBox(const CloudHeader& header, void* out) {
    std::array<float, 6> box;
    std::copy(header.box_min.begin(), header.box_min.end(), box.begin());
    std::copy(header.box_max.begin(), header.box_max.end(), box.begin() + 3);
    return Store(box, out);
}

CloudStatus StoreFormat(const CloudHeader& header, void* out) {
    return Store(std::array{static_cast<float>(header.x_resolution),
                            static_cast<float>(header.y_resolution), header.pixel_aspect},
                 out);
}

CloudStatus StoreVariableCount(const CloudVariables& variables, void* out) {
    return StoreCount(static_cast<std::int64_t>(variables.types.size()), out);
}

struct Request {
    std::string_view name;
    CloudStatus (*store)(const CloudHeader& header, void* out);
};

// The names differ from the keys in the file; both are part of the interface.
constexpr Request kRequests[] = {
    {"version", [](const CloudHeader& h,
                   void* out) { return Store(static_cast<std::int32_t>(h.version), out); }},
    {"bbox", StoreBox},
    {"largestradius", [](const CloudHeader& h, void* out) { return Store(h.largest_radius, out); }},
    {"npoints", [](const CloudHeader& h, void* out) { return StoreCount(h.point_count, out); }},
    {"nnodes", [](const CloudHeader& h, void* out) { return StoreCount(h.node_count, out); }},
    {"nvars",
     [](const CloudHeader& h, void* out) { return StoreVariableCount(h.point_variables, out); }},
    {"npointvars",
     [](const CloudHeader& h, void* out) { return StoreVariableCount(h.point_variables, out); }},
    {"pointvartypes",
     [](const CloudHeader& h, void* out) { return StoreTexts(h.point_variables.types, out); }},
    {"pointvarnames",
     [](const CloudHeader& h, void* out) { return StoreTexts(h.point_variables.names, out); }},
    {"varsizes",
     [](const CloudHeader& h, void* out) { return StoreSizes(h.point_variables.sizes, out); }},
    {"pointvarsizes",
     [](const CloudHeader& h, void* out) { return StoreSizes(h.point_variables.sizes, out); }},
    {"pointdatasize",
     [](const CloudHeader& h, void* out) { return Store(h.point_variables.data_size, out); }},
    {"ntreevars",
     [](const CloudHeader& h, void* out) { return StoreVariableCount(h.node_variables, out); }},
    {"treevartypes",
     [](const CloudHeader& h, void* out) { return StoreTexts(h.node_variables.types, out); }},
    {"treevarnames",
     [](const CloudHeader& h, void* out) { return StoreTexts(h.node_variables.names, out); }},
    {"treedatasize",
     [](const CloudHeader& h, void* out) { return Store(h.node_variables.data_size, out); }},
    {"world2eye", [](const CloudHeader& h, void* out) { return Store(h.world_to_eye, out); }},
    {"world2ndc", [](const CloudHeader& h, void* out) { return Store(h.world_to_ndc, out); }},
    {"format", StoreFormat},
    {"rootpos", [](const CloudHeader& h, void* out) { return Store(h.root_position, out); }},
    {"firstpointpos", [](const CloudHeader& h, void* out) { return Store(h.data_start, out); }},
};

}  // namespace

CloudStatus GetHeaderValue(const CloudHeader& header, std::string_view request, void* out) {
    for (const Request& known : kRequests)
        if (known.name == request) return out ? known.store(header, out) : CloudStatus::kFailed;
    return CloudStatus::kFailed;
}
