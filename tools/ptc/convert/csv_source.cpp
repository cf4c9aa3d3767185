// CSV source: a header line, then a line a point.

#include <fmt/format.h>

#include <algorithm>

#include "tools/common/failure.h"
#include "tools/common/parts.h"
#include "tools/ptc/convert/columns.h"
#include "tools/ptc/convert/input_stream.h"
#include "tools/ptc/convert/number_parse.h"
#include "tools/ptc/convert/row_builder.h"
#include "tools/ptc/convert/table_sources.h"
#include "util/text/words.h"

namespace convert {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// Without the blanks around it, and without the quotes around the rest.
std::string_view Bare(std::string_view cell) {
    cell = Trimmed(cell, " \t");
    if (cell.size() >= 2 && cell.front() == '"' && cell.back() == '"')
        cell = cell.substr(1, cell.size() - 2);
    return cell;
}

/// Takes the next cell of the line. False: there is none left.
bool TakeCell(Parts* line, std::string_view* cell) {
    if (!line->Next(cell)) return false;
    *cell = Bare(*cell);
    return true;
}

class CsvSource : public PointSource {
public:
    CsvSource(const InputFile& file, float radius)
        : input_(file), map_(ReadHeader()), builder_(map_, radius) {
        header_.point_variables = map_.variables;
    }

    const StoredHeader& Header() const override { return header_; }
    std::int64_t Count() const override { return -1; }
    double Share() const override { return input_.Share(); }
    bool HasRadii() const override { return map_.has_radius; }

    std::size_t Read(std::span<std::byte> records) override {
        const std::size_t record = Header().PointBytes();
        const std::size_t room = records.size() / record;
        std::size_t done = 0;
        std::string_view line;
        while (done < room && input_.ReadLine(&line)) {
            ++line_number_;
            if (Bare(line).empty()) continue;
            ReadRow(line);
            try {
                builder_.Build(&records[done * record]);
            } catch (const TableError& error) {
                FailHere(error.what());
            }
            ++done;
        }
        return done;
    }

private:
    ColumnMap ReadHeader() {
        std::string_view line;
        if (!input_.ReadLine(&line)) input_.Fail("it is empty");
        if (line.starts_with(kByteOrderMark)) line.remove_prefix(kByteOrderMark.size());
        Parts rest(line, ',');
        std::vector<std::string> names;
        for (std::string_view cell; TakeCell(&rest, &cell);) {
            if (names.size() == kMaxColumns || cell.size() > kMaxColumnName)
                input_.Fail("it has too many columns, or one whose name is too long");
            names.emplace_back(cell);
        }
        try {
            return MapColumns(names, nullptr, "");
        } catch (const TableError& error) {
            input_.Fail(error.what());
        }
    }

    void ReadRow(std::string_view line) {
        Parts rest(line, ',');
        std::string_view cell;
        for (std::size_t column = 0; column < map_.slots.size(); ++column) {
            if (!TakeCell(&rest, &cell))
                FailHere(fmt::format("{} values for {} columns", column, map_.slots.size()));
            const std::int32_t slot = map_.slots[column];
            if (slot >= 0 && !ParseFloat(cell, builder_.Slot(slot)))
                FailHere(fmt::format("\"{:.40}\" is no number", cell));
        }
        if (!rest.IsDone())
            FailHere(fmt::format("more values than the {} columns", map_.slots.size()));
    }

    [[noreturn]] void FailHere(const std::string& reason) const {
        input_.Fail(fmt::format("line {}: {}", line_number_, reason));
    }

    InputStream input_;
    StoredHeader header_ = HeaderWithoutCamera();
    ColumnMap map_;
    RowBuilder builder_;
    std::int64_t line_number_ = 1;
};

}  // namespace

std::unique_ptr<PointSource> OpenCsv(const InputFile& file, float radius) {
    return std::make_unique<CsvSource>(file, radius);
}

}  // namespace convert
