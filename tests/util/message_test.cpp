// Reports: what is printed, what is dropped, what ends the process, where texts are cut.

#include "util/message.h"

#include <cstdlib>
#include <cstring>
#include <thread>

#include "tests/util/message_recorder.h"

namespace {

using Events = std::vector<std::string>;

struct Call {
    const char* identifier;
    int code;
    int word;
    const char* argument;
};

struct Sequence {
    const char* name;
    std::vector<Call> calls;
    Events wanted;
    int error_mode = 2;

    friend void PrintTo(const Sequence& sequence, std::ostream* out) { *out << sequence.name; }
};

/// The text of T43051 for `file`, which the sequences use most.
std::string Points(const std::string& file) {
    return "T43051 Point cloud file '" + file + "' has unreadable points.";
}

class UtilMessage : public MessageRecorder {};
class UtilMessageSequence : public UtilMessage, public testing::WithParamInterface<Sequence> {};

TEST_P(UtilMessageSequence, DeliversOnlyThis) {
    MsgSetErrorMode(GetParam().error_mode);
    for (const Call& call : GetParam().calls)
        MsgReport(call.identifier, call.code, call.word, call.argument, 4096);
    EXPECT_EQ(Taken(), GetParam().wanted);
}

const char* const kT = "T43051";
INSTANTIATE_TEST_SUITE_P(
    Rules, UtilMessageSequence,
    testing::Values(
        Sequence{"PlainReportsRepeat",
                 {{kT, 4, 2, "a"}, {kT, 4, 1, "a"}},
                 {"4/2 " + Points("a"), "4/1 " + Points("a")}},
        Sequence{"OncePerText",
                 {{kT, 4, 0x82, "a"}, {kT, 4, 0x82, "a"}, {kT, 4, 0x82, "b"}},
                 {"4/2 " + Points("a"), "4/2 " + Points("b")}},
        Sequence{"OncePerTextLeavesPlainReportsAlone",
                 {{kT, 4, 0x82, "a"}, {kT, 4, 2, "a"}},
                 {"4/2 " + Points("a"), "4/2 " + Points("a")}},
        Sequence{"OncePerIdentifier",
                 {{kT, 4, 0x102, "a"}, {kT, 4, 0x102, "b"}},
                 {"4/2 " + Points("a")}},
        Sequence{"IdentifierWinsOverText",
                 {{kT, 4, 0x182, "a"}, {kT, 4, 0x182, "b"}},
                 {"4/2 " + Points("a")}},
        Sequence{"WhatWasSaidOnceSilencesPlainReports",
                 {{kT, 4, 0x102, "a"}, {kT, 4, 2, "b"}},
                 {"4/2 " + Points("a")}},
        Sequence{"SevereAlwaysExits",
                 {{kT, 5, 3, "a"}, {kT, 6, 0x103, "b"}, {"D05666", 7, 9, "c"}},
                 {"5/3 " + Points("a"), "exit 5", "exit 6",
                  "7/9 D05666 ENV variable \"c\" too long. Max size: 4096", "exit 7"}},
        Sequence{"ErrorModeMakesErrorsFatalOnce",
                 {{kT, 4, 2, "a"}, {kT, 4, 2, "b"}, {"T43050", 4, 1, "c"}},
                 {"4/2 " + Points("a"), "exit 4", "exit 4",
                  "4/1 T43050 Organized point cloud file 'c' is gzipped; will be treated as "
                  "unorganized."},
                 1},
        Sequence{"CodeOneIsSevere", {{kT, 1, 0, "a"}}, {"1/3 " + Points("a"), "exit 1"}},
        Sequence{"ShortIdentifiersTakeTheFirstText",
                 {{"T43", 4, 0, "a"}, {"D0566", 2, 0, "b"}},
                 {"4/0 T43050 Organized point cloud file 'a' is gzipped; will be treated as "
                  "unorganized.",
                  "2/0 D05666 ENV variable \"b\" too long. Max size: 4096"}},
        Sequence{"UnknownIdentifiersAreText",
                 {{"Z9%n%s", 4, 0, "a"}, {"", 4, 0, "a"}, {nullptr, 4, 0, "a"}},
                 {"4/0 Z9%n%s Cannot find message with id Z9%n%s",
                  "4/0  Cannot find message with id ", "4/0  Cannot find message with id "}},
        Sequence{"ArgumentsAreText", {{kT, 4, 0, "%n%s%"}}, {"4/0 " + Points("%n%s%")}}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(UtilMessage, EverySourceOfTextIsCutInsideTheBuffer) {
    const std::string longer(5000, '%');
    for (const std::size_t prefix : {0u, 100u, 4094u, 4095u, 5000u}) {
        MsgInit(nullptr, nullptr, RecordExit, longer.substr(0, prefix).c_str());
        MsgReport(kT, 4, 0, longer.c_str());
        MsgReport(longer.c_str(), 4, 0);
        const std::string known = longer.substr(0, prefix) + Points(longer);
        EXPECT_EQ(Taken(),
                  (Events{"4/0 " + known.substr(0, 4095), "4/0 " + longer.substr(0, 4095)}));
    }
    MsgSetFilter([](int, int, const char*, char* replacement) {
        std::memset(replacement, '%', kMsgTextBytes);
        return 1;
    });
    MsgReport(kT, 4, 0, "a");
    EXPECT_EQ(Taken(), Events{"4/0 " + longer.substr(0, 4095)});
}

TEST_F(UtilMessage, ACatalogueTextIsCutBeforeAConversionThatDoesNotFit) {
    const std::string filler(1014, 'x');
    const std::string cut = "A00001 " + filler + "y%-5d z";
    const char* const texts[] = {"A00002 one %s\n\n", cut.c_str(), "A00002 other", nullptr};
    message_catalogue::Replace(texts);
    MsgReport("A00001", 4, 0, 5);
    MsgReport("A00002", 4, 0, "newline\n");
    EXPECT_EQ(Taken(), (Events{"4/0 A00001 " + filler + "y", "4/0 A00002 one newline\n\n"}));
}

TEST_F(UtilMessage, FiltersWrappersAndTheMemoryQueryHaveTheirPlaces) {
    const MsgSystemCallbacks callbacks = {
        [] { Add("initialised"); }, [](double* total, double* free) { *total = 3e9, *free = 1e9; },
        nullptr, 0, 0};
    MsgInit(nullptr, &callbacks, RecordExit, "> ");
    MsgSetWrapper([](MsgHandler handler, int code, int severity, const char* text) {
        return handler(code, severity, (std::string("wrapped ") + text).c_str()) + 1;
    });
    MsgSetFilter([](int code, int, const char* text, char* replacement) {
        std::strcpy(replacement, text[0] == '>' ? "%s filtered" : "lost");
        return code == 5 ? 1 : 0;
    });
    EXPECT_EQ(MsgDeliver(5, 0x81, "as it is"), 18);
    MsgReport(kT, 5, 2, "a");
    MsgReport(kT, 6, 2, "a");
    MsgReport(kT, 1, 2, "a");
    EXPECT_EQ(Taken(),
              (Events{"initialised", "5/129 wrapped as it is", "5/2 wrapped %s filtered",
                      "6/2 wrapped > " + Points("a"),
                      "1/3 > " + Points("a") + " (mem: 2000000000/3000000000)", "exit 1"}));
}

TEST_F(UtilMessage, IdentifiersAreSilencedByListAndByVariable) {
    const auto printed_by_new_thread = [] {
        std::thread([] {
            MsgReport(kT, 4, 2, "a");
            MsgReport(kT, 4, 3, "a");
        }).join();
        return Taken().size();
    };
    for (const auto& [name, events] : {std::pair{"T43051", 1u},
                                       {"T4305", 3u},
                                       {"T43051X", 3u},
                                       {"TT3051", 3u},
                                       {"t43051", 3u},
                                       {"143051", 3u}}) {
        MsgInit(nullptr, nullptr, RecordExit, nullptr);
        setenv(name, "", 1);
        EXPECT_EQ(printed_by_new_thread(), events) << name;
        unsetenv(name);
    }
    for (const auto& [list, events] : {std::pair{",,T43050,T43051,", 1u},
                                       {"T43051 ", 3u},
                                       {"T430", 3u},
                                       {"", 3u},
                                       {",", 3u},
                                       {nullptr, 3u}}) {
        MsgInit(nullptr, nullptr, RecordExit, nullptr);
        MsgSetDisabledList(list);
        EXPECT_EQ(printed_by_new_thread(), events) << (list ? list : "null");
        MsgClearDisabledList();
    }
    MsgReport(kT, 4, 2, "a");  // from here on this thread has its table
    MsgSetDisabledList(kT);
    MsgReport(kT, 4, 2, "a");
    EXPECT_EQ(Taken().size(), 2u);
    MsgInit(nullptr, nullptr, RecordExit, nullptr);
    MsgReport(kT, 4, 2, "a");
    EXPECT_EQ(Taken().size(), 0u);
}

TEST_F(UtilMessage, TheDefaultHandlerMarksWarningsAndEndsTheProcess) {
    MsgSetHandler(nullptr, 0);
    for (const auto& [severity, mark] :
         {std::pair{0, "\n"}, {1, " (WARNING)\n"}, {2, "\n"}, {0x81, "\n"}, {0x183, "\n"}}) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(MsgDeliver(9, severity, "50%n"), 0);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string("50%n") + mark);
    }
    EXPECT_EQ(Taken(), Events{"exit 9"});
    testing::internal::CaptureStderr();
    MsgReport(kT, 4, 3, "a");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), Points("a") + "\n");
    EXPECT_EQ(Taken(), (Events{"exit 4", "exit 4"}));
    MsgInit(nullptr, nullptr, RecordExit, nullptr);
    MsgSetHandlerAndExit(nullptr, nullptr);
    EXPECT_EXIT(MsgReport(kT, 4, 3, "a"), testing::ExitedWithCode(4),
                "^T43051 Point cloud file 'a' has unreadable points.\n$");
}

TEST_F(UtilMessage, AHandlerThatIsLockedStays) {
    const auto locked = [] {
        MsgSetHandler(Record, 1);
        MsgSetHandlerAndExit(nullptr, std::_Exit);
        MsgSetHandler(nullptr, 0);
        const bool stays = MsgGetHandler() == Record;
        MsgReport(kT, stays ? 40 : 41, 3, "a");
    };
    EXPECT_EXIT(locked(), testing::ExitedWithCode(40), "^$");
}

}  // namespace
