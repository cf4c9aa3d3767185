// Answers of a query on standard output: as a table, as CSV or as JSON.
//
// Units      a row holds an answer's floats, which groups and columns refer to by their place.
// Errors     a Failure when standard output takes no more.
// Ownership  copies the groups; owns text of bounded size.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tools/ptc/print_columns.h"
#include "tools/ptc/print_table.h"

class AnswerOutput {
public:
    AnswerOutput() = default;
    AnswerOutput(const AnswerOutput&) = delete;
    AnswerOutput& operator=(const AnswerOutput&) = delete;
    virtual ~AnswerOutput() = default;

    /// Begins the answers for place number `place`.
    virtual void BeginPlace(std::int64_t place, const float* position) = 0;

    /// A point that is near it.
    virtual void AddPoint(const std::string& file, std::int64_t index, float distance,
                          std::span<const float> row) = 0;

    /// The values that are filtered at it.
    virtual void AddSample(std::span<const float> row) = 0;

    virtual void EndPlace() = 0;
    virtual void Finish() = 0;
};

/// What answers consist of.
struct AnswerShape {
    bool is_sample = false;             ///< each place has one row of values, and no points
    std::vector<PrintGroup> own;        ///< of a point or place
    std::vector<PrintGroup> variables;  ///< of the clouds
    std::vector<PrintGroup> weights;    ///< of a sample, one for each variable
};

struct TableShape {
    PrintTable::Form form = PrintTable::Form::kAligned;
    bool has_places = false;  ///< a column with the place's number
    bool has_files = false;   ///< a column with the file's name
};

std::unique_ptr<AnswerOutput> MakeAnswerTable(const AnswerShape& shape, const TableShape& table);

/// One array with an object for each place.
std::unique_ptr<AnswerOutput> MakeAnswerJson(const AnswerShape& shape);
