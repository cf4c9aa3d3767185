// Many threads, four files, hardly any room: files are closed for others, cut off and restored,
// octrees are made in memory, and whatever the library answers is what a direct read finds.

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <optional>
#include <random>
#include <shared_mutex>
#include <thread>

#include "ptc/access.h"
#include "ptc/files/thread_files.h"
#include "ptc/lookup.h"
#include "ptc/tree.h"
#include "tests/ptc/direct_read.h"
#include "tests/ptc/stress.h"
#include "tests/support/clouds.h"
#include "tests/support/gzip_bytes.h"
#include "tests/support/plain_lookup.h"
#include "tests/support/scratch.h"
#include "util/stats/process_stats.h"

namespace {

constexpr int kFilesOpen = 2;
constexpr int kFileLives = 3;
constexpr int kUses = 200;

/// How often the whole is done: once, but more for a run that takes its time.
int StressRounds() {
    const char* const rounds = std::getenv("PTC_STRESS_ROUNDS");
    return rounds ? std::atoi(rounds) : 1;
}

/// A file on disk that may be cut off for a while. What is there is always right, but only while
/// it does not change: the system clears the rest of a page under the eyes of whoever reads it.
class TestedFile {
public:
    TestedFile(std::string name, std::string bytes, bool may_fail)
        : name_(std::move(name)), bytes_(std::move(bytes)), may_fail_(may_fail) {
        WriteTo(name_, bytes_);
        direct_.emplace(name_);
    }

    /// Cuts the file off somewhere, or writes what is missing behind what is there.
    void CutOrRestore(std::size_t cut) {
        if (!may_fail_) return;
        const std::unique_lock hold(changing_);
        is_cut_ ? Restore() : std::filesystem::resize_file(name_, cut % bytes_.size());
        is_cut_ = !is_cut_;
    }

    /// Keeps the file as it is.
    [[nodiscard]] std::shared_lock<std::shared_mutex> Stay() const {
        return std::shared_lock(changing_);
    }
    const char* Name() const { return name_.c_str(); }
    bool MayFail() const { return may_fail_; }
    const DirectRead& Direct() const { return *direct_; }

private:
    void Restore() {
        const auto there = static_cast<std::size_t>(std::filesystem::file_size(name_));
        std::ofstream(name_, std::ios::binary | std::ios::app)
            << std::string_view(bytes_).substr(there);
    }

    const std::string name_;
    const std::string bytes_;
    const bool may_fail_;
    std::optional<DirectRead> direct_;
    mutable std::shared_mutex changing_;
    bool is_cut_ = false;
};

class LibraryStress : public Stress {
protected:
    LibraryStress() {
        PtcShutdown();
        UtFileManager::Create(kThreads, kFilesOpen, 1);
        PtcConfigure(kThreads, 1, 1, nullptr);  // three blocks of each kind for each thread
        files_.emplace_back(folder_.File("tree"), BytesOf({9000, true}), true);
        files_.emplace_back(folder_.File("text"), BytesOf({900, true, TokenForm::kText}), true);
        files_.emplace_back(folder_.File("plain"), BytesOf({1000, false}), false);
        files_.emplace_back(folder_.File("gzip"), gzip_bytes::Whole(BytesOf({1200, false})), false);
        // A file whose first opening failed would not be tried again.
        for (TestedFile& file : files_) PtcRelease(PtcOpenForReading(file.Name()));
    }
    ~LibraryStress() override { PtcShutdown(); }

    /// What one thread does in its life.
    void Live(unsigned seed) {
        std::mt19937 random(seed);
        for (int use = 0; use < kUses; ++use) {
            TestedFile& file = files_[random() % files_.size()];
            std::this_thread::yield();  // waits without a file, so that files become idle
            if (random() % 16 == 0) file.CutOrRestore(random());
            PtcManagedFile* const handle = Open(file);
            if (!handle) {
                Note(file.MayFail());
                ++not_opened_;
                continue;
            }
            std::size_t walk = random();
            for (int lookup = 0; lookup < 40; ++lookup) {
                walk = random() % 8 == 0 ? random() : walk + random() % 90;
                const bool is_node = file.Direct().root != 0 && random() % 3 == 0;
                const auto stays = file.Stay();
                const bool is_there =
                    is_node ? LookAtNode(file, handle, walk) : LookAtPoint(file, handle, walk);
                ++looked_up_;
                if (!is_there) ++missing_;
                Note(is_there || file.MayFail());
            }
            PtcRelease(handle);
        }
    }
    static PtcManagedFile* Open(const TestedFile& file) {
        const auto stays = file.Stay();
        return PtcOpenForReading(file.Name());
    }
    bool LookAtPoint(const TestedFile& file, PtcManagedFile* handle, std::size_t walk) {
        const auto index = static_cast<std::int64_t>(walk % file.Direct().heads.size());
        const PtcPoint* const point = PtcGetPoint(handle, index);
        if (point) Note(file.Direct().IsPoint(*point, index));
        return point;
    }
    /// Goes down from the root, as far as `walk` leads. False: something could not be read.
    bool LookAtNode(const TestedFile& file, PtcManagedFile* handle, std::size_t walk) {
        PtcNodeKey key;
        const PtcNode* const root = PtcGetRoot(handle, &key);
        if (!root) return false;
        Note(file.Direct().IsNode(*root, key.Reference()));
        for (; !key.IsLeaf() && walk > 0; walk /= kNodeChildren) {
            const PtcChildren children = PtcGetChildren(handle, key);
            if (!children) return false;
            const std::int64_t* const expected =
                file.Direct().nodes.at(key.Reference()).record.children;
            Note(file.Direct().AreChildren(&children[0], expected));
            int octant = static_cast<int>(walk % kNodeChildren);
            while (!key.HasChild(octant)) octant = (octant + 1) % kNodeChildren;
            key = children.Key(octant);
        }
        return true;
    }

