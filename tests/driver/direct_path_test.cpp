// Whole images without simplification, written with any instructions, beside a plain writer.

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <string>

#include "driver/image.h"
#include "ptc/dspy.h"
#include "tests/support/all_point_lanes.h"
#include "tests/support/cloud_file.h"
#include "tests/support/host_lists.h"
#include "tests/support/plain_normal.h"
#include "tests/support/scratch.h"

extern "C" {
DspyImageOpenFunction DspyImageOpen;
DspyImageDeepDataFunction DspyImageDeepData;
DspyImageCloseFunction DspyImageClose;
}

namespace {

/// What the file must hold, found one sample and one value after another.
struct PlainCloud {
    double count = 0;
    float box[6] = {1e30f, 1e30f, 1e30f, -1e30f, -1e30f, -1e30f};
    float largest_radius = 0;
    std::string records;
    std::string lines;

    void Add(const std::vector<float>& sample, std::size_t data_floats) {
        const float radius = sample[6];
        if (radius < 0) return;
        ++count;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            for (const float end : {sample[axis] - radius, sample[axis] + radius}) {
                if (end < box[axis]) box[axis] = end;
                if (end > box[axis + 3]) box[axis + 3] = end;
            }
        }
        if (radius > largest_radius) largest_radius = radius;
        std::vector<float> data(sample.begin() + 7, sample.end());
        data.resize(data_floats);
        const NormalCode code = plain::Encode(sample[3], sample[4], sample[5]);
        AddRecord(sample, code, data);
        AddLines(sample, code, data);
    }

private:
    void AddRecord(const std::vector<float>& sample, NormalCode code,
                   const std::vector<float>& data) {
        const auto add = [&](const void* value, std::size_t bytes) {
            records.append(static_cast<const char*>(value), bytes);
        };
        add(sample.data(), 12);
        add(&code.azimuth, 2);
        add(&code.height, 2);
        add(&sample[6], 4);
        if (!data.empty()) add(data.data(), 4 * data.size());
    }
    void AddLines(const std::vector<float>& sample, NormalCode code,
                  const std::vector<float>& data) {
        std::array<char, 256> line;
        std::snprintf(line.data(), line.size(), " %e %e %e  %hi %hi  %e \n", double{sample[0]},
                      double{sample[1]}, double{sample[2]}, static_cast<short>(code.azimuth),
                      static_cast<short>(code.height), double{sample[6]});
        lines += line.data();
        if (data.empty()) return;
        lines += "ptd ";
        for (const float value : data) {
            std::snprintf(line.data(), line.size(), " %13e", double{value});
            lines += line.data();
        }
        lines += '\n';
    }
};

/// Batches of samples of one size.
struct Delivery {
    std::size_t data_floats;    ///< of the variables
    std::size_t sample_floats;  ///< of a sample; may be fewer or more than the variables need
    std::vector<std::vector<std::vector<float>>> batches;
};

Delivery MakeDelivery(std::size_t data_floats, std::size_t sample_floats,
                      const std::vector<std::size_t>& sizes, unsigned seed) {
    std::mt19937 random(seed);
    Delivery made{data_floats, sample_floats, {}};
    for (const std::size_t size : sizes) {
        auto& batch = made.batches.emplace_back(size, std::vector<float>(sample_floats));
        for (auto& sample : batch) {
            for (float& value : sample) value = HardFloat(random);
            if (random() % 8) sample[6] = std::abs(sample[6]);
        }
    }
    return made;
}

std::string Deliver(const Delivery& delivery, const PointLanes& lanes, const std::string& file) {
    std::vector<std::string> names(delivery.data_floats, "a|float _v");
    std::vector<DspyFormat> formats;
    for (std::string& name : names) formats.push_back({name.data(), 0});
    void* image = nullptr;
    EXPECT_EQ(DspyImageOpen(&image, "test", file.c_str(), 1, 1, 0, nullptr,
                            static_cast<int>(formats.size()), formats.data(), nullptr),
              0);
    static_cast<PointCloudImage*>(image)->writer->lanes = &lanes;
    std::size_t offset = 0;
    for (const auto& batch : delivery.batches) {
        // At any alignment, and nothing lies behind the last sample.
        const std::size_t sample = 4 * delivery.sample_floats;
        offset = (offset + 1) % 4;
        std::vector<unsigned char> bytes(offset + batch.size() * sample);
        for (std::size_t i = 0; i < batch.size(); ++i)
            std::memcpy(&bytes[offset + i * sample], batch[i].data(), sample);
        EXPECT_EQ(DspyImageDeepData(image, 0, static_cast<int>(batch.size()) - 1, 0, 0,
                                    &bytes[offset], static_cast<int>(batch.size() * sample)),
                  0);
    }
    EXPECT_EQ(DspyImageClose(image), 0);
    return ContentOf(file);
}

