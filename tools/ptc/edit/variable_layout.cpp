// Variable layout: choosing, renaming, and what that means for the bytes of a record.

#include "tools/ptc/edit/variable_layout.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "ptc/format/light_nodes.h"
#include "tools/common/failure.h"
#include "tools/common/nearest_name.h"
#include "tools/common/parts.h"

namespace edit {

namespace {

bool Has(const std::vector<std::string>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

void RequireName(const std::string& file, const CloudVariables& variables, std::string_view name) {
    if (Has(variables.names, name)) return;
    const std::string nearest = NearestName(name, variables.names);
    throw Failure(fmt::format("{}: no variable \"{}\"{}", file, name,
                              nearest.empty() ? "" : "; the nearest is " + nearest));
}

std::vector<std::string> NamesIn(const std::string& list, const std::string& file,
                                 const CloudVariables& variables) {
    std::vector<std::string> names;
    if (list.empty()) return names;
    Parts parts(list, ',');
    for (std::string_view name; parts.Next(&name);) {
        RequireName(file, variables, name);
        names.emplace_back(name);
    }
    return names;
}

/// Leaves those variables for which `stays` holds.
template <class Stays>
CloudVariables Chosen(const CloudVariables& all, const Stays& stays) {
    CloudVariables chosen;
    for (std::size_t i = 0; i < all.names.size(); ++i) {
        if (!stays(all.names[i])) continue;
        chosen.types.push_back(all.types[i]);
        chosen.names.push_back(all.names[i]);
        chosen.sizes.push_back(all.sizes[i]);
        chosen.data_size += all.sizes[i];
    }
    return chosen;
}

void Rename(const std::string& text, const std::string& file, CloudHeader* header) {
    const std::size_t equals = text.find('=');
    const std::string from = text.substr(0, equals);
    const std::string to = text.substr(equals + 1);
    RequireName(file, header->point_variables, from);
    if (from == to) return;
    const auto& names = header->point_variables.names;
    const auto at = std::find(names.begin(), names.end(), from) - names.begin();
    if (!CanBeDeclared(header->point_variables.types[static_cast<std::size_t>(at)], to))
        throw Failure(fmt::format("{}: no variable can be called \"{}\"", file, to));
    if (Has(header->point_variables.names, to))
        throw Failure(fmt::format("{}: there is a variable \"{}\" already", file, to));
    // A node's value of that name is made of the points' ones.
    for (CloudVariables* const variables : {&header->point_variables, &header->node_variables})
        std::replace(variables->names.begin(), variables->names.end(), from, to);
    RenameLightChannel(from, to, &header->node_variables);
}

}  // namespace

bool CanBeDeclared(std::string_view type, std::string_view name) {
    return !name.empty() && name.find_first_of(" \t\n\v\f\r") == name.npos &&
           type.size() + 1 + name.size() <= ptc_layout::kMaxWrittenDeclaration;
}

VariableLayout::VariableLayout(const Options& options, const std::string& file,
                               CloudHeader* header) {
    const CloudVariables all = header->point_variables;
    const auto kept = NamesIn(options.keep.value_or(""), file, all);
    const auto dropped = NamesIn(options.drop, file, all);
    const auto stays = [&](const std::string& name) {
        return (!options.keep || Has(kept, name)) && !Has(dropped, name);
    };
    pieces_.push_back({0, ptc_layout::kPointHeadBytes});
    std::size_t at = ptc_layout::kPointHeadBytes;
    for (std::size_t i = 0; i < all.names.size(); ++i) {
        const std::size_t bytes = sizeof(float) * static_cast<std::size_t>(all.sizes[i]);
        if (!stays(all.names[i])) {
            drops_any_ = true;
        } else if (pieces_.back().begin + pieces_.back().bytes == at) {
            pieces_.back().bytes += bytes;
        } else {
            pieces_.push_back({at, bytes});
        }
        at += bytes;
    }
    header->point_variables = Chosen(all, stays);
    header->node_variables = Chosen(header->node_variables, [&](const std::string& name) {
        return !Has(all.names, name) || stays(name);
    });
    for (const std::string& rename : options.renames) Rename(rename, file, header);
    record_ = header->PointBytes();
}

void VariableLayout::Apply(RecordBatch* batch) const {
    if (!drops_any_) return;
    std::byte* to = batch->bytes.data();
    for (std::size_t i = 0; i < batch->count; ++i) {
        const std::byte* const record = batch->Record(i);
        for (const Piece& piece : pieces_) {
            std::memmove(to, record + piece.begin, piece.bytes);
            to += piece.bytes;
        }
    }
    batch->record = record_;
}

}  // namespace edit