    const ScratchFolder folder_;
    std::deque<TestedFile> files_;
    std::atomic<std::int64_t> looked_up_{0};
    std::atomic<std::int64_t> missing_{0};
    std::atomic<std::int64_t> not_opened_{0};
};

TEST_F(LibraryStress, FilesThatComeAndGoAnswerWhatTheyHold) {
    testing::internal::CaptureStdout();  // points that cannot be read are told there, too
    for (int round = 0; round < StressRounds(); ++round)
        RunLives(
            kThreads, kFileLives, [&](unsigned seed) { Live(seed); },
            round * kThreads * kFileLives);
    testing::internal::GetCapturedStdout();
    TgStats figures_of_files;
    UtFileManager::Get()->Manager().FillStats(&figures_of_files);
    RecordProperty("looked_up", std::to_string(looked_up_));
    RecordProperty("missing", std::to_string(missing_));
    RecordProperty("not_opened", std::to_string(not_opened_));
    RecordProperty("reopened", std::to_string(figures_of_files.files_reopened.Value()));

    PtcCacheStats total;
    ExpectSound(&total);
    EXPECT_GT(missing_, 10);
    EXPECT_GT(figures_of_files.files_reopened.Value(), 10u);
    EXPECT_EQ(told_, missing_) << "each failing read is told once";
    EXPECT_STREQ(UtFileManager::Get()->Manager().BrokenPromise(), nullptr);
}

/// Lookups over four files, of which three have no octree: it is made while they are looked up.
class LookupStress : public Stress {
protected:
    LookupStress() {
        PtcShutdown();
        names_ = {WriteTo(folder_.File("tree"), BytesOf({3000, true})),
                  WriteTo(folder_.File("text"), BytesOf({500, true, TokenForm::kText})),
                  WriteTo(folder_.File("plain"), BytesOf({1500, false})),
                  WriteTo(folder_.File("gzip"), gzip_bytes::Whole(BytesOf({700, false})))};
        for (unsigned uses = 0; uses < 16; ++uses) {
            std::vector<std::string> used = names_;
            for (unsigned i = 0; i < 4; ++i)
                if (~uses >> i & 1) used[i] = "";
            plain_.emplace_back(used, kVariables);
        }
    }
    ~LookupStress() override { PtcShutdown(); }

    struct Opened {
        /// Opens the files of which `uses` has the bit.
        explicit Opened(const LookupStress& test, unsigned uses) {
            std::array<PtcManagedFile*, 4> used{};
            for (unsigned i = 0; i < 4; ++i) {
                if (~uses >> i & 1) continue;
                files[i] = PtcFile(test.names_[i].c_str());
                used[i] = files[i].Get();
            }
            lookup.emplace(PtcLookupClouds{used.data(), 4, kVariables, 2});
        }
        std::array<PtcFile, 4> files;
        std::optional<PtcLookup> lookup;
    };

    /// What one thread asks `lookup`, over the files of which `uses` has the bit.
    void Ask(const PtcLookup& lookup, unsigned uses, std::mt19937& random) {
        ManyPlaces places;
        for (int i = 0; i < 3 * 4; ++i)
            places.positions.push_back(static_cast<float>(random() % 900) / 100);
        const bool one_by_one = random() % 2;
        const PtcNearest wanted{1 + static_cast<std::int32_t>(random() % 40)};
        const PtcFilter filter{0.1f * static_cast<float>(random() % 8)};
        const std::string difference =
            DifferenceOfNearest(lookup, plain_[uses], places, wanted, one_by_one) +
            DifferenceOfSamples(lookup, plain_[uses], places, filter, one_by_one);
        Note(difference.empty());
        if (!difference.empty()) ADD_FAILURE() << difference;
    }

    static constexpr const char* kVariables[] = {"number", "glow"};

    const ScratchFolder folder_;
    std::vector<std::string> names_;
    std::vector<PlainLookup> plain_;  ///< for each choice of files
};

TEST_F(LookupStress, AnswersAreRightWhileOctreesAreBuilt) {
    for (int round = 0; round < 6 * StressRounds(); ++round) {
        UtFileManager::Create(kThreads, kFilesOpen, 1);
        PtcConfigure(kThreads, 1, 1, nullptr);
        const auto shared_uses = static_cast<unsigned>(round * 5 % 16);
        {
            const Opened shared(*this, shared_uses);
            RunTogether(kThreads, [&](int id) {
                std::mt19937 random(static_cast<unsigned>(round * kThreads + id));
                for (int use = 0; use < 6; ++use) {
                    const auto uses = static_cast<unsigned>(random() % 16);
                    const Opened own(*this, uses);
                    Note(static_cast<bool>(*own.lookup) == (uses == 15));
                    Ask(*own.lookup, uses, random);
                    Ask(*shared.lookup, shared_uses, random);
                }
            });
        }
        PtcCacheStats total;
        ExpectSound(&total);
        PtcShutdown();
    }
}

}  // namespace
