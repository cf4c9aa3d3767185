// A transfer: variables of clouds onto the points of another.

#pragma once

#include <optional>
#include <string>
#include <vector>

struct TransferOptions {
    std::vector<std::string> from;
    std::string onto;
    std::string output;
    std::string variables;        ///< names, separated by commas; empty: all that `onto` lacks
    bool replace = false;         ///< those that `onto` has are written over
    std::optional<float> filter;  ///< the radius; nothing: from the spacing of the points
    std::optional<float> least_dot;
    int threads = 1;
};

/// Makes the output and reports what it has. Throws a Failure.
void RunTransfer(const TransferOptions& options);
