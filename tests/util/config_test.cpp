// Options: lookups, the chain of files, references, and loading from several threads.

#include "util/config.h"

#include <atomic>
#include <barrier>
#include <climits>
#include <filesystem>
#include <memory>
#include <thread>

#include "tests/util/config_files.h"
#include "util/message.h"

namespace {

class UtilConfig : public ConfigFiles {};

std::string Key(std::size_t number) {
    return std::string("k").append(std::to_string(number));
}

TEST_F(UtilConfig, LinesAreKeysWithValues) {
    const struct {
        const char* line;
        Entries wanted;
    } rows[] = {
        {"/lumrd/pointmemory   20480   \n", {{"/lumrd/pointmemory", "20480"}}},
        {" \t\r k\ta b \t c \t\r\n", {{"k", "a b \t c"}}},
        {"k v", {{"k", "v"}}},           // no newline at the end
        {"k\n", {}},                     // no value
        {"k \n", {}},                    // only the blank that ends the key
        {"k  \n", {{"k", ""}}},          // two blanks: an empty value
        {"k\t\t", {{"k", ""}}},          // or a blank and a tab
        {"k \r v\r w\n", {{"k", "v"}}},  // a carriage return ends a value as well
        {"k\rv\n", {{"k", "v"}}},        // and a key
        {"#k v\n # k v\nk #v\n", {{"k", "#v"}}},
        {"k $HOME ${ a\n", {{"k", "$HOME ${ a"}}},
        {"a 1\na 2\n", {{"a", "1"}, {"a", "2"}}},
    };
    for (const auto& row : rows) EXPECT_EQ(Read(row.line), row.wanted) << row.line;
}

TEST_F(UtilConfig, ReferencesAreReplacedOnce) {
    Set("UT_A", "x${UT_B}-$");
    Set("UT_B", "b");
    Set("UT_EMPTY", "");
    Set("UT_LONG", std::string(4095, 'l'));
    Set("UT_TOO_LONG", std::string(4096, 'l'));
    const struct {
        const char* value;
        std::string wanted;
    } rows[] = {
        {"${UT_NOPE-512}", "512"},
        {"a${UT_NOPE}b", "ab"},
        {"${LUMRTREE}/lib", "/usr/local/lumrd/lib"},
        {"${LUMRTREE-else}", "/usr/local/lumrd"},
        {"<${UT_A}>", "<x${UT_B}-$>"},
        {"${UT_B}${UT_B-c}${UT_EMPTY-c}.", "bb."},
        {"${UT_NOPE-a-${UT_B}}", "a-${UT_B}"},
        {"${}${-d}$${UT_B}${UT_B", "d$b${UT_B"},
        {"${UT_LONG}", std::string(4095, 'l')},
        {"${UT_TOO_LONG-f}", "UT_TOO_LONG"},
    };
    testing::internal::CaptureStderr();
    for (const auto& row : rows)
        EXPECT_EQ(Read(std::string("k ") + row.value), (Entries{{"k", row.wanted}})) << row.value;
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "D05666 ENV variable \"UT_TOO_LONG\" too long. Max size: 4096 (WARNING)\n");
}

TEST_F(UtilConfig, LaterFilesHideEarlierOnes) {
    // One file per place; each holds one key more than the next one, so every place shows.
    const std::vector<std::string> places = {"root/etc/lumenarc.ini", "site/lumenarc.ini",
                                             "home/.lumenarc.ini", "home/lumenarc.ini",
                                             "lumenarc.ini"};
    for (std::size_t i = 0; i < places.size(); ++i) {
        std::string lines = "root ${LUMRTREE}\n";
        for (std::size_t k = i; k < places.size(); ++k)
            lines.append(Key(k)).append(" ").append(places[i]).append("\n");
        Write(places[i], lines);
    }
    const std::string only = Write("only.ini", "k1 only\nk2 only\n");
    Set("HOME", folder_ + "/home");
    Set("RDIR", folder_ + "/site");
    Set("LUMRTREE", folder_ + "/elsewhere");
    Set("UT_ROOT", folder_ + "/root");

    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder_);
    ConfigStore chain, second;
    chain.SetRootVariable("UT_ROOT");
    chain.Load();
    chain.Load();
    Set("LUMRCONFIG", only);
    second.SetRootVariable("UT_UNSET");
    second.Load();
    std::filesystem::current_path(before);

    for (std::size_t i = 0; i < places.size(); ++i)
        EXPECT_STREQ(chain.Get(Key(i)), places[i].c_str());
    EXPECT_STREQ(chain.Get("root"), (folder_ + "/root").c_str());
    int keys = 0;
    for (const ConfigEntry* entry = chain.Newest(); entry; entry = entry->next) ++keys;
    EXPECT_EQ(keys, 5 + 15);

    EXPECT_EQ(second.Get("k0"), nullptr);  // neither the root's file nor the site's
    EXPECT_STREQ(second.Get("k1"), "only");
    EXPECT_STREQ(second.Get("k2"), places[2].c_str());
    EXPECT_EQ(second.Root(), folder_ + "/elsewhere");
}

