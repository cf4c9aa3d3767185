// The public headers from outside: failures, handles, keys, statistics, writing.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <array>
#include <barrier>
#include <filesystem>
#include <random>
#include <thread>

#include "ptc/access.h"
#include "ptc/cache/cache_set.h"
#include "ptc/files/thread_files.h"
#include "ptc/statistics.h"
#include "ptc/tree.h"
#include "ptc/writer.h"
#include "tests/ptc/direct_read.h"
#include "tests/support/clouds.h"
#include "tests/support/gzip_bytes.h"
#include "tests/support/scratch.h"

namespace {

class Doors : public testing::Test {
protected:
    Doors() {
        PtcSetMessageHandler([](int, int, const char*) { return 0; });
    }
    ~Doors() override {
        if (ThreadFiles* const table = UtFileManager::Get()) {
            EXPECT_STREQ(table->Manager().BrokenPromise(), nullptr);
        }
        EXPECT_STREQ(BrokenCachePromise(), nullptr);
        PtcShutdown();
        PtcSetMessageHandler(nullptr);
    }

    std::string Cloud(const std::string& name, const KnownCloud& cloud = {3000}) const {
        WriteTo(folder_.File(name), BytesOf(cloud));
        return folder_.File(name);
    }
    static PtcStatistics Statistics() {
        PtcStatistics statistics;
        EXPECT_TRUE(PtcGetStatistics(&statistics));
        return statistics;
    }

