// The header's check.

#include "tools/ptc/header_check.h"

#include <array>
#include <cmath>
#include <span>
#include <string>
#include <system_error>

#include "ptc/layout.h"
#include "ptc/token_input.h"
#include "ptc/variables.h"
#include "tools/common/failure.h"
#include "tools/ptc/foreign_file.h"

namespace {

constexpr TokenFileKind kKind = {ptc_layout::kMagic, ptc_layout::kTypeCode, ptc_layout::kVersion};

constexpr const char* kAxes[] = {"x", "y", "z"};

/// Walks from value to value through the token layer, which knows both forms; where a value begins
/// is asked before it is read. A fault in a value is told and walked over; one that leaves unknown
/// where the next value stands ends the walk.
class HeaderWalk {
public:
    HeaderWalk(TokenInput& input, std::uint32_t version, FaultList& faults)
        : input_(input), version_(version), faults_(faults) {}

    std::optional<HeaderPlaces> Run() {
        if (!Block()) return std::nullopt;
        places_.fixed_header = input_.Tell();
        if (!Fixed() || !Variables("npointvars", "pointdatasize")) return std::nullopt;
        if (version_ >= 1 && !Variables("ntreevars", "treedatasize")) return std::nullopt;
        places_.data_start = input_.Tell();
        return places_;
    }

private:
    /// Remembers the value's place and reads it. False: it is not there.
    template <class Read>
    bool Take(const char* key, Read read) {
        here_ = input_.Tell();
        if (!Failed(read())) return true;
        faults_.Add(here_, "{}: {}", key,
                    input_.IsText() ? "the line is missing or malformed" : "the file ends");
        return false;
    }

    /// The place of number `index` of an array; in text form its line stands for it.
    std::int64_t Item(std::size_t index) const {
        return input_.IsText() ? here_ : here_ + static_cast<std::int64_t>(4 * index);
    }

    /// Floats that must all be finite.
    bool TakeFloats(const char* key, std::span<float> values) {
        if (!Take(key, [&] { return input_.ReadFloats(key, values); })) return false;
        TellOddFloats(key, values);
        return true;
    }

    /// The same for a matrix, whose key in text form ends in a newline of its own.
    bool TakeMatrix(const char* key) {
        std::array<float, 16> matrix;
        const std::string line = std::string(key) + '\n';
        if (!Take(key, [&] { return input_.ReadMatrix(line.c_str(), matrix); })) return false;
        TellOddFloats(key, matrix);
        return true;
    }

    void TellOddFloats(const char* key, std::span<const float> values) {
        for (std::size_t i = 0; i < values.size(); ++i)
            if (!std::isfinite(values[i]))
                faults_.Add(Item(i), "{}: value {} is {}", key, i, values[i]);
    }

    /// A count, which the format stores as a double.
    bool TakeCount(const char* key, double* count) {
        constexpr double kMost = 9007199254740992.0;  // every whole number up to here is a double
        if (!Take(key, [&] { return input_.ReadDouble(key, count); })) return false;
        const bool is_count = *count >= 0 && *count <= kMost && *count == std::floor(*count);
        if (!is_count) faults_.Add(here_, "{}: {} is no count", key, *count);
        return true;
    }

    /// What a writer rewrites in place.
    bool Block() {
        double points = 0;
        std::array<float, 6> box;
        if (!TakeCount("npoints", &points)) return false;
        places_.point_count = here_;
        if (!TakeFloats("bbox", box)) return false;
        places_.box = here_;
        // Without points an empty box is the right one.
        for (std::size_t axis = 0; points > 0 && axis < 3; ++axis)
            if (box[axis] > box[axis + 3])
                faults_.Add(Item(axis), "bbox: minimum {} {} lies above the maximum {}",
                            kAxes[axis], box[axis], box[axis + 3]);
        if (version_ >= 1 && !Nodes()) return false;
        return version_ < 2 || (LargestRadius() && Padding());
    }

    /// Whether the root is a node only the walk through the octree can tell.
    bool Nodes() {
        double nodes = 0;
        std::int64_t root = 0;
        if (!TakeCount("nnodes", &nodes)) return false;
        places_.node_count = here_;
        if (!Take("rootpos", [&] { return input_.ReadInt64("rootpos", &root); })) return false;
        places_.root_position = here_;
        if (nodes > 0 && root == 0) faults_.Add(here_, "rootpos: nodes without a root");
        if (nodes == 0 && root != 0) faults_.Add(here_, "rootpos: {} without nodes", root);
        return true;
    }

