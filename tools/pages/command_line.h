// A command line as its pages and completions need it, read off the CLI11 objects that parse it.
//
// Units      none.
// Errors     std::runtime_error: the command line lacks something that the pages say.
// Ownership  copies everything.
// Threads    the main thread only.

#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace pages {

/// What may stand behind an option, or in the place of a positional.
enum class ValueKind { kNone, kFree, kFile, kWord, kWordList };

struct Value {
    ValueKind kind = ValueKind::kNone;
    std::string name;                ///< such as "N"
    std::string limits;              ///< such as "1 to 256", or empty
    std::vector<std::string> words;  ///< of the two kinds that have some
};

struct Option {
    std::vector<std::string> names;  ///< as typed: "-o", "--output"; a positional's one name
    Value value;
    std::string help;
    std::string group;
    std::string usual;  ///< the value that it has when it is not given, or empty
    bool is_required = false;
    bool is_many = false;
    std::vector<std::string> needs;     ///< names of other options
    std::vector<std::string> excludes;  ///< likewise
};

struct Command {
    std::vector<std::string> path;         ///< "ptc", or "ptc" and "view"
    std::string about;                     ///< one line
    std::vector<std::string> exit_status;  ///< what 0, 1 and 2 mean
    std::vector<Option> positionals;
    std::vector<Option> options;
    std::vector<Command> commands;

    std::string Name(const std::string& between = " ") const;  ///< "ptc view"
};

/// The program, with its sub-commands. `app` is not const because CLI11's validators cannot be read
/// otherwise.
Command Describe(CLI::App* app);

/// Whether the program does something without one of its commands: any other word is a positional.
bool IsCommandOptional(const Command& program);

/// The option of `command` that is typed as `name`; null for another.
const Option* OptionCalled(const Command& command, const std::string& name);

}  // namespace pages
