// The difference of two clouds as JSON.

#include <string_view>

#include "tools/ptc/diff/diff_findings.h"
#include "tools/ptc/json_text.h"

namespace {

void AddDeclarations(std::string_view key, const std::vector<Variable>& variables, JsonText* json) {
    json->Begin(key, '[');
    for (const Variable& variable : variables) {
        json->BeginLine('{');
        json->Add("type", variable.type);
        json->Add("name", variable.name);
        json->EndLine('}');
    }
    json->End(']');
}

void AddPairs(std::string_view key, const VariablePairs& pairs, JsonText* json) {
    json->Begin(key, '{');
    AddDeclarations("only_a", pairs.only_a, json);
    AddDeclarations("only_b", pairs.only_b, json);
    json->Begin("types", '[');
    for (const auto& [a, b] : pairs.both) {
        if (a.type == b.type) continue;
        json->BeginLine('{');
        json->Add("name", a.name);
        json->Add("a", a.type);
        json->Add("b", b.type);
        json->Add("compared", a.size == b.size);
        json->EndLine('}');
    }
    json->End(']');
    json->Add("same_order", pairs.has_same_order);
    json->End('}');
}

void AddHeader(const DiffFindings& findings, JsonText* json) {
    json->BeginLine("octree", '{');
    json->Add("a", findings.has_octree[0]);
    json->Add("b", findings.has_octree[1]);
    json->EndLine('}');
    json->Begin("header", '[');
    for (const HeaderDifference& difference : findings.header) {
        json->BeginLine('{');
        json->Add("name", difference.name);
        json->Add("a", difference.a);
        json->Add("b", difference.b);
        json->Add("differs", !difference.is_within);
        json->EndLine('}');
    }
    json->End(']');
    AddPairs("point_variables", findings.variables, json);
    AddPairs("tree_variables", findings.node_variables, json);
}

void AddCounts(const DiffFindings& findings, const PointDifferences& values, JsonText* json) {
    json->Begin("points", '{');
    json->Add("a", findings.points[0]);
    json->Add("b", findings.points[1]);
    json->Add("pairs", values.Pairs());
    json->Add("differ", values.DifferentPairs());
    if (findings.unordered) {
        json->Add("within", findings.unordered->within);
        json->Add("moved", findings.unordered->moved);
        json->Add("unpaired_a", findings.unordered->unpaired_a);
        json->Add("unpaired_b", findings.unordered->unpaired_b);
    }
    json->End('}');
}

void AddValue(std::string_view key, const std::array<float, 3>& values, bool is_normal,
              JsonText* json) {
    if (is_normal)
        json->Add(key, std::span<const float>(values));
    else
        json->Add(key, values[0]);
}

void AddPair(const PairValues& pair, bool is_normal, JsonText* json) {
    json->Add("point_a", pair.indexes.a);
    json->Add("point_b", pair.indexes.b);
    AddValue("a", pair.a, is_normal, json);
    AddValue("b", pair.b, is_normal, json);
    json->EndLine('}');
}

/// A line for each. Pairs that there are not are null.
void AddChannels(const PointDifferences& values, JsonText* json) {
    json->Begin("channels", '[');
    for (std::size_t i = 0; i < values.Channels().size(); ++i) {
        const auto& [name, in_a, in_b, is_normal] = values.Channels()[i];
        const ChannelDifferences& of = values.Of(i);
        json->BeginLine('{');
        json->Add("name", name);
        json->Add("differ", of.differ);
        json->Add("not_finite", of.incomparable);
        json->Add("rms", values.RootMeanSquare(i));
        if (of.largest > 0) {
            json->BeginLine("largest", '{');
            json->Add("difference", of.largest);
            AddPair(of.worst, is_normal, json);
        } else {
            json->Add("largest", nullptr);
        }
        if (of.incomparable > 0) {
            json->BeginLine("first_not_finite", '{');
            AddPair(of.first_incomparable, is_normal, json);
        } else {
            json->Add("first_not_finite", nullptr);
        }
        json->EndLine('}');
    }
    json->End(']');
}

}  // namespace

std::string DiffJson(const DiffFindings& findings, const PointDifferences& values) {
    JsonText json(0);
    json.Begin('{');
    json.Add("a", findings.names[0]);
    json.Add("b", findings.names[1]);
    json.Add("same", findings.AreAlike(values));
    json.BeginLine("limits", '{');
    json.Add("tolerance", findings.limits.absolute);
    json.Add("relative", findings.limits.relative);
    json.Add("angle", findings.limits.angle);
    json.EndLine('}');
    AddHeader(findings, &json);
    AddCounts(findings, values, &json);
    AddChannels(values, &json);
    json.End('}');
    return json.Text() + '\n';
}
