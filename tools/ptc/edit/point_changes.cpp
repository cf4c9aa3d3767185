// Point changes: targets, new variables, and the loop over the points.

#include "tools/ptc/edit/point_changes.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "ptc/format/light_nodes.h"
#include "ptc/format/variables.h"
#include "tools/common/failure.h"
#include "tools/ptc/edit/variable_layout.h"
#include "tools/ptc/expression/expression_error.h"
#include "tools/ptc/expression/named_fields.h"

namespace edit {

namespace {

using expression::ExpressionError;
using expression::FieldRun;
using expression::PointFields;

/// Most floats that one "--set" computes: an expression for each is kept.
constexpr std::size_t kMostLanes = 64;

/// The place of the "=" that assigns: the first outside of quotes.
std::size_t AssignPlace(std::string_view text) {
    char quote = '\0';
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quote != '\0') {
            if (c == quote) quote = '\0';
        } else if (c == '"' || c == '\'' || c == '`') {
            quote = c;
        } else if (c == '=') {
            return i;
        }
    }
    throw ExpressionError(text, text.size(), "\"= EXPRESSION\" is missing at the end");
}

std::vector<expression::Token> TokensWithin(std::string_view text, std::size_t begin,
                                            std::size_t end) {
    try {
        return expression::TokensOf(text.substr(begin, end - begin));
    } catch (const ExpressionError& error) {
        throw error.Within(text, begin);
    }
}

/// The one name that stands from `begin` to `end`.
expression::Token NameWithin(std::string_view text, std::size_t begin, std::size_t end) {
    const std::vector<expression::Token> tokens = TokensWithin(text, begin, end);
    expression::Token name = tokens[0];
    if (name.kind != expression::Token::Kind::kName &&
        name.kind != expression::Token::Kind::kQuotedName)
        throw ExpressionError(text, begin + name.place, "a name is missing here");
    if (tokens.size() > 2)
        throw ExpressionError(text, begin + tokens[1].place, "\"=\" is missing before this");
    name.place += begin;
    if (name.part_place > 0) name.part_place += begin;
    return name;
}

/// Declares the variable of "TYPE NAME", the first `end` bytes of `text`.
FieldRun Declare(std::string_view text, std::size_t end, CloudVariables* variables) {
    const std::size_t type_begin = std::min(text.find_first_not_of(' '), end);
    const std::size_t type_end = std::min(text.find(' ', type_begin), end);
    const std::string type(text.substr(type_begin, type_end - type_begin));
    const auto floats = KnownComponentCount(type);
    if (!floats || *floats < 1)
        throw ExpressionError(
            text, type_begin,
            "the type is missing: float, color, point, vector, normal, matrix, or "
            "one of these with [N]");
    const expression::Token name = NameWithin(text, type_end, end);
    const bool is_there = std::find(variables->names.begin(), variables->names.end(), name.text) !=
                          variables->names.end();
    if (name.part_place > 0)
        throw ExpressionError(text, name.part_place, "a whole variable is added, not a part");
    if (is_there) throw ExpressionError(text, name.place, "there is such a variable already");
    if (!CanBeDeclared(type, name.text))
        throw ExpressionError(text, name.place, "no variable can have such a name");
    if (static_cast<std::int64_t>(variables->data_size) + *floats > ptc_layout::kMaxDataFloats)
        throw ExpressionError(text, type_begin, "a point would have too many floats");
    FieldRun added{std::string(name.text), expression::kDataField + variables->DataFloats(),
                   static_cast<std::size_t>(*floats)};
    variables->types.push_back(type);
    variables->names.push_back(added.name);
    variables->sizes.push_back(*floats);
    variables->data_size += *floats;
    return added;
}

void Store(std::size_t field, float value, std::size_t i, RecordBatch* batch) {
    if (expression::IsNormal(field)) {
        batch->Normal(i)[field - expression::kNormalField] = value;
    } else {
        std::memcpy(batch->Record(i) + expression::RecordOffset(field), &value, sizeof value);
    }
}

}  // namespace

PointChanges::PointChanges(const std::vector<Change>& changes, std::string file,
                           CloudVariables* variables)
    : file_(std::move(file)) {
    for (const Change& change : changes) Assign(change, variables);
}

void PointChanges::Assign(const Change& change, CloudVariables* variables) {
    const std::string_view text = change.text;
    const std::size_t equals = AssignPlace(text);
    // The new variable has no value yet that the expression could use.
    const PointFields fields(*variables);
    Assignment made;
    made.is_new = change.is_new;
    made.target = change.is_new ? Declare(text, equals, variables)
                                : expression::FieldsOf(NameWithin(text, 0, equals), text, fields);
    if (made.target.count > kMostLanes)
        throw ExpressionError(text, 0,
                              fmt::format("it has {} floats, and at most {} get values at once",
                                          made.target.count, kMostLanes));
    try {
        for (std::size_t lane = 0; lane < made.target.count; ++lane)
            made.values.emplace_back(text.substr(equals + 1), fields,
                                     expression::Lane{lane, made.target.count});
    } catch (const ExpressionError& error) {
        throw error.Within(text, equals + 1);
    }
    assignments_.push_back(std::move(made));
}

void PointChanges::Apply(RecordBatch* batch) {
    std::array<float, kMostLanes> values{};
    for (Assignment& assignment : assignments_) {
        const std::size_t count = assignment.target.count;
        const std::size_t first = assignment.target.first;
        for (std::size_t i = 0; i < batch->count; ++i) {
            // All before any is stored: each may use all floats of the target.
            for (std::size_t lane = 0; lane < count; ++lane)
                values[lane] = static_cast<float>(assignment.values[lane].Of(batch->Values(i)));
            if (first == expression::kRadiusField && values[0] < 0)
                throw Failure(fmt::format("{}: point {} would get the negative radius {}", file_,
                                          batch->numbers[i], values[0]));
            for (std::size_t lane = 0; lane < count; ++lane)
                Store(first + lane, values[lane], i, batch);
        }
    }
}

bool PointChanges::ChangesNormals() const {
    return std::any_of(assignments_.begin(), assignments_.end(), [](const Assignment& made) {
        return expression::IsNormal(made.target.first);
    });
}

bool PointChanges::ChangesTree(const CloudVariables& nodes) const {
    const std::vector<std::string>& names = nodes.names;
    const bool has_normals = FindLightData(nodes).has_value();
    return std::any_of(assignments_.begin(), assignments_.end(), [&](const Assignment& made) {
        if (made.target.first >= expression::kDataField)
            return !made.is_new &&
                   std::find(names.begin(), names.end(), made.target.name) != names.end();
        return has_normals || !expression::IsNormal(made.target.first);
    });
}

}  // namespace edit
