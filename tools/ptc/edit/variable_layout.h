// VariableLayout: which variables of the points stay, and under which names.
//
// Errors     a Failure that names the file: an unknown name, a name that would be there twice.
// Ownership  owns everything.
// Threads    one caller at a time.

#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ptc/format/cloud_header.h"
#include "tools/ptc/edit/edit_options.h"
#include "tools/ptc/edit/record_batch.h"

namespace edit {

/// Whether a file can hold the declaration of such a variable. A reader ends a name at a blank.
bool CanBeDeclared(std::string_view type, std::string_view name);

class VariableLayout {
public:
    /// Changes the variables of points and of nodes in `header`. `file`: its name in messages.
    VariableLayout(const Options& options, const std::string& file, CloudHeader* header);

    /// Takes out of the records what does not stay.
    void Apply(RecordBatch* batch) const;

    /// Whether a variable goes.
    bool DropsAny() const { return drops_any_; }

private:
    /// Bytes of a record that stay, next to each other.
    struct Piece {
        std::size_t begin;
        std::size_t bytes;
    };

    std::vector<Piece> pieces_;
    std::size_t record_ = 0;
    bool drops_any_ = false;
};

}  // namespace edit
