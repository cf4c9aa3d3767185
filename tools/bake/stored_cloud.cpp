// Stored clouds: the header and the points, in the order of docs/format.md.
//
// This reader shares no code with the driver, whose library could make the same mistake in reading
// as in writing. It reads only the values that the comparison needs.

#include "tools/bake/stored_cloud.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "tools/common/failure.h"
#include "util/io/open_file.h"

namespace bake {

namespace {

constexpr std::string_view kBinaryMagic = "kptc";
constexpr std::string_view kTextMagic = "Kelvo Point Cloud File\n";
constexpr double kMostPoints = 9007199254740992.0;  // beyond these a double skips whole numbers
constexpr std::int32_t kMostFloats = 1 << 24;       // of data a point; above: damage
constexpr std::string_view kAreaDeclaration = "float _area";

/// The offsets, in the binary header, of the values that are needed and of the declarations.
constexpr std::size_t kPointsAt = 8;
constexpr std::size_t kNodesAt = 40;
constexpr std::size_t kVariablesAt = 328;
constexpr std::size_t kDataFloatsAt = 332;
constexpr std::size_t kDeclarationsAt = 336;

/// Reads the file from its start. A failed read throws Failure and is never taken for the end.
class Input {
public:
    explicit Input(const std::string& file) : name_(file), file_(OpenStream(file.c_str(), "rbe")) {
        if (!file_) FailWithErrno(name_);
    }

    /// False: the file ends before that many bytes.
    bool Read(void* bytes, std::size_t count) {
        const bool whole = std::fread(bytes, 1, count, file_.get()) == count;
        if (std::ferror(file_.get())) FailWithErrno(name_);
        return whole;
    }

    /// Reads a line, without its newline. False: the file ends before a newline.
    bool ReadLine(std::string_view* line) {
        errno = 0;
        const auto length = getline(&line_.text, &line_.room, file_.get());
        if (length < 0 && (std::ferror(file_.get()) || errno != 0)) FailWithErrno(name_);
        if (length < 1 || line_.text[length - 1] != '\n') return false;
        *line = std::string_view(line_.text, static_cast<std::size_t>(length - 1));
        return true;
    }

    void Rewind() { std::rewind(file_.get()); }

    [[noreturn]] void DamagedHeader() const {
        throw Failure(fmt::format("{}: the cloud's header is damaged", name_));
    }

private:
    struct Line {
        Line() = default;
        Line(const Line&) = delete;
        Line& operator=(const Line&) = delete;
        ~Line() { std::free(text); }
        char* text = nullptr;
        std::size_t room = 0;
    };
    struct Close {
        void operator()(std::FILE* file) const { (void)std::fclose(file); }
    };

    const std::string name_;
    const std::unique_ptr<std::FILE, Close> file_;
    Line line_;
};

/// The values of the header that are needed to read the points.
struct Header {
    double points = 0;
    double nodes = 0;
    std::int32_t data_floats = 0;
    std::string first_variable;
};

/// Takes the next number from the front of `*text`.
template <class Number>
bool TakeNumber(std::string_view* text, Number* value) {
    text->remove_prefix(std::min(text->find_first_not_of(' '), text->size()));
    const char* const end = text->data() + text->size();
    const auto result = std::from_chars(text->data(), end, *value);
    text->remove_prefix(static_cast<std::size_t>(result.ptr - text->data()));
    return result.ec == std::errc();
}

class BinaryCloud {
public:
    explicit BinaryCloud(Input& input) : input_(input) {}

    Header ReadHeader() {
        std::array<char, kDeclarationsAt> fixed{};
        Header header;
        std::int32_t variables = 0;
        if (!input_.Read(fixed.data(), fixed.size())) input_.DamagedHeader();
        std::memcpy(&header.points, &fixed[kPointsAt], sizeof header.points);
        std::memcpy(&header.nodes, &fixed[kNodesAt], sizeof header.nodes);
        std::memcpy(&variables, &fixed[kVariablesAt], sizeof variables);
        std::memcpy(&header.data_floats, &fixed[kDataFloatsAt], sizeof header.data_floats);
        header.first_variable = SkipDeclarations(variables);
        std::array<std::int32_t, 2> tree{};  // variables, floats of data
        if (!input_.Read(tree.data(), sizeof tree)) input_.DamagedHeader();
        SkipDeclarations(tree[0]);
        return header;
    }

