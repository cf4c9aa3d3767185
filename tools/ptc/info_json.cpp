// The header of a cloud for machines: the keys and their order.

#include "tools/ptc/info_json.h"

#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::ordered_json;  // keys stay in the order in which they are written here

Json Variables(const CloudVariables& variables) {
    Json list = Json::array();
    for (std::size_t i = 0; i < variables.types.size(); ++i)
        list.push_back({{"type", variables.types[i]},
                        {"name", variables.names[i]},
                        {"size", variables.sizes[i]}});
    return list;
}

Json Format(float x_resolution, float y_resolution, float aspect) {
    return {
        {"x_resolution", x_resolution}, {"y_resolution", y_resolution}, {"pixel_aspect", aspect}};
}

template <class Value>
Json OrNull(const std::optional<Value>& value) {
    return value ? Json(*value) : Json();
}

/// What is not known is null, never left out: a key that is there once is always there.
Json Size(const CloudSize& size) {
    Json agrees;
    if (size.expected_bytes) agrees = *size.expected_bytes == size.stored_bytes;
    return {{"bytes", size.stored_bytes < 0 ? Json() : Json(size.stored_bytes)},
            {"expected_bytes", OrNull(size.expected_bytes)},
            {"agrees", agrees},
            {"whole_points", OrNull(size.whole_points)}};
}

}  // namespace

Json InfoJson(const std::string& name, const Cloud& cloud, const CloudSize& size) {
    const std::array<float, 3>& stored = cloud.stored_format;
    const auto data_floats = static_cast<std::size_t>(cloud.point_variables.data_size);
    const bool is_text = cloud.input.IsText();
    return {
        {"file", name},
        {"form", is_text ? "text" : "binary"},
        {"version", cloud.version},
        {"gzip", cloud.input.IsCompressed()},
        {"points", cloud.point_count},
        {"nodes", cloud.node_count},
        {"stored_nodes", cloud.stored_node_count},
        {"root_position", cloud.root_position},
        {"data_start", cloud.data_start},
        {"bytes_per_point", is_text ? Json() : Json(ptc_layout::PointBytes(data_floats))},
        {"box", {{"min", cloud.box_min}, {"max", cloud.box_max}}},
        {"largest_radius", cloud.largest_radius},
        {"point_variables", Variables(cloud.point_variables)},
        {"point_data_size", cloud.point_variables.data_size},
        {"tree_variables", Variables(cloud.node_variables)},
        {"tree_data_size", cloud.node_variables.data_size},
        {"format",
         {{"stored", Format(stored[0], stored[1], stored[2])},
          {"effective", Format(static_cast<float>(cloud.x_resolution),
                               static_cast<float>(cloud.y_resolution), cloud.pixel_aspect)}}},
        {"world_to_eye", cloud.world_to_eye},
        {"world_to_ndc",
         {{"stored", cloud.stored_world_to_ndc}, {"effective", cloud.world_to_ndc}}},
        {"size", Size(size)},
    };
}
