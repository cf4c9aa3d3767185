// A driver loaded the way a host loads it.

#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/host_lists.h"

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
