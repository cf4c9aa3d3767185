// The message about configuration files that goes through the message reporter.
//
// Units      bytes.
// Errors     none; the host's settings decide what is printed and whether the process ends.
// Ownership  texts are copied.
// Threads    any.
//
// The wording is in util/host/message_catalogue.cpp. The function has the parameters that the
// conversions of its text take, because MsgReport() itself checks no argument.

#pragma once

#include <concepts>
#include <string>

#include "util/host/message.h"

namespace config_messages {

/// D05666: the value of environment variable `name` has `most` bytes or more.
/// `most`: exactly an int, so that no other number is converted unseen.
inline void VariableIsTooLong(const std::string& name, std::same_as<int> auto most) {
    MsgReport("D05666", 2, kMsgWarning, name.c_str(), most);
}

}  // namespace config_messages
