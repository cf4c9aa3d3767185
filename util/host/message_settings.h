// The settings of the message reporter: handler, exit function, wrapper, filter and others.
//
// Units      the prefix is cut at kMsgTextBytes - 1 bytes.
// Errors     none.
// Ownership  records and the prefix are copied; functions are borrowed.
// Threads    any. A report copies the settings once and uses the copy. A setting that changes
//            meanwhile counts for the next report, and no lock is held while a function runs.
//
// Locks:
//
//   rank  lock    count  guards
//   82    lock_   1      the settings and the prefix

#pragma once

#include <array>

#include "util/base/tg_lock.h"
#include "util/host/message.h"

/// Prints on standard error, with " (WARNING)" behind a warning; ends the process for a severe
/// text.
int MsgDefaultHandler(int code, int severity, const char* text);

/// The settings that a report uses, with their values at the start.
struct MsgSettings {
    MsgHandler handler = MsgDefaultHandler;
    MsgExit exit;  ///< never null
    MsgWrapper wrapper = nullptr;
    MsgFilter filter = nullptr;
    MsgSystemCallbacks callbacks = {};
    MsgLock lock = {};
    int error_mode = 2;
    bool handler_locked = false;

    MsgSettings();
};

/// The text of one message: `size` bytes and a terminating zero.
struct MsgText {
    std::array<char, kMsgTextBytes> bytes;
    std::size_t size = 0;

    MsgText() { bytes[0] = '\0'; }

    /// Appends as much of `text` as fits.
    void Append(const char* text);

    /// Appends the formatted arguments, as far as they fit.
    void AppendFormat(const char* format, std::va_list arguments);
};

/// The settings of the process.
class MsgSettingsBoard {
public:
    MsgSettings Read() UTIL_EXCLUDES(lock_) {
        TgMutexGuard hold(lock_);
        return settings_;
    }

    /// Calls `change` with the settings while the lock is held; `change` may only assign.
    template <class Change>
    void Write(Change change) UTIL_EXCLUDES(lock_) {
        TgMutexGuard hold(lock_);
        change(settings_);
    }

    /// Appends the prefix to `text`.
    void AppendPrefix(MsgText* text) UTIL_EXCLUDES(lock_) {
        TgMutexGuard hold(lock_);
        text->Append(prefix_.bytes.data());
    }

    /// Null: no prefix.
    void SetPrefix(const char* prefix) UTIL_EXCLUDES(lock_) {
        TgMutexGuard hold(lock_);
        prefix_ = MsgText();
        if (prefix) prefix_.Append(prefix);
    }

private:
    TgMutex lock_;
    MsgSettings settings_ UTIL_GUARDED_BY(lock_);
    MsgText prefix_ UTIL_GUARDED_BY(lock_);
};

MsgSettingsBoard& TheMsgSettings();