    bool LargestRadius() {
        float radius = 0;
        const auto read = [&] { return input_.ReadFloat("largestradius", &radius); };
        if (!Take("largestradius", read)) return false;
        places_.largest_radius = here_;
        if (!std::isfinite(radius) || radius < 0)
            faults_.Add(here_, "largestradius: {} is no radius", radius);
        return true;
    }

    /// Reserved room: whatever stands there is right.
    bool Padding() {
        std::array<float, ptc_layout::kPaddingFloats> padding;
        return Take("padding", [&] { return input_.ReadFloats("padding", padding); });
    }

    /// The format's values may be any finite ones: a reader replaces those that make no sense.
    bool Fixed() {
        std::array<float, 3> format;
        return TakeMatrix("world_to_eye") && TakeMatrix("world_to_ndc") &&
               TakeFloats("format", format);
    }

    bool TakeInt(const char* key, std::int32_t* value) {
        return Take(key, [&] { return input_.ReadInt(key, value); });
    }

    /// One list of variables: a count, the floats of all together, and a line for each.
    bool Variables(const char* count_key, const char* size_key) {
        std::int32_t count = 0;
        std::int32_t size = 0;
        if (!TakeInt(count_key, &count)) return false;
        if (count < 0 || count > ptc_layout::kMaxVariables) {
            faults_.Add(here_, "{}: {} is not within 0 to {}", count_key, count,
                        ptc_layout::kMaxVariables);
            return false;
        }
        if (!TakeInt(size_key, &size)) return false;
        const std::int64_t size_place = here_;

        std::int64_t total = 0;
        bool are_known = true;
        for (std::int32_t i = 0; i < count; ++i)
            if (!Declaration(count_key, &total, &are_known)) return false;
        // How many floats such a variable has, and so where anything stands, nobody knows.
        if (!are_known) return false;
        if (total != size)
            faults_.Add(size_place, "{}: {}, but the variables take {} floats", size_key, size,
                        total);
        if (size > ptc_layout::kMaxReadableFloats)
            faults_.Add(size_place, "{}: {} is above {}", size_key, size,
                        ptc_layout::kMaxReadableFloats);
        return true;
    }

    /// One line. `*are_known` turns false when its type says nothing about its floats.
    bool Declaration(const char* list, std::int64_t* total, bool* are_known) {
        std::string line;
        here_ = input_.Tell();
        if (Failed(input_.ReadLine(&line, TokenInput::kMaxDeclaration))) {
            const bool is_long = line.size() == TokenInput::kMaxDeclaration;
            faults_.Add(here_, "{}: {}", list,
                        is_long ? "a declaration is too long" : "a declaration is missing");
            return false;
        }
        const std::string type = line.substr(0, line.find(' '));
        const std::optional<std::int32_t> size = KnownComponentCount(type);
        if (!size) faults_.Add(here_, "{}: the type of \"{}\" is not known", list, line);
        if (size && *size < 1) faults_.Add(here_, "{}: \"{}\" takes no floats", list, line);
        *are_known = *are_known && size.value_or(0) >= 1;
        *total += size.value_or(0);
        return true;
    }

    TokenInput& input_;
    const std::uint32_t version_;
    FaultList& faults_;
    HeaderPlaces places_;
    std::int64_t here_ = 0;  ///< of the value that was read last
};

/// Where the version stands: behind the type code, or on the second line.
std::int64_t VersionPlace(const TokenInput& input) {
    return input.IsText()
               ? static_cast<std::int64_t>(ptc_layout::kMagic.size())
               : static_cast<std::int64_t>(ptc_layout::Find(ptc_layout::kHead, "version").offset);
}

}  // namespace

std::optional<HeaderPlaces> CheckHeader(const InputFile& file, FaultList& faults) {
    // In the reader's order: as a plain file first, inflated when it is neither form.
    TokenInput input;
    std::uint32_t version = 0;
    TokenOpenStatus status = input.OpenForReading(file.Path().c_str(), kKind, false, &version);
    if (status == TokenOpenStatus::kOtherType)
        status = input.OpenForReading(file.Path().c_str(), kKind, true, &version);
    if (input.Error() != 0)
        throw Failure(file.Name() + ": " + std::generic_category().message(input.Error()));
    if (status == TokenOpenStatus::kOtherType) {
        faults.Add(0, "it is not a point cloud file{}", ConvertHint(file));
        return std::nullopt;
    }
    if (status == TokenOpenStatus::kUnreadable) {
        faults.Add(VersionPlace(input), "version: missing");
        return std::nullopt;
    }
    if (version > ptc_layout::kVersion) {
        faults.Add(VersionPlace(input), "version: {} is not known", version);
        return std::nullopt;
    }
    return HeaderWalk(input, version, faults).Run();
}
