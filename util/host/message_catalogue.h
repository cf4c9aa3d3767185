// The catalogue of message texts: identifier, one blank, printf format.
//
// Units      none.
// Errors     FindMessage() returns null for an identifier that the catalogue does not have.
// Ownership  texts are borrowed: a catalogue given to Replace() must outlive every report.
// Threads    any; a catalogue is only read.

#pragma once

#include <string_view>

namespace message_catalogue {

/// The first text of the catalogue that begins with `identifier`. Null for an empty identifier,
/// although every text begins with it.
const char* FindMessage(std::string_view identifier);

/// Replaces the catalogue by another null-terminated one; null restores the built-in one. Its texts
/// are printf formats and must fit the arguments that callers of MsgReport() pass.
void Replace(const char* const* texts);

}  // namespace message_catalogue
