// The completion for bash. It needs nothing but bash: no package of completions has to be there.

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "tools/pages/completions.h"

namespace pages {

namespace {

// Readline takes "=" for a word of its own. File names are left to readline, which knows quotes and
// home folders: `compopt -o default` asks for them when there are no replies.
constexpr const char* kHead = R"(# bash completion for {0}, made from its command line

_{0}()
{{
    local word=${{COMP_WORDS[COMP_CWORD]}} before=${{COMP_WORDS[COMP_CWORD - 1]}}
    if [[ $word == = ]]; then
        word=
    elif [[ $before == = ]]; then
        before=${{COMP_WORDS[COMP_CWORD - 2]}}
    fi
    local command= options= words= files= list= i IFS=$' \t\n'
    COMPREPLY=()
)";

constexpr const char* kFindCommand = R"(    for ((i = 1; i < COMP_CWORD; i++)); do
        if [[ ${COMP_WORDS[i]} != -* ]]; then
            command=${COMP_WORDS[i]}
            break
        fi
    done
)";

/// The same where a word may be something else than a command.
constexpr const char* kFindOptionalCommand = R"(    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${{COMP_WORDS[i]}} in
            {})
                command=${{COMP_WORDS[i]}}
                break
                ;;
        esac
    done
)";

// Of a list only the part behind the last comma is completed.
constexpr const char* kTail = R"(    if [[ $list ]]; then
        local done=
        [[ $word == *,* ]] && done=${{word%,*}},
        compopt -o nospace
        COMPREPLY=($(compgen -P "$done" -W "$list" -- "${{word##*,}}"))
    elif [[ $word == -* && $options ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$word"))
    elif [[ $words ]]; then
        [[ $files ]] && compopt -o default
        COMPREPLY=($(compgen -W "$words" -- "$word"))
    elif [[ $files ]]; then
        compopt -o default
    fi
}}
complete -F _{0} {0}
)";

const std::string& WordOf(const Command& command) {
    static const std::string none;
    return command.path.size() > 1 ? command.path.back() : none;
}

/// The lines for the option before the word: what completes its value.
std::string ValueCases(const Command& command) {
    std::string cases;
    for (const Option& option : command.options) {
        if (option.value.kind == ValueKind::kNone) continue;
        std::vector<std::string> patterns;
        for (const std::string& name : option.names)
            patterns.push_back(fmt::format("'{} {}'", WordOf(command), name));
        std::string action = " ";
        if (option.value.kind == ValueKind::kFile) action = " files=1 ";
        if (option.value.kind == ValueKind::kWord)
            action = fmt::format(" words='{}' ", fmt::join(option.value.words, " "));
        if (option.value.kind == ValueKind::kWordList)
            action = fmt::format(" list='{}' ", fmt::join(option.value.words, " "));
        cases += fmt::format("        {}){};;\n", fmt::join(patterns, " | "), action);
    }
    for (const Command& sub : command.commands) cases += ValueCases(sub);
    return cases;
}

/// The lines for the command: its options, and what completes a positional.
std::string CommandCases(const Command& command) {
    std::vector<std::string> options;
    for (const Option& option : command.options)
        options.insert(options.end(), option.names.begin(), option.names.end());
    std::vector<std::string> words;
    for (const Command& sub : command.commands) words.push_back(WordOf(sub));
    bool has_files = false;
    for (const Option& positional : command.positionals) {
        has_files |= positional.value.kind == ValueKind::kFile;
        words.insert(words.end(), positional.value.words.begin(), positional.value.words.end());
    }
    std::string cases = fmt::format("                '{}')\n                    options='{}'\n",
                                    WordOf(command), fmt::join(options, " "));
    if (!words.empty())
        cases += fmt::format("                    words='{}'\n", fmt::join(words, " "));
    if (has_files) cases += "                    files=1\n";
    cases += "                    ;;\n";
    for (const Command& sub : command.commands) cases += CommandCases(sub);
    return cases;
}

std::string FindCommand(const Command& program) {
    if (program.commands.empty()) return "";
    if (!IsCommandOptional(program)) return kFindCommand;
    std::vector<std::string> names;
    for (const Command& command : program.commands) names.push_back(WordOf(command));
    return fmt::format(kFindOptionalCommand, fmt::join(names, " | "));
}

}  // namespace

std::string BashCompletion(const Command& program) {
    return fmt::format(kHead, program.Name()) + FindCommand(program) +
           "    case \"$command $before\" in\n" + ValueCases(program) +
           "        *)\n            case $command in\n" + CommandCases(program) +
           "            esac\n            ;;\n    esac\n" + fmt::format(kTail, program.Name());
}

}  // namespace pages
