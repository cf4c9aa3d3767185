// Options: the line grammar, the chain of files, lookups, moved folders, and many threads.

#include "util/host/config.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <memory>
#include <sstream>
#include <thread>
#include <utility>

#include "tests/support/scratch.h"
#include "tests/support/together.h"
#include "util/host/config_messages.h"
#include "util/host/config_store.h"
#include "util/host/message.h"
#include "util/host/platform.h"

namespace {

template <class Number>
concept IsASize = requires(Number most) {
    config_messages::VariableIsTooLong("NAME", most);
};
static_assert(IsASize<int> && !IsASize<double> && !IsASize<const char*>);

using Entries = std::vector<std::pair<std::string, std::string>>;

/// A folder of configuration files for one test, and environment variables that end with it.
class UtilConfig : public testing::Test {
protected:
    ~UtilConfig() override {
        for (const std::string& name : set_) unsetenv(name.c_str());
    }

    /// Writes `bytes` to the file `name` in the test's folder; answers its path.
    std::string Write(const std::string& name, const std::string& bytes) const {
        return WriteTo(folder_.File(name), bytes);
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

    const ScratchFolder folder_;
    std::vector<std::string> set_;
};

TEST_F(UtilConfig, ALineIsAKeyAndTheRestWithoutTheBlanksAroundIt) {
    const auto of = [](char letter, std::size_t count) { return std::string(count, letter); };
    const std::pair<std::string, Entries> files[] = {
        {" \t/key \t a  b\t\r\nk=1 \xff\x80%n", {{"/key", "a  b"}, {"k=1", "\xff\x80%n"}}},
        {"# k v\n #k v\nk# #v\n\n \t\nk\nk \t\n= =", {{"k#", "#v"}, {"k", ""}, {"=", "="}}},
        {"k\rv\nk \rv", {{"k", "v"}, {"k", "v"}}},
        // A zero byte ends its line's text.
        {std::string("k \0 v\n\0k v\nk v\0w\n", 16), {{"k", "v"}}},
        {of('\0', 1 << 20), {}},
        // Lines are cut into pieces of 4095 bytes, of which each is a line.
        {of('k', 1) + " " + of('v', 1 << 20), {{"k", of('v', 4093)}}},
        {of('k', 4093) + " v", {{of('k', 4093), "v"}}},
        {of('k', 4094) + " v w", {{"v", "w"}}},
        {of('#', 1) + of('c', 4095) + " v", {{"c", "v"}}},
        {of('k', 1 << 20), {}},
    };
    for (const auto& [bytes, wanted] : files) EXPECT_EQ(Read(bytes), wanted) << bytes.substr(0, 20);
}

TEST_F(UtilConfig, AReferenceIsReplacedOnceOrByItsNameWhenTooLong) {
    const std::string longest(4095, 'l');
    Set("A", "x${B}-$");
    Set("LONG", longest);
    Set("TOO_LONG", longest + "l");
    testing::internal::CaptureStderr();
    const std::string lines = "k ${NOPE-a-${B}}${}<${A}>$${A\nk ${LUMRTREE-b}\nk ${LONG}\n";
    EXPECT_EQ(Read(lines + "k ${TOO_LONG-f}"), (Entries{{"k", "a-${B}<x${B}-$>$${A"},
                                                        {"k", "/usr/local/lumrd"},
                                                        {"k", longest},
                                                        {"k", "TOO_LONG"}}));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "D05666 ENV variable \"TOO_LONG\" too long. Max size: 4096 (WARNING)\n");
}

TEST_F(UtilConfig, TheDumpTellsTheFilesInOrderAndAFullStoreReadsNone) {
    std::string wanted[3];  // what each file of the chain adds
    const char* const places[] = {"root/etc/lumenarc.ini", "site/lumenarc.ini",
                                  "home/.lumenarc.ini"};
    for (int i = 0; i < 3; ++i)
        wanted[i] =
            "Defaults from " + Write(places[i], "k%n ${LUMRTREE} %s") + ":\n default: k%n  value: ";
    const std::string last =
        "No defaults in " + folder_.File("home/lumenarc.ini") + "\nNo defaults in lumenarc.ini\n";
    for (const auto& [name, value] : {std::pair{"HOME", "home"}, {"RDIR", "site"}, {"UT", "root"}})
        Set(name, folder_.File(value));
    Set("LUMR_DUMP_DEFAULTS", "");
    Set("LUMRTREE", "/else");
    const auto dump = [](const char* root_variable, const std::string& own) {
        ConfigStore store;
        store.SetRootVariable(root_variable);
        testing::internal::CaptureStdout();
        store.ReadFile(own.c_str());
        store.Load();
        store.Load();
        return testing::internal::GetCapturedStdout();
    };
    const std::string root = folder_.File("root") + " %s\n";
    EXPECT_EQ(dump("UT", ""), wanted[0] + root + wanted[1] + root + wanted[2] + root + last);
    EXPECT_EQ(dump("UT", folder_.File(places[0])), "");
    Set("LUMRCONFIG", "/no.ini");
    EXPECT_EQ(dump("UT_UNSET", ""), "No defaults in /no.ini\n" + wanted[2] + "/else %s\n" + last);
    // A pipe that nobody writes to would never be opened.
    std::filesystem::remove(folder_.File(places[2]));
    ASSERT_EQ(mkfifo(folder_.File(places[2]).c_str(), 0666), 0);
    EXPECT_EQ(dump("UT_UNSET", ""), "No defaults in /no.ini\n" + last);
}

TEST_F(UtilConfig, LookupsAnswerWhatWasReadOrTheFallback) {
    ConfigReadFile(Write("a.ini", "/ut/count 3\n/ut/x no\n/ut/count 20480\n").c_str());
    for (const char* none : {"/UT/count", static_cast<const char*>(nullptr)})
        EXPECT_EQ(ConfigGetCopy(none), nullptr);
    const std::unique_ptr<char, void (*)(void*)> copy(ConfigGetCopy("/ut/count"), std::free);
    EXPECT_STREQ(copy.get(), "20480");
    std::vector<std::string> keys = {"first"};
    ConfigListPrefix("/ut/", &keys);
    EXPECT_EQ(keys, (std::vector<std::string>{"first", "/ut/count", "/ut/x", "/ut/count"}));

    const std::pair<const char*, int> counts[] = {
        {"7 KB", 7}, {"0", -5}, {"-1", -5}, {"many", -5}, {"2147483648", INT_MAX}};
    for (const auto& [value, wanted] : counts) {
        ConfigReadFile(Write("a.ini", std::string("/ut/count ") + value).c_str());
        EXPECT_EQ(ConfigGetCount("/ut/count", -5), wanted) << value;
    }
    EXPECT_EQ(ConfigGetCount("/ut/none", -5), -5);
    const std::pair<const char*, int> words[] = {{"on", 1},    {"TRUE", 1}, {"NO", 0},
                                                 {"false", 0}, {"Yes", 7},  {nullptr, 7}};
    for (const auto& [text, wanted] : words)
        EXPECT_EQ(ConfigParseBool(text, 7), wanted) << (text ? text : "null");
}

TEST_F(UtilConfig, ReadersLoadersAndHandlersRunSideBySide) {
    Set("TOO_LONG", std::string(5000, 'l'));
    Set("LUMRCONFIG", Write("load.ini", "last ${TOO_LONG}\n/messages/disable T43052\n"));
    const std::string more = Write("more.ini", "k 1\nk 2\n");
    static ConfigStore* reached;
    static std::atomic<bool> waits;
    static std::thread waiter;
    ConfigStore store;
    reached = &store;
    // The report comes in the midst of loading: its thread goes on, another one waits for the end.
    const auto report_again = [](int, int, const char*) {
        reached->Load();
        waiter = std::thread([] {
            waits = true;
            reached->Load();
            EXPECT_NE(reached->Get("/messages/disable"), nullptr);
        });
        for (int i = 0; !waits || i < 1000; ++i) std::this_thread::yield();
        return 0;
    };
    MsgSetHandler(report_again, 0);
    RunTogether(6, [&](int id) {
        if (id < 3) store.Load();
        EXPECT_TRUE(id >= 3 || store.Get("last") == std::string("TOO_LONG"));
        for (int i = 0; i < 200; ++i) {
            if (id >= 4 && store.Get("last")) store.ReadFile(more.c_str());
            const char* const value = store.Get("k");
            EXPECT_TRUE(!value || *value == '1' || *value == '2');
        }
    });
    waiter.join();
    MsgSetHandler(nullptr, 0);
    testing::internal::CaptureStderr();
    std::thread([] { MsgReport("T43052", 4, 2, "a"); }).join();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    MsgClearDisabledList();
}

TEST_F(UtilConfig, WhatIsDisabledIsSilentInTheLoadingThreadToo) {
    Set("LUMRCONFIG", Write("load.ini", "/messages/disable T43052,,T43053\n"));
    ConfigStore store;
    testing::internal::CaptureStderr();
    std::thread([&] {
        MsgReport("T43051", 4, kMsgError,
                  "before");  // the thread knows from here on what is silent
        store.Load();
        MsgReport("T43052", 4, kMsgError, "after");
        MsgReport("T43053", 4, kMsgWarning);
    }).join();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "T43051 Point cloud file 'before' has unreadable points.\n");
    MsgClearDisabledList();
}

