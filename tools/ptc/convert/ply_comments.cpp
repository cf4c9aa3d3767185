// PLY comments: printing them and reading them.

#include "tools/ptc/convert/ply_comments.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <span>

#include "ptc/format/layout.h"
#include "ptc/format/variables.h"
#include "tools/common/parts.h"
#include "tools/ptc/convert/columns.h"
#include "tools/ptc/convert/number_parse.h"
#include "tools/ptc/variable_list.h"

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
    for (const Variable& variable : ListVariables(variables))
        *header += fmt::format("{}{} {} {}\n", kPrefix, key, variable.type, variable.name);
}

/// All of `values`, or none of them.
void TakeFloats(Parts parts, std::span<float> values) {
    std::array<float, 16> read;
    std::string_view number;
    for (std::size_t i = 0; i < values.size(); ++i)
        if (!parts.Next(&number) || !ParseFloat(number, &read[i])) return;
    std::copy_n(read.begin(), values.size(), values.begin());
}

/// The type, a blank and the name, which may have blanks.
bool TakeVariable(Parts parts, CloudVariables* variables) {
    std::string_view type;
    (void)parts.Next(&type);
    const std::string_view name = parts.Rest();
    const std::int32_t size = KnownComponentCount(type).value_or(0);
    const auto room = static_cast<std::int32_t>(kMaxColumns) - variables->data_size;
    if (size < 1 || size > room ||
        type.size() + name.size() >= ptc_layout::kMaxWrittenDeclaration ||
        variables->types.size() == ptc_layout::kMaxVariables)
        return false;
    variables->types.emplace_back(type);
    variables->names.emplace_back(name);
    variables->sizes.push_back(size);
    variables->data_size += size;
    return true;
}

}  // namespace

void AppendPlyComments(const StoredHeader& cloud, std::string* header) {
    AppendFloats("world_to_eye", cloud.world_to_eye, header);
    AppendFloats("world_to_ndc", cloud.stored_world_to_ndc, header);
    AppendFloats("format", cloud.stored_format, header);
    AppendVariables("point_variable", cloud.point_variables, header);
    AppendVariables("node_variable", cloud.node_variables, header);
}

bool TakePlyComment(std::string_view line, StoredHeader* cloud) {
    if (!line.starts_with(kPrefix)) return false;
    Parts parts(line.substr(kPrefix.size()), ' ');
    std::string_view key;
    (void)parts.Next(&key);
    if (key == "world_to_eye") TakeFloats(parts, cloud->world_to_eye);
    if (key == "world_to_ndc") TakeFloats(parts, cloud->stored_world_to_ndc);
    if (key == "format") TakeFloats(parts, cloud->stored_format);
    if (key == "node_variable") (void)TakeVariable(parts, &cloud->node_variables);
    return key == "point_variable" && TakeVariable(parts, &cloud->point_variables);
}

}  // namespace convert
