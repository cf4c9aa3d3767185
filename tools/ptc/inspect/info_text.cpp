// The header of a cloud for people: the lines and their words.

#include "tools/ptc/inspect/info_text.h"

#include <fmt/format.h>

#include <iterator>
#include <span>

#include "util/text/printable_text.h"

namespace {

/// Lines of a label and a text, the texts in one column.
class Lines {
public:
    explicit Lines(const std::string& title) : text_(Printable(title) + '\n') {}

    template <class... Values>
    void Add(const char* label, fmt::format_string<Values...> text, Values&&... values) {
        fmt::format_to(std::back_inserter(text_), "  {:<16} {}\n", label,
                       fmt::format(text, std::forward<Values>(values)...));
    }

    /// Four lines, the columns right-aligned.
    void AddMatrix(const char* label, std::span<const float, 16> matrix) {
        for (std::size_t row = 0; row < 16; row += 4)
            Add(row == 0 ? label : "", "{:>12.6g} {:>12.6g} {:>12.6g} {:>12.6g}", matrix[row],
                matrix[row + 1], matrix[row + 2], matrix[row + 3]);
    }

    const std::string& Text() const { return text_; }

private:
    std::string text_;
};

void AddVariables(const char* label, const std::vector<Variable>& variables, std::int32_t floats,
                  Lines* lines) {
    lines->Add(label, "{}, {} floats", variables.size(), floats);
    for (const Variable& variable : variables)
        lines->Add("", "{} {} ({})", Printable(variable.type), Printable(variable.name),
                   variable.size);
}

void AddCounts(const HeaderFacts& facts, Lines* lines) {
    const StoredHeader& header = facts.header;
    lines->Add("form", "{}, version {}, {}", facts.is_text ? "text" : "binary", header.version,
               facts.is_compressed ? "gzip" : "not compressed");
    if (facts.point_bytes)
        lines->Add("points", "{} of {} bytes", header.point_count, *facts.point_bytes);
    else
        lines->Add("points", "{}", header.point_count);
    if (header.node_count != header.stored_node_count)
        lines->Add("octree nodes", "{}, not used because the file is compressed",
                   header.stored_node_count);
    else if (header.node_count > 0)
        lines->Add("octree nodes", "{}, root at {}", header.node_count, header.root_position);
    else
        lines->Add("octree nodes", "none");
}

/// The values that a reader uses; those in the file only where they differ.
void AddCamera(const HeaderFacts& facts, Lines* lines) {
    const StoredHeader& header = facts.header;
    const auto& stored = header.stored_format;
    lines->Add("format", "{} x {}, pixel aspect {}", facts.format[0], facts.format[1],
               facts.format[2]);
    if (stored != facts.format)
        lines->Add("", "stored: {} x {}, pixel aspect {}", stored[0], stored[1], stored[2]);
    lines->AddMatrix("world to eye", header.world_to_eye);
    lines->AddMatrix("world to ndc", header.world_to_ndc);
    if (header.world_to_ndc != header.stored_world_to_ndc)
        lines->AddMatrix("  stored", header.stored_world_to_ndc);
}

/// The last line: whether the file is as long as its header says.
void AddSize(const HeaderFacts& facts, Lines* lines) {
    const auto& [stored, expected, whole_points] = facts.size;
    if (!stored) {
        lines->Add("size", "not known");
    } else if (!expected) {
        const char* const why = facts.is_text         ? "text form"
                                : facts.is_compressed ? "compressed"
                                                      : "its octree cannot be read";
        lines->Add("size", "{} bytes, not compared with the header: {}", *stored, why);
    } else if (*expected == *stored) {
        lines->Add("size", "{} bytes, agrees with the header", *stored);
    } else {
        const bool is_short = *stored < *expected;
        lines->Add("size", "{} bytes, {} {} than the header says", *stored,
                   is_short ? *expected - *stored : *stored - *expected,
                   is_short ? "fewer" : "more");
        if (whole_points) lines->Add("", "room for {} whole points", *whole_points);
    }
}

}  // namespace

std::string InfoText(const HeaderFacts& facts) {
    const StoredHeader& header = facts.header;
    const auto& low = header.box_min;
    const auto& high = header.box_max;
    Lines lines(facts.file);
    AddCounts(facts, &lines);
    lines.Add("box minimum", "{} {} {}", low[0], low[1], low[2]);
    lines.Add("box maximum", "{} {} {}", high[0], high[1], high[2]);
    lines.Add("largest radius", "{}", header.largest_radius);
    AddVariables("point variables", facts.point_variables, header.point_variables.data_size,
                 &lines);
    if (!facts.node_variables.empty())
        AddVariables("tree variables", facts.node_variables, header.node_variables.data_size,
                     &lines);
    AddCamera(facts, &lines);
    AddSize(facts, &lines);
    return lines.Text();
}
