// RemoveContents: what is in a folder, without following a link out of it.
//
// Units      none.
// Errors     false: something is left.
// Ownership  borrows the descriptor.
// Threads    any.

#pragma once

#include <chrono>
#include <string_view>

/// Removes everything in the folder that `descriptor` has open, except `kept`, until `deadline`.
/// Folders that are more than 16 deep stay.
bool RemoveContents(int descriptor, std::string_view kept,
                    std::chrono::steady_clock::time_point deadline, int depth = 0);
