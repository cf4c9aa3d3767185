// PointChanges: the values that "--set" and "--add" give to points, in the order of the options.
//
// Errors     when it is made: ExpressionError, or a Failure that names the file. When it is
// applied:
//            a Failure with the file and the number of a point whose radius would be negative.
// Ownership  owns everything.
// Threads    one caller at a time.

#pragma once

#include <string>
#include <vector>

#include "ptc/format/cloud_header.h"
#include "tools/ptc/edit/edit_options.h"
#include "tools/ptc/edit/record_batch.h"

namespace edit {

class PointChanges {
public:
    /// Appends the new variables to `variables`. `file`: its name in messages.
    PointChanges(const std::vector<Change>& changes, std::string file, CloudVariables* variables);

    /// Caller: has widened the records, and decoded the normals if one of them changes.
    void Apply(RecordBatch* batch);

    bool ChangesNormals() const;

    /// Whether something changes that nodes with these variables are made of: positions, radii,
    /// normals if they have data for light, and what is called like one of the variables. New ones
    /// do not count.
    bool ChangesTree(const CloudVariables& nodes) const;

private:
    /// One float or all floats of a name.
    struct Assignment {
        expression::FieldRun target;
        std::vector<expression::Expression> values;  ///< one for each float
        bool is_new = false;
    };

    void Assign(const Change& change, CloudVariables* variables);

    const std::string file_;
    std::vector<Assignment> assignments_;
};

}  // namespace edit
