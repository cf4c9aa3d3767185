// Point and node records of a text file, from where its input stands.

#pragma once

#include <span>

#include "ptc/record_code.h"
#include "ptc/token_input.h"

/// One point. `data` takes the point's floats, all of them. What cannot be read is told on
/// standard output.
TokenStatus ReadTextPoint(TokenInput& input, PointHead* head, std::span<float> data);

/// One node. `data` takes the node's floats, all of them.
TokenStatus ReadTextNode(TokenInput& input, NodeRecord* node, std::span<float> data);

/// Tells on standard output that a point cannot be read: its data, or all of it.
void TellWrongPoint(bool has_head);
