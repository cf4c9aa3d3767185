// The machine's name, moved folders, the thread count.

#include "util/platform.h"

#include "tests/util/config_files.h"
#include "util/runtime.h"

namespace {

class UtilPlatform : public ConfigFiles {};

TEST_F(UtilPlatform, FoldersMoveByZone) {
    Set("LUMR_ARCHITECTURE", "");
    EXPECT_STREQ(platform::ArchitectureName(), "linux-x86-64");
    Set("LUMR_ARCHITECTURE", "other");
    EXPECT_STREQ(platform::ArchitectureName(), "linux-x86-64");  // asked once
    ConfigStore store;
    EXPECT_EQ(platform::ExpandPath("/a/b", store), "/a/b");
    EXPECT_EQ(platform::ExpandPath("", store), std::nullopt);
    EXPECT_EQ(platform::ExpandPath(nullptr, store), std::nullopt);

    store.ReadFile(Write("zones.ini",
                         "/dirmap/zone * /a /old\n"
                         "/dirmap/zone linux-x86-64 /a /mnt/a\n"
                         "/dirmap/zone  *\t/share/ /mnt/share/ \n"
                         "/dirmap/zone other /a /wrong\n"
                         "/dirmap/zone * /a\n"
                         "/dirmap/zone * /a /b /c\n")
                       .c_str());
    for (const auto& [path, wanted] : {std::pair{"/a", "/mnt/a"},
                                       {"/a/b/a", "/mnt/a/b/a"},
                                       {"/ab", "/ab"},
                                       {"/share/%n", "/mnt/share/%n"},
                                       {"/share", "/share"},
                                       {"a", "a"}})
        EXPECT_EQ(platform::ExpandPath(path, store), wanted);

    store.ReadFile(Write("mapped.ini", "/dirmap/zone * /nowhere " + folder_).c_str());
    Write("there.ini", "k v");
    store.ReadFile("/nowhere/there.ini");
    EXPECT_STREQ(store.Get("k"), "v");
}

TEST(UtilRuntime, ThreadCountIsTheMachinesUntilSetAndNeverBelowOne) {
    EXPECT_GE(runtime::ThreadCount(), 1);
    for (const auto& [set, wanted] : {std::pair{8, 8}, {0, 1}, {-3, 1}}) {
        runtime::SetThreadCount(set);
        EXPECT_EQ(runtime::ThreadCount(), wanted);
    }
}

}  // namespace
