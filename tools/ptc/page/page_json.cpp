// The JSON of a page: its keys.

#include "tools/ptc/page/page_json.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "tools/ptc/json_text.h"
#include "tools/ptc/view/colour_map.h"
#include "tools/ptc/view/file_camera.h"

namespace page {

namespace {

const char* NameOf(view::ColourKind kind) {
    switch (kind) {
        case view::ColourKind::kLight:
            return "light";
        case view::ColourKind::kDirection:
            return "direction";
        case view::ColourKind::kValue:
            break;
    }
    return "value";
}

void AddRange(const view::ValueRange& range, JsonText* json) {
    json->BeginLine('[');
    json->Add(range.low);
    json->Add(range.high);
    json->EndLine(']');
}

void AddFloats(const char* key, std::span<const float> values, JsonText* json) {
    json->BeginLine(key, '[');
    for (const float value : values) json->Add(value);
    json->EndLine(']');
}

/// Null: there is none, or it is not made of numbers.
void AddMatrix(const char* key, bool is_there, std::span<const float> values, JsonText* json) {
    if (is_there &&
        std::all_of(values.begin(), values.end(), [](float v) { return std::isfinite(v); }))
        AddFloats(key, values, json);
    else
        json->Add(key, nullptr);
}

void AddVariable(const ShownVariable& shown, JsonText* json) {
    json->Begin('{');
    json->Add("name", shown.variable.name);
    json->Add("type", shown.variable.type);
    json->Add("kind", NameOf(shown.kind));
    json->BeginLine("components", '[');
    for (std::int32_t part = 0; part < shown.variable.size; ++part)
        json->Add(shown.variable.FloatName(part));
    json->EndLine(']');
    json->BeginLine("scale", '[');
    for (const double scale : shown.scales) json->Add(scale);
    json->EndLine(']');
    json->BeginLine("range", '[');
    json->Add(shown.range.low);
    json->Add(shown.range.high);
    json->EndLine(']');
    json->BeginLine("ranges", '[');
    for (const view::ValueRange& range : shown.ranges) AddRange(range, json);
    json->EndLine(']');
    json->End('}');
}

void AddCloud(const CloudFacts& facts, std::uint64_t most, JsonText* json) {
    const std::uint64_t shown = std::min(facts.points, most);
    const StoredHeader& header = *facts.header;
    json->Begin('{');
    json->Add("name", facts.name);
    json->Add("points", header.point_count);
    json->Add("shown", shown);
    AddFloats("low", facts.box.min, json);
    AddFloats("high", facts.box.max, json);
    json->Add("largest_radius", facts.largest_radius);
    json->BeginLine("radius_range", '[');
    json->Add(facts.radius_range.low);
    json->Add(facts.radius_range.high);
    json->EndLine(']');
    AddMatrix("world_to_eye", facts.has_camera, header.world_to_eye, json);
    AddMatrix("world_to_ndc", facts.has_camera, header.stored_world_to_ndc, json);
    json->Add("aspect", facts.has_camera ? view::FrameAspect(header) : view::kUsualAspect);
    json->Add("organised", header.node_count > 0);
    json->Add("bytes", shown * facts.BytesPerPoint());
    json->Begin("variables", '[');
    for (const ShownVariable& variable : facts.variables) AddVariable(variable, json);
    json->End(']');
    json->End('}');
}

std::string HexOf(view::Rgb colour) {
    return fmt::format("{:02x}{:02x}{:02x}", colour.r, colour.g, colour.b);
}

std::string ColourMap() {
    std::string text;
    for (int i = 0; i < 256; ++i) text += HexOf(view::MapColour(i / 255.0));
    return text;
}

void AddGivenOptions(const view::ViewOptions& given, JsonText* json) {
    if (given.exposure) json->Add("exposure", *given.exposure);
    if (given.range) {
        json->BeginLine("range", '[');
        json->Add(given.range->low);
        json->Add(given.range->high);
        json->EndLine(']');
    }
    if (given.background) json->Add("background", fmt::format("#{}", HexOf(*given.background)));
    if (given.point_scale != 1) json->Add("point_scale", given.point_scale);
}

}  // namespace

std::string PageJson(const PageOptions& options, std::span<const CloudFacts> clouds,
                     const std::string& variable) {
    JsonText json(0);
    json.Begin('{');
    json.Begin("clouds", '[');
    for (const CloudFacts& facts : clouds) AddCloud(facts, options.points, &json);
    json.End(']');
    json.Add("colour_map", ColourMap());
    json.Add("variable", variable);
    AddGivenOptions(options.view, &json);
    json.Add("version", TOOLS_VERSION);
    json.End('}');

    // Outside of texts JSON has no "<".
    std::string text;
    for (const char c : json.Text())
        if (c == '<')
            text += "\\u003c";
        else
            text += c;
    return text;
}

}  // namespace page