    const ScratchFolder folder_;
};

TEST_F(Doors, EachFailureHasACodeAndItsOwnText) {
    const std::string cloud = Cloud("a.ptc");
    std::string lying = BytesOf({100});
    std::memset(lying.data() + lying.size() - 40, 0x7f, 40);  // in the root's references
    WriteTo(folder_.File("lying"), lying);
    WriteTo(folder_.File("flat"), BytesOf({10, false}));
    WriteTo(folder_.File("text"), "no cloud\n");
    const auto fails_with = [&](PtcFailureCode code, const std::string& file, const char* what,
                                bool has_answered) {
        const PtcFailure why = PtcLastFailure();
        EXPECT_FALSE(has_answered) << what;
        EXPECT_EQ(why.code, code) << why.text;
        const std::string text = file.empty() ? what : folder_.File(file) + ": " + what;
        EXPECT_EQ(std::string(why.text).substr(0, text.size()), text);
    };
    std::thread([&] {
        EXPECT_EQ(PtcLastFailure().code, PtcFailureCode::kNone);
        EXPECT_STREQ(PtcLastFailure().text, "");
    }).join();

    using enum PtcFailureCode;
    fails_with(kBadArgument, "", "no file name", PtcOpenForReading(nullptr));
    for (int again = 0; again < 2; ++again) {  // a failure that is remembered says the same
        fails_with(kCannotOpen, "gone", "cannot be opened: No such file or directory",
                   PtcOpenForReading(folder_.File("gone").c_str()));
        EXPECT_EQ(PtcLastFailure().system_error, ENOENT);
        fails_with(kNotACloud, "text",
                   "cannot be opened: ", PtcOpenForReading(folder_.File("text").c_str()));
        EXPECT_STRNE(PtcLastFailure().reason, "");
    }
    const PtcFile flat(folder_.File("flat").c_str());
    const PtcFile liar(folder_.File("lying").c_str());
    const PtcFile file(cloud.c_str());
    ASSERT_TRUE(flat && liar && file);
    fails_with(kBadArgument, "", "no file", PtcGetPoint(nullptr, 0));
    fails_with(kNoSuchRecord, "flat", "point 10: there is none", PtcGetPoint(flat.Get(), 10));
    fails_with(kNoSuchRecord, "flat", "the octree: there is none", PtcGetRoot(flat.Get(), nullptr));
    fails_with(kUnreadable, "lying", "the octree's root cannot be read: the file is damaged there",
               PtcGetRoot(liar.Get(), nullptr));
    PtcNodeKey key;
    ASSERT_TRUE(PtcGetRoot(file.Get(), &key));
    EXPECT_TRUE(PtcGetChildren(file.Get(), key));
    fails_with(kBadArgument, "flat", "the node key belongs to another file",
               bool(PtcGetChildren(flat.Get(), key)));
    fails_with(kBadArgument, "a.ptc", "the node key belongs", bool(PtcGetChildren(file.Get(), {})));
    fails_with(kBadArgument, "a.ptc", "no place for", PtcGetHeader(file.Get(), nullptr));
    fails_with(kBadArgument, "", "no place for", PtcGetStatistics(nullptr));
    std::int32_t offset = 0;
    const char* const name = "glow";
    fails_with(kBadArgument, "a.ptc", "no names or no place for",
               PtcFindVariables(file.Get(), 1, nullptr, &offset, &offset));
    fails_with(kBadArgument, "a.ptc", "no names or no place for",
               PtcFindVariables(file.Get(), 1, &name, &offset, nullptr));
    EXPECT_TRUE(PtcFindVariables(file.Get(), 0, nullptr, nullptr, nullptr));
}

TEST_F(Doors, ALookupNeverFailsBecauseAllBlocksAreHeld) {
    const std::string name = Cloud("a.ptc", {40'000});
    const DirectRead direct(name);
    PtcConfigure(1, 1, 1, nullptr);  // three blocks of each kind for one thread
    constexpr int kThreads = 8;
    std::barrier together(kThreads);
    std::atomic<int> wrong{0};
    const auto look = [&](unsigned seed) {
        std::mt19937 random(seed);
        const PtcFile file(name.c_str());
        PtcNodeKey key;
        const PtcNode* const root = PtcGetRoot(file.Get(), &key);
        if (!root || !direct.IsNode(*root, key.Reference())) ++wrong;
        together.arrive_and_wait();
        for (int i = 0; i < 200; ++i) {
            const auto index = static_cast<std::int64_t>(random() % 40'000);
            const PtcPoint* const point = PtcGetPoint(file.Get(), index);
            if (!point || !direct.IsPoint(*point, index)) ++wrong;
            if (i % 50 == 0) together.arrive_and_wait();  // everyone holds what it found
        }
    };
    std::vector<std::jthread> crew;
    for (unsigned id = 0; id < kThreads; ++id) crew.emplace_back(look, id);
    crew.clear();
    EXPECT_EQ(wrong, 0);
    const PtcStatistics statistics = Statistics();
    EXPECT_GT(statistics.points.uncached, 100u);
    EXPECT_LE(statistics.points.uncached, statistics.points.misses);
    EXPECT_EQ(statistics.points.lookups, 200u * kThreads);
}

TEST_F(Doors, StatisticsMayBeReadWhileOthersLookUp) {
    const std::string name = Cloud("a.ptc");
    constexpr std::uint64_t kLookups = 200'000;
    constexpr std::uint64_t kThreads = 3;
    std::atomic<int> running{kThreads};
    std::vector<std::jthread> crew;
    for (unsigned id = 0; id < kThreads; ++id)
        crew.emplace_back([&] {
            const PtcFile file(name.c_str());
            for (std::uint64_t i = 0; i < kLookups; ++i)
                (void)PtcGetPoint(file.Get(), static_cast<std::int64_t>(i * 7 % 3000));
            --running;
        });
    std::uint64_t before = 0;
    while (running > 0) {
        PtcStatistics now;
        if (!PtcGetStatistics(&now)) continue;
        EXPECT_GE(now.points.lookups, before);
        before = now.points.lookups;
        (void)PtcCacheTable();
    }
    crew.clear();
    const PtcStatistics after = Statistics();
    EXPECT_EQ(after.points.lookups, kLookups * kThreads);
    EXPECT_EQ(after.points.hits + after.points.misses, kLookups * kThreads);
    EXPECT_EQ(after.files_opened, 1u);
}

TEST_F(Doors, HandlesAreHarmlessAfterTheShutdown) {
    const std::string name = Cloud("a.ptc");
    PtcManagedFile* const raw = PtcOpenForReading(name.c_str());
    PtcFile twice(name.c_str());
    PtcFile moved(std::move(twice));
    EXPECT_FALSE(twice);  // NOLINT(bugprone-use-after-move): a moved handle is empty
    PtcNodeKey key;
    ASSERT_TRUE(PtcGetRoot(raw, &key));
    PtcShutdown();
    PtcHeader header;
    EXPECT_EQ(PtcGetPoint(raw, 0), nullptr);
    EXPECT_EQ(PtcLastFailure().code, PtcFailureCode::kShutDown);
    EXPECT_FALSE(PtcGetChildren(raw, key));
    EXPECT_FALSE(PtcGetHeader(raw, &header));
    EXPECT_EQ(PtcFinish(raw), 0);
    const PtcFile anew(name.c_str());
    EXPECT_NE(anew.Get(), moved.Get());
    moved = PtcFile();
    EXPECT_TRUE(PtcGetPoint(anew.Get(), 0));
}

/// What the handler of the test below opens.
std::string* also_opened = nullptr;

// A handler that waited for the file whose opening it hears of would wait for itself.
TEST_F(Doors, AHandlerMayOpenTheFileThatAMessageIsAbout) {
    std::string name = folder_.File("gzip");
    WriteTo(name, gzip_bytes::Whole(BytesOf({1000})));
    also_opened = &name;
    static int told;
    told = 0;
    PtcSetMessageHandler([](int, int, const char*) {
        EXPECT_TRUE(PtcGetPoint(PtcFile(also_opened->c_str()).Get(), 999));
        EXPECT_FALSE(PtcOpenForReading(nullptr));
        return ++told;
    });
    PtcManagedFile* const file = PtcOpenForReading(name.c_str());
    EXPECT_TRUE(file);
    EXPECT_EQ(told, 1);
    EXPECT_EQ(PtcFinish(file), 1);
    EXPECT_EQ(told, 2);
}

TEST_F(Doors, FilesThatParkedThreadsKeepMakeNoOpeningFail) {
    constexpr int kThreads = 4;
    constexpr int kFiles = 40;  // all threads keep the same ones
    std::vector<std::string> names;
    for (int i = 0; i < kFiles + 20; ++i) names.push_back(Cloud(std::to_string(i), {5, false}));
    PtcRelease(PtcOpenForReading(names[0].c_str()));
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const auto in_use = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    const rlimit tight = {static_cast<rlim_t>(in_use + kFiles + 2), limit.rlim_max};
    std::barrier parked(kThreads + 1);
    std::atomic<int> missing{0};
    const auto open = [&](std::size_t i) {
        PtcFile file(names[i].c_str());
        if (!PtcGetPoint(file.Get(), 0)) ++missing;
        return file;
    };
    std::vector<std::jthread> crew;
    for (int id = 0; id < kThreads; ++id)
        crew.emplace_back([&] {
            for (int round = 0; round < 2; ++round) {
                parked.arrive_and_wait();
                parked.arrive_and_wait();
                for (std::size_t i = 0; i < kFiles; ++i) open(i);  // the second time what was taken
            }
            parked.arrive_and_wait();
            parked.arrive_and_wait();
        });
    // Threads begin and end without the limit: a sanitizer takes a descriptor to check them.
    parked.arrive_and_wait();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
    parked.arrive_and_wait();
    parked.arrive_and_wait();
    std::vector<PtcFile> used;
    for (std::size_t i = kFiles; i < names.size(); ++i) used.push_back(open(i));
    parked.arrive_and_wait();
    parked.arrive_and_wait();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    parked.arrive_and_wait();
    crew.clear();
    EXPECT_EQ(missing, 0);
}

TEST_F(Doors, FinishingReadsAReplacedFileAnew) {
    const std::string name = Cloud("a.ptc", {100});
    const auto points_of = [](PtcManagedFile* file) {
        PtcHeader header{};
        EXPECT_TRUE(PtcGetHeader(file, &header));
        return header.points;
    };
    const auto replace = [&](std::size_t points) {
        std::filesystem::rename(Cloud("new", {points}), name);
    };
    PtcManagedFile* file = PtcOpenForReading(name.c_str());
    EXPECT_TRUE(PtcGetPoint(file, 99));
    replace(200);
    EXPECT_EQ(PtcFinish(file), 1);
    file = PtcOpenForReading(name.c_str());
    EXPECT_EQ(points_of(file), 200);
    EXPECT_TRUE(PtcGetPoint(file, 199));

    // While another thread uses it, the file stays as it is; then it is read anew.
    std::barrier step(2);
    std::jthread other([&] {
        PtcManagedFile* const theirs = PtcOpenForReading(name.c_str());
        step.arrive_and_wait();
        step.arrive_and_wait();
        EXPECT_EQ(points_of(theirs), 200);
        PtcRelease(theirs);
        step.arrive_and_wait();
    });
    step.arrive_and_wait();
    replace(300);
    EXPECT_EQ(PtcFinish(file), 1);
    step.arrive_and_wait();
    step.arrive_and_wait();
    EXPECT_EQ(points_of(PtcFile(name.c_str()).Get()), 300);

    // A thread that does not use the file may finish it, too.
    std::jthread([&] { PtcRelease(file = PtcOpenForReading(name.c_str())); }).join();
    replace(400);
    EXPECT_EQ(PtcFinish(file), 1);
    EXPECT_EQ(points_of(PtcFile(name.c_str()).Get()), 400);

    file = PtcOpenForReading(name.c_str());
    std::filesystem::remove(name);
    EXPECT_EQ(PtcFinish(file), 0);
    EXPECT_EQ(PtcLastFailure().system_error, ENOENT);
    replace(500);
    std::jthread([&] { EXPECT_EQ(PtcFinish(file), 1); }).join();
    EXPECT_STREQ(UtFileManager::Get()->Manager().BrokenPromise(), nullptr);
    EXPECT_EQ(points_of(PtcFile(name.c_str()).Get()), 500);
}

TEST_F(Doors, ARunOfPointsIsThatOfSingleLookups) {
    const std::string name = Cloud("a.ptc", {1000});
    const PtcFile file(name.c_str());
    std::vector<float> positions(3000), normals(3000), radii(1000), data(4000);
    // A block in the middle is cached before the others are read ahead of the first run.
    ASSERT_TRUE(PtcGetPoint(file.Get(), 300));
    for (const auto& [first, count, copied] :
         {std::array<std::int64_t, 3>{0, 1000, 1000}, {250, 600, 600}, {990, 50, 10}, {-1, 5, 0}}) {
        const PtcPointArrays arrays{positions.data(), normals.data(), radii.data(), data.data()};
        ASSERT_EQ(PtcGetPoints(file.Get(), first, count, arrays), copied) << first;
        for (std::int64_t i = 0; i < copied; ++i) {
            const PtcPoint& point = *PtcGetPoint(file.Get(), first + i);
            EXPECT_TRUE(std::equal(point.position, point.position + 3, &positions[3 * i]));
            EXPECT_TRUE(std::equal(point.normal, point.normal + 3, &normals[3 * i]));
            EXPECT_EQ(point.radius, radii[i]);
            EXPECT_TRUE(std::equal(point.data, point.data + 4, &data[4 * i]));
        }
    }
    EXPECT_EQ(PtcGetPoints(file.Get(), 0, 1000, {}), 1000) << "nothing wanted, nothing written";

    std::int32_t counted = 0;
    EXPECT_TRUE(PtcGetHeaderValue(file.Get(), "npoints", &counted));
    EXPECT_EQ(counted, 1000);
    EXPECT_FALSE(PtcGetHeaderValue(file.Get(), "npoint", &counted));
    PtcVariables points, nodes;
    ASSERT_TRUE(PtcGetVariables(file.Get(), &points, &nodes));
    EXPECT_EQ(points.names, (std::vector<std::string>{"glow", "number"}));
    EXPECT_EQ(nodes.sizes, std::vector<std::int32_t>{3});
    const char* const wanted[] = {"number", "glow"};
    std::int32_t offsets[2], sizes[2] = {};
    ASSERT_TRUE(PtcFindNodeVariables(file.Get(), 2, wanted, offsets, sizes));
    EXPECT_EQ(offsets[0], -1);
    EXPECT_EQ(offsets[1] * 10 + sizes[1], 3);
}

// Without the steps that a walk counts, a tree whose nodes share children would be walked for ever.
TEST_F(Doors, AWalkSkipsWhatItIsToldToAndCountsItsSteps) {
    const std::string name = Cloud("a.ptc");
    const PtcFile file(name.c_str());
    PtcTreeWalk walk(file.Get());
    int nodes = 0;
    while (walk.Next()) {
        EXPECT_LE(walk.Depth(), 1);
        ++nodes;
        if (walk.Depth() == 1) walk.SkipChildren();
        (void)PtcGetRoot(file.Get(), nullptr);  // another lookup between two steps
    }
    EXPECT_FALSE(walk.HasFailed());
    PtcNodeKey root;
    const PtcNode* const record = PtcGetRoot(file.Get(), &root);
    EXPECT_EQ(nodes, 1 + kNodeChildren - std::count(record->children, record->children + 8, 0));

    const PtcChildren outdated = PtcGetChildren(file.Get(), root);
    int octant = 0;
    while (!root.HasChild(octant)) ++octant;
    EXPECT_NE(outdated.Key(octant).Reference(), 0);
    std::thread([&] { EXPECT_EQ(outdated.Key(octant).Reference(), 0); }).join();
    (void)PtcGetRoot(file.Get(), nullptr);
    EXPECT_EQ(outdated.Key(octant).Reference(), 0) << "its records may be another node's by now";

    std::string few = BytesOf({3000});
    const double counted = 5;
    std::memcpy(few.data() + 40, &counted, sizeof counted);
    WriteTo(folder_.File("few"), few);
    const PtcFile liar(folder_.File("few").c_str());
    PtcTreeWalk endless(liar.Get());
    for (nodes = 0; endless.Next(); ++nodes) {
    }
    EXPECT_EQ(nodes, 5);
    EXPECT_TRUE(endless.HasFailed());
}

TEST_F(Doors, AWriterMakesAWholeCloudOrNone) {
    const std::string name = folder_.File("out.ptc");
    WriteTo(name, "an older file");
    const char* const types[] = {"color"};
    const char* const names[] = {"glow"};
    PtcCloudDescription wanted;
    wanted.name = name.c_str();
    wanted.point_variables = wanted.node_variables = {1, types, names};
    const float position[] = {1, 2, 3}, normal[] = {0, 0, 1}, glow[] = {4, 5, 6};

    PtcCloudWriter* cloud = PtcCreateCloud(wanted);
    ASSERT_TRUE(cloud) << PtcLastFailure().text;
    EXPECT_TRUE(PtcWritePoint(cloud, position, normal, 0.5f, glow));
    EXPECT_FALSE(PtcWritePoint(cloud, position, normal, -1, glow));
    EXPECT_TRUE(PtcWritePoint(cloud, position, normal, 0.25f, nullptr));
    EXPECT_EQ(ContentOf(name), "an older file");
    PtcAbandonCloud(cloud);
    EXPECT_EQ(ContentOf(name), "an older file");

    cloud = PtcCreateCloud(wanted);
    for (int i = 0; i < 4; ++i) EXPECT_TRUE(PtcWritePoint(cloud, position, normal, 0.5f, glow));
    std::int64_t children[kNodeChildren] = {};
    EXPECT_FALSE(PtcWriteNode(cloud, {0, 5, {}, nullptr}, nullptr, nullptr)) << "five of four";
    EXPECT_TRUE(PtcWriteNode(cloud, {0, 2, {0, 0, 0, 1, 2, 3}, glow}, nullptr, &children[1]));
    EXPECT_TRUE(PtcWriteNode(cloud, {2, 2, {}, nullptr}, nullptr, &children[6]));
    const std::int64_t lie[kNodeChildren] = {children[6] + 8};
    EXPECT_FALSE(PtcWriteNode(cloud, {0, 4, {}, glow}, &lie, nullptr));
    EXPECT_TRUE(PtcWriteNode(cloud, {0, 4, {}, glow}, &children, nullptr));
    EXPECT_FALSE(PtcWritePoint(cloud, position, normal, 0.5f, glow)) << "nodes follow the points";
    EXPECT_TRUE(PtcFinishCloud(cloud));
    const PtcFile file(name.c_str());
    EXPECT_EQ(PtcGetPoint(file.Get(), 3)->data[2], 6);
    PtcTreeWalk walk(file.Get());
    std::vector<float> seen;
    while (walk.Next()) seen.push_back(walk.Node().data[0]);
    EXPECT_EQ(seen, (std::vector<float>{4, 4, 0})) << PtcLastFailure().text;

    const std::string nowhere = folder_.File("no/folder");
    wanted.name = nowhere.c_str();
    EXPECT_FALSE(PtcCreateCloud(wanted));
    EXPECT_EQ(PtcLastFailure().code, PtcFailureCode::kCannotWrite);
    wanted.name = "/dev/full";
    EXPECT_FALSE(PtcCreateCloud(wanted));
    EXPECT_EQ(PtcLastFailure().system_error, ENOSPC);
    wanted.name = name.c_str();
    wanted.point_variables.types = nullptr;
    EXPECT_FALSE(PtcCreateCloud(wanted));
    EXPECT_STREQ(PtcLastFailure().reason, "variables without declarations");
    for (const auto& left : std::filesystem::directory_iterator(folder_.File("")))
        EXPECT_EQ(left.path().filename().string()[0], 'o') << "nothing is left beside the file";
}

}  // namespace
