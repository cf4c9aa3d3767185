// Writing the page, section by section.

#include "tools/pages/man_page.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>

#include "tools/pages/roff_text.h"

namespace pages {

namespace {

constexpr std::string_view kParagraph = ".PP\n";

constexpr struct {
    std::string_view program;
    std::string_view name;
    const char* meaning;
} kVariables[] = {
    {"ptc", "TMPDIR",
     "The folder of temporary files, among them the copy of a stream that is not a file; `/tmp` "
     "when it is not set."},
    {"pcbake", "LUMR_DRIVERPATH",
     "Folders to look drivers up in, with `:` between them, behind those of `--driver-path`."},
    {"pcbake", "LUMR_ASCIIPOINTCLOUD",
     "When it is set, to any value, the driver writes the file as text. `--ascii` sets it."},
};

/// A fragment of the help as a sentence.
std::string Sentence(std::string text) {
    text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    return text.ends_with('.') ? text : text + ".";
}

/// "\fB\-o\fR, \fB\-\-output\fR \fIFILE\fR".
std::string Names(const std::vector<std::string>& names, const Value& value) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + RoffBold(name);
    return value.name.empty() ? text : text + " " + RoffItalic(value.name);
}

std::string Positional(const Option& positional) {
    const std::string name =
        RoffItalic(positional.names.front()) + (positional.is_many ? "..." : "");
    return positional.is_required ? name : "[" + name + "]";
}

/// What the option does, and the conditions that the help shows in its notation.
std::string Meaning(const Option& option) {
    const auto listed = [](const std::vector<std::string>& names) {
        return fmt::format("`{}`", fmt::join(names, "`, `"));
    };
    std::string text = Sentence(option.help);
    if (option.is_required && option.names.front().starts_with('-')) text += " Required.";
    if (!option.value.limits.empty()) text += " Value: " + option.value.limits + ".";
    const bool is_listed = option.value.name.find('|') != std::string::npos;
    if (!option.value.words.empty() && !is_listed)
        text += " Values: " + listed(option.value.words) + ".";
    if (!option.usual.empty()) text += " Default: `" + option.usual + "`.";
    if (!option.needs.empty()) text += " Needs " + listed(option.needs) + ".";
    if (!option.excludes.empty()) text += " Excludes " + listed(option.excludes) + ".";
    return RoffParagraph(text);
}

std::string Synopsis(const Command& command) {
    std::string text = ".SH SYNOPSIS\n" + RoffBold(command.Name());
    bool has_optional = false;
    for (const Option& option : command.options) {
        if (option.is_required) text += " " + Names({option.names.front()}, option.value);
        has_optional |= !option.is_required;
    }
    if (has_optional) text += " [" + RoffItalic("OPTION") + "...]";
    for (const Option& positional : command.positionals) text += " " + Positional(positional);
    if (!command.commands.empty())
        text += " " + RoffItalic("COMMAND") + " [" + RoffItalic("ARGUMENT") + "...]";
    return text + "\n";
}

std::string Options(const Command& command) {
    std::string text;
    if (!command.positionals.empty()) text += ".SH ARGUMENTS\n";
    for (const Option& positional : command.positionals)
        text += ".TP\n" + RoffItalic(positional.names.front()) + "\n" + Meaning(positional);
    text += ".SH OPTIONS\n";
    std::string group = "Options";
    for (const Option& option : command.options) {
        if (option.group != group) text += ".SS \"" + RoffEscaped(option.group) + "\"\n";
        group = option.group;
        text += ".TP\n" + Names(option.names, option.value) + "\n" + Meaning(option);
    }
    return text;
}

std::string Commands(const Command& program) {
    if (program.commands.empty()) return "";
    std::string text = ".SH COMMANDS\nEach has a page of its own.\n";
    for (const Command& command : program.commands)
        text += ".TP\n.BR " + RoffEscaped(command.Name("-")) + " (1)\n" +
                RoffParagraph(Sentence(command.about));
    return text;
}

/// What stands below a heading, which begins a paragraph itself.
std::string BelowHeading(std::string text) {
    if (text.starts_with(kParagraph)) text.erase(0, kParagraph.size());
    return text;
}

/// A chapter, if it has a text.
std::string Chapter(const std::string& name, const std::string& text) {
    return text.empty() ? "" : ".SH \"" + name + "\"\n" + BelowHeading(text);
}

std::string Code(const Block& block) {
    std::string text = ".PP\n.RS 4\n.EX\n";
    for (const std::string& line : block.lines) text += RoffLine(line);
    return text + ".EE\n.RE\n";
}

/// One block of the section. A row of a table becomes a term with its explanation.
std::string Text(const Block& block) {
    const std::string& first = block.lines.front();
    switch (block.kind) {
        case BlockKind::kParagraph:
            return ".PP\n" + RoffParagraph(first);
        case BlockKind::kItem:
            return ".IP \\(bu 2\n" + RoffParagraph(first);
        case BlockKind::kHeading:
            return ".SS \"" + RoffEscaped(first) + "\"\n";
        case BlockKind::kCode:
            return Code(block);
        case BlockKind::kRow:
            break;
    }
    std::vector<std::string> rest(block.lines.begin() + 1, block.lines.end());
    std::erase(rest, "");
    return ".TP\n" + RoffParagraph(first) + RoffParagraph(fmt::format("{}", fmt::join(rest, "; ")));
}

/// What follows the first paragraph, which is the description.
std::string Details(const Section& section) {
    std::string text;
    bool is_below_heading = false;
    for (std::size_t i = 1; i < section.size(); ++i) {
        if (section[i].IsExample()) continue;
        text += is_below_heading ? BelowHeading(Text(section[i])) : Text(section[i]);
        is_below_heading = section[i].kind == BlockKind::kHeading;
    }
    return Chapter("DETAILS", text);
}

std::string ExitStatus(const Command& command) {
    std::string text = ".SH \"EXIT STATUS\"\n";
    int status = 0;
    for (const std::string& meaning : command.exit_status)
        text += fmt::format(".TP\n{}\n", status++) + RoffParagraph(Sentence(meaning));
    return text;
}

/// Of a command that touches files.
std::string Environment(const Command& command) {
    std::string text;
    const auto is_file = [](const Option& one) { return one.value.kind == ValueKind::kFile; };
    if (command.commands.empty() &&
        std::none_of(command.positionals.begin(), command.positionals.end(), is_file) &&
        std::none_of(command.options.begin(), command.options.end(), is_file))
        return "";
    for (const auto& variable : kVariables)
        if (variable.program == command.path.front())
            text += ".TP\n" + RoffBold(variable.name) + "\n" + RoffParagraph(variable.meaning);
    return Chapter("ENVIRONMENT", text);
}

std::string Examples(const Section& section) {
    std::string text;
    for (const Block& block : section)
        if (block.IsExample()) text += Code(block);
    return Chapter("EXAMPLES", text);
}

std::string SeeAlso(const Command& program, const Command& command) {
    std::vector<std::string> names;
    if (command.path.size() > 1) names.push_back(program.Name());
    for (const Command& sub : command.commands) names.push_back(sub.Name("-"));
    for (const char* const other : {"ptc", "pcbake", "pcrender"})
        if (program.Name() != other) names.emplace_back(other);
    std::string text = ".SH \"SEE ALSO\"\n";
    for (const std::string& name : names)
        text += ".BR " + RoffEscaped(name) + " (1)" + (name == names.back() ? "\n" : ",\n");
    return text;
}

}  // namespace

std::string ManPage(const Command& program, const Command& command, const Section& section,
                    const std::string& version) {
    const std::string name = RoffEscaped(command.Name("-"));
    std::string title = name;
    for (char& c : title) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    std::string about = command.about;
    about[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(about[0])));
    if (about.ends_with('.')) about.pop_back();
    return fmt::format(".TH {} 1 \"\" \"{} {}\" \"User Commands\"\n", title, program.Name(),
                       version) +
           ".SH NAME\n" + name + " \\- " + RoffEscaped(about) + "\n" + Synopsis(command) +
           ".SH DESCRIPTION\n" + RoffParagraph(section.front().lines.front()) + Options(command) +
           Commands(command) + Details(section) + ExitStatus(command) + Environment(command) +
           Examples(section) + SeeAlso(program, command);
}

}  // namespace pages
