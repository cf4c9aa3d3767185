// The catalogue of message texts: identifier, one blank, printf format.
//
// Units      none.
// Errors     FindMessage() answers null for what the catalogue does not hold.
// Ownership  texts are borrowed: a catalogue put in place must outlive every report.
// Threads    any; a catalogue is only read.

#pragma once

#include <string_view>

namespace message_catalogue {

/// The first text that begins with `identifier`, in catalogue order. An empty identifier, which
/// every text would begin with, finds nothing.
const char* FindMessage(std::string_view identifier);

/// Puts another null-terminated catalogue in place of the built-in one; null puts that one back.
/// Its texts are printf formats and get the arguments of whoever reports them.
void Replace(const char* const* texts);

}  // namespace message_catalogue
