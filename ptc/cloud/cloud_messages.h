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
#include <vector>

#include "util/base/uncopyable.h"
#include "util/host/message.h"

namespace cloud_messages {

inline constexpr int kCode = 4;  ///< of every message about a cloud

/// While one lives, the messages about files that its thread opens wait; the destructor reports
/// them. Files are opened under locks, and a message's handler may open files itself.
///
/// Ownership  copies the names.
/// Threads    its own; one a thread at a time.
class OpeningMessages : public TgUncopyable {
public:
    [[nodiscard]] OpeningMessages() { waiting = this; }
    inline ~OpeningMessages();

    /// Stores a message for later. False: the thread's messages do not wait. Throws std::bad_alloc.
    static bool Add(const std::string& file_name) {
        if (waiting) waiting->compressed_.push_back(file_name);
        return waiting != nullptr;
    }

private:
    static inline constinit thread_local OpeningMessages* waiting = nullptr;

    std::vector<std::string> compressed_;
};

/// T43050: the file is compressed, so the octree in it is not used.
inline void OctreeIsCompressed(const std::string& file_name) {
    if (OpeningMessages::Add(file_name)) return;
    MsgReport("T43050", kCode, kMsgWarning, file_name.c_str());
}

OpeningMessages::~OpeningMessages() {
    waiting = nullptr;
    for (const std::string& file_name : compressed_) OctreeIsCompressed(file_name);
}

/// T43051: a block of points could not be read. `file_name`: null if the file has none.
inline void PointsAreUnreadable(const char* file_name) {
    MsgReport("T43051", kCode, kMsgError, file_name ? file_name : "<nofile>");
}

/// T43052: the children of a node could not be read. `file_name`: null if the file has none.
inline void NodesAreUnreadable(const char* file_name) {
    MsgReport("T43052", kCode, kMsgError, file_name ? file_name : "<nofile>");
}

/// T43053: a lookup is made of more files than it can have.
inline void TooManyClouds() {
    MsgReport("T43053", kCode, kMsgWarning);
}

/// T43054: an octree in memory is refused. `kilobytes`: the limit for all of them.
inline void TooLargeForMemory(const char* file_name, long kilobytes) {
    MsgReport("T43054", kCode, kMsgError, file_name ? file_name : "<nofile>", kilobytes);
}

}  // namespace cloud_messages
