// Changes the message reporter's settings; has the default handler.
//
// Every setter makes one change under the lock. None calls a function of the host, except
// MsgInit(), which runs the host's initialiser between two changes.

#include "util/host/message_settings.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "util/base/process_wide.h"
#include "util/host/message_tables.h"

MsgSettings::MsgSettings() : exit(std::exit) {}

MsgSettingsBoard& TheMsgSettings() {
    return process_wide::The<MsgSettingsBoard>();
}

void MsgText::Append(const char* text) {
    const std::size_t length = strnlen(text, kMsgTextBytes - 1 - size);
    std::memcpy(bytes.data() + size, text, length);
    size += length;
    bytes[size] = '\0';
}

void MsgText::AppendFormat(const char* format, std::va_list arguments) {
    const std::size_t room = kMsgTextBytes - size;
// The formats come from the catalogue at run time; callers pass nothing else.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const int wanted = std::vsnprintf(bytes.data() + size, room, format, arguments);
#pragma GCC diagnostic pop
    if (wanted > 0) size += std::min(static_cast<std::size_t>(wanted), room - 1);
    bytes[size] = '\0';  // also after a conversion that failed
}

int MsgDefaultHandler(int code, int severity, const char* text) {
    std::fflush(stdout);
    // stdout is flushed first, so the lines appear in the order in which they were printed. One
    // call prints the line, so lines of several threads do not mix.
    std::fprintf(stderr, "%s%s\n", text, severity == kMsgWarning ? " (WARNING)" : "");
    std::fflush(stderr);
    if ((severity & kMsgSeverityBits) >= kMsgSevere) TheMsgSettings().Read().exit(code);
    return 0;
}

void MsgSetHandler(MsgHandler handler, int lock) {
    TheMsgSettings().Write([=](MsgSettings& settings) {
        if (settings.handler_locked) return;
        settings.handler = handler ? handler : MsgDefaultHandler;
        settings.handler_locked = lock != 0;
    });
}

void MsgSetHandlerAndExit(MsgHandler handler, MsgExit exit_function) {
    MsgSetHandler(handler, 0);
    TheMsgSettings().Write(
        [=](MsgSettings& settings) { settings.exit = exit_function ? exit_function : std::exit; });
}

MsgHandler MsgGetHandler() {
    return TheMsgSettings().Read().handler;
}

void MsgSetFilter(MsgFilter filter) {
    TheMsgSettings().Write([=](MsgSettings& settings) { settings.filter = filter; });
}

void MsgSetWrapper(MsgWrapper wrapper) {
    TheMsgSettings().Write([=](MsgSettings& settings) { settings.wrapper = wrapper; });
}

MsgWrapper MsgGetWrapper() {
    return TheMsgSettings().Read().wrapper;
}

void MsgSetErrorMode(int mode) {
    TheMsgSettings().Write([=](MsgSettings& settings) { settings.error_mode = mode; });
}

int MsgGetErrorMode() {
    return TheMsgSettings().Read().error_mode;
}

void MsgInit(const MsgLock* lock, const MsgSystemCallbacks* callbacks, MsgExit exit_function,
             const char* prefix) {
    MsgSettingsBoard& board = TheMsgSettings();
    board.Write([=](MsgSettings& settings) {
        if (callbacks) settings.callbacks = *callbacks;
        // With only one of its functions a lock would stay locked or never be taken; it is ignored.
        settings.lock = lock && lock->lock && lock->unlock ? *lock : MsgLock{};
    });
    // It may report messages and change settings; what is set below replaces its changes.
    if (const auto initialise = board.Read().callbacks.initialise) initialise();
    board.Write(
        [=](MsgSettings& settings) { settings.exit = exit_function ? exit_function : std::exit; });
    board.SetPrefix(prefix);
    message_tables::DropThreadTable();
    message_tables::DropProcessTable();
}

void MsgSetDisabledList(const char* identifiers) {
    if (identifiers) message_tables::AppendDisabled(identifiers);
}

void MsgClearDisabledList() {
    message_tables::ClearDisabled();
}
