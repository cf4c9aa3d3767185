// Named fields: names, parts, and what is nearest to an unknown one.

#include "tools/ptc/expression/named_fields.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>

#include "tools/common/nearest_name.h"
#include "tools/common/number.h"
#include "tools/ptc/expression/expression_error.h"
#include "tools/ptc/variable_list.h"

namespace expression {

namespace {

constexpr std::size_t kShownNames = 20;

[[noreturn]] void FailUnknown(const Token& token, std::string_view expression,
                              const PointFields& fields) {
    const std::vector<std::string> names = fields.Names(token.kind == Token::Kind::kQuotedName);
    const std::string nearest = NearestName(token.text, names);
    std::string what = fmt::format("there is no \"{}\"", Cut(token.text));
    if (!nearest.empty()) {
        what += "; the nearest is " + Written(nearest);
    } else {
        for (std::size_t i = 0; i < std::min(names.size(), kShownNames); ++i)
            what += (i == 0 ? "; there are " : ", ") + Written(names[i]);
        if (names.size() > kShownNames)
            what += fmt::format(" and {} more", names.size() - kShownNames);
    }
    throw ExpressionError(expression, token.place, what);
}

/// The index of a part; the count when there is no such part.
std::size_t PartIndex(std::string_view part, std::size_t count) {
    std::size_t index = count;
    if (ParseNumber(part, &index)) return std::min(index, count);
    if (count != 3 || part.size() != 1) return count;
    for (const std::string_view letters : {kColourParts, kVectorParts})
        if (const std::size_t at = letters.find(part); at != letters.npos) return at;
    return count;
}

}  // namespace

std::string Written(std::string_view name) {
    const bool is_plain = !name.empty() && !(name[0] >= '0' && name[0] <= '9') &&
                          std::all_of(name.begin(), name.end(), [](char c) {
                              return c == '_' || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
                                     (c >= 'A' && c <= 'Z') ||
                                     static_cast<unsigned char>(c) >= 0x80;
                          });
    if (is_plain) return std::string(name);
    const char quote = name.find('"') == name.npos ? '"' : '\'';
    return quote + std::string(name) + quote;
}

FieldRun FieldsOf(const Token& token, std::string_view expression, const PointFields& fields) {
    const FieldRun* const run = fields.Find(token.text, token.kind == Token::Kind::kQuotedName);
    if (!run) FailUnknown(token, expression, fields);
    if (run->count == 0)
        throw ExpressionError(expression, token.place,
                              fmt::format("{} has no floats", Written(run->name)));
    if (token.part_place == 0) return *run;
    const std::size_t index = PartIndex(token.part, run->count);
    if (index < run->count) return {run->name, run->first + index, 1};
    throw ExpressionError(
        expression, token.part_place,
        fmt::format("{} has {}, {}", Written(run->name),
                    run->count == 1 ? "1 float" : fmt::format("{} floats", run->count),
                    run->count == 3 ? ".r .g .b or .x .y .z or [0] to [2]"
                                    : fmt::format("[0] to [{}]", run->count - 1)));
}

}  // namespace expression
