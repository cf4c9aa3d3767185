// What the tests of lookups share: files that are opened, a lookup over all of them, its plain
// twin, and random numbers.

#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <deque>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "ptc/access.h"
#include "ptc/cache/cache_set.h"
#include "ptc/files/thread_files.h"
#include "ptc/lookup.h"
#include "tests/support/plain_lookup.h"
#include "tests/support/scratch.h"

inline constexpr float kInfinity = std::numeric_limits<float>::infinity();
inline constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

/// How often random cases are tried: `usual` times, a third of that under a sanitizer, and a
/// multiple in a run that takes its time.
inline int Rounds(int usual) {
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
    usual = (usual + 2) / 3;
#endif
    const char* const times = std::getenv("PTC_LOOKUP_ROUNDS");
    return usual * (times ? std::atoi(times) : 1);
}

template <class T, std::size_t N>
T OneOf(std::mt19937& random, const T (&choices)[N]) {
    return choices[random() % N];
}

/// From -1 on, below 1.
inline float Coordinate(std::mt19937& random) {
    return static_cast<float>(random() % 65536) / 32768 - 1;
}

/// Three floats of length 1.
inline void Direction(std::mt19937& random, float* out) {
    for (int axis = 0; axis < 3; ++axis) out[axis] = Coordinate(random) + 0.01f;
    const float length = std::sqrt(out[0] * out[0] + out[1] * out[1] + out[2] * out[2]);
    for (int axis = 0; axis < 3; ++axis) out[axis] /= length;
}

class Lookup : public testing::Test {
protected:
    Lookup() {
        told_.clear();
        PtcShutdown();
        PtcSetMessageHandler([](int, int, const char* text) {
            told_.emplace_back(text);
            return 0;
        });
    }
    ~Lookup() override {
        End();
        PtcSetMessageHandler(nullptr);
    }

    /// Gives the files back and checks what the library promises.
    void End() {
        files_.clear();
        if (ThreadFiles* const table = UtFileManager::Get()) {
            EXPECT_STREQ(table->Manager().BrokenPromise(), nullptr);
        }
        EXPECT_STREQ(BrokenCachePromise(), nullptr);
        PtcConfigure(0, 0, 0, nullptr);  // files are no longer transient
        PtcShutdown();
        names_.clear();
    }

    void Open(const std::string& name, bool is_transient = false) {
        names_.push_back(name);
        PtcConfigure(0, 0, 0, is_transient ? "transient" : nullptr);
        files_.emplace_back(name.c_str());
        EXPECT_TRUE(files_.back()) << PtcLastFailure().text;
        PtcConfigure(0, 0, 0, nullptr);
    }
    void OpenBytes(const std::string& bytes) {
        Open(WriteTo(folder_.File(std::to_string(names_.size())), bytes));
    }

    /// Of all files that are open.
    PtcLookup Made() const {
        std::vector<PtcManagedFile*> files;
        for (const PtcFile& file : files_) files.push_back(file.Get());
        return PtcLookup({files.data(), static_cast<int>(files.size()), kVariables, 2});
    }
    PlainLookup Plain() const { return PlainLookup(names_, kVariables); }

    static constexpr const char* kVariables[] = {"glow", "number"};

    inline static std::vector<std::string> told_;
    const ScratchFolder folder_;
    std::vector<std::string> names_;
    std::deque<PtcFile> files_;
};
