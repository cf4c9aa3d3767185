// The header of a cloud for machines: the keys and their order.

#include "tools/ptc/inspect/info_json.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <span>

namespace {

/// JSON as text, each value on a line of its own.
///
/// The library only prints single values here. A tree of its values takes memory while it is
/// destroyed, where nothing may fail: out of memory, the program would end.
class JsonText {
public:
    void Begin(char bracket) {
        Separate();
        text_ += bracket;
        ++depth_;
        is_empty_ = true;
    }
    void Begin(const char* key, char bracket) {
        Key(key);
        Begin(bracket);
    }
    void End(char bracket) {
        --depth_;
        if (!is_empty_) NewLine();
        text_ += bracket;
        is_empty_ = false;
    }

    template <class Value>
    void Add(const Value& value) {
        using nlohmann::json;
        Separate();
        text_ += json(value).dump(-1, ' ', false, json::error_handler_t::replace);
    }
    template <class Value>
    void Add(const char* key, const Value& value) {
        Key(key);
        Add(value);
    }
    /// What is not known is null and not left out, so that every object has the same keys.
    template <class Value>
    void Add(const char* key, const std::optional<Value>& value) {
        if (value) {
            Add(key, *value);
        } else {
            Add(key, nullptr);
        }
    }
    void Add(const char* key, std::span<const float> values) {
        Begin(key, '[');
        for (const float value : values) Add(value);
        End(']');
    }

    const std::string& Text() const { return text_; }

private:
    void Key(const char* key) {
        Separate();
        text_.append("\"").append(key).append("\": ");
        is_behind_key_ = true;
    }
    /// Ends the value before, if there is one, and goes to the place of the next.
    void Separate() {
        if (!is_behind_key_ && !is_empty_) text_ += ',';
        if (!is_behind_key_) NewLine();
        is_behind_key_ = is_empty_ = false;
    }
    void NewLine() {
        if (!text_.empty()) text_ += '\n';
        text_.append(2 * depth_, ' ');
    }

    std::string text_;
    std::size_t depth_ = 1;  ///< the whole text is an item of a list
    bool is_empty_ = true;   ///< nothing is between the brackets yet
    bool is_behind_key_ = false;
};

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

std::string InfoJson(const HeaderFacts& facts) {
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
    json.End('}');
    return json.Text();
}
