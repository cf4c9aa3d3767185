// Shared objects: where they are looked for, what is said of those that cannot be loaded, and
// flags.

#include "util/host/shared_object.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/scratch.h"
#include "util/host/config.h"

namespace {

namespace fs = std::filesystem;

int Call(const SharedObject& object, const char* name) {
    void* const address = object.Find(name);
    EXPECT_NE(address, nullptr) << name;
    return address ? reinterpret_cast<int (*)()>(address)() : -1;
}

/// A folder with objects of all kinds.
class UtilSharedObject : public testing::Test {
protected:
    UtilSharedObject() {
        const std::string good = ContentOf(SHARED_OBJECT_1);
        std::string foreign = good;
        foreign[18] = static_cast<char>(foreign[18] ^ 0x55);  // the machine in an ELF header
        WriteTo(At("good/a.so"), good);
        WriteTo(At("good/file"), "a folder by name only");
        WriteTo(At("bad/text.so"), std::string(5000, 't'));
        WriteTo(At("bad/empty.so"), "");
        WriteTo(At("bad/foreign.so"), foreign);
        WriteTo(At("bad/cut.so"), good.substr(0, 100));
        WriteTo(At("bad/a.so"), "this one comes first\n");
        fs::create_directories(At("bad/folder.so"));
        fs::create_symlink("nowhere", At("bad/link.so"));
        EXPECT_EQ(mkfifo(At("bad/pipe.so").c_str(), 0666), 0);
        WriteTo(At("bad/locked.so"), good);
        fs::permissions(At("bad/locked.so"), fs::perms::none);
    }
    std::string At(const std::string& name) const { return folder_.File(name); }

    ScratchFolder folder_;
};

TEST_F(UtilSharedObject, EveryPlaceThatWasTriedIsALineWithTheLoadersReason) {
    const std::string missing = "cannot open shared object file: No such file or directory";
    const std::string longest(5000, 'n');
    const struct {
        const char* folder;
        std::string name;
        std::string reason;
    } cases[] = {
        {"good", "b.so", missing},
        {"none", "a.so", missing},
        {"good/file", "a.so", "Not a directory"},
        {"bad", "text.so", "invalid ELF header"},
        {"bad", "empty.so", "file too short"},
        {"bad", "cut.so", "cannot read file data"},
        {"bad", "foreign.so", "cannot open shared object file"},
        {"bad", "folder.so", "Is a directory"},
        {"bad", "link.so", missing},
        {"bad", "pipe.so", "neither a file nor a folder"},
        {"bad", "..", "Is a directory"},
        {"bad", "../none/a.so", missing},
        {"bad", longest, "File name too long"},
        {"bad", "a\nb\x1b.so", missing},
        {"bad", std::string("a.so\0b", 6), "the name holds a zero byte"},
        {"", "", "the name is empty"},
    };
    for (const auto& [folder, name, reason] : cases) {
        SharedObject object({});
        const std::string path = *folder ? At(folder) + "/" + name : name;
        EXPECT_FALSE(object.LoadFile(path));
        ASSERT_EQ(object.Tried().size(), 1U);
        const std::string& line = object.Tried().front();
        EXPECT_NE(line.find(reason), line.npos) << line;
        EXPECT_EQ(line.find_first_of("\n\x1b"), line.npos) << line;
        EXPECT_EQ(object.Find("UtOwnNumber"), nullptr);
    }
    if (geteuid() == 0) return;  // who may read everything
    SharedObject locked({});
    EXPECT_FALSE(locked.LoadFile(At("bad/locked.so")));
    EXPECT_NE(locked.Tried().front().find("Permission denied"), std::string::npos);
}

TEST_F(UtilSharedObject, TheFirstFolderWinsAndWhatIsPassedOverIsTold) {
    std::vector<std::string> folders(1000, At("none"));
    for (const char* const folder : {"", "bad", "good/", "good"})
        folders.push_back(*folder ? At(folder) : "");
    SharedObject object({});
    ASSERT_TRUE(object.LoadAlong(folders, {"none.so", "a.so"}));
    EXPECT_EQ(object.File(), At("good/a.so"));
    EXPECT_EQ(Call(object, "UtOwnNumber"), 1);
    EXPECT_EQ(object.Find("UtNone"), nullptr);
    EXPECT_EQ(object.Tried().size(), 2003U);
    ASSERT_EQ(object.PassedOver().size(), 1U);
    EXPECT_TRUE(object.PassedOver().front().starts_with(At("bad/a.so") + ": "));

    SharedObject none({});
    EXPECT_FALSE(none.LoadAlong(folders, {"b.so"}));
    EXPECT_EQ(none.Tried().size(), 1003U);
    EXPECT_TRUE(none.PassedOver().empty());
    EXPECT_FALSE(none.LoadAlong({}, {"b.so"}));

    const fs::path before = fs::current_path();
    fs::current_path(At("good"));
    for (const char* const file : {"a.so", "./a.so"}) EXPECT_TRUE(SharedObject({}).LoadFile(file));
    EXPECT_TRUE(SharedObject({}).LoadAlong({"../good"}, {"a.so"}))
        << "relative folders are folders";
    EXPECT_FALSE(SharedObject({}).LoadFile("libm.so.6")) << "the loader's folders are not searched";
    fs::current_path(before);

    using Folders = std::vector<std::string>;
    EXPECT_EQ(FoldersOf(""), Folders{});
    EXPECT_EQ(FoldersOf(":::"), Folders{});
    EXPECT_EQ(FoldersOf(":/a::b c:"), (Folders{"/a", "b c"}));
}

TEST_F(UtilSharedObject, OptionsDecideWhoSeesWhoseSymbols) {
    const auto flags = [&](const std::string& options) {
        ConfigReadFile(WriteTo(At("ini"), options).c_str());
        return SharedObjectFlags::FromConfiguration();
    };
    EXPECT_FALSE(SharedObjectFlags::FromConfiguration().deep_bind);
    EXPECT_FALSE(SharedObjectFlags::FromConfiguration().is_global);
    {
        SharedObject local({});
        ASSERT_TRUE(local.LoadFile(SHARED_OBJECT_1)) << local.Tried().front();
        EXPECT_EQ(dlsym(RTLD_DEFAULT, "UtOwnNumber"), nullptr);
    }
    SharedObject global(flags("/platform/linux/rtldglobalextension YES\n"));
    ASSERT_TRUE(global.LoadFile(SHARED_OBJECT_1)) << global.Tried().front();
    EXPECT_NE(dlsym(RTLD_DEFAULT, "UtOwnNumber"), nullptr);
    const SharedObjectFlags deep =
        flags("/platform/linux/rtlddeepbind on\n/platform/linux/rtldglobalextension maybe\n");
    EXPECT_TRUE(deep.deep_bind);
    EXPECT_FALSE(deep.is_global);
    {
        SharedObject other({});
        ASSERT_TRUE(other.LoadFile(SHARED_OBJECT_2)) << other.Tried().front();
        EXPECT_EQ(Call(other, "UtNumberSeen"), 1);
    }
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // which refuse the flag
    SharedObject other(deep);
    ASSERT_TRUE(other.LoadFile(SHARED_OBJECT_2)) << other.Tried().front();
    EXPECT_EQ(Call(other, "UtNumberSeen"), 2);
#endif
}

}  // namespace
