// A bake in which one call of the system or one allocation fails, each in turn: the file holds what
// its header counts, and a loss is told.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <regex>

#include "ptc/cloud/reader.h"
#include "ptc/dspy.h"
#include "tests/driver/fault_plan.h"
#include "tests/support/failing_new.h"
#include "tests/support/host_lists.h"
#include "tests/support/scratch.h"

// The driver's entry points are part of this program.
extern "C" {
DspyImageOpenFunction DspyImageOpen;
DspyImageDeepDataFunction DspyImageDeepData;
DspyImageCloseFunction DspyImageClose;
}

namespace {

struct Bake {
    const char* name;
    bool is_text;
    bool is_thinned;
    int points;
    bool is_crowd = false;  ///< all samples are at one place
};

struct Outcome {
    bool is_open = false;
    bool is_told = false;
    std::string line;
};

constexpr int kBatch = 100;

/// Sample `i`, whose value no other resembles.
void AppendSample(int i, bool is_crowd, std::vector<float>* samples) {
    const auto x = static_cast<float>(i);
    samples->insert(samples->end(), {is_crowd ? 0 : x, 0, 0, 0, 0, 1, 0.25f, x / 2});
}

/// One image from its opening to its closing, with the plan armed during the driver's calls.
Outcome BakeOnce(const Bake& bake, const std::string& file) {
    HostChannels channels{"|float v"};
    HostParameters parameters;
    parameters.Int("EliminateDuplicateGrids", bake.points < 10000 && !bake.is_crowd)
        .Int("Simplify", bake.is_thinned);
    parameters.Float("MaxDist", 0.5f).Float("MaxDiff", 0.1f).Int("BufferSize", 500);
    std::vector<float> samples;
    Outcome outcome;
    const auto call = [&](auto function) {
        fault_plan.is_armed = true;
        const int code = function();
        fault_plan.is_armed = false;
        outcome.is_told |= code != kDspySuccess;
    };
    bake.is_text ? setenv("LUMR_ASCIIPOINTCLOUD", "", 1) : unsetenv("LUMR_ASCIIPOINTCLOUD");
    testing::internal::CaptureStderr();
    void* image = nullptr;
    call([&] {
        return DspyImageOpen(&image, "test", file.c_str(), 4, 4,
                             static_cast<int>(parameters.List().size()), parameters.List().data(),
                             static_cast<int>(channels.List().size()), channels.List().data(),
                             nullptr);
    });
    outcome.is_open = image != nullptr;
    for (int i = 0; image && i < bake.points; i += kBatch) {
        samples.clear();
        for (int k = i; k < i + kBatch; ++k) AppendSample(k, bake.is_crowd, &samples);
        call([&] {
            return DspyImageDeepData(image, 0, kBatch - 1, 0, 0,
                                     reinterpret_cast<const unsigned char*>(samples.data()),
                                     static_cast<int>(samples.size() * sizeof(float)));
        });
    }
    if (image) call([&] { return DspyImageClose(image); });
    outcome.line = testing::internal::GetCapturedStderr();
    outcome.is_told |= !outcome.line.empty();
    return outcome;
}

/// Points of `file` in its order, as their first coordinate; the header counts no more than can be
/// read. Empty when it cannot be opened, which is a failure.
std::vector<float> PointsOf(const std::string& file) {
    std::string why;
    const auto cloud = OpenCloud(file.c_str(), &why, {CountCheck::kStrict, true});
    EXPECT_TRUE(cloud) << why;
    if (!cloud) return {};
    std::vector<PointHead> heads(static_cast<std::size_t>(cloud->point_count));
    std::size_t count = 0;
    EXPECT_EQ(ReadPoints(*cloud, heads, {}, &count), CloudStatus::kOk);
    std::vector<float> points;
    for (const PointHead& head : heads) points.push_back(head.position[0]);
    return points;
}

/// The number of points that the driver's line says are kept; -1 without such a line.
long Kept(const std::string& line) {
    std::smatch match;
    static const std::regex words("cannot write all of '.*': .*; ([0-9]+) points are kept\n");
    return std::regex_search(line, match, words) ? std::stol(match[1]) : -1;
}

/// The simplifier ends the process when it has no memory for its octree, and says so.
void EndAsTheSimplifierDoes() {
    const std::string line = testing::internal::GetCapturedStderr();
    _exit(line.find("too many octree nodes") != line.npos ? 0 : 1);
}

class DriverFaults : public testing::TestWithParam<Bake> {
protected:
    /// `is_last`: nothing but the header was left to do when the call failed.
    void Check(const Outcome& outcome, const std::string& whole, bool is_last) {
        if (!outcome.is_open) {
            silent_opens_ += outcome.is_told ? 0 : 1;
            return;
        }
        const std::vector<float> points = PointsOf(file_);
        EXPECT_TRUE(std::is_sorted(points.begin(), points.end())) << "points out of their order";
        const bool is_whole = ContentOf(file_) == whole;
        const long kept = Kept(outcome.line);
        EXPECT_TRUE(kept >= 0 || is_whole) << "a loss is not told";
        EXPECT_TRUE(is_whole || !is_last || (fault_plan.call != kWrite && fault_plan.call != kSeek))
            << "all points are there: the header can be written again";
        EXPECT_TRUE(kept < 0 || kept == static_cast<long>(points.size())) << outcome.line;
        const bool is_harmless =
            fault_plan.call == kInterruptedWrite || fault_plan.call == kShortWrite;
        EXPECT_FALSE(is_harmless && outcome.is_told) << outcome.line;
    }

