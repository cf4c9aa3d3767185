// The walk through a header.

#include "ptc/format/header_grammar.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "ptc/format/layout.h"
#include "ptc/format/variables.h"
#include "util/text/words.h"

namespace {

/// Counts are stored as doubles: every whole number up to here is one.
constexpr double kMostCount = 9007199254740992.0;

class HeaderWalk {
public:
    HeaderWalk(TokenInput& input, StoredHeader& header, HeaderPlaces& places,
               HeaderListener& listener)
        : input_(input), header_(header), places_(places), listener_(listener) {}

    bool Run() {
        if (!Block()) return false;
        places_.fixed_header = input_.Tell();
        if (!TakeMatrix("world_to_eye", header_.world_to_eye) ||
            !TakeMatrix("world_to_ndc", header_.world_to_ndc) ||
            !TakeFloats("format", header_.stored_format) ||
            !Variables("npointvars", "pointdatasize", &header_.point_variables))
            return false;
        if (header_.version >= 1 &&
            !Variables("ntreevars", "treedatasize", &header_.node_variables))
            return false;
        places_.data_start = header_.data_start = input_.Tell();
        return true;
    }

private:
    bool Tell(HeaderFinding finding) {
        if (finding.place == 0) finding.place = here_;
        return listener_.Hear(finding);
    }

    /// Reports a fault after which the place of the next value is not known.
    bool End(const HeaderFinding& finding) {
        (void)Tell(finding);
        return false;
    }

    /// Remembers the value's place and reads it. False: it is not there.
    template <class Read>
    bool Take(const char* key, Read read) {
        here_ = input_.Tell();
        return !Failed(read()) || End({HeaderFault::kMissing, key});
    }

    /// The place of number `index` of an array; in text form, the place of its line.
    std::int64_t Item(std::size_t index) const {
        return input_.IsText() ? here_ : here_ + static_cast<std::int64_t>(4 * index);
    }

    /// Floats that should all be finite.
    bool TakeFloats(const char* key, std::span<float> values) {
        return Take(key, [&] { return input_.ReadFloats(key, values); }) && AreFinite(key, values);
    }

    /// The same for a matrix.
    bool TakeMatrix(const char* key, std::span<float, 16> matrix) {
        return Take(key, [&] { return input_.ReadMatrix(key, matrix); }) && AreFinite(key, matrix);
    }

    bool AreFinite(const char* key, std::span<const float> values) {
        for (std::size_t i = 0; i < values.size(); ++i)
            if (!std::isfinite(values[i]) &&
                !Tell({HeaderFault::kNotFinite, key, Item(i), values[i], 0, i}))
                return false;
        return true;
    }

    bool TakeCount(const char* key, std::int64_t* count) {
        double stored = 0;
        *count = 0;
        if (!Take(key, [&] { return input_.ReadDouble(key, &stored); })) return false;
        // A stored value that is not a number fails every comparison.
        if (!(stored >= 0 && stored <= kMostCount && stored == std::floor(stored)))
            return Tell({HeaderFault::kNotACount, key, 0, stored});
        *count = static_cast<std::int64_t>(stored);
        return true;
    }

    /// What a writer rewrites in place.
    bool Block() {
        std::array<float, 6> box;
        if (!TakeCount("npoints", &header_.point_count)) return false;
        places_.point_count = here_;
        if (!TakeFloats("bbox", box)) return false;
        places_.box = here_;
        std::copy_n(box.begin(), 3, header_.box_min.begin());
        std::copy_n(box.begin() + 3, 3, header_.box_max.begin());
        // Without points an empty box is the right one.
        for (std::size_t axis = 0; header_.point_count > 0 && axis < 3; ++axis)
            if (box[axis] > box[axis + 3] && !Tell({HeaderFault::kBoxInsideOut,
                                                    "bbox",
                                                    Item(axis),
                                                    box[axis],
                                                    box[axis + 3],
                                                    axis,
                                                    {}}))
                return false;
        if (header_.version >= 1 && !Nodes()) return false;
        return header_.version < 2 || (LargestRadius() && Padding());
    }

