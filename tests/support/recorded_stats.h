// Statistics written into memory, one line a call, for tests to compare.

#pragma once

#include <string>

#include "util/stats/stats.h"

/// Begin: "tag name=value ... {", end: "} tag", leaf: "tag name=value ... : text".
class RecordedStats : public StatsWriter {
public:
    void BeginElement(std::string_view tag, std::span<const StatsAttribute> attributes) override {
        Start(tag, attributes);
        text_ += " {\n";
    }
    void EndElement(std::string_view tag, bool newline) override {
        text_.append("} ").append(tag).append(newline ? "\n" : " without newline\n");
    }
    void LeafElement(std::string_view tag, std::string_view value,
                     std::span<const StatsAttribute> attributes) override {
        Start(tag, attributes);
        text_.append(" : ").append(value).append("\n");
    }
    const std::string& Text() const { return text_; }

private:
    void Start(std::string_view tag, std::span<const StatsAttribute> attributes) {
        text_ += tag;
        for (const auto& [name, value] : attributes)
            text_.append(" ").append(name).append("=").append(value);
    }

    std::string text_;
};

/// What `stat` writes.
inline std::string Recorded(const UtStat& stat) {
    RecordedStats writer;
    stat.write(writer);
    return writer.Text();
}
