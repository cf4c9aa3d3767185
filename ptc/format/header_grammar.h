// The grammar of a file's header: its values in file order, where each stands, what may be in it.
//
// The reader, the check and the repair all read headers through this one walk, so that they agree
// on what a header is. The listener decides which faults end the walk.
//
// Units      offsets in bytes from the start of the (inflated) file.
// Errors     faults go to the listener. A read error looks like the file's end; the input's
//            Error() tells the two apart. Prints nothing.
// Ownership  borrows the input, the header and the listener.
// Threads    one caller at a time for one input.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "ptc/format/cloud_header.h"
#include "ptc/format/token_input.h"
#include "util/base/results.h"

enum class HeaderFault {
    // The walk cannot go on: nobody knows where the next value stands.
    kMissing,             ///< the file ends, or the value's line is missing or malformed
    kVariableCount,       ///< `value` variables
    kDeclarationMissing,  ///< as kMissing
    kDeclarationTooLong,  ///< the line does not end in time
    kUnknownType,         ///< `line`, whose floats nobody can count
    kNoFloats,            ///< `line`, which takes fewer than one float
    // The value cannot be used.
    kNotACount,      ///< `value` is negative, too large or not whole
    kDataSize,       ///< `value`, but the variables take `other` floats
    kTooManyFloats,  ///< the variables take `value` floats
    // The value is odd.
    kNotFinite,         ///< number `index` of the value is `value`
    kBoxInsideOut,      ///< axis `index`: the minimum `value` lies above the maximum `other`
    kNodesWithoutRoot,  ///< though there are nodes
    kRootWithoutNodes,  ///< `value` is the root's offset
    kNotARadius,        ///< `value` is negative or not finite
};

struct HeaderFinding {
    HeaderFault fault;
    const char* key;         ///< of the value; of the list, for a declaration
    std::int64_t place = 0;  ///< of the value, or of number `index` in the binary form
    double value = 0;
    double other = 0;
    std::size_t index = 0;
    std::string_view line = {};  ///< a declaration; valid during the call
};

class HeaderListener {
public:
    HeaderListener() = default;
    HeaderListener(const HeaderListener&) = delete;
    HeaderListener& operator=(const HeaderListener&) = delete;

    /// Hears of a fault. False ends the walk.
    virtual bool Hear(const HeaderFinding& finding) = 0;

protected:
    ~HeaderListener() = default;
};

/// Where the header's values stand; -1: this version has none, or the walk did not come so far.
struct HeaderPlaces {
    std::int64_t point_count = -1;
    std::int64_t box = -1;
    std::int64_t node_count = -1;
    std::int64_t root_position = -1;
    std::int64_t largest_radius = -1;
    std::int64_t fixed_header = -1;  ///< what follows the block that is rewritten in place
    std::int64_t data_start = -1;    ///< what follows the header
};

/// Reads the header from behind the version to its end, and stores in `header` what it finds:
/// values as they are in the file, but 0 for a count that is not a whole number from 0 on.
/// Caller: `input` stands behind the version; `header->version` holds it, and is known.
/// `places`: filled as far as the walk comes.
/// Failed: the walk did not come to the header's end.
CloudStatus WalkHeader(TokenInput& input, StoredHeader* header, HeaderPlaces* places,
                       HeaderListener& listener);

/// The type and the name of a declaration: its first two words, which may be empty.
struct Declaration {
    std::string type;
    std::string name;
};
Declaration SplitDeclaration(std::string_view line);
