// Answers of a query: rows of a table, and JSON.

#include "tools/ptc/lookup/query_answers.h"

#include "tools/common/standard_streams.h"
#include "tools/ptc/json_text.h"

namespace {

std::vector<PrintColumn> ColumnsOf(const AnswerShape& shape) {
    std::vector<PrintColumn> columns;
    for (const auto* const groups : {&shape.own, &shape.variables, &shape.weights})
        for (const PrintColumn& column : ColumnsOf(*groups)) columns.push_back(column);
    return columns;
}

class AnswerTable final : public AnswerOutput {
public:
    AnswerTable(const AnswerShape& shape, const TableShape& table)
        : shape_(table), columns_(ColumnsOf(shape)), table_(table.form, Titles(shape.is_sample)) {}

    void BeginPlace(std::int64_t place, const float*) override { place_ = place; }

    void AddPoint(const std::string& file, std::int64_t index, float distance,
                  std::span<const float> row) override {
        if (shape_.has_places) table_.Whole(place_);
        if (shape_.has_files) table_.Text(file);
        table_.Whole(index);
        table_.Float(distance);
        AddFloats(row);
    }

    void AddSample(std::span<const float> row) override {
        if (shape_.has_places) table_.Whole(place_);
        AddFloats(row);
    }

    void EndPlace() override {}
    void Finish() override { table_.Finish(); }

private:
    std::vector<std::string> Titles(bool is_sample) const {
        std::vector<std::string> titles;
        if (shape_.has_places) titles.emplace_back("place");
        if (shape_.has_files && !is_sample) titles.emplace_back("file");
        if (!is_sample) titles.insert(titles.end(), {"point", "distance"});
        for (const PrintColumn& column : columns_) titles.push_back(column.title);
        return titles;
    }

    void AddFloats(std::span<const float> row) {
        for (const PrintColumn& column : columns_) table_.Float(row[column.source]);
        table_.EndRow();
    }

    const TableShape shape_;
    const std::vector<PrintColumn> columns_;
    PrintTable table_;
    std::int64_t place_ = 0;
};

class AnswerJson final : public AnswerOutput {
public:
    explicit AnswerJson(const AnswerShape& shape) : shape_(shape) {}

    void BeginPlace(std::int64_t place, const float* position) override {
        json_ = JsonText();
        json_.Begin('{');
        json_.Add("place", place);
        json_.BeginLine("at", '[');
        for (const float value : std::span(position, 3)) json_.Add(value);
        json_.EndLine(']');
        if (!shape_.is_sample) json_.Begin("points", '[');
    }

    void AddPoint(const std::string& file, std::int64_t index, float distance,
                  std::span<const float> row) override {
        json_.BeginLine('{');
        json_.Add("file", file);
        json_.Add("point", index);
        json_.Add("distance", distance);
        for (const PrintGroup& group : shape_.own) AddGroup(group, row);
        AddLine("variables", shape_.variables, row);
        json_.EndLine('}');
    }

    void AddSample(std::span<const float> row) override {
        AddLine("variables", shape_.variables, row);
        AddLine("weights", shape_.weights, row);
    }

    void EndPlace() override {
        if (!shape_.is_sample) json_.End(']');
        json_.End('}');
        WriteOut((has_begun_ ? ",\n" : "[\n") + json_.Text());
        has_begun_ = true;
    }

    void Finish() override { WriteOut(has_begun_ ? "\n]\n" : "[]\n"); }

private:
    /// A single float, or a list.
    void AddGroup(const PrintGroup& group, std::span<const float> row) {
        const auto floats = row.subspan(group.columns.empty() ? 0 : group.columns.front().source,
                                        group.columns.size());
        if (floats.size() == 1) {
            json_.Add(group.name, floats.front());
        } else {
            json_.Add(group.name, floats);
        }
    }

    void AddLine(const char* key, const std::vector<PrintGroup>& groups,
                 std::span<const float> row) {
        json_.BeginLine(key, '{');
        for (const PrintGroup& group : groups) AddGroup(group, row);
        json_.EndLine('}');
    }

    const AnswerShape shape_;
    JsonText json_;
    bool has_begun_ = false;
};

}  // namespace

std::unique_ptr<AnswerOutput> MakeAnswerTable(const AnswerShape& shape, const TableShape& table) {
    return std::make_unique<AnswerTable>(shape, table);
}

std::unique_ptr<AnswerOutput> MakeAnswerJson(const AnswerShape& shape) {
    return std::make_unique<AnswerJson>(shape);
}
