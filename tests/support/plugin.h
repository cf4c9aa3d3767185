// A driver loaded the way a host loads it, and the lists that a host hands to it.

#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "driver/dspy.h"

/// The shared object under test, unloaded at the end of the scope.
class Plugin {
public:
    explicit Plugin(const char* path = PLUGIN_PATH) : object_(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
        EXPECT_TRUE(object_) << dlerror();
        Resolve("DspyImageOpen", &open);
        Resolve("DspyImageQuery", &query);
        Resolve("DspyImageDeepData", &deep_data);
        Resolve("DspyImageClose", &close);
    }
    ~Plugin() { dlclose(object_); }
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    DspyImageOpenFunction* open = nullptr;
    DspyImageQueryFunction* query = nullptr;
    DspyImageDeepDataFunction* deep_data = nullptr;
    DspyImageCloseFunction* close = nullptr;

    /// Delivers whole samples of `floats` floats as one batch.
    int Deliver(void* image, const std::vector<float>& samples, std::size_t floats) const {
        const auto count = static_cast<int>(samples.size() / floats);
        return deep_data(image, 0, count - 1, 0, 0,
                         reinterpret_cast<const unsigned char*>(samples.data()),
                         static_cast<int>(samples.size() * sizeof(float)));
    }

private:
    template <class Function>
    void Resolve(const char* name, Function** function) {
        *function = reinterpret_cast<Function*>(dlsym(object_, name));
        EXPECT_TRUE(*function) << name;
    }

    void* object_;
};

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

/// Opens an image; `*code` is the answer. Null: no handle.
inline void* OpenImageOf(const Plugin& plugin, const std::string& file, HostChannels channels,
                         const HostParameters& parameters = {}, int* code = nullptr) {
    void* image = nullptr;
    const int answer =
        plugin.open(&image, "test", file.c_str(), 4, 4, static_cast<int>(parameters.List().size()),
                    parameters.List().data(), static_cast<int>(channels.List().size()),
                    channels.List().data(), nullptr);
    if (code) *code = answer;
    return image;
}
