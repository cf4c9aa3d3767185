// The messages about clouds that go through the message reporter: one function for each.
//
// Units      none.
// Errors     none; the host's settings decide what is printed and whether the process ends.
// Ownership  texts are copied.
// Threads    any.
//
// The wording is in util/host/message_catalogue.cpp. A function has the parameters that the
// conversions of its text take, because MsgReport() itself checks no argument.

#pragma once

#include <string>

#include "util/host/message.h"

namespace cloud_messages {

inline constexpr int kCode = 4;  ///< of every message about a cloud

/// T43050: the file is compressed, so the octree in it is not used.
inline void OctreeIsCompressed(const std::string& file_name) {
    MsgReport("T43050", kCode, kMsgWarning, file_name.c_str());
}

/// T43051: a block of points could not be read. `file_name`: null if the file has none.
inline void PointsAreUnreadable(const char* file_name) {
    MsgReport("T43051", kCode, kMsgError, file_name ? file_name : "<nofile>");
}

/// T43052: the children of a node could not be read. `file_name`: null if the file has none.
inline void NodesAreUnreadable(const char* file_name) {
    MsgReport("T43052", kCode, kMsgError, file_name ? file_name : "<nofile>");
}

}  // namespace cloud_messages
