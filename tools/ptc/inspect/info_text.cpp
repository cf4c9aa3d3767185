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

void AddVariables(const char* label, const CloudVariables& variables, Lines* lines) {
    lines->Add(label, "{}, {} floats", variables.types.size(), variables.data_size);
    for (std::size_t i = 0; i < variables.types.size(); ++i)
        lines->Add("", "{} {} ({})", Printable(variables.types[i]), Printable(variables.names[i]),
                   variables.sizes[i]);
}

void AddCounts(const CloudReader& cloud, Lines* lines) {
    const auto floats = static_cast<std::size_t>(cloud.point_variables.data_size);
    lines->Add("form", "{}, version {}, {}", cloud.input.IsText() ? "text" : "binary",
               cloud.version, cloud.input.IsCompressed() ? "gzip" : "not compressed");
    if (cloud.input.IsText())
        lines->Add("points", "{}", cloud.point_count);
    else
        lines->Add("points", "{} of {} bytes", cloud.point_count, ptc_layout::PointBytes(floats));
    if (cloud.node_count != cloud.stored_node_count)
        lines->Add("octree nodes", "{}, not used because the file is compressed",
                   cloud.stored_node_count);
    else if (cloud.node_count > 0)
        lines->Add("octree nodes", "{}, root at {}", cloud.node_count, cloud.root_position);
    else
        lines->Add("octree nodes", "none");
}

/// The values that a reader goes by; those in the file only where they differ.
void AddFormat(const StoredHeader& cloud, Lines* lines) {
    const std::array<float, 3>& stored = cloud.stored_format;
    const bool is_repaired = stored[0] != static_cast<float>(cloud.x_resolution) ||
                             stored[1] != static_cast<float>(cloud.y_resolution) ||
                             stored[2] != cloud.pixel_aspect;
    lines->Add("format", "{} x {}, pixel aspect {}", cloud.x_resolution, cloud.y_resolution,
               cloud.pixel_aspect);
    if (is_repaired)
        lines->Add("", "stored: {} x {}, pixel aspect {}", stored[0], stored[1], stored[2]);
    lines->AddMatrix("world to eye", cloud.world_to_eye);
    lines->AddMatrix("world to ndc", cloud.world_to_ndc);
    if (cloud.world_to_ndc != cloud.stored_world_to_ndc)
        lines->AddMatrix("  stored", cloud.stored_world_to_ndc);
}

/// The last line: whether the file is as long as its header says.
void AddSize(const CloudReader& cloud, const CloudSize& size, Lines* lines) {
    const std::int64_t bytes = size.stored_bytes;
    if (!size.expected_bytes) {
        const char* const why = cloud.input.IsText()         ? "text form"
                                : cloud.input.IsCompressed() ? "compressed"
                                                             : "its octree cannot be read";
        if (bytes < 0)
            lines->Add("size", "not known");
        else
            lines->Add("size", "{} bytes, not compared with the header: {}", bytes, why);
    } else if (*size.expected_bytes == bytes) {
        lines->Add("size", "{} bytes, agrees with the header", bytes);
    } else {
        const bool is_short = bytes < *size.expected_bytes;
        lines->Add("size", "{} bytes, {} {} than the header says", bytes,
                   is_short ? *size.expected_bytes - bytes : bytes - *size.expected_bytes,
                   is_short ? "fewer" : "more");
        if (size.whole_points) lines->Add("", "room for {} whole points", *size.whole_points);
    }
}

}  // namespace

std::string InfoText(const std::string& name, const CloudReader& cloud, const CloudSize& size) {
    Lines lines(name);
    AddCounts(cloud, &lines);
    lines.Add("box minimum", "{} {} {}", cloud.box_min[0], cloud.box_min[1], cloud.box_min[2]);
    lines.Add("box maximum", "{} {} {}", cloud.box_max[0], cloud.box_max[1], cloud.box_max[2]);
    lines.Add("largest radius", "{}", cloud.largest_radius);
    AddVariables("point variables", cloud.point_variables, &lines);
    if (!cloud.node_variables.types.empty())
        AddVariables("tree variables", cloud.node_variables, &lines);
    AddFormat(cloud, &lines);
    AddSize(cloud, size, &lines);
    return lines.Text();
}
