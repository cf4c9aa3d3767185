// Table sinks: PLY and CSV.

#include <fmt/format.h>

#include <algorithm>
#include <span>
#include <vector>

#include "tools/common/failure.h"
#include "tools/ptc/convert/columns.h"
#include "tools/ptc/convert/ply_comments.h"
#include "tools/ptc/convert/row_writer.h"
#include "tools/ptc/convert/sinks.h"

namespace convert {

namespace {

/// Room for the rows that are written together, unless one alone takes more.
constexpr std::size_t kBlockBytes = std::size_t{1} << 18;

/// Names of the variables' columns; a table that cannot hold them fails under the file's name.
std::vector<std::string> ColumnNamesFor(const StoredHeader& header, const OutputName& output) {
    try {
        return ColumnNames(header.point_variables);
    } catch (const TableError& error) {
        throw Failure(fmt::format("{}: {}", output.name, error.what()));
    }
}

/// The two lines with the count of points. Their length is the same for every count, so that they
/// can be written again when the points are counted.
std::string CountLines(std::int64_t count) {
    constexpr std::size_t kWidth = 20;
    const std::string digits = std::to_string(count);
    return fmt::format("comment ptc 1 {}\nelement vertex {}\n",
                       std::string(kWidth - digits.size(), '.'), digits);
}

/// What PLY and CSV have in common: text in front, rows behind.
class TableSink : public PointSink {
public:
    TableSink(const StoredHeader& header, OutputName output, RowWriter rows)
        : record_(header.PointBytes()),
          output_(std::move(output)),
          rows_(rows),
          block_(std::max<std::size_t>(1, kBlockBytes / rows_.MostRowBytes())),
          room_(block_ * rows_.MostRowBytes()) {}

    void Write(std::span<const std::byte> records) override {
        for (auto rest = records; !rest.empty();) {
            const auto taken = rest.first(std::min(rest.size(), block_ * record_));
            Put({room_.data(), WriteRows(rows_, taken, room_.data())});
            rest = rest.subspan(taken.size());
        }
        count_ += static_cast<std::int64_t>(records.size() / record_);
    }

    void Finish() override {
        if (!output_.bytes->Close()) Fail();
    }

protected:
    /// Writes the rows of `records` to `room`, where all of them fit. The answer: their end.
    virtual char* WriteRows(const RowWriter& rows, std::span<const std::byte> records,
                            char* room) = 0;

    void Put(std::string_view text) {
        if (!output_.bytes->Write(std::as_bytes(std::span(text)))) Fail();
    }
    void Rewrite(std::int64_t offset, std::string_view text) {
        if (!output_.bytes->Seek(offset)) Fail();
        Put(text);
    }
    std::int64_t Written() const { return count_; }

private:
    [[noreturn]] void Fail() const { FailWithErrno(output_.name, output_.bytes->Error()); }

    std::size_t record_;
    OutputName output_;
    RowWriter rows_;
    std::size_t block_;  ///< rows that are written together
    std::vector<char> room_;
    std::int64_t count_ = 0;
};

class PlySink : public TableSink {
public:
    PlySink(const StoredHeader& header, OutputName output, TokenForm form, std::int64_t count,
            const std::vector<std::string>& columns, std::string_view prefix)
        : TableSink(header, std::move(output),
                    {header.point_variables, ColourOffset(header.point_variables)}),
          form_(form),
          expected_(std::max<std::int64_t>(count, 0)) {
        std::string text = fmt::format("ply\nformat {} 1.0\n",
                                       form == TokenForm::kText ? "ascii" : "binary_little_endian");
        AppendPlyComments(header, &text);
        count_at_ = static_cast<std::int64_t>(text.size());
        text += CountLines(expected_);
        const auto declare = [&](std::string_view type, std::string_view before,
                                 std::string_view name) {
            text += fmt::format("property {} {}{}\n", type, before, name);
        };
        for (std::size_t i = 0; i < kHeadColumnCount; ++i)
            declare(kHeadColumns[i].ends_with("_code") ? "uint16" : "float32",
                    IsScalarColumn(i) ? prefix : "", kHeadColumns[i]);
        if (ColourOffset(header.point_variables))
            for (const std::string_view name : kRgbColumns) declare("uint8", "", name);
        for (const std::string& name : columns) declare("float32", prefix, name);
        Put(text += "end_header\n");
    }

    void Finish() override {
        if (Written() != expected_) Rewrite(count_at_, CountLines(Written()));
        TableSink::Finish();
    }

protected:
    char* WriteRows(const RowWriter& rows, std::span<const std::byte> records,
                    char* room) override {
        return form_ == TokenForm::kText ? rows.WriteText(records, ' ', room)
                                         : rows.WriteBytes(records, room);
    }

private:
    TokenForm form_;
    std::int64_t expected_;
    std::int64_t count_at_ = 0;
};

class CsvSink : public TableSink {
public:
    CsvSink(const StoredHeader& header, OutputName output, const std::vector<std::string>& columns)
        : TableSink(header, std::move(output), {header.point_variables, std::nullopt}) {
        std::string line;
        for (const std::string_view name : kHeadColumns) line.append(name).append(1, ',');
        for (const std::string& name : columns) line.append(name).append(1, ',');
        line.back() = '\n';
        Put(line);
    }

protected:
    char* WriteRows(const RowWriter& rows, std::span<const std::byte> records,
                    char* room) override {
        return rows.WriteText(records, ',', room);
    }
};

}  // namespace

std::unique_ptr<PointSink> MakePlySink(const StoredHeader& header, OutputName output,
                                       TokenForm form, std::int64_t count,
                                       std::string_view prefix) {
    const std::vector<std::string> columns = ColumnNamesFor(header, output);
    return std::make_unique<PlySink>(header, std::move(output), form, count, columns, prefix);
}

std::unique_ptr<PointSink> MakeCsvSink(const StoredHeader& header, OutputName output) {
    const std::vector<std::string> columns = ColumnNamesFor(header, output);
    return std::make_unique<CsvSink>(header, std::move(output), columns);
}

}  // namespace convert
