// The clouds of the tests: written into memory, of known content.

#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "ptc/cloud/writer.h"
#include "tests/support/full_disk.h"

/// A cloud that is written into memory, where every call must succeed.
struct MemoryCloud {
    explicit MemoryCloud(const CloudDescription& description, TokenForm form = TokenForm::kBinary);

    void Add(const PointHead& point, const float* data = nullptr) const;
    std::int64_t AddNode(const NodeToWrite& node, const std::int64_t* children = nullptr) const;

    /// What is there at this moment; Finished() ends the writing first.
    std::string Bytes() const { return TextOf(*disk); }
    std::string Finished() const;

    const DiskBytes disk = std::make_shared<DiskBytes::element_type>();
    std::unique_ptr<CloudWriter> cloud;
};

/// A description whose point variables have these types, and the types as names. Borrows them.
CloudDescription WithVariables(const std::vector<const char*>& types,
                               const char* file_name = nullptr);

/// Three points, variables "float _area" and "color[2] ", nodes with "color glow": a leaf and the
/// root.
std::string SmallCloud(TokenForm form, bool has_nodes = true);

struct KnownCloud {
    std::size_t points;
    bool is_organised = true;
    TokenForm form = TokenForm::kBinary;
};

/// A cloud of clumps: point variables "color glow" and "float number", node variable "color glow".
/// The number tells one point from all others. When it is organised, an octree follows: each node
/// covers a run of points and each child a part of it, siblings are neighbours in the file and
/// behind their own children, and the root is last.
std::string BytesOf(const KnownCloud& wanted);

/// A cloud without a fault, and the places of its parts in binary form.
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
std::string Bytes(const Wanted& wanted = {});

}  // namespace sound_cloud