    const ScratchFolder folder_;
    const std::string file_ = folder_.File("a.ptc");
    int silent_opens_ = 0;
};

TEST_P(DriverFaults, LeaveAFileThatHoldsWhatItCountsAndAreTold) {
    const Bake& bake = GetParam();
    fault_plan = {};
    fault_at_exit = EndAsTheSimplifierDoes;
    new_fails = [] { return fault_plan.Fails(kNew); };
    ASSERT_FALSE(BakeOnce(bake, file_).is_told);
    const std::string whole = ContentOf(file_);
    ASSERT_GE(PointsOf(file_).size(), static_cast<std::size_t>(bake.points / 2));
    const FaultPlan counted = fault_plan;
    for (int call = 0; call < kCalls; ++call) {
        ASSERT_GT(counted.seen[call], 0) << kFaultCalls[call];
        // Calls for the first points, then some of them, and the last ones.
        const int count = counted.seen[call];
        const int step = std::max(1, count / 12);
        for (int at = 0; at < count; at += at < 10 || at > count - 8 ? 1 : step) {
            SCOPED_TRACE(testing::Message() << kFaultCalls[call] << ' ' << at << " of " << count);
            fault_plan = {false, static_cast<FaultCall>(call), at, {}};
            const bool may_end = bake.is_thinned && call == kNew;
            const pid_t child = may_end ? fork() : 0;
            if (child == 0) Check(BakeOnce(bake, file_), whole, at == count - 1);
            if (child == 0 && may_end) _exit(HasFailure() ? 1 : 0);
            int status = 0;
            if (child > 0) waitpid(child, &status, 0);
            ASSERT_TRUE(status == 0 && !HasFailure());
        }
    }
    unsetenv("LUMR_ASCIIPOINTCLOUD");
    // An open without memory for the handle succeeds without one. Of children nothing is known.
    EXPECT_EQ(silent_opens_, bake.is_thinned ? 0 : 1);
}

INSTANTIATE_TEST_SUITE_P(Forms, DriverFaults,
                         testing::Values(Bake{"DirectBeyondACheckpoint", false, false, 252'000},
                                         Bake{"DirectAsText", true, false, 4300},
                                         Bake{"Thinned", false, true, 2100},
                                         Bake{"ThinnedInOnePlace", false, true, 1100, true},
                                         Bake{"ThinnedAsText", true, true, 2100}),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
