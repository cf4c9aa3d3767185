// The help of the programs: that of CLI11, without its notation for flags that switch off.

#pragma once

#include <CLI/App.hpp>
#include <CLI/Formatter.hpp>
#include <string>
#include <vector>

/// All names of an option as the user types them: "-o", "--output".
inline std::vector<std::string> TypedNames(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
    return names;
}

class HelpFormat : public CLI::Formatter {
public:
    std::string make_option_name(const CLI::Option* option, bool is_positional) const override {
        if (is_positional) return CLI::Formatter::make_option_name(option, is_positional);
        return CLI::detail::join(TypedNames(*option), ",");
    }
};