    /// Reads one point, and stores the first of its data floats. False: part of it is missing.
    bool ReadPoint(const Header& header, double* first) {
        constexpr std::size_t kFixedBytes = 20;
        record_.resize(kFixedBytes + sizeof(float) * static_cast<std::size_t>(header.data_floats));
        if (!input_.Read(record_.data(), record_.size())) return false;
        float value = 0;
        if (header.data_floats > 0) std::memcpy(&value, &record_[kFixedBytes], sizeof value);
        *first = double{value};
        return true;
    }

private:
    /// Answers the first declaration.
    std::string SkipDeclarations(std::int32_t count) {
        std::string first;
        std::string_view line;
        for (std::int32_t i = 0; i < count; ++i) {
            if (!input_.ReadLine(&line)) input_.DamagedHeader();
            if (i == 0) first = line;
        }
        return first;
    }

    Input& input_;
    std::vector<char> record_;
};

class TextCloud {
public:
    explicit TextCloud(Input& input) : input_(input) {}

    Header ReadHeader() {
        Header header;
        header.points = ValueOf<double>("npoints");
        header.nodes = ValueOf<double>("nnodes");
        const auto variables = ValueOf<std::int32_t>("npointvars");
        header.data_floats = ValueOf<std::int32_t>("pointdatasize");
        if (variables > 0) header.first_variable = Line();
        const auto tree_variables = ValueOf<std::int32_t>("ntreevars");
        ValueOf<std::int32_t>("treedatasize");
        for (std::int32_t i = 0; i < tree_variables; ++i) Line();
        return header;
    }

    /// As for a binary cloud.
    bool ReadPoint(const Header& header, double* first) {
        std::string_view line;
        double value = 0;
        if (!input_.ReadLine(&line)) return false;
        for (int i = 0; i < kPointNumbers; ++i)
            if (!TakeNumber(&line, &value)) return false;
        if (header.data_floats == 0) return true;
        if (!input_.ReadLine(&line) || !line.starts_with("ptd ")) return false;
        line.remove_prefix(std::string_view("ptd ").size());
        for (std::int32_t i = 0; i < header.data_floats; ++i)
            if (!TakeNumber(&line, i == 0 ? first : &value)) return false;
        return true;
    }

private:
    static constexpr int kPointNumbers = 6;  // position, the two codes of the normal, radius

    std::string_view Line() {
        std::string_view line;
        if (!input_.ReadLine(&line)) input_.DamagedHeader();
        return line;
    }

    /// The value on the next line that begins with `key`; lines before it are skipped.
    template <class Number>
    Number ValueOf(std::string_view key) {
        for (;;) {
            std::string_view line = Line();
            if (!line.starts_with(key) || line.substr(key.size(), 1) != " ") continue;
            line.remove_prefix(key.size());
            Number value{};
            if (!TakeNumber(&line, &value)) input_.DamagedHeader();
            return value;
        }
    }

    Input& input_;
};

template <class Cloud>
StoredCloud Measure(Input& input, Cloud cloud) {
    const Header header = cloud.ReadHeader();
    const bool makes_sense = header.points >= 0 && header.points <= kMostPoints &&
                             header.points == std::floor(header.points) && header.nodes >= 0 &&
                             header.data_floats >= 0 && header.data_floats <= kMostFloats;
    if (!makes_sense) input.DamagedHeader();

    StoredCloud stored;
    stored.promised = static_cast<std::uint64_t>(header.points);
    stored.has_area = header.first_variable == kAreaDeclaration && header.data_floats > 0;
    double first = 0;
    while (stored.found < stored.promised && cloud.ReadPoint(header, &first)) {
        ++stored.found;
        stored.area += first;
    }
    char next = 0;
    stored.has_more = header.nodes == 0 && input.Read(&next, 1);
    return stored;
}

}  // namespace

std::optional<StoredCloud> ReadStoredCloud(const std::string& file) {
    Input input(file);
    std::array<char, kTextMagic.size()> magic{};
    (void)input.Read(magic.data(), magic.size());  // a shorter file has neither form
    input.Rewind();
    const std::string_view begin(magic.data(), magic.size());
    if (begin.starts_with(kBinaryMagic)) return Measure(input, BinaryCloud(input));
    if (begin == kTextMagic) return Measure(input, TextCloud(input));
    return std::nullopt;
}

}  // namespace bake
