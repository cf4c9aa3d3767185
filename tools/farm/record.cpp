// Record: from and to JSON of a fixed length.

#include "tools/farm/record.h"

#include <chrono>
#include <nlohmann/json.hpp>

namespace farm {

namespace {

using Json = nlohmann::ordered_json;

Json JsonOf(const Record& record) {
    return {
        {"task", record.task},
        {"host", record.owner.host},
        {"kernel", record.owner.kernel},
        {"process", record.owner.process},
        {"process_begin", record.owner.begin},
        {"ready", record.ready},
        {"begun", record.begun},
        {"ended", record.ended},
        {"reason", record.reason},
        {"made_from", record.made_from},
        {"made_of", record.made_of},
        {"output_bytes", record.output.bytes},
        {"output_written", record.output.written},
        {"user_seconds", record.user_seconds},
        {"system_seconds", record.system_seconds},
        {"peak_bytes", record.peak_bytes},
    };
}

/// Missing keys and values of other kinds throw.
Record RecordOf(const Json& json) {
    Record record;
    json.at("task").get_to(record.task);
    json.at("host").get_to(record.owner.host);
    json.at("kernel").get_to(record.owner.kernel);
    json.at("process").get_to(record.owner.process);
    json.at("process_begin").get_to(record.owner.begin);
    json.at("ready").get_to(record.ready);
    json.at("begun").get_to(record.begun);
    json.at("ended").get_to(record.ended);
    json.at("reason").get_to(record.reason);
    json.at("made_from").get_to(record.made_from);
    json.at("made_of").get_to(record.made_of);
    json.at("output_bytes").get_to(record.output.bytes);
    json.at("output_written").get_to(record.output.written);
    json.at("user_seconds").get_to(record.user_seconds);
    json.at("system_seconds").get_to(record.system_seconds);
    json.at("peak_bytes").get_to(record.peak_bytes);
    return record;
}

}  // namespace

std::string RecordText(Record record) {
    for (;;) {
        std::string text = JsonOf(record).dump(1, ' ', false, Json::error_handler_t::replace);
        if (text.size() < kRecordBytes)
            return text.append(kRecordBytes - 1 - text.size(), ' ') + '\n';
        // Every other text is bounded by the system: names of hosts and of files.
        if (record.reason.empty()) return text;
        record.reason.resize(record.reason.size() / 2);
    }
}

std::optional<Record> ReadRecord(const std::string& file) {
    constexpr std::size_t kMostBytes = 4 * kRecordBytes;
    const std::optional<std::string> text = TryReadSmallFile(file, kMostBytes);
    if (!text) return std::nullopt;
    try {
        return RecordOf(Json::parse(*text));
    } catch (const Json::exception&) {
        return std::nullopt;
    }
}

double Now() {
    const std::chrono::duration<double> time = std::chrono::system_clock::now().time_since_epoch();
    return time.count();
}

}  // namespace farm