    /// Whether there is a node at the root's place is found out by walking through the octree.
    bool Nodes() {
        if (!TakeCount("nnodes", &header_.node_count)) return false;
        places_.node_count = here_;
        header_.stored_node_count = header_.node_count;
        std::int64_t& root = header_.root_position;
        if (!Take("rootpos", [&] { return input_.ReadInt64("rootpos", &root); })) return false;
        places_.root_position = here_;
        if (header_.node_count > 0 && root == 0)
            return Tell({HeaderFault::kNodesWithoutRoot, "rootpos"});
        if (header_.node_count == 0 && root != 0)
            return Tell({HeaderFault::kRootWithoutNodes, "rootpos", 0, static_cast<double>(root)});
        return true;
    }

    bool LargestRadius() {
        float& radius = header_.largest_radius;
        const auto read = [&] { return input_.ReadFloat("largestradius", &radius); };
        if (!Take("largestradius", read)) return false;
        places_.largest_radius = here_;
        if (std::isfinite(radius) && radius >= 0) return true;
        return Tell({HeaderFault::kNotARadius, "largestradius", 0, radius});
    }

    /// Reserved room, in which any value is right.
    bool Padding() {
        std::array<float, ptc_layout::kPaddingFloats> padding;
        return Take("padding", [&] { return input_.ReadFloats("padding", padding); });
    }

    /// One list of variables: a count, the floats of all together, and a line for each.
    bool Variables(const char* count_key, const char* size_key, CloudVariables* variables) {
        std::int32_t count = 0;
        if (!Take(count_key, [&] { return input_.ReadInt(count_key, &count); })) return false;
        if (count < 0 || count > ptc_layout::kMaxVariables)
            return End({HeaderFault::kVariableCount, count_key, 0, static_cast<double>(count)});
        std::int32_t& size = variables->data_size;
        if (!Take(size_key, [&] { return input_.ReadInt(size_key, &size); })) return false;
        const std::int64_t size_place = here_;

        const auto room = static_cast<std::size_t>(count);
        variables->types.reserve(room);
        variables->names.reserve(room);
        variables->sizes.reserve(room);
        std::int64_t total = 0;
        bool are_known = true;
        for (std::int32_t i = 0; i < count; ++i)
            if (!TakeDeclaration(count_key, variables, &total, &are_known)) return false;
        if (!are_known) return false;
        const auto floats = static_cast<double>(total);
        if (total != size && !Tell({HeaderFault::kDataSize, size_key, size_place,
                                    static_cast<double>(size), floats}))
            return false;
        return total <= ptc_layout::kMaxDataFloats ||
               Tell({HeaderFault::kTooManyFloats, size_key, size_place, floats});
    }

    /// One line. `*are_known` turns false when its type does not say how many floats it has; the
    /// lines behind it are read all the same.
    bool TakeDeclaration(const char* list, CloudVariables* variables, std::int64_t* total,
                         bool* are_known) {
        std::string& line = line_;
        here_ = input_.Tell();
        if (Failed(input_.ReadLine(&line, ptc_layout::kMaxReadDeclaration)))
            return End({line.size() == ptc_layout::kMaxReadDeclaration
                            ? HeaderFault::kDeclarationTooLong
                            : HeaderFault::kDeclarationMissing,
                        list});
        Declaration declaration = SplitDeclaration(line);
        const std::optional<std::int32_t> size = KnownComponentCount(declaration.type);
        variables->types.push_back(std::move(declaration.type));
        variables->names.push_back(std::move(declaration.name));
        variables->sizes.push_back(size.value_or(0));
        *total += size.value_or(0);
        if (size && *size >= 1) return true;
        *are_known = false;
        return Tell(
            {size ? HeaderFault::kNoFloats : HeaderFault::kUnknownType, list, 0, 0, 0, 0, line});
    }

    TokenInput& input_;
    StoredHeader& header_;
    HeaderPlaces& places_;
    HeaderListener& listener_;
    std::int64_t here_ = 0;  ///< of the value that was read last
    std::string line_;       ///< a declaration's, kept for its memory
};

}  // namespace

CloudStatus WalkHeader(TokenInput& input, StoredHeader* header, HeaderPlaces* places,
                       HeaderListener& listener) {
    return HeaderWalk(input, *header, *places, listener).Run() ? CloudStatus::kOk
                                                               : CloudStatus::kFailed;
}

Declaration SplitDeclaration(std::string_view line) {
    constexpr std::string_view kBlanks = " \t\r\v\f";
    Declaration declaration;
    declaration.type = TakeWord(&line, kBlanks);
    declaration.name = TakeWord(&line, kBlanks);
    return declaration;
}
