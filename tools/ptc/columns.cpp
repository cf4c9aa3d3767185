// Columns: naming them, and reading names back.

#include "tools/ptc/columns.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <unordered_map>
#include <unordered_set>

#include "ptc/variables.h"

namespace convert {

namespace {

constexpr std::string_view kColourParts = "rgb";
constexpr std::string_view kVectorParts = "xyz";
constexpr int kMatrixFloats = 16;

bool IsNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '.' || c == '-';
}

std::string CleanName(std::string_view name) {
    std::string clean(name.substr(0, kMaxColumnName));
    for (char& c : clean)
        if (!IsNameCharacter(c)) c = '_';
    return clean.empty() ? "unnamed" : clean;
}

/// What stands behind the variable's name in the name of its float `i`.
std::string Suffix(std::string_view type, std::int32_t size, std::int32_t i) {
    if (size == 1) return "";
    const auto part = static_cast<std::size_t>(i);
    if (size != 3 || type.starts_with("float")) return fmt::format("_{}", i);
    return {'_', (type.starts_with("color") ? kColourParts : kVectorParts)[part]};
}

/// The head's column or one of `kRgbColumns`.
bool IsReserved(std::string_view name) {
    return std::find(std::begin(kHeadColumns), std::end(kHeadColumns), name) !=
               std::end(kHeadColumns) ||
           std::find(std::begin(kRgbColumns), std::end(kRgbColumns), name) != std::end(kRgbColumns);
}

void Declare(std::string type, std::string name, std::int32_t size, CloudVariables* variables) {
    variables->types.push_back(std::move(type));
    variables->names.push_back(std::move(name));
    variables->sizes.push_back(size);
    variables->data_size += size;
}

/// Columns that belong together, and the variable that they are.
struct Group {
    std::size_t columns;
    std::string type;
    std::string_view name;
};

/// Whether the columns from `first` on are `base` with one of `parts` behind it, in their order.
bool AreParts(const std::vector<std::string>& names, std::size_t first, std::string_view base,
              std::string_view parts) {
    if (names.size() - first < parts.size()) return false;
    for (std::size_t i = 0; i < parts.size(); ++i)
        if (names[first + i] != fmt::format("{}_{}", base, parts[i])) return false;
    return true;
}

/// The variable that the free columns from `first` on stand for.
Group GroupAt(const std::vector<std::string>& names, std::size_t first) {
    const std::string_view name = names[first];
    const std::size_t bar = name.rfind('_');
    const std::string_view base = name.substr(0, bar);
    if (bar != std::string_view::npos && bar > 0) {
        if (AreParts(names, first, base, kColourParts)) return {3, "color", base};
        if (AreParts(names, first, base, kVectorParts)) return {3, "vector", base};
        std::size_t count = 0;
        while (first + count < names.size() &&
               names[first + count] == fmt::format("{}_{}", base, count))
            ++count;
        if (count == kMatrixFloats) return {count, "matrix", base};
        if (count > 1) return {count, fmt::format("float[{}]", count), base};
    }
    return {1, "float", name};
}

/// Builds a map column by column.
class Mapper {
public:
    explicit Mapper(const std::vector<std::string>& names)
        : names_(names), is_taken_(names.size()) {
        map_.slots.assign(names.size(), -1);
        // The first of two columns with one name is the one that counts.
        for (std::size_t i = 0; i < names.size(); ++i) by_name_.emplace(names[i], i);
    }

    void TakeHead() {
        std::array<bool, kHeadColumnCount> has{};
        for (std::size_t i = 0; i < kHeadColumnCount; ++i)
            has[i] = Take(kHeadColumns[i], static_cast<std::int32_t>(i));
        if (!has[0] || !has[1] || !has[2]) throw TableError("it has no x, y and z");
        map_.has_normal = has[3] && has[4] && has[5];
        map_.has_radius = has[6];
        map_.has_codes = has[7] && has[8];
    }

