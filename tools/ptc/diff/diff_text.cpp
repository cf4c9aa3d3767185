// The difference of two clouds for people.

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <span>
#include <string_view>

#include "tools/ptc/diff/diff_findings.h"
#include "util/text/printable_text.h"

namespace {

/// Columns as wide as they need to be: the first one on the left, the others on the right.
class Columns {
public:
    using Row = std::vector<std::string>;

    explicit Columns(Row titles) { Add(std::move(titles)); }

    void Add(Row row) {
        widths_.resize(std::max(widths_.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i)
            widths_[i] = std::max(widths_[i], row[i].size());
        rows_.push_back(std::move(row));
    }

    /// Nothing when there are only titles.
    std::string Text() const {
        std::string text;
        if (rows_.size() == 1) return text;
        for (const Row& row : rows_) {
            text += fmt::format("{:<{}}", row[0], widths_[0]);
            for (std::size_t i = 1; i < row.size(); ++i)
                text += fmt::format("  {:>{}}", row[i], widths_[i]);
            text += '\n';
        }
        return text;
    }

private:
    std::vector<std::size_t> widths_;
    std::vector<Row> rows_;
};

std::string Declaration(const Variable& variable) {
    return Printable(variable.type) + ' ' + Printable(variable.name);
}

std::string Lines(const VariablePairs& pairs, std::string_view what) {
    std::string text;
    const auto out = std::back_inserter(text);
    for (const Variable& variable : pairs.only_a)
        fmt::format_to(out, "{} only in A: {}\n", what, Declaration(variable));
    for (const Variable& variable : pairs.only_b)
        fmt::format_to(out, "{} only in B: {}\n", what, Declaration(variable));
    for (const auto& [a, b] : pairs.both) {
        if (a.type == b.type) continue;
        fmt::format_to(out, "{} of two types: {}, {}{}\n", what, Declaration(a), Declaration(b),
                       a.size == b.size ? "" : "; not compared");
    }
    if (!pairs.has_same_order) fmt::format_to(out, "{}s in another order\n", what);
    return text;
}

std::string HeaderText(const DiffFindings& findings) {
    Columns columns({"header", "A", "B"});
    const auto& [points_a, points_b] = findings.points;
    if (points_a != points_b)
        columns.Add({"points", fmt::to_string(points_a), fmt::to_string(points_b)});
    const auto& [octree_a, octree_b] = findings.has_octree;
    if (octree_a != octree_b)
        columns.Add({"octree", octree_a ? "yes" : "no", octree_b ? "yes" : "no"});
    for (const HeaderDifference& difference : findings.header)
        if (!difference.is_within)
            columns.Add(
                {difference.name, fmt::to_string(difference.a), fmt::to_string(difference.b)});
    return columns.Text();
}

std::string Shown(const std::array<float, 3>& values, bool is_normal) {
    return is_normal ? fmt::format("{:.4g} {:.4g} {:.4g}", values[0], values[1], values[2])
                     : fmt::to_string(values[0]);
}

/// A row for each channel with a difference, also within the limits. Where no difference is a
/// number, the pair is the first of those.
std::string ChannelText(const DiffFindings& findings, const PointDifferences& values) {
    const bool is_unordered = findings.unordered.has_value();
    Columns columns(is_unordered ? Columns::Row{"channel", "differ", "not finite", "rms", "largest",
                                                "point A", "point B", "in A", "in B"}
                                 : Columns::Row{"channel", "differ", "not finite", "rms", "largest",
                                                "point", "in A", "in B"});
    for (std::size_t i = 0; i < values.Channels().size(); ++i) {
        const ChannelDifferences& of = values.Of(i);
        if (of.AreNone()) continue;
        const DiffChannel& channel = values.Channels()[i];
        const bool has_largest = of.largest > 0;
        const PairValues& pair = has_largest ? of.worst : of.first_incomparable;
        const auto mean = values.RootMeanSquare(i);
        Columns::Row row{Printable(channel.name),
                         fmt::to_string(of.differ),
                         fmt::to_string(of.incomparable),
                         mean ? fmt::format("{:.7g}", *mean) : "-",
                         has_largest ? fmt::format("{:.7g}", of.largest) : "-",
                         fmt::to_string(pair.indexes.a)};
        if (is_unordered) row.push_back(fmt::to_string(pair.indexes.b));
        row.push_back(Shown(pair.a, channel.is_normal));
        row.push_back(Shown(pair.b, channel.is_normal));
        columns.Add(std::move(row));
    }
    return columns.Text();
}

std::string PointsText(const DiffFindings& findings, const PointDifferences& values) {
    std::string text;
    const auto out = std::back_inserter(text);
    if (!findings.unordered) {
        fmt::format_to(out, "{} points compared{}, {} differ\n", values.Pairs(),
                       findings.points[0] == findings.points[1] ? "" : ", the first ones of both",
                       values.DifferentPairs());
        return text;
    }
    const UnorderedCounts& counts = *findings.unordered;
    fmt::format_to(out, "{} pairs within {}, {} of them not in one place, {} differ\n",
                   values.Pairs(), counts.within, counts.moved, values.DifferentPairs());
    fmt::format_to(out, "points without a pair: {} of A, {} of B\n", counts.unpaired_a,
                   counts.unpaired_b);
    return text;
}

}  // namespace

std::string DiffText(const DiffFindings& findings, const PointDifferences& values) {
    const std::string header = HeaderText(findings) + Lines(findings.variables, "variable") +
                               Lines(findings.node_variables, "tree variable");
    const std::string channels = ChannelText(findings, values);
    const char* const verdict = !findings.AreAlike(values)  ? "different"
                                : findings.limits.AreNone() ? "same"
                                                            : "same within the limits";
    return fmt::format("A {}\nB {}\n{}{}{}{}\n", Printable(findings.names[0]),
                       Printable(findings.names[1]), header, channels, PointsText(findings, values),
                       verdict);
}