void ExpectPlainFile(const std::string& bytes, const PlainCloud& expected) {
    const CloudFile file{bytes};
    EXPECT_EQ(file.PointCount(), expected.count);
    EXPECT_EQ(std::memcmp(&bytes[16], expected.box, sizeof expected.box), 0) << "box";
    EXPECT_EQ(std::memcmp(&bytes[56], &expected.largest_radius, 4), 0) << "largest radius";
    EXPECT_TRUE(bytes.substr(file.DataStart()) == expected.records) << "records";
}

void ExpectPlainText(const std::string& text, const PlainCloud& expected) {
    const std::string last = "\ntreedatasize 0\n";
    const std::size_t at = text.find(last);
    ASSERT_NE(at, std::string::npos);
    EXPECT_TRUE(text.substr(at + last.size()) == expected.lines) << "lines";
    std::string box = "\nbbox ";
    std::array<char, 64> number;
    for (const float value : expected.box) {
        std::snprintf(number.data(), number.size(), " %13e", double{value});
        box += number.data();
    }
    EXPECT_NE(text.find(box + '\n'), std::string::npos) << box;
}

void ExpectAllAlike(const Delivery& delivery) {
    SCOPED_TRACE(testing::Message() << delivery.data_floats << " floats, " << delivery.sample_floats
                                    << " in a sample");
    PlainCloud expected;
    for (const auto& batch : delivery.batches)
        for (const auto& sample : batch) expected.Add(sample, delivery.data_floats);
    const ScratchFolder folder;
    std::vector<std::string> files;
    for (const PointLanes* const lanes : AllPointLanes())
        files.push_back(Deliver(delivery, *lanes, folder.File("a.ptc")));
    ExpectPlainFile(files[0], expected);
    for (const std::string& file : files) EXPECT_TRUE(file == files[0]);
    setenv("LUMR_ASCIIPOINTCLOUD", "", 1);
    ExpectPlainText(Deliver(delivery, *AllPointLanes().back(), folder.File("a.txt")), expected);
    unsetenv("LUMR_ASCIIPOINTCLOUD");
}

TEST(DriverDirectPath, WritesWhatAPlainWriterWrites) {
    const std::vector<std::size_t> sizes = {1, 2, 3, 4, 5, 6, 7, 8, 9, 63, 64, 65, 255, 256, 257};
    for (unsigned floats = 0; floats <= 20; ++floats) {
        ExpectAllAlike(MakeDelivery(floats, 7 + floats, sizes, floats));
        ExpectAllAlike(MakeDelivery(floats, 7 + floats / 2, {1, 70, 3}, 100 + floats));
        ExpectAllAlike(MakeDelivery(floats, 9 + floats, {70, 1, 300}, 200 + floats));
    }
    ExpectAllAlike(MakeDelivery(4, 11, {4096, 4095, 1, 4097}, 7));
}

// The sign of a zero in the box is that of the first one, whatever comes side by side with it.
TEST(DriverDirectPath, TheFirstZeroOfABoundStays) {
    const std::vector<float> values = {0.0f, -0.0f, 1, -1};
    for (unsigned seed = 0; seed < 200; ++seed) {
        std::mt19937 random(seed);
        Delivery delivery = MakeDelivery(0, 7, {1 + random() % 20, 1 + random() % 20}, seed);
        const bool is_high = random() % 2, has_radius = random() % 4 == 0;
        for (auto& batch : delivery.batches) {
            for (auto& sample : batch) {
                for (std::size_t axis = 0; axis < 3; ++axis)
                    sample[axis] = values[random() % 2 * (random() % 8 ? 1 : 3 - is_high)];
                sample[6] = has_radius ? values[random() % 3] : values[random() % 2];
            }
        }
        ExpectAllAlike(delivery);
    }
}

}  // namespace
