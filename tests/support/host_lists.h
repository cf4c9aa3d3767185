// The lists that a host hands to a driver.

#pragma once

#include <deque>
#include <initializer_list>
#include <string>
#include <vector>

#include "ptc/dspy.h"

/// A parameter list that owns its values.
class HostParameters {
public:
    HostParameters& Floats(const char* name, std::vector<float> values) {
        floats_.push_back(std::move(values));
        const auto& kept = floats_.back();
        return Add(name, 'f', kept.size(), kept.data());
    }
    HostParameters& Float(const char* name, float value) { return Floats(name, {value}); }
    HostParameters& Int(const char* name, int value) {
        ints_.push_back(value);
        return Add(name, 'i', 1, &ints_.back());
    }
    const std::vector<DspyParameter>& List() const { return list_; }

private:
    HostParameters& Add(const char* name, char type, std::size_t count, const void* values) {
        list_.push_back(
            {name, type, static_cast<signed char>(count), values, static_cast<int>(4 * count)});
        return *this;
    }
    std::deque<std::vector<float>> floats_;
    std::deque<int> ints_;
    std::vector<DspyParameter> list_;
};

/// A channel list that owns its names.
class HostChannels {
public:
    HostChannels(std::initializer_list<const char*> names) {
        for (const char* name : names) texts_.emplace_back(name);
        for (std::string& text : texts_) list_.push_back({text.data(), 0x2001});
    }
    std::vector<DspyFormat>& List() { return list_; }

private:
    std::deque<std::string> texts_;
    std::vector<DspyFormat> list_;
};
