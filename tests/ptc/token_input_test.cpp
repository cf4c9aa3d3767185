// Text values on the way from the read-ahead: the same wherever its pieces end.

#include "ptc/format/token_input.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <clocale>
#include <cstdio>
#include <random>

#include "tests/support/memory_source.h"

namespace {

/// What a reading of `text` with pieces of `room` bytes gives: each status, value and place.
std::string Outcome(const std::string& text, std::size_t room) {
    std::vector<std::byte> ahead(room);
    TokenInput input;
    input.ReadAheadInto(ahead);
    input.ResumeText(std::make_unique<MemorySource>(text));
    std::array<double, 6> record{};
    std::array<float, 3> floats{};
    std::int32_t whole = 0;
    std::string line, outcome;
    const auto note = [&](TokenStatus status, double value) {
        outcome += std::to_string(Failed(status)) + ' ' + std::to_string(value) + ' ' +
                   std::to_string(input.Tell()) + '\n';
    };
    note(input.ReadInt("count", &whole), whole);
    note(input.ReadRecord("", "%e %e %e  %hi %hi  %e ", record), record[5]);
    note(input.ReadFloats("ptd", floats), floats[2]);
    note(input.ReadLine(&line, 40), static_cast<double>(line.size()));
    note(input.ReadLine(&line), static_cast<double>(line.size()));
    return outcome + line;
}

TEST(PtcTokenInput, PiecesDoNotShow) {
    const std::string head = "count 12\n", record = " 1.5 -2 3e4  -1 77  0.25 \n";
    const std::string data = "ptd  1 2 3.25\n", line(40, 'l');
    for (const std::string& text : {
             head + record + data + line + "\nend\n",
             head + record + data + line + "l\nend\n",                    // too long by one
             head + record + data + "\n" + std::string(255, 'e') + "\n",  // just short enough
             head + record + data + "\n" + std::string(256, 'e') + "\n",
             head + record + data + "\nend",                                        // no newline
             head + std::string(255, ' ') + record.substr(1) + data + line + "\n",  // blanks
             head + std::string(256, ' ') + record.substr(1) + data + line + "\n",
             "count " + std::string(63, '0') + "7\n" + record + data + line + "\n",  // digits
             "count " + std::string(64, '0') + "7\n" + record + data + line + "\n",
             "counted 5\t\r\n" + record + data + line + "\n",
             head + " 1 2 3 4\n" + data,
             head + " 1 2 3 4 5 6 7\n" + data,
             std::string("count"),
             std::string("count 3"),
             std::string(),
         }) {
        const std::string wanted = Outcome(text, TokenInput::kReadAhead);
        for (std::size_t room = 1; room < 64; ++room)
            ASSERT_EQ(Outcome(text, room), wanted) << text << " in pieces of " << room;
    }
}

/// The float that `text` is read as; false: it is refused.
bool ReadsAs(const std::string& text, float* value) {
    TokenInput input;
    input.ResumeText(std::make_unique<MemorySource>(text + "\n"));
    return !Failed(input.ReadFloat(nullptr, value));
}

TEST(PtcTokenInput, FloatsAreReadAsTheCLibraryReadsThem) {
    std::mt19937 random(3);
    for (int i = 0; i < 20'000; ++i) {
        const auto wanted = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
        if (wanted != wanted) continue;
        char text[64];
        (void)std::snprintf(text, sizeof text, i % 2 ? "%.9e" : "%13e", double{wanted});
        float value = 0;
        ASSERT_TRUE(ReadsAs(text, &value)) << text;
        ASSERT_EQ(std::bit_cast<std::uint32_t>(value),
                  std::bit_cast<std::uint32_t>(std::strtof(text, nullptr)))
            << text;
    }
    for (const char* const text : {"+1.5", "-.5", "5.", "1e-50", "-1e-46", "1e39", "-1e300", "inf",
                                   "-INF", "infinity", "16777217", "1.00000005960464478"}) {
        float value = 0;
        ASSERT_TRUE(ReadsAs(text, &value)) << text;
        EXPECT_EQ(std::bit_cast<std::uint32_t>(value),
                  std::bit_cast<std::uint32_t>(std::strtof(text, nullptr)))
            << text;
    }
    for (const char* const text : {"", "++1", "-+1", "0x1p3", "1e", "1,5", "1.5x", "e5", ".",
                                   "1e400", "1e-400", "nan(1", "i"})
        EXPECT_FALSE(ReadsAs(text, std::array<float, 1>{}.data())) << text;
    float value = 0;
    EXPECT_TRUE(ReadsAs("nan", &value) && value != value);
}

}  // namespace
