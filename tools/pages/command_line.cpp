// Reading the CLI11 objects.

#include "tools/pages/command_line.h"

#include <CLI/App.hpp>
#include <algorithm>
#include <cctype>
#include <stdexcept>

#include "tools/common/help_format.h"
#include "tools/common/option_values.h"

namespace pages {

namespace {

constexpr std::string_view kExitStatus = "Exit status: 0 ";

/// CLI11 counts validators but does not tell how many there are.
std::vector<CLI::Validator*> Validators(CLI::Option* option) {
    std::vector<CLI::Validator*> validators;
    try {
        for (int index = 0;; ++index) validators.push_back(option->get_validator(index));
    } catch (const CLI::OptionNotFound&) {
        return validators;
    }
}

/// The words of "file|fit". A capitalised one is to be replaced by the user.
std::vector<std::string> Words(const std::string& text, char between) {
    std::vector<std::string> words = CLI::detail::split(text, between);
    std::erase_if(words, [](const std::string& word) {
        return std::any_of(word.begin(), word.end(),
                           [](unsigned char c) { return std::isupper(c); });
    });
    return words;
}

/// The help shows "NAME:LIMITS", where a set of values is "{a,b}", or alternatives as the name.
Value ValueOf(CLI::Option* option) {
    Value value;
    if (option->get_items_expected_min() == 0) return value;  // a flag
    value.kind = ValueKind::kFree;
    value.name = option->get_type_name();
    for (const CLI::Validator* const validator : Validators(option)) {
        if (validator->get_name() == kFileMark) value.kind = ValueKind::kFile;
        const std::string limits = validator->get_description();
        if (limits.empty()) continue;
        value.name.erase(std::min(value.name.rfind(":" + limits), value.name.size()));
        if (limits.front() == '{')
            value.words = Words(limits.substr(1, limits.size() - 2), ',');
        else
            value.limits = limits;
    }
    if (value.name.find('|') != std::string::npos) value.words = Words(value.name, '|');
    if (!value.words.empty())
        value.kind = option->get_delimiter() == 0 ? ValueKind::kWord : ValueKind::kWordList;
    return value;
}

/// CLI11 keeps sets of pointers, whose order is that of the memory; here it is that of the options.
std::vector<std::string> NamesOf(const CLI::App& app, const std::set<CLI::Option*>& some) {
    std::vector<std::string> names;
    for (const CLI::Option* const option : app.get_options())
        if (std::any_of(some.begin(), some.end(), [&](auto* one) { return one == option; }))
            names.push_back(option->get_name());
    return names;
}

Option Read(const CLI::App& app, CLI::Option* option) {
    Option read;
    read.names = option->get_positional() ? std::vector<std::string>{option->get_name(true)}
                                          : TypedNames(*option);
    read.value = ValueOf(option);
    if (option->get_positional()) read.value.name = read.names.front();
    read.help = option->get_description();
    read.group = option->get_group();
    read.usual = option->get_default_str();
    read.is_required = option->get_required();
    read.is_many = option->get_expected_max() >= CLI::detail::expected_max_vector_size;
    read.needs = NamesOf(app, option->get_needs());
    read.excludes = NamesOf(app, option->get_excludes());
    if (read.help.empty()) throw std::runtime_error(read.names.front() + " has no help");
    return read;
}

/// "Exit status: 0 done, 1 failed, 2 wrong usage." into the three meanings.
std::vector<std::string> ExitStatus(const Command& command, std::string text) {
    const std::size_t one = text.find(", 1 ");
    const std::size_t two = text.find(", 2 ");
    if (!text.starts_with(kExitStatus) || one == text.npos || two == text.npos ||
        !text.ends_with('.'))
        throw std::runtime_error(command.Name() + ": its help does not end with the exit status");
    text.pop_back();
    constexpr std::size_t kMark = 4;  // ", 1 "
    const std::size_t zero = kExitStatus.size();
    return {text.substr(zero, one - zero), text.substr(one + kMark, two - one - kMark),
            text.substr(two + kMark)};
}

Command Read(CLI::App* app, std::vector<std::string> path) {
    Command command;
    command.path = std::move(path);
    command.path.push_back(app->get_name());
    command.about = app->get_description();
    command.exit_status = ExitStatus(command, app->get_footer());
    for (CLI::Option* const option : app->get_options({}))
        (option->get_positional() ? command.positionals : command.options)
            .push_back(Read(*app, option));
    for (CLI::App* const sub : app->get_subcommands({}))
        command.commands.push_back(Read(sub, command.path));
    return command;
}

}  // namespace

std::string Command::Name(const std::string& between) const {
    return CLI::detail::join(path, between);
}

Command Describe(CLI::App* app) {
    return Read(app, {});
}

bool IsCommandOptional(const Command& program) {
    return program.commands.empty() || !program.positionals.empty();
}

const Option* OptionCalled(const Command& command, const std::string& name) {
    for (const Option& option : command.options)
        if (std::find(option.names.begin(), option.names.end(), name) != option.names.end())
            return &option;
    return nullptr;
}

}  // namespace pages