TEST_F(UtilConfig, TheDumpTellsFilesAndEntriesAndAFullStoreReadsNoChain) {
    Set("LUMR_DUMP_DEFAULTS", "");
    Set("LUMRCONFIG", folder_ + "/none.ini");
    Set("HOME", folder_);
    const std::string path = Write(".lumenarc.ini", "k%n  ${UT_NOPE-%s} v\n");
    ConfigStore store;
    testing::internal::CaptureStdout();
    store.ReadFile(path.c_str());  // not loaded yet: says nothing
    store.Load();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    ConfigStore dumping;
    testing::internal::CaptureStdout();
    dumping.Load();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "No defaults in " + folder_ + "/none.ini\nDefaults from " + path +
                  ":\n default: k%n  value: %s v\nNo defaults in " + folder_ +
                  "/lumenarc.ini\nNo defaults in lumenarc.ini\n");
}

TEST_F(UtilConfig, LookupsAnswerWhatWasReadOrTheFallback) {
    EXPECT_EQ(ConfigGet("/ut/count"), nullptr);
    EXPECT_EQ(ConfigGetCopy("/ut/count"), nullptr);
    ConfigReadFile(Write("a.ini", "/ut/count 3\n/ut/x no\n/ut/count 20480\n").c_str());
    EXPECT_STREQ(ConfigGet("/ut/count"), "20480");
    EXPECT_EQ(ConfigGet("/UT/count"), nullptr);
    EXPECT_EQ(ConfigGet(nullptr), nullptr);
    const std::unique_ptr<char, void (*)(void*)> copy(ConfigGetCopy("/ut/count"), std::free);
    EXPECT_STREQ(copy.get(), "20480");
    EXPECT_NE(copy.get(), ConfigGet("/ut/count"));
    std::vector<std::string> keys = {"first"};
    ConfigListPrefix("/ut/", &keys);
    EXPECT_EQ(keys, (std::vector<std::string>{"first", "/ut/count", "/ut/x", "/ut/count"}));

    for (const auto& [value, wanted] : {std::pair{"7", 7},
                                        {"7 KB", 7},
                                        {"0", -5},
                                        {"-1", -5},
                                        {"many", -5},
                                        {"2147483648", INT_MAX},
                                        {"99999999999999999999", INT_MAX},
                                        {"-99999999999999999999", -5}}) {
        ConfigReadFile(Write("a.ini", std::string("/ut/count ") + value).c_str());
        EXPECT_EQ(ConfigGetCount("/ut/count", -5), wanted) << value;
    }
    EXPECT_EQ(ConfigGetCount("/ut/missing", -5), -5);
    for (const auto& [text, wanted] : {std::pair{"on", 1},
                                       {"TRUE", 1},
                                       {"OFF", 0},
                                       {"false", 0},
                                       {"Yes", 7},
                                       {"", 7},
                                       {"yes ", 7},
                                       {nullptr, 7}})
        EXPECT_EQ(ConfigParseBool(text, 7), wanted) << (text ? text : "null");
}

TEST_F(UtilConfig, ReadersLoadersAndHandlersRunSideBySide) {
    Set("UT_TOO_LONG", std::string(5000, 'l'));
    Set("LUMRCONFIG", Write("load.ini", "last ${UT_TOO_LONG}\n/messages/disable T43052\n"));
    const std::string more = Write("more.ini", "k 1\nk 2\n");
    static ConfigStore* reached;
    static std::atomic<bool> waits;
    static std::thread waiter;
    ConfigStore store;
    reached = &store;
    // The report comes in the midst of loading: its thread goes on, another one waits for the end.
    MsgSetHandler(
        [](int, int, const char*) {
            reached->Load();
            waiter = std::thread([] {
                waits = true;
                reached->Load();
                EXPECT_NE(reached->Get("/messages/disable"), nullptr);
            });
            for (int i = 0; !waits || i < 1000; ++i) std::this_thread::yield();
            return 0;
        },
        0);
    std::barrier start(6);
    std::vector<std::thread> threads;
    threads.reserve(6);
    for (int id = 0; id < 6; ++id)
        threads.emplace_back([&, id] {
            start.arrive_and_wait();
            if (id < 3) {
                store.Load();
                EXPECT_STREQ(store.Get("last"), "UT_TOO_LONG");
            }
            for (int i = 0; i < 200; ++i) {
                if (id >= 4 && store.Get("last")) store.ReadFile(more.c_str());
                const char* const value = store.Get("k");
                EXPECT_TRUE(!value || *value == '1' || *value == '2');
            }
        });
    for (std::thread& thread : threads) thread.join();
    waiter.join();
    MsgSetHandler(nullptr, 0);
    testing::internal::CaptureStderr();
    std::thread([] { MsgReport("T43052", 4, 2, "a"); }).join();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    MsgClearDisabledList();
}

}  // namespace
