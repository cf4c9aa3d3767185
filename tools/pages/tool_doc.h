// The page about the tools, docs/tools.md, taken apart for the manual pages.
//
// Units      none.
// Errors     std::runtime_error: the page cannot be read, or tells of an option that is not there.
// Ownership  copies everything.
// Threads    the main thread only.
//
// What it knows of Markdown: headings, paragraphs, lists of one level, tables, and fenced code.

#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/pages/command_line.h"

namespace pages {

enum class BlockKind { kParagraph, kItem, kRow, kCode, kHeading };

struct Block {
    BlockKind kind;
    std::vector<std::string> lines;  ///< of code; a row's cells; else one, with Markdown in it

    /// Whether it is commands as a user types them, and what they print.
    bool IsExample() const { return kind == BlockKind::kCode && lines.front().starts_with("$ "); }
};

using Section = std::vector<Block>;

/// The sections by the command that they are about: "ptc" has what comes before the first of them.
std::map<std::string, Section> ReadToolDoc(const std::string& path);

/// Throws unless each option in an example is one of the command that the example calls, and each
/// in the other text is one of a command of `program`.
void CheckOptions(const Section& section, const Command& program);

}  // namespace pages
