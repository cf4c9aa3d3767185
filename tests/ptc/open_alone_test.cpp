// Files that are opened for the caller alone: whose they are, and what they are not confused with.

#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "ptc/access.h"
#include "ptc/cache/cache_set.h"
#include "ptc/lookup.h"
#include "ptc/tree.h"
#include "tests/ptc/direct_read.h"
#include "tests/support/cloud_forms.h"
#include "tests/support/scratch.h"

namespace {

class OpenAlone : public testing::Test {
protected:
    ~OpenAlone() override {
        EXPECT_STREQ(BrokenCachePromise(), nullptr);
        PtcConfigure(0, 0, 0, nullptr);
        PtcShutdown();
    }

    /// Puts a cloud of `points` in the place of the file.
    DirectRead Replace(std::size_t points) const {
        WriteTo(folder_.File("new"), BytesOf({points}));
        std::filesystem::rename(folder_.File("new"), name_);
        return DirectRead(name_);
    }
    /// Whether every `step`th point is that of `direct`, from the last one on.
    static bool HasPointsOf(PtcManagedFile* file, const DirectRead& direct, std::int64_t step = 7) {
        for (auto i = std::ssize(direct.heads) - 1; i >= 0; i -= step) {
            const PtcPoint* const point = PtcGetPoint(file, i);
            if (!point || !direct.IsPoint(*point, i)) return false;
        }
        return PtcGetPoint(file, std::ssize(direct.heads)) == nullptr;
    }

    const ScratchFolder folder_;
    const std::string name_ = folder_.File("a.ptc");
};

TEST_F(OpenAlone, EachOpeningLooksAtTheDisk) {
    EXPECT_EQ(PtcOpenAlone(nullptr), nullptr);
    EXPECT_EQ(PtcLastFailure().code, PtcFailureCode::kBadArgument);
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_EQ(PtcOpenAlone(name_.c_str()), nullptr);
        EXPECT_EQ(PtcLastFailure().code, PtcFailureCode::kCannotOpen);
        EXPECT_EQ(PtcLastFailure().system_error, ENOENT);
    }
    WriteTo(name_, "no cloud\n");
    EXPECT_EQ(PtcOpenAlone(name_.c_str()), nullptr);
    EXPECT_EQ(PtcLastFailure().code, PtcFailureCode::kNotACloud);

    const DirectRead old_points = Replace(3000);
    PtcManagedFile* const older = PtcOpenAlone(name_.c_str());
    const PtcFile managed(name_.c_str());
    ASSERT_TRUE(older && managed);
    const DirectRead new_points = Replace(2000);
    PtcManagedFile* const newer = PtcOpenAlone(name_.c_str());
    ASSERT_TRUE(newer);
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(HasPointsOf(older, old_points));
        EXPECT_TRUE(HasPointsOf(newer, new_points));
        EXPECT_TRUE(HasPointsOf(managed.Get(), old_points));
    }
    PtcRelease(older);
    EXPECT_TRUE(HasPointsOf(newer, new_points));
    PtcRelease(newer);
}

TEST_F(OpenAlone, AnyThreadReadsAndReleases) {
    for (const CloudForm& form : AllForms(3000)) {
        WriteTo(name_, form.bytes);
        const DirectRead direct(name_);
        PtcManagedFile* file = nullptr;
        std::thread([&] { file = PtcOpenAlone(name_.c_str()); }).join();
        ASSERT_TRUE(file) << form.name << PtcLastFailure().text;
        {
            std::jthread other([&] { EXPECT_TRUE(HasPointsOf(file, direct)); });
            EXPECT_TRUE(HasPointsOf(file, direct)) << form.name;
        }
        std::thread([&] { PtcRelease(file); }).join();
    }
}

TEST_F(OpenAlone, AShutdownLeavesItOpen) {
    const DirectRead direct = Replace(3000);
    PtcManagedFile* const file = PtcOpenAlone(name_.c_str());
    ASSERT_TRUE(file);
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(HasPointsOf(file, direct));
        PtcNodeKey root;
        EXPECT_TRUE(PtcGetRoot(file, &root) && PtcGetChildren(file, root));
        PtcShutdown();
    }
    PtcRelease(file);
}

// A transient file answers its points in their order, whatever index is asked for.
TEST_F(OpenAlone, ItIsNeverTransient) {
    const DirectRead direct = Replace(3000);
    PtcConfigure(0, 0, 0, "transient");
    PtcManagedFile* const file = PtcOpenAlone(name_.c_str());
    ASSERT_TRUE(file);
    EXPECT_TRUE(HasPointsOf(file, direct));
    PtcRelease(file);
}

}  // namespace
