// Names and texts of others on a terminal: as one line, and without what steers the terminal.

#pragma once

#include <string>
#include <string_view>

/// `text` with each newline, each control byte and each byte that is no UTF-8 as an escape such as
/// `\n` or `\x1b`; everything else stays as it is. Whatever a terminal gets of a file or from a
/// caller goes through this, and file contents and data never do.
std::string Printable(std::string_view text);
