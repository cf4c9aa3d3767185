// Point and node records through the token layer, value by value.
//
// Every record of the text form goes this way, and a record of the binary form that is too large to
// be collected. All other binary records go through record_code.h, without a call for each value.
//
// Errors     those of the token layer. Prints nothing. WritePointTokens() throws std::bad_alloc
// when
//            memory runs out, and has written nothing then.
// Ownership  borrows everything.
// Threads    one caller at a time for one file.

#pragma once

#include <span>

#include "ptc/format/record_code.h"
#include "ptc/format/token_file.h"
#include "ptc/format/token_input.h"

/// Writes one point, in one piece. The record holds `code`, whatever `point.normal` says.
TokenStatus WritePointTokens(TokenFile& file, const PointHead& point, NormalCode code,
                             const PointData& data);

/// What a point record begins with, as it is in a file: the normal is a code.
struct CodedPoint {
    float position[3];
    NormalCode code;
    float radius;
};
static_assert(sizeof(CodedPoint) == ptc_layout::kPointHeadBytes);

/// Reads one point of a text file. `data` takes the point's floats, all of them. `*has_head`,
/// unless null: whether a point that failed did so in its data only.
TokenStatus ReadTextPoint(TokenInput& input, CodedPoint* point, std::span<float> data,
                          bool* has_head = nullptr);

/// The same with the normal decoded.
TokenStatus ReadTextPoint(TokenInput& input, PointHead* head, std::span<float> data,
                          bool* has_head = nullptr);

/// Writes one node. `data`: the node's floats; empty: the record gets none.
TokenStatus WriteNodeTokens(TokenFile& file, const NodeRecord& node, std::span<const float> data);

/// Reads one node of a text file. `data` takes the node's floats, all of them.
TokenStatus ReadTextNode(TokenInput& input, NodeRecord* node, std::span<float> data);