    /// Takes the columns of all `declared` variables, or none when one of them is missing.
    bool TakeDeclared(const CloudVariables& declared) {
        const std::vector<std::string> wanted = ColumnNames(declared);
        for (const std::string& name : wanted)
            if (!by_name_.contains(name)) return false;
        for (std::size_t i = 0; i < wanted.size(); ++i)
            (void)Take(wanted[i], static_cast<std::int32_t>(kHeadColumnCount + i));
        map_.variables = declared;
        return true;
    }

    /// Red, green and blue as a colour. `wanted`: false when they only repeat one.
    void TakeRgb(bool wanted) {
        const auto has = [&](std::string_view name) {
            return by_name_.contains(std::string(name));
        };
        if (!std::all_of(std::begin(kRgbColumns), std::end(kRgbColumns), has)) return;
        std::int32_t slot = wanted ? NextSlot() : -1;
        for (const std::string_view name : kRgbColumns) {
            (void)Take(name, slot);
            if (wanted) ++slot;
        }
        if (wanted) Declare("color", "color", 3, &map_.variables);
    }

    void TakeRest() {
        std::vector<std::string> free;
        std::vector<std::size_t> columns;
        for (std::size_t i = 0; i < names_.size(); ++i) {
            if (is_taken_[i]) continue;
            free.push_back(names_[i]);
            columns.push_back(i);
        }
        for (std::size_t i = 0; i < free.size();) {
            const Group group = GroupAt(free, i);
            std::int32_t slot = NextSlot();
            for (std::size_t k = 0; k < group.columns; ++k) map_.slots[columns[i + k]] = slot++;
            Declare(group.type, CleanName(group.name), static_cast<std::int32_t>(group.columns),
                    &map_.variables);
            i += group.columns;
        }
    }

    ColumnMap Take() { return std::move(map_); }

private:
    bool Take(std::string_view name, std::int32_t slot) {
        const auto found = by_name_.find(std::string(name));
        if (found == by_name_.end()) return false;
        map_.slots[found->second] = slot;
        is_taken_[found->second] = true;
        return true;
    }

    std::int32_t NextSlot() const {
        return static_cast<std::int32_t>(kHeadColumnCount) + map_.variables.data_size;
    }

    const std::vector<std::string>& names_;
    std::unordered_map<std::string, std::size_t> by_name_;
    std::vector<bool> is_taken_;
    ColumnMap map_;
};

}  // namespace

std::vector<std::string> ColumnNames(const CloudVariables& variables) {
    if (static_cast<std::size_t>(variables.data_size) > kMaxColumns)
        throw TableError(fmt::format(
            "the cloud has more than {} floats a point, too many for a table", kMaxColumns));
    std::vector<std::string> names;
    std::unordered_set<std::string> used;
    for (std::size_t i = 0; i < variables.types.size(); ++i) {
        const std::int32_t size = variables.sizes[i];
        const std::string base = CleanName(variables.names[i]);
        std::vector<std::string> parts;
        // Another name for the whole variable until none of its columns has a namesake.
        for (int attempt = 1; parts.empty() && size > 0; ++attempt) {
            const std::string name = attempt == 1 ? base : fmt::format("{}_v{}", base, attempt);
            for (std::int32_t k = 0; k < size; ++k) {
                parts.push_back(name + Suffix(variables.types[i], size, k));
                if (!IsReserved(parts.back()) && !used.contains(parts.back())) continue;
                parts.clear();
                break;
            }
        }
        used.insert(parts.begin(), parts.end());
        names.insert(names.end(), parts.begin(), parts.end());
    }
    return names;
}

std::optional<std::size_t> ColourOffset(const CloudVariables& variables) {
    std::size_t offset = 0;
    for (std::size_t i = 0; i < variables.types.size(); ++i) {
        if (variables.types[i].starts_with("color") && variables.sizes[i] >= 3) return offset;
        offset += static_cast<std::size_t>(variables.sizes[i]);
    }
    return std::nullopt;
}

ColumnMap MapColumns(const std::vector<std::string>& names, const CloudVariables* declared) {
    Mapper mapper(names);
    mapper.TakeHead();
    const bool is_declared = declared && mapper.TakeDeclared(*declared);
    mapper.TakeRgb(!is_declared || !ColourOffset(*declared));
    mapper.TakeRest();
    return mapper.Take();
}

}  // namespace convert
