// Channels: the driver's count of floats beside the file's.

#include "driver/channels.h"

#include <gtest/gtest.h>

namespace {

Channels Read(std::vector<std::string> names) {
    std::vector<DspyFormat> formats;
    for (std::string& name : names) formats.push_back({name.data(), 0});
    Channels channels;
    EXPECT_EQ(ReadChannels("test", formats, &channels), DriverStatus::kSuccess);
    return channels;
}

TEST(DriverChannels, SizesOfDriverAndFile) {
    struct Row {
        const char* type;
        int driver;
        int slot;  // the larger of both
    };
    for (const Row& row : {Row{"float", 1, 1}, Row{"vector", 3, 3}, Row{"matrix", 16, 16},
                           Row{"color[2]", 2, 6}, Row{"normals", 1, 3}, Row{"bogus", 1, 1},
                           Row{"bogus[4]", 4, 4}, Row{"float[0]", 0, 0}, Row{"matrix[", 0, 0}}) {
        const Channels channels = Read({std::string("x|varying ") + row.type + " v"});
        EXPECT_EQ(channels.data_size, row.driver) << row.type;
        EXPECT_EQ(channels.row_size, row.slot) << row.type;
    }
}

TEST(DriverChannels, AreaFlagsAreForFloatsNotForVariables) {
    EXPECT_EQ(AreaFlags(Read({"|float _area", "|color glow", "|normal MyArea", "|float AREA"})),
              (std::vector<std::uint8_t>{1, 0, 1, 0, 0, 0, 0, 0}));
    EXPECT_EQ(AreaFlags(Read({"|float[0] area", "|float v"})), (std::vector<std::uint8_t>{1}));
}

}  // namespace
