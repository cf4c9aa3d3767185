// Columns: naming them, and reading names back.

#include "tools/ptc/convert/columns.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "tools/common/number.h"
#include "tools/ptc/variable_list.h"

namespace convert {

namespace {

constexpr std::int32_t kMatrixFloats = 16;

/// Characters that a column's name takes from its variable's; the rest is room for its suffix.
constexpr std::size_t kMaxBaseName = 200;

bool IsNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '.' || c == '-';
}

std::string CleanName(std::string_view name) {
    std::string clean(name.substr(0, kMaxBaseName));
    for (char& c : clean)
        if (!IsNameCharacter(c)) c = '_';
    return clean.empty() ? "unnamed" : clean;
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

/// Columns that belong together, in the order of the floats, and the variable that they are.
struct Group {
    std::vector<std::size_t> columns;
    std::string type;
    std::string name;
};

/// Columns without a known meaning, by name, and which of them are one variable.
class FreeColumns {
public:
    /// Of two columns with one name the first gets it. False for the second.
    bool Add(const std::string& name, std::size_t column) {
        return by_name_.emplace(name, column).second;
    }

    /// Takes the variable that the column called `name` is a float of.
    /// Caller: has added all columns; takes no column twice.
    Group Take(const std::string& name) {
        const std::size_t bar = name.rfind('_');
        if (bar != std::string::npos && bar > 0) {
            const std::string base = name.substr(0, bar);
            const std::string part = name.substr(bar + 1);
            for (const auto& [type, letters] :
                 {std::pair{"color", kColourParts}, {"vector", kVectorParts}}) {
                std::vector<std::string> parts;
                for (const char letter : letters) parts.emplace_back(1, letter);
                const bool is_one = std::find(parts.begin(), parts.end(), part) != parts.end();
                if (is_one && AreFree(base, parts)) return TakeParts(type, base, parts);
            }
            const std::int32_t run = RunOf(base);
            std::int32_t index = 0;
            if (run > 1 && ParseNumber(part, &index) && part == std::to_string(index) &&
                index < run)
                return TakeRun(base, run);
        }
        return {{by_name_.extract(name).mapped()}, "float", name};
    }

private:
    bool AreFree(const std::string& base, const std::vector<std::string>& parts) const {
        return std::all_of(parts.begin(), parts.end(), [&](const std::string& part) {
            return by_name_.contains(base + '_' + part);
        });
    }

    Group TakeParts(std::string type, const std::string& base,
                    const std::vector<std::string>& parts) {
        Group group = {{}, std::move(type), base};
        for (const std::string& part : parts)
            group.columns.push_back(by_name_.extract(fmt::format("{}_{}", base, part)).mapped());
        return group;
    }

    Group TakeRun(const std::string& base, std::int32_t run) {
        std::vector<std::string> parts;
        parts.reserve(static_cast<std::size_t>(run));
        for (std::int32_t i = 0; i < run; ++i) parts.push_back(std::to_string(i));
        return TakeParts(run == kMatrixFloats ? "matrix" : fmt::format("float[{}]", run), base,
                         parts);
    }

    /// How many columns there are from `base`_0 on without a gap. Counted once for each base, so
    /// that columns behind a gap do not count the whole run again.
    std::int32_t RunOf(const std::string& base) {
        const auto [known, is_new] = runs_.emplace(base, 0);
        while (is_new && by_name_.contains(fmt::format("{}_{}", base, known->second)))
            ++known->second;
        return known->second;
    }

    std::unordered_map<std::string, std::size_t> by_name_;
    std::unordered_map<std::string, std::int32_t> runs_;
};

/// Builds a map column by column.
class Mapper {
public:
    Mapper(const std::vector<std::string>& names, std::string_view prefix)
        : names_(names), prefix_(prefix), is_taken_(names.size()) {
        map_.slots.assign(names.size(), -1);
        // The first of two columns with one name is the one that counts.
        for (std::size_t i = 0; i < names.size(); ++i) by_name_.emplace(names[i], i);
    }

    void TakeHead() {
        std::array<bool, kHeadColumnCount> has{};
        for (std::size_t i = 0; i < kHeadColumnCount; ++i) {
            const std::string name(kHeadColumns[i]);
            const auto slot = static_cast<std::int32_t>(i);
            has[i] = Take(name, slot) || (IsScalarColumn(i) && Take(prefix_ + name, slot));
        }
        if (!has[0] || !has[1] || !has[2]) throw TableError("it has no x, y and z");
        map_.has_normal = has[3] && has[4] && has[5];
        map_.has_radius = has[6];
        map_.has_codes = has[7] && has[8];
    }

    /// Takes the columns of all `declared` variables, or none when one of them is missing.
    bool TakeDeclared(const CloudVariables& declared) {
        const std::vector<std::string> wanted = ColumnNames(declared);
        // All of them have the prefix or none: a variable's own name may begin like it.
        return TakeAll("", wanted, declared) || TakeAll(prefix_, wanted, declared);
    }

    /// Red, green and blue as a colour. `wanted`: false when they only repeat one.
    void TakeRgb(bool wanted) {
        const auto has = [&](std::string_view name) { return IsFree(std::string(name)); };
        if (!std::all_of(std::begin(kRgbColumns), std::end(kRgbColumns), has)) return;
        std::int32_t slot = wanted ? NextSlot() : -1;
        for (const std::string_view name : kRgbColumns) {
            (void)Take(std::string(name), slot);
            if (wanted) ++slot;
        }
        if (wanted) Declare("color", "color", 3, &map_.variables);
    }

    void TakeRest() {
        FreeColumns free;
        std::vector<bool> is_second(names_.size());
        for (std::size_t i = 0; i < names_.size(); ++i)
            if (!is_taken_[i]) is_second[i] = !free.Add(BareName(names_[i]), i);
        for (std::size_t i = 0; i < names_.size(); ++i) {
            if (is_taken_[i]) continue;
            const std::string name = BareName(names_[i]);
            const Group group = is_second[i] ? Group{{i}, "float", name} : free.Take(name);
            std::int32_t slot = NextSlot();
            for (const std::size_t column : group.columns) {
                map_.slots[column] = slot++;
                is_taken_[column] = true;
            }
            Declare(group.type, CleanName(group.name),
                    static_cast<std::int32_t>(group.columns.size()), &map_.variables);
        }
    }

    ColumnMap Take() { return std::move(map_); }

private:
    bool IsFree(const std::string& name) const {
        const auto found = by_name_.find(name);
        return found != by_name_.end() && !is_taken_[found->second];
    }

    bool Take(const std::string& name, std::int32_t slot) {
        if (!IsFree(name)) return false;
        const std::size_t column = by_name_.at(name);
        map_.slots[column] = slot;
        is_taken_[column] = true;
        return true;
    }

    bool TakeAll(const std::string& prefix, const std::vector<std::string>& wanted,
                 const CloudVariables& declared) {
        for (const std::string& name : wanted)
            if (!IsFree(prefix + name)) return false;
        for (std::size_t i = 0; i < wanted.size(); ++i)
            (void)Take(prefix + wanted[i], static_cast<std::int32_t>(kHeadColumnCount + i));
        map_.variables = declared;
        return true;
    }

    /// Without the prefix, unless the rest is empty or the name of another column.
    std::string BareName(const std::string& name) const {
        if (prefix_.empty() || !name.starts_with(prefix_)) return name;
        const std::string bare = name.substr(prefix_.size());
        return bare.empty() || by_name_.contains(bare) ? name : bare;
    }

    std::int32_t NextSlot() const {
        return static_cast<std::int32_t>(kHeadColumnCount) + map_.variables.data_size;
    }

    const std::vector<std::string>& names_;
    const std::string prefix_;
    std::unordered_map<std::string, std::size_t> by_name_;
    std::vector<bool> is_taken_;
    ColumnMap map_;
};

}  // namespace

std::vector<std::string> ColumnNames(const CloudVariables& variables) {
    if (variables.DataFloats() > kMaxColumns)
        throw TableError(fmt::format(
            "the cloud has more than {} floats a point, too many for a table", kMaxColumns));
    std::vector<std::string> names;
    std::unordered_set<std::string> used;
    for (const Variable& variable : ListVariables(variables)) {
        const std::string base = CleanName(variable.name);
        std::vector<std::string> parts;
        // Another name for the whole variable until none of its columns has a namesake.
        for (int attempt = 1; parts.empty() && variable.size > 0; ++attempt) {
            const std::string name = attempt == 1 ? base : fmt::format("{}_v{}", base, attempt);
            for (std::int32_t k = 0; k < variable.size; ++k) {
                parts.push_back(name + variable.Suffix(k));
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
    for (const Variable& variable : ListVariables(variables))
        if (variable.type.starts_with("color") && variable.size >= 3) return variable.offset;
    return std::nullopt;
}

ColumnMap MapColumns(const std::vector<std::string>& names, const CloudVariables* declared,
                     std::string_view prefix) {
    Mapper mapper(names, prefix);
    mapper.TakeHead();
    const bool is_declared = declared && mapper.TakeDeclared(*declared);
    mapper.TakeRgb(!is_declared || !ColourOffset(*declared));
    mapper.TakeRest();
    return mapper.Take();
}

}  // namespace convert
