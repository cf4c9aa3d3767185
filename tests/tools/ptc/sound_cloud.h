// A small cloud without a fault, and the places of its parts in binary form.

#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <fstream>
#include <string>

#include "ptc/cloud/writer.h"
#include "tests/support/full_disk.h"
#include "tests/support/scratch.h"
#include "tools/ptc/inspect/cloud_check.h"

namespace sound_cloud {

constexpr std::size_t kPoints = 5;
constexpr std::size_t kDataStart = 380;  // behind "float _area", "color glow", "float weight"
constexpr std::size_t kRecord = 36;
constexpr std::size_t kLeafA = kDataStart + kPoints * kRecord;
constexpr std::size_t kLeafB = kLeafA + 37;
constexpr std::size_t kRoot = kLeafB + 37;
constexpr std::size_t kEnd = kRoot + 37 + 2 * 8;

struct Wanted {
    std::size_t points = kPoints;
    bool has_nodes = true;
    TokenForm form = TokenForm::kBinary;
    std::array<float, 3> format{640, 480, 1};
};

/// Five points, a root and two leaves, unless `wanted` says otherwise.
inline std::string Bytes(const Wanted& wanted = {}) {
    const char* const types[] = {"float", "color"};
    const char* const names[] = {"_area", "glow"};
    const char* const node_names[] = {"weight"};
    CloudDescription description;
    description.point_variables = {2, types, names};
    description.node_variables = {1, types, node_names};
    std::copy_n(wanted.format.begin(), 3, description.format);
    const DiskBytes bytes = std::make_shared<DiskBytes::element_type>();
    std::string why;
    const auto cloud =
        CreateCloud(description, std::make_unique<FullDisk>(SIZE_MAX, bytes), wanted.form, &why);
    EXPECT_TRUE(cloud) << why;
    for (std::size_t i = 0; i < wanted.points; ++i) {
        const auto f = static_cast<float>(i);
        const float data[] = {0.25f, f, 0.5f * f, 1};
        const PointHead head = {{f, 2 * f, -f}, {0, 0, 1}, i == 3 ? 0.75f : 0.5f};
        EXPECT_EQ(WritePoint(*cloud, head, data), CloudStatus::kOk);
    }
    if (wanted.has_nodes) {
        const float weight = 1.5f;
        std::int64_t a = 0, b = 0, root = 0;
        (void)WriteNode(*cloud, {0, 2, {-0.5f, -0.5f, -1.5f, 1.5f, 2.5f, 0.5f}, &weight}, nullptr,
                        &a);
        (void)WriteNode(*cloud, {2, 3, {1.5f, 3.5f, -4.5f, 4.5f, 8.5f, -1.5f}, &weight}, nullptr,
                        &b);
        const std::int64_t children[8] = {0, a, 0, 0, 0, 0, b, 0};
        (void)WriteNode(*cloud, {0, 5, {-0.5f, -0.5f, -4.5f, 4.5f, 8.5f, 0.5f}, &weight}, children,
                        &root);
    }
    EXPECT_EQ(FinishCloud(*cloud), CloudStatus::kOk);
    return {reinterpret_cast<const char*>(bytes->data()), bytes->size()};
}

/// Writes `value` over the bytes at `at`.
template <class T>
void Put(std::string* bytes, std::size_t at, T value) {
    ASSERT_LE(at + sizeof value, bytes->size());
    std::memcpy(bytes->data() + at, &value, sizeof value);
}

inline std::string WriteTo(const std::string& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
    return file;
}

/// A fault as `ptc check` shows it: the offset, a colon, the text.
inline std::vector<std::string> FaultsOf(const std::string& file) {
    std::vector<std::string> faults;
    FaultList list(1000, [&](std::int64_t offset, const std::string& what) {
        faults.push_back(std::to_string(offset) + ": " + what);
    });
    CheckCloud(InputFile(file), list, false);
    return faults;
}

}  // namespace sound_cloud
