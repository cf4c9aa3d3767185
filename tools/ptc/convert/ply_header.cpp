// PlyHeader: reading the lines up to "end_header".

#include "tools/ptc/convert/ply_header.h"

#include <fmt/format.h>

#include <array>
#include <optional>

#include "tools/common/number.h"
#include "tools/ptc/convert/columns.h"
#include "tools/ptc/convert/ply_comments.h"
#include "util/text/words.h"

namespace convert {

namespace {

// More than any file has. A header that exceeds them is refused, so that it cannot fill the memory.
constexpr std::size_t kMaxElements = 64;
constexpr std::size_t kMaxHeaderLines = 65536;
constexpr std::size_t kMaxProperties = kMaxColumns + 64;

struct TypeName {
    std::string_view name;
    PlyType type;
};

constexpr TypeName kTypeNames[] = {
    {"char", PlyType::kInt8},       {"int8", PlyType::kInt8},       {"uchar", PlyType::kUint8},
    {"uint8", PlyType::kUint8},     {"short", PlyType::kInt16},     {"int16", PlyType::kInt16},
    {"ushort", PlyType::kUint16},   {"uint16", PlyType::kUint16},   {"int", PlyType::kInt32},
    {"int32", PlyType::kInt32},     {"uint", PlyType::kUint32},     {"uint32", PlyType::kUint32},
    {"float", PlyType::kFloat32},   {"float32", PlyType::kFloat32}, {"double", PlyType::kFloat64},
    {"float64", PlyType::kFloat64},
};

std::optional<PlyType> TypeCalled(std::string_view name) {
    for (const TypeName& known : kTypeNames)
        if (known.name == name) return known.type;
    return std::nullopt;
}

std::optional<PlyEncoding> EncodingCalled(std::string_view name) {
    if (name == "ascii") return PlyEncoding::kText;
    if (name == "binary_little_endian") return PlyEncoding::kLittleEndian;
    if (name == "binary_big_endian") return PlyEncoding::kBigEndian;
    return std::nullopt;
}

/// The words of a line, at most as many as the longest line of a header has.
struct Words {
    std::array<std::string_view, 5> at;
    std::size_t count = 0;

    explicit Words(std::string_view line) {
        while (count < at.size()) {
            const std::string_view word = TakeWord(&line, " \t");
            if (word.empty()) return;
            at[count++] = word;
        }
    }
};

class HeaderReader {
public:
    explicit HeaderReader(InputStream& input) : input_(input) {}

    PlyHeader Read() {
        std::string_view line;
        if (!input_.ReadLine(&line) || line != "ply") input_.Fail("it is no PLY file");
        for (std::size_t count = 0; count < kMaxHeaderLines; ++count) {
            if (!input_.ReadLine(&line)) input_.Fail("it ends within its header");
            if (line == "end_header") {
                if (!has_format_) input_.Fail("it has no format line");
                return std::move(header_);
            }
            TakeLine(line);
        }
        input_.Fail(fmt::format("it has a header of more than {} lines", kMaxHeaderLines));
    }

private:
    void TakeLine(std::string_view line) {
        const Words words(line);
        if (words.count == 0 || words.at[0] == "obj_info") return;
        if (words.at[0] == "comment") {
            if (TakePlyComment(line, &header_.cloud)) header_.declares_variables = true;
        } else if (words.at[0] == "format" && words.count >= 2) {
            const auto encoding = EncodingCalled(words.at[1]);
            if (!encoding) Refuse(line);
            header_.encoding = *encoding;
            has_format_ = true;
        } else if (words.at[0] == "element" && words.count == 3) {
            TakeElement(words, line);
        } else if (words.at[0] == "property" && !header_.elements.empty()) {
            TakeProperty(words, line);
        } else {
            Refuse(line);
        }
    }

    void TakeElement(const Words& words, std::string_view line) {
        PlyElement element;
        element.name = words.at[1];
        if (!ParseNumber(words.at[2], &element.count)) Refuse(line);
        if (header_.elements.size() == kMaxElements) input_.Fail("it has too many elements");
        header_.elements.push_back(std::move(element));
    }

    void TakeProperty(const Words& words, std::string_view line) {
        const bool is_list = words.count == 5 && words.at[1] == "list";
        if (!is_list && words.count != 3) Refuse(line);
        const auto type = TypeCalled(words.at[is_list ? 3 : 1]);
        const auto count_type = is_list ? TypeCalled(words.at[2]) : PlyType::kUint8;
        if (!type || !count_type || *count_type >= PlyType::kFloat32) Refuse(line);
        const std::string_view name = words.at[words.count - 1];
        if (name.size() > kMaxColumnName) Refuse(line);
        if (++properties_ > kMaxProperties) input_.Fail("it has too many properties");
        header_.elements.back().properties.push_back(
            {std::string(name), *type, is_list, *count_type});
    }

    [[noreturn]] void Refuse(std::string_view line) const {
        constexpr std::size_t kShown = 60;
        input_.Fail(
            fmt::format("it has a header line that cannot be read: {}", line.substr(0, kShown)));
    }

    InputStream& input_;
    PlyHeader header_;
    bool has_format_ = false;
    std::size_t properties_ = 0;
};

}  // namespace

std::size_t PlyBytes(PlyType type) {
    switch (type) {
        case PlyType::kInt8:
        case PlyType::kUint8:
            return 1;
        case PlyType::kInt16:
        case PlyType::kUint16:
            return 2;
        case PlyType::kFloat64:
            return 8;
        default:
            return 4;
    }
}

PlyHeader ReadPlyHeader(InputStream& input) {
    return HeaderReader(input).Read();
}

}  // namespace convert
