// Reading the page, line by line, and comparing it with the command lines.

#include "tools/pages/tool_doc.h"

#include <fmt/format.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace pages {

namespace {

/// The command of a heading "ptc view FILE -o PICTURE.png": the small words that it begins with.
/// Empty when it is about something else.
std::string CommandOf(const std::string& heading) {
    static const std::regex words("[a-z]+( [a-z]+)*");
    std::smatch match;
    std::regex_search(heading, match, words, std::regex_constants::match_continuous);
    return match.str();
}

/// The cells of "| a | b |".
std::vector<std::string> Cells(const std::string& line) {
    std::vector<std::string> cells;
    std::istringstream rest(line.substr(1));
    for (std::string cell; std::getline(rest, cell, '|');) {
        const std::size_t begin = cell.find_first_not_of(' ');
        const std::size_t end = cell.find_last_not_of(' ');
        cells.push_back(begin == cell.npos ? "" : cell.substr(begin, end + 1 - begin));
    }
    return cells;
}

/// Takes a page's lines one by one.
class Reader {
public:
    void Take(const std::string& line) {
        if (line == "```" || (!is_code_ && line.starts_with("```")))
            TakeFence();
        else if (is_code_)
            section_->back().lines.push_back(line);
        else if (line.starts_with("## "))
            section_ = &sections_[CommandOf(line.substr(3))];
        else if (line.starts_with("### "))
            section_->push_back({BlockKind::kHeading, {line.substr(4)}});
        else if (line.starts_with("|"))
            TakeRow(line);
        else if (line.starts_with("- "))
            section_->push_back({BlockKind::kItem, {line.substr(2)}});
        else if (!line.empty() && !line.starts_with("# "))
            TakeText(line);
        is_continued_ = !line.empty() && !line.starts_with("#");
    }

    std::map<std::string, Section> Done() { return std::move(sections_); }

private:
    void TakeFence() {
        is_code_ = !is_code_;
        if (is_code_) section_->push_back({BlockKind::kCode, {}});
    }

    /// The row above the line of dashes has titles, which a list of terms needs not.
    void TakeRow(const std::string& line) {
        if (!line.starts_with("|-"))
            section_->push_back({BlockKind::kRow, Cells(line)});
        else
            section_->pop_back();
    }

    /// A paragraph, or more of a paragraph or an item.
    void TakeText(const std::string& line) {
        if (is_continued_)
            section_->back().lines.front() += " " + line.substr(line.find_first_not_of(' '));
        else
            section_->push_back({BlockKind::kParagraph, {line}});
    }

    std::map<std::string, Section> sections_;
    Section* section_ = &sections_["ptc"];
    bool is_code_ = false;
    bool is_continued_ = false;  ///< the line before belongs to a paragraph or an item
};

bool HasOption(const Command& program, const std::string& option) {
    if (OptionCalled(program, option)) return true;
    for (const Command& command : program.commands)
        if (OptionCalled(command, option)) return true;
    return false;
}

/// The words of a line that look like options.
std::vector<std::string> OptionsIn(const std::string& line) {
    static const std::regex option("(?:^|[ `\\[])(--?[a-z][-a-z]*)");
    std::vector<std::string> options;
    for (std::sregex_iterator at(line.begin(), line.end(), option), end; at != end; ++at)
        options.push_back((*at)[1]);
    return options;
}

void CheckExample(const std::string& line, const Command& program) {
    std::istringstream words(line.substr(2));
    std::string name;
    std::string word;
    words >> name >> word;
    if (name != program.Name()) throw std::runtime_error("an example of another program: " + line);
    const Command* called = IsCommandOptional(program) ? &program : nullptr;
    for (const Command& command : program.commands)
        if (command.path.back() == word) called = &command;
    if (!called) throw std::runtime_error("no command in the example: " + line);
    for (const std::string& option : OptionsIn(line))
        if (!OptionCalled(*called, option))
            throw std::runtime_error(
                fmt::format("{} has no option {}: {}", called->Name(), option, line));
}

}  // namespace

std::map<std::string, Section> ReadToolDoc(const std::string& path) {
    std::ifstream file(path);
    Reader reader;
    for (std::string line; std::getline(file, line);) reader.Take(line);
    if (!file.eof()) throw std::runtime_error(path + ": cannot be read");
    return reader.Done();
}

void CheckOptions(const Section& section, const Command& program) {
    for (const Block& block : section)
        for (const std::string& line : block.lines) {
            if (block.IsExample()) {
                if (line.starts_with("$ ")) CheckExample(line, program);
                continue;
            }
            for (const std::string& option : OptionsIn(line))
                if (!HasOption(program, option))
                    throw std::runtime_error(
                        fmt::format("no command has an option {}: {}", option, line));
        }
}

}  // namespace pages
