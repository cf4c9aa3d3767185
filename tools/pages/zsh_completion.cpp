// The completion for zsh: arguments of _arguments, which knows the rest.

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "tools/pages/completions.h"

namespace pages {

namespace {

/// `text` in single quotes; a backslash goes before each of `special`, which means something to
/// _arguments.
std::string Quoted(const std::string& text, std::string_view special) {
    std::string quoted;
    for (const char c : text) {
        if (c == '\'')
            quoted += "'\\''";
        else if (c == '\\' || special.find(c) != special.npos)
            quoted += {'\\', c};
        else
            quoted += c;
    }
    return quoted;
}

/// ":NAME:ACTION" of a value or a positional.
std::string Action(const Value& value) {
    const std::string name = ":" + Quoted(value.name, ":") + ":";
    const std::string words = fmt::format("{}", fmt::join(value.words, " "));
    switch (value.kind) {
        case ValueKind::kNone:
            return "";
        case ValueKind::kFree:
            return name + " ";
        case ValueKind::kFile:
            return name + "_files";
        case ValueKind::kWord:
            return name + "(" + words + ")";
        case ValueKind::kWordList:
            return name + "_values -s , " + value.name + " " + words;
    }
    return "";
}

/// A line for each name. One of them excludes the others, and the help and the version everything.
std::string OptionLines(const Option& option) {
    const bool is_alone = option.names.back() == "--help" || option.names.back() == "--version";
    std::string lines;
    for (const std::string& name : option.names) {
        const bool is_long = name.starts_with("--");
        std::string given = name;
        if (option.value.kind != ValueKind::kNone) given += is_long ? "=" : "+";
        lines += fmt::format("'({}){}[{}]{}' \\\n",
                             is_alone ? "- *" : fmt::format("{}", fmt::join(option.names, " ")),
                             given, Quoted(option.help, "[]:"), Action(option.value));
    }
    return lines;
}

/// The call of _arguments for one command.
std::string Arguments(const Command& command, const std::string& indent) {
    std::string lines;
    for (const Option& option : command.options) lines += OptionLines(option);
    int place = 0;
    // The place of a program's first positional is that of its commands as well: see
    // kCommandStates.
    const bool has_place = command.commands.empty();
    for (const Option& positional : command.positionals)
        if (has_place)
            lines += fmt::format("'{}{}' \\\n", positional.is_many ? "*" : std::to_string(++place),
                                 (positional.is_required ? "" : ":") + Action(positional.value));
    lines.erase(lines.size() - 3);
    std::string indented = indent + "_arguments -S \\\n" + indent + "  ";
    for (const char c : lines) indented += c == '\n' ? "\n" + indent + "  " : std::string(1, c);
    return indented;
}

std::string Commands(const Command& program) {
    std::string lines;
    for (const Command& command : program.commands)
        lines += fmt::format("        '{}:{}'\n", Quoted(command.path.back(), ":"),
                             Quoted(command.about, ":"));
    return lines;
}

std::string CommandCases(const Command& program) {
    std::string cases;
    for (const Command& command : program.commands)
        cases += fmt::format("        {})\n{} && return 0\n          ;;\n", command.path.back(),
                             Arguments(command, "          "));
    if (IsCommandOptional(program))
        cases += fmt::format("        *)\n{} && return 0\n          ;;\n",
                             Arguments(program, "          "));
    return cases;
}

constexpr const char* kCommandStates = R"( \
    '1: :->command' '*:: :->arguments' && return 0

  case $state in
    command)
      local -a commands=(
{}      )
      _describe -t commands '{} command' commands{} && return 0
      ;;
    arguments)
      curcontext="${{curcontext%:*:*}}:{}-$words[1]:"
      case $words[1] in
{}      esac
      ;;
  esac
  return 1
)";

}  // namespace

std::string ZshCompletion(const Command& program) {
    const std::string name = program.Name();
    std::string text = fmt::format(
        "#compdef {0}\n# zsh completion for {0}, made from its command line\n\n_{0}() {{\n", name);
    if (program.commands.empty()) {
        text += Arguments(program, "  ") + "\n";
    } else {
        text += "  local curcontext=\"$curcontext\" state state_descr line\n";
        text += "  typeset -A opt_args\n";
        std::string first = Arguments(program, "  ");
        first.replace(first.find("-S"), 2, "-C -S");
        text += first + fmt::format(kCommandStates, Commands(program), name,
                                    IsCommandOptional(program) ? "; _files" : "", name,
                                    CommandCases(program));
    }
    return text + fmt::format("}}\n\n_{} \"$@\"\n", name);
}

}  // namespace pages
