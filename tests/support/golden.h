// Reports that are compared with files in tests/golden/.

#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>

#include "tests/support/scratch.h"

/// `text` is what the golden file `name` holds, line for line. With PTC_RENEW_GOLDEN in the
/// environment the file is written instead; look at the difference before you commit it.
inline void ExpectGolden(const std::string& name, const std::string& text) {
    const std::string file = "tests/golden/" + name;
    if (std::getenv("PTC_RENEW_GOLDEN")) WriteTo(file, text);
    const std::string golden = ContentOf(file);
    if (text == golden) return;
    std::istringstream wanted_lines(golden), lines(text);
    std::string wanted, line, command;
    int number = 0;
    do {
        wanted = line = "(nothing)";
        std::getline(wanted_lines, wanted);
        std::getline(lines, line);
        if (wanted.starts_with("$ ")) command = " of " + wanted;
        ++number;
    } while (wanted == line && lines && wanted_lines);
    ADD_FAILURE() << file << ":" << number << command << "\n  wanted: " << wanted
                  << "\n  is:     " << line
                  << "\nPTC_RENEW_GOLDEN=1 in the environment renews the file.";
}
