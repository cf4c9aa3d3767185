// PrintTable: rows on standard output, aligned for people or as CSV.
//
// Units      a cell is a whole number, a float or a text.
// Errors     a Failure when standard output takes no more.
// Ownership  owns a piece of text of bounded size.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class PrintTable {
public:
    enum class Form {
        kAligned,  ///< right-aligned columns, floats with seven digits
        kCsv,      ///< RFC 4180 with newlines; floats so that they read back as the same bits
    };

    /// Begins with a row of `titles`.
    PrintTable(Form form, const std::vector<std::string>& titles);

    // The cells of a row, from left to right.
    void Whole(std::int64_t value);
    void Float(float value);
    void Text(std::string_view text);

    /// Caller: has filled every column.
    void EndRow();

    /// Hands the rest to standard output. What is not finished is not printed whole.
    void Finish();

private:
    void Cell(std::string_view text);
    std::string Shown(std::string_view text) const;
    void Flush();

    const Form form_;
    std::vector<std::size_t> widths_;  ///< of the columns, in characters
    std::size_t column_ = 0;
    std::string text_;
};
