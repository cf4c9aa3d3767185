// The completion for fish: a line for each option of each command.

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "tools/pages/completions.h"

namespace pages {

namespace {

/// Whether the first word that is a command is the asked one; for an empty one, whether none is.
constexpr const char* kCommandIs = R"(
function __{0}_command_is
    set -l words (commandline -opc)
    for word in $words[2..-1]
        {1}; and continue
        test "$word" = "$argv[1]"
        return
    end
    test -z "$argv[1]"
end

)";

std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) {
        if (c == '\'' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted + "'";
}

/// The switches that say what completes a value.
std::string ValueSwitches(const Value& value) {
    switch (value.kind) {
        case ValueKind::kNone:
            return "";
        case ValueKind::kFree:
            return " -x";
        case ValueKind::kFile:
            return " -r -F";
        case ValueKind::kWord:
            return fmt::format(" -x -a '{}'", fmt::join(value.words, " "));
        case ValueKind::kWordList:
            return fmt::format(" -x -a '(__fish_append , {})'", fmt::join(value.words, " "));
    }
    return "";
}

/// The lines of a command. `condition` is a switch that says when it is the one.
std::string CommandLines(const Command& command, const std::string& condition) {
    const std::string begin = "complete -c " + command.path.front() + condition;
    std::string lines;
    if (!command.positionals.empty() && command.positionals[0].value.kind == ValueKind::kFile)
        lines = begin + " -F\n";
    for (const Option& positional : command.positionals) {
        if (positional.value.kind == ValueKind::kWord)
            lines += fmt::format("{} -a '{}'\n", begin, fmt::join(positional.value.words, " "));
    }
    for (const Option& option : command.options) {
        lines += begin;
        for (const std::string& name : option.names)
            lines += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
        lines += fmt::format("{} -d {}\n", ValueSwitches(option.value), Quoted(option.help));
    }
    return lines;
}

}  // namespace

std::string FishCompletion(const Command& program) {
    const std::string name = program.Name();
    std::string text = fmt::format("# fish completion for {0}, made from its command line\n", name);
    const std::string no_files = fmt::format("complete -c {} -f\n", name);
    if (program.commands.empty()) return text + no_files + CommandLines(program, "");
    // Without a command the first word may be anything.
    std::vector<std::string> names;
    for (const Command& command : program.commands) names.push_back(command.path.back());
    text += fmt::format(kCommandIs, name,
                        IsCommandOptional(program)
                            ? fmt::format("not contains -- $word {}", fmt::join(names, " "))
                            : "string match -q -- '-*' $word") +
            no_files;
    const auto is = [&](const std::string& command) {
        return fmt::format(" -n \"__{}_command_is '{}'\"", name, command);
    };
    const std::string none = is("");
    text += CommandLines(program, none);
    for (const Command& command : program.commands)
        text += fmt::format("complete -c {}{} -a {} -d {}\n", name, none, command.path.back(),
                            Quoted(command.about));
    for (const Command& command : program.commands)
        text += CommandLines(command, is(command.path.back()));
    return text;
}

}  // namespace pages
