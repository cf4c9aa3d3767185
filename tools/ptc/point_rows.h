// PointRows: points as rows of a table on standard output, as `ptc print` and `ptc find` show them.
//
// Units      rows are the point's index, position, decoded normal, radius and variables.
// Errors     a Failure that names the file: an unknown column; standard output takes no more.
// Ownership  borrows the cloud's variables only while it is made.
// Threads    one caller at a time.

#pragma once

#include <string>
#include <vector>

#include "tools/ptc/point_scan.h"
#include "tools/ptc/print_columns.h"
#include "tools/ptc/print_table.h"

/// The columns of `groups` that `names` chooses. Fails under the name of the file `name`.
std::vector<PrintColumn> ChooseColumns(const std::string& name,
                                       const std::vector<PrintGroup>& groups,
                                       const std::string& names);

/// The titles of a table that begins with columns of its own.
std::vector<std::string> TitlesOf(std::vector<std::string> own,
                                  const std::vector<PrintColumn>& columns);

class PointRows {
public:
    /// Begins a table for the points of the file `name`. `names`: as for ChooseGroups().
    PointRows(PrintTable::Form form, const std::string& name, const CloudVariables& variables,
              const std::string& names);

    /// The point at which `scan` is.
    void Add(const PointScan& scan);

    /// Hands the rest to standard output.
    void Finish() { table_.Finish(); }

private:
    std::vector<PrintColumn> columns_;
    PrintTable table_;
    std::vector<float> row_;
};