TEST_F(UtilConfig, FoldersMoveByZone) {
    Set("LUMR_ARCHITECTURE", "");
    EXPECT_STREQ(platform::ArchitectureName(), "linux-x86-64");
    const struct {
        std::string entries;  // values, a line each
        const char* path;
        const char* wanted;
    } cases[] = {
        {"* /b /c", "/b/%n", "/c/%n"},
        {"* /b /c", "/bb/x", "/bb/x"},  // whole folders
        {"* /b /c", "b/x", "b/x"},
        {" \t*\t/b  /c \t", "/b", "/c"},
        // Slashes at the ends mean nothing.
        {"* /b/ /c", "/b/x", "/c/x"},
        {"* /b/ /c", "/b", "/c"},
        {"* /b/ /c", "/bx", "/bx"},
        {"* /b /c//", "/b/x", "/c/x"},
        {"* /b/// /c/", "/b/", "/c/"},
        {"* / /c", "/b/x", "/c/b/x"},
        {"* / /c", "b", "b"},
        {"* /b /", "/b/x", "/x"},
        {"* /b /", "/b", "/"},
        {"* Z: /z", "Z:/x", "/z/x"},
        {"* //host/share /s", "//host/share/x", "/s/x"},
        // The longest, the newest of those, and only once.
        {"* /a/b /long\n* /a /short", "/a/b/x", "/long/x"},
        {"* /a/b /long\n* /a /short", "/a/bb", "/short/bb"},
        {"* /a /old\n* /a/ /new", "/a/x", "/new/x"},
        {"* /a /b\n* /b /c\n* /b/x /d", "/a/x", "/b/x"},
        {"* /a /a/a", "/a/x", "/a/a/x"},
        {"* / /all\n* /dev /dev", "/dev/null", "/dev/null"},
        // The zones of this machine.
        {"linux-x86-64 /a /mine\nother /a /wrong", "/a", "/mine"},
        {"berlin\nlinux-x86-64 /a /mine\nberlin /b /c", "/b/x", "/c/x"},
        {"berlin\nlinux-x86-64 /a /mine", "/a/x", "/mine/x"},
        {"berlin\noslo\nberlin /a /b\noslo /a /o", "/a/x", "/o/x"},
        {"oslo /a /o\nberlin /a /b\noslo\nberlin", "/a/x", "/b/x"},
        {"berli\nberlin /a /b", "/a", "/a"},
        // Other numbers of words.
        {"* /a", "/a", "/a"},
        {"* /a /b /c", "/a", "/a"},
        {"* /a /old\n* /a /b /c", "/a", "/old"},
    };
    for (const auto& [entries, path, wanted] : cases) {
        ConfigStore store;
        std::istringstream lines(entries);
        std::string file;
        for (std::string line; std::getline(lines, line);) file += "/dirmap/zone " + line + "\n";
        store.ReadFile(Write("zones.ini", file).c_str());
        EXPECT_EQ(platform::ExpandPath(path, store), wanted) << entries << " of " << path;
    }
}

TEST_F(UtilConfig, FilesAreReadWhereTheirFolderIs) {
    ConfigStore store;
    for (const char* none : {static_cast<const char*>(nullptr), ""})
        EXPECT_EQ(platform::ExpandPath(none, store), std::nullopt);
    const std::string zones = "/dirmap/zone * /nowhere " + folder_.File("");
    store.ReadFile(Write("zones.ini", zones).c_str());
    Write("there.ini", "k v");
    store.ReadFile("/nowhere/there.ini");
    store.ReadFile("/nowhere/");  // a folder opens and cannot be read
    EXPECT_STREQ(store.Get("k"), "v");
}

}  // namespace
