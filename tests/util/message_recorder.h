// What a message reporter delivered, as lines of text; and a reporter as good as new.

#pragma once

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

#include "util/host/message.h"
#include "util/host/message_catalogue.h"

/// Every event of the reporter: "CODE/SEVERITY TEXT" for a delivery, "exit CODE" for an exit.
/// Three identifiers have the shortest texts there are: themselves and the argument.
class MessageRecorder : public testing::Test {
protected:
    using Events = std::vector<std::string>;

    MessageRecorder() {
        static const char* const texts[] = {"T43050 %s", "T43051 %s", "T43052 %s", nullptr};
        static const MsgSystemCallbacks none = {};
        message_catalogue::Replace(texts);
        Taken();
        MsgClearDisabledList();
        MsgInit(nullptr, &none, RecordExit, nullptr);
        MsgSetHandlerAndExit(Record, RecordExit);
        MsgSetFilter(nullptr);
        MsgSetWrapper(nullptr);
        MsgSetErrorMode(2);
    }
    ~MessageRecorder() override {
        MsgSetHandlerAndExit(nullptr, nullptr);
        message_catalogue::Replace(nullptr);
    }

    static int Record(int code, int severity, const char* text) {
        Add(std::to_string(code) + "/" + std::to_string(severity) + " " + text);
        return 17;
    }
    static void RecordExit(int code) { Add("exit " + std::to_string(code)); }
    static void Add(std::string event) {
        const std::lock_guard hold(mutex_);
        events_.push_back(std::move(event));
    }

    /// The events since the last call.
    static Events Taken() {
        const std::lock_guard hold(mutex_);
        return std::exchange(events_, {});
    }

    static inline std::mutex mutex_;
    static inline Events events_;
};
