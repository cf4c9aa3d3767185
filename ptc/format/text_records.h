// Point and node records of a text file, from where its input stands. Prints nothing.

#pragma once

#include <span>

#include "ptc/format/record_code.h"
#include "ptc/format/token_input.h"

/// One point. `data` takes the point's floats, all of them. `*has_head`, unless null: whether a
/// point that failed did so in its data only.
TokenStatus ReadTextPoint(TokenInput& input, PointHead* head, std::span<float> data,
                          bool* has_head = nullptr);

/// One node. `data` takes the node's floats, all of them.
TokenStatus ReadTextNode(TokenInput& input, NodeRecord* node, std::span<float> data);
