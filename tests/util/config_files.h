// A folder of configuration files for one test, and environment variables that end with it.

#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "util/config_store.h"

class ConfigFiles : public testing::Test {
protected:
    using Entries = std::vector<std::pair<std::string, std::string>>;

    ConfigFiles() {
        const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
        std::string name = std::string(test->test_suite_name()) + "." + test->name();
        for (char& c : name)
            if (c == '/') c = '-';
        folder_ = testing::TempDir() + name;
        std::filesystem::remove_all(folder_);
        std::filesystem::create_directories(folder_);
    }
    ~ConfigFiles() override {
        std::filesystem::remove_all(folder_);
        for (const std::string& name : set_) unsetenv(name.c_str());
    }

    /// Writes `bytes` to the file `name` in the test's folder; answers its path.
    std::string Write(const std::string& name, const std::string& bytes) const {
        const std::filesystem::path path = folder_ + "/" + name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary)
            .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return path;
    }

    void Set(const std::string& name, const std::string& value) {
        setenv(name.c_str(), value.c_str(), 1);
        set_.push_back(name);
    }

    /// What a store of its own reads from `bytes`, in the order of the file.
    Entries Read(const std::string& bytes) const {
        ConfigStore store;
        store.ReadFile(Write("read.ini", bytes).c_str());
        Entries entries;
        for (const ConfigEntry* entry = store.Newest(); entry; entry = entry->next)
            entries.emplace_back(entry->key, entry->value);
        std::reverse(entries.begin(), entries.end());
        return entries;
    }

    std::string folder_;
    std::vector<std::string> set_;
};
