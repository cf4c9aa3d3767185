// Point rows: the columns, and a row of floats to choose them from.

#include "tools/ptc/point_rows.h"

#include <algorithm>
#include <span>

#include "tools/common/failure.h"

namespace {

/// A row's floats are position, normal and radius as a PointHead has them, then the data.
constexpr std::size_t kHeadFloats = sizeof(PointHead) / sizeof(float);

/// What may be chosen: the point's own groups of floats, then the file's variables.
std::vector<PrintGroup> PointGroups(const CloudVariables& variables) {
    std::vector<PrintGroup> groups = {{"position", {{"x", 0}, {"y", 1}, {"z", 2}}},
                                      {"normal", {{"nx", 3}, {"ny", 4}, {"nz", 5}}},
                                      {"radius", {{"radius", 6}}}};
    const std::vector<PrintGroup> of_file = VariableGroups(variables, kHeadFloats);
    groups.insert(groups.end(), of_file.begin(), of_file.end());
    return groups;
}

}  // namespace

std::vector<PrintColumn> ChooseColumns(const std::string& name,
                                       const std::vector<PrintGroup>& groups,
                                       const std::string& names) {
    try {
        return ColumnsOf(ChooseGroups(groups, names));
    } catch (const Failure& failure) {
        throw Failure(name + ": " + failure.what());
    }
}

std::vector<std::string> TitlesOf(std::vector<std::string> own,
                                  const std::vector<PrintColumn>& columns) {
    for (const PrintColumn& column : columns) own.push_back(column.title);
    return own;
}

PointRows::PointRows(PrintTable::Form form, const std::string& name,
                     const CloudVariables& variables, const std::string& names)
    : columns_(ChooseColumns(name, PointGroups(variables), names)),
      table_(form, TitlesOf({"point"}, columns_)),
      row_(kHeadFloats + variables.DataFloats()) {}

void PointRows::Add(const PointScan& scan) {
    const std::span<const float> values = scan.Values();
    std::copy_n(values.begin(), 3, row_.begin());
    scan.DecodeNormal(&row_[3]);
    row_[6] = values[PointScan::kRadius];
    std::copy(values.begin() + PointScan::kData, values.end(), row_.begin() + kHeadFloats);
    table_.Whole(scan.Count() - 1);
    for (const PrintColumn& column : columns_) table_.Float(row_[column.source]);
    table_.EndRow();
}
