// Text for the formatters of manual pages: nothing in it is taken for one of their requests.

#pragma once

#include <string>
#include <string_view>

namespace pages {

/// `text` as it is to be seen, on a line that begins elsewhere: hyphens that can be copied, and no
/// quotes or backslashes that mean something.
std::string RoffEscaped(std::string_view text);

/// A line of its own, such as one of code.
std::string RoffLine(std::string_view text);

/// A paragraph, in which `code` is bold: broken into lines, and after each sentence.
std::string RoffParagraph(std::string_view text);

/// "\fBtext\fR" and "\fItext\fR".
std::string RoffBold(std::string_view text);
std::string RoffItalic(std::string_view text);

}  // namespace pages
