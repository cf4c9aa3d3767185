// PLY comments: printing them and reading them.

#include "tools/ptc/convert/ply_comments.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>

#include "ptc/format/layout.h"
#include "ptc/format/variables.h"
#include "tools/ptc/convert/columns.h"
#include "tools/ptc/convert/number_parse.h"

namespace convert {

namespace {

constexpr std::string_view kPrefix = "comment ptc ";

void AppendFloats(std::string_view key, std::span<const float> values, std::string* header) {
    header->append(kPrefix).append(key);
    for (const float value : values) {
        *header += ' ';
        AppendShortest(value, header);
    }
    *header += '\n';
}

void AppendVariables(std::string_view key, const CloudVariables& variables, std::string* header) {
    for (std::size_t i = 0; i < variables.types.size(); ++i)
        *header +=
            fmt::format("{}{} {} {}\n", kPrefix, key, variables.types[i], variables.names[i]);
}

/// What stands before the first blank; `*text` goes on behind it.
std::string_view TakeWord(std::string_view* text) {
    const std::size_t end = std::min(text->find(' '), text->size());
    const std::string_view word = text->substr(0, end);
    text->remove_prefix(std::min(end + 1, text->size()));
    return word;
}

/// All of `values`, or none of them.
void TakeFloats(std::string_view text, std::span<float> values) {
    std::array<float, 16> read;
    for (std::size_t i = 0; i < values.size(); ++i)
        if (!ParseFloat(TakeWord(&text), &read[i])) return;
    std::copy_n(read.begin(), values.size(), values.begin());
}

bool TakeVariable(std::string_view text, CloudVariables* variables) {
    const std::string_view type = TakeWord(&text);
    const std::int32_t size = KnownComponentCount(type).value_or(0);
    const auto room = static_cast<std::int32_t>(kMaxColumns) - variables->data_size;
    if (size < 1 || size > room ||
        type.size() + text.size() >= ptc_layout::kMaxWrittenDeclaration ||
        variables->types.size() == ptc_layout::kMaxVariables)
        return false;
    variables->types.emplace_back(type);
    variables->names.emplace_back(text);
    variables->sizes.push_back(size);
    variables->data_size += size;
    return true;
}

}  // namespace

void AppendPlyComments(const CloudHeader& cloud, std::string* header) {
    AppendFloats("world_to_eye", cloud.world_to_eye, header);
    AppendFloats("world_to_ndc", cloud.world_to_ndc, header);
    AppendFloats("format", cloud.format, header);
    AppendVariables("point_variable", cloud.point_variables, header);
    AppendVariables("node_variable", cloud.node_variables, header);
}

bool TakePlyComment(std::string_view line, CloudHeader* cloud) {
    if (!line.starts_with(kPrefix)) return false;
    line.remove_prefix(kPrefix.size());
    const std::string_view key = TakeWord(&line);
    if (key == "world_to_eye") TakeFloats(line, cloud->world_to_eye);
    if (key == "world_to_ndc") TakeFloats(line, cloud->world_to_ndc);
    if (key == "format") TakeFloats(line, cloud->format);
    if (key == "node_variable") (void)TakeVariable(line, &cloud->node_variables);
    return key == "point_variable" && TakeVariable(line, &cloud->point_variables);
}

}  // namespace convert
