// The header of a cloud for machines: the keys and their order.

#include "tools/ptc/inspect/info_json.h"

#include <span>

#include "tools/ptc/json_text.h"
#include "tools/ptc/measure/measurement_json.h"

namespace {

void AddVariables(const char* key, const std::vector<Variable>& variables, JsonText* json) {
    json->Begin(key, '[');
    for (const Variable& variable : variables) {
        json->Begin('{');
        json->Add("type", variable.type);
        json->Add("name", variable.name);
        json->Add("size", variable.size);
        json->End('}');
    }
    json->End(']');
}

void AddFormat(const char* key, std::span<const float, 3> format, JsonText* json) {
    json->Begin(key, '{');
    json->Add("x_resolution", format[0]);
    json->Add("y_resolution", format[1]);
    json->Add("pixel_aspect", format[2]);
    json->End('}');
}

void AddCounts(const HeaderFacts& facts, JsonText* json) {
    const StoredHeader& header = facts.header;
    json->Add("form", facts.is_text ? "text" : "binary");
    json->Add("version", header.version);
    json->Add("gzip", facts.is_compressed);
    json->Add("points", header.point_count);
    json->Add("nodes", header.node_count);
    json->Add("stored_nodes", header.stored_node_count);
    json->Add("root_position", header.root_position);
    json->Add("data_start", header.data_start);
    json->Add("bytes_per_point", facts.point_bytes);
    json->Begin("box", '{');
    json->Add("min", std::span<const float>(header.box_min));
    json->Add("max", std::span<const float>(header.box_max));
    json->End('}');
    json->Add("largest_radius", header.largest_radius);
}

void AddCamera(const HeaderFacts& facts, JsonText* json) {
    const StoredHeader& header = facts.header;
    json->Begin("format", '{');
    AddFormat("stored", header.stored_format, json);
    AddFormat("effective", facts.format, json);
    json->End('}');
    json->Add("world_to_eye", std::span<const float>(header.world_to_eye));
    json->Begin("world_to_ndc", '{');
    json->Add("stored", std::span<const float>(header.stored_world_to_ndc));
    json->Add("effective", std::span<const float>(header.world_to_ndc));
    json->End('}');
}

void AddSize(const CloudSize& size, JsonText* json) {
    json->Begin("size", '{');
    json->Add("bytes", size.stored_bytes);
    json->Add("expected_bytes", size.expected_bytes);
    json->Add("agrees", size.Agrees());
    json->Add("whole_points", size.whole_points);
    json->End('}');
}

}  // namespace

std::string InfoJson(const HeaderFacts& facts, const measure::Measurement& measured) {
    JsonText json;
    json.Begin('{');
    json.Add("file", facts.file);
    AddCounts(facts, &json);
    AddVariables("point_variables", facts.point_variables, &json);
    json.Add("point_data_size", facts.header.point_variables.data_size);
    AddVariables("tree_variables", facts.node_variables, &json);
    json.Add("tree_data_size", facts.header.node_variables.data_size);
    AddCamera(facts, &json);
    AddSize(facts.size, &json);
    AddMeasurement(measured, &json);
    json.End('}');
    return json.Text();
}

std::string InfoJsonList(const std::vector<std::string>& objects) {
    if (objects.empty()) return "[]\n";
    std::string list;
    for (const std::string& object : objects) list += (list.empty() ? "[\n" : ",\n") + object;
    return list + "\n]\n";
}
