// Reports: what is printed, what is dropped, what ends the process, where texts are cut.

#include "util/host/message.h"

#include <cstdlib>
#include <cstring>
#include <thread>

#include "tests/util/message_recorder.h"

namespace {

class UtilMessage : public MessageRecorder {};

const char* const kT = "T43051";

TEST_F(UtilMessage, ReportsAreDeliveredRepeatedOrFatalByTheirSeverityWord) {
    struct Call {
        const char* identifier;
        int code, word;
        const char* argument;
    };
    const struct {
        std::vector<Call> calls;
        Events wanted;
        int error_mode = 2;
    } rows[] = {
        {{{kT, 4, 2, "a"}, {kT, 4, 1, "a"}}, {"4/2 T43051 a", "4/1 T43051 a"}},
        // Once per text, which does not count plain reports.
        {{{kT, 4, 0x82, "a"}, {kT, 4, 0x82, "a"}, {kT, 4, 0x82, "b"}, {kT, 4, 2, "a"}},
         {"4/2 T43051 a", "4/2 T43051 b", "4/2 T43051 a"}},
        // Once per identifier, also when both are asked for; plain reports are silenced too.
        {{{kT, 4, 0x102, "a"}, {kT, 4, 0x102, "b"}, {kT, 4, 2, "b"}}, {"4/2 T43051 a"}},
        {{{kT, 4, 0x182, "a"}, {kT, 4, 0x182, "b"}}, {"4/2 T43051 a"}},
        // What is severe exits each time, also when it has been said.
        {{{kT, 5, 3, "a"}, {kT, 6, 0x103, "b"}, {"T43050", 7, 9, "c"}},
         {"5/3 T43051 a", "exit 5", "exit 6", "7/9 T43050 c", "exit 7"}},
        {{{kT, 4, 2, "a"}, {kT, 4, 2, "b"}, {"T43050", 4, 1, "c"}},
         {"4/2 T43051 a", "exit 4", "exit 4", "4/1 T43050 c"},
         1},
        {{{kT, 1, 0, "a"}}, {"1/3 T43051 a", "exit 1"}},
        {{{"T43", 4, 0, "a"}}, {"4/0 T43050 a"}},  // the first that begins so
        {{{"Z9%n%s", 4, 0, "a"}, {"", 4, 0, "a"}, {nullptr, 4, 0, "a"}, {kT, 4, 0, "%n%s%"}},
         {"4/0 Z9%n%s Cannot find message with id Z9%n%s", "4/0  Cannot find message with id ",
          "4/0  Cannot find message with id ", "4/0 T43051 %n%s%"}},
    };
    for (const auto& row : rows) {
        MsgInit(nullptr, nullptr, RecordExit, nullptr);
        MsgSetErrorMode(row.error_mode);
        for (const Call& call : row.calls)
            MsgReport(call.identifier, call.code, call.word, call.argument);
        EXPECT_EQ(Taken(), row.wanted);
    }
}

TEST_F(UtilMessage, EverySourceOfTextIsCutInsideItsBuffer) {
    const std::string longer(5000, '%');
    for (const std::size_t prefix : {0u, 100u, 4094u, 4095u, 5000u}) {
        MsgInit(nullptr, nullptr, RecordExit, longer.substr(0, prefix).c_str());
        MsgReport(kT, 4, 0, longer.c_str());
        MsgReport(longer.c_str(), 4, 0);
        const std::string known = longer.substr(0, prefix) + "T43051 " + longer;
        EXPECT_EQ(Taken(),
                  (Events{"4/0 " + known.substr(0, 4095), "4/0 " + longer.substr(0, 4095)}));
    }
    MsgInit(nullptr, nullptr, RecordExit, nullptr);
    const std::string format = "A00001 " + std::string(1014, 'x') + "y";
    const std::string cut = format + "%-5d z";
    const char* const texts[] = {"A00002 one %s\n\n", cut.c_str(), "A00002 other", nullptr};
    message_catalogue::Replace(texts);
    MsgReport("A00001", 4, 0, 5);
    MsgReport("A00002", 4, 0, "newline\n");
    MsgSetFilter([](int, int, const char*, char* replacement) {
        std::memset(replacement, '%', kMsgTextBytes);
        return 1;
    });
    MsgReport(kT, 4, 0, "a");
    EXPECT_EQ(Taken(), (Events{"4/0 " + format, "4/0 A00002 one newline\n\n",
                               "4/0 " + longer.substr(0, 4095)}));
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
    for (const int code : {5, 6, 1}) MsgReport(kT, code, 2, "a");
    EXPECT_EQ(Taken(), (Events{"initialised", "5/129 wrapped as it is", "5/2 wrapped %s filtered",
                               "6/2 wrapped > T43051 a",
                               "1/3 > T43051 a (mem: 2000000000/3000000000)", "exit 1"}));
}

TEST_F(UtilMessage, IdentifiersAreSilencedByListAndByVariable) {
    const auto is_silent = [](const char* identifier) {
        MsgInit(nullptr, nullptr, RecordExit, nullptr);
        MsgReport(identifier, 4, 2, "a");
        MsgReport(identifier, 4, 3, "a");  // exits all the same
        return Taken() == Events{"exit 4"};
    };
    for (const std::string name : {"T43051", "T4305", "T43051X", "TT3051", "t43051", "143051"}) {
        setenv(name.c_str(), "", 1);
        EXPECT_EQ(is_silent(name.c_str()), name == kT || name == "t43051") << name;
        unsetenv(name.c_str());
    }
    for (const std::string list : {",,T43050,T43051,", "T43051 ", "T430", "", ","}) {
        MsgSetDisabledList(list.c_str());
        EXPECT_EQ(is_silent(kT), list.ends_with(",T43051,")) << list;
        MsgClearDisabledList();
    }
}

TEST_F(UtilMessage, TheDefaultHandlerMarksWarningsAndEndsTheProcess) {
    message_catalogue::Replace(nullptr);
    MsgSetHandler(nullptr, 0);
    testing::internal::CaptureStderr();
    for (const int severity : {0, 1, 2, 0x81, 0x183}) EXPECT_EQ(MsgDeliver(9, severity, "50%n"), 0);
    MsgReport("T43050", 4, 3, "a");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "50%n\n50%n (WARNING)\n50%n\n50%n\n50%n\nT43050 Organized point cloud file 'a' is "
              "gzipped; will be treated as unorganized.\n");
    EXPECT_EQ(Taken(), (Events{"exit 9", "exit 4", "exit 4"}));
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
        MsgReport(kT, MsgGetHandler() == Record ? 40 : 41, 3, "a");
    };
    EXPECT_EXIT(locked(), testing::ExitedWithCode(40), "^$");
}

TEST(UtilDriverError, ModuleIsTextNullSilencesAndTheCutNeverLeavesHalfAConversion) {
    const auto printed = [](const char* module) {
        testing::internal::CaptureStderr();
        DriverError(module, "%-3ld|", 5L);
        return testing::internal::GetCapturedStderr();
    };
    EXPECT_EQ(printed("50%s%n%"), "50%s%n%:  5  |");
    EXPECT_EQ(printed(nullptr), "");
    EXPECT_EQ(printed(std::string(200, '%').c_str()), std::string(127, '%'));  // doubled inside
    // The module pushes the conversion over the edge byte by byte.
    for (std::size_t length = 245; length < 260; ++length) {
        const std::string whole = std::string(length, 'm') + ":  5  |";
        const std::size_t of_format = length + 3 < 255 ? 255 - (length + 3) : 0;
        const std::size_t lost = of_format >= 6 ? 0 : of_format == 5 ? 1 : 4;
        EXPECT_EQ(printed(std::string(length, 'm').c_str()),
                  whole.substr(0, std::min<std::size_t>(255, whole.size() - lost)));
    }
}

}  // namespace
