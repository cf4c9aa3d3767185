// PLY source: the rows of the element "vertex", in any encoding.

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>

#include "tools/common/failure.h"
#include "tools/common/number.h"
#include "tools/picture/srgb.h"
#include "tools/ptc/convert/columns.h"
#include "tools/ptc/convert/number_parse.h"
#include "tools/ptc/convert/ply_header.h"
#include "tools/ptc/convert/ply_rows.h"
#include "tools/ptc/convert/row_builder.h"
#include "tools/ptc/convert/table_sources.h"

namespace convert {

namespace {

template <class T>
T ValueAt(const std::byte* bytes) {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

/// The value of a scalar property. A float is kept bit for bit.
float ToFloat(PlyType type, const std::byte* bytes) {
    switch (type) {
        case PlyType::kInt8:
            return static_cast<float>(ValueAt<std::int8_t>(bytes));
        case PlyType::kUint8:
            return static_cast<float>(ValueAt<std::uint8_t>(bytes));
        case PlyType::kInt16:
            return static_cast<float>(ValueAt<std::int16_t>(bytes));
        case PlyType::kUint16:
            return static_cast<float>(ValueAt<std::uint16_t>(bytes));
        case PlyType::kInt32:
            return static_cast<float>(ValueAt<std::int32_t>(bytes));
        case PlyType::kUint32:
            return static_cast<float>(ValueAt<std::uint32_t>(bytes));
        case PlyType::kFloat32:
            return ValueAt<float>(bytes);
        case PlyType::kFloat64:
            return static_cast<float>(ValueAt<double>(bytes));
    }
    return 0;
}

/// The length of a list, which is of a whole type.
std::int64_t ToCount(PlyType type, const std::byte* bytes) {
    if (type == PlyType::kInt32) return ValueAt<std::int32_t>(bytes);
    if (type == PlyType::kUint32) return ValueAt<std::uint32_t>(bytes);
    return static_cast<std::int64_t>(ToFloat(type, bytes));
}

/// A text file may have any number where its header declares a byte.
std::uint8_t ToByte(float value) {
    return value > 0 ? static_cast<std::uint8_t>(std::min(value, 255.0f)) : std::uint8_t{0};
}

bool IsScreenByte(const PlyProperty& property) {
    return property.type == PlyType::kUint8 &&
           std::find(std::begin(kRgbColumns), std::end(kRgbColumns), property.name) !=
               std::end(kRgbColumns);
}

class PlySource : public PointSource {
public:
    PlySource(const InputFile& file, float radius)
        : input_(file), header_(ReadPlyHeader(input_)), map_(FindVertices()) {
        builder_.emplace(map_, radius);
        rows_.emplace(Vertices(), header_.encoding, targets_);
        PrepareBlock();
        header_.cloud.point_variables = map_.variables;
        for (std::size_t i = 0; i < vertex_; ++i) SkipElement(header_.elements[i]);
    }

    const StoredHeader& Header() const override { return header_.cloud; }
    std::int64_t Count() const override { return static_cast<std::int64_t>(Vertices().count); }
    double Share() const override { return input_.Share(); }
    bool HasRadii() const override { return map_.has_radius; }

    std::size_t Read(std::span<std::byte> records) override {
        const std::size_t record = header_.cloud.PointBytes();
        const std::size_t room = records.size() / record;
        const std::size_t wanted = std::min<std::uint64_t>(room, Vertices().count - done_);
        for (std::size_t made = 0; made < wanted;)
            made += ReadBlock(records.subspan(made * record), wanted - made);
        return wanted;
    }

private:
    const PlyElement& Vertices() const { return header_.elements[vertex_]; }
    bool IsText() const { return header_.encoding == PlyEncoding::kText; }

    /// Finds the element and the meaning of its properties.
    ColumnMap FindVertices() {
        const auto found = std::find_if(header_.elements.begin(), header_.elements.end(),
                                        [](const PlyElement& e) { return e.name == "vertex"; });
        if (found == header_.elements.end()) input_.Fail("it has no vertices");
        if (found->count > kMostPoints) input_.Fail("it has an impossible number of vertices");
        vertex_ = static_cast<std::size_t>(found - header_.elements.begin());

        // A list has no column; its place in the file is kept by the property.
        std::vector<std::string> names;
        std::vector<std::size_t> properties;
        for (std::size_t i = 0; i < found->properties.size(); ++i) {
            if (found->properties[i].is_list) continue;
            names.push_back(found->properties[i].name);
            properties.push_back(i);
        }
        const CloudVariables* const declared =
            header_.declares_variables ? &header_.cloud.point_variables : nullptr;
        try {
            ColumnMap map = MapColumns(names, declared, kScalarPrefix);
            for (const PlyProperty& property : found->properties)
                targets_.push_back({-1, IsScreenByte(property)});
            for (std::size_t i = 0; i < names.size(); ++i)
                targets_[properties[i]].slot = map.slots[i];
            return map;
        } catch (const TableError& error) {
            input_.Fail(error.what());
        }
    }

    /// Room for a row, and for more of them where a piece of the input has several.
    void PrepareBlock() {
        const std::size_t row = rows_->RowBytes();
        row_.resize(row);
        block_rows_ =
            row > 0 ? std::clamp(InputStream::kBufferBytes / row, std::size_t{1}, kMostRows) : 1;
        for (std::size_t i = 0; i < block_rows_; ++i)
            block_.insert(block_.end(), builder_->Slots().begin(), builder_->Slots().end());
    }

    /// Reads at least one row and at most `wanted`: those that are whole in the input's buffer.
    std::size_t ReadBlock(std::span<std::byte> records, std::size_t wanted) {
        const std::size_t slots = builder_->Slots().size();
        const std::size_t row = rows_->RowBytes();
        std::size_t count = 1;
        if (row == 0) {
            ReadRow(Vertices());
        } else if (const auto ahead = input_.Ahead(); ahead.size() >= row) {
            count = std::min({wanted, block_rows_, ahead.size() / row});
            rows_->Decode(ahead.data(), count, block_, slots);
            input_.Drop(count * row);
        } else {
            input_.Read(row_);
            rows_->Decode(row_.data(), 1, block_, slots);
        }
        Build(count, records);
        return count;
    }

    /// Makes the records of the first rows of the block.
    void Build(std::size_t count, std::span<std::byte> records) {
        const std::size_t slots = builder_->Slots().size();
        const std::size_t record = header_.cloud.PointBytes();
        for (std::size_t i = 0; i < count; ++i, ++done_) {
            try {
                builder_->Build(&block_[i * slots], &records[i * record]);
            } catch (const TableError& error) {
                input_.Fail(fmt::format("point {}: {}", done_, error.what()));
            }
        }
    }

    /// Takes one value off the input; `bytes` in the host's order.
    void ReadScalar(PlyType type, std::array<std::byte, 8>* bytes) {
        const auto raw = std::span(*bytes).first(PlyBytes(type));
        input_.Read(raw);
        if (header_.encoding == PlyEncoding::kBigEndian) std::reverse(raw.begin(), raw.end());
    }

    float ReadValue(const PlyProperty& property) {
        float value = 0;
        if (IsText()) {
            const std::string_view word = input_.ReadWord();
            if (!ParseFloat(word, &value))
                input_.Fail(fmt::format("it has \"{:.40}\" where a number belongs", word));
        } else {
            std::array<std::byte, 8> bytes;
            ReadScalar(property.type, &bytes);
            value = ToFloat(property.type, bytes.data());
        }
        return value;
    }

    void SkipList(const PlyProperty& property) {
        std::int64_t count = 0;
        if (IsText()) {
            const std::string_view word = input_.ReadWord();
            if (!ParseNumber(word, &count)) count = -1;
        } else {
            std::array<std::byte, 8> bytes;
            ReadScalar(property.count_type, &bytes);
            count = ToCount(property.count_type, bytes.data());
        }
        if (count < 0) input_.Fail("it has a list without a length");
        if (!IsText()) {
            input_.Skip(static_cast<std::uint64_t>(count) * PlyBytes(property.type));
            return;
        }
        for (; count > 0; --count) (void)input_.ReadWord();
    }

    /// Reads one vertex into the slots of the block's first row.
    void ReadRow(const PlyElement& element) {
        for (std::size_t i = 0; i < element.properties.size(); ++i) {
            const PlyProperty& property = element.properties[i];
            if (property.is_list) {
                SkipList(property);
                continue;
            }
            const float value = ReadValue(property);
            const auto [slot, is_screen] = targets_[i];
            if (slot < 0) continue;
            // Bytes are as a screen takes them; the cloud's colours are linear light.
            block_[static_cast<std::size_t>(slot)] =
                is_screen ? srgb_.Decode(ToByte(value)) : value;
        }
    }

    void SkipElement(const PlyElement& element) {
        if (element.properties.empty()) return;
        std::uint64_t row = 0;
        bool has_lists = false;
        for (const PlyProperty& property : element.properties) {
            row += PlyBytes(property.type);
            has_lists |= property.is_list;
        }
        if (!has_lists && !IsText()) {
            if (element.count > kMostPoints / row) input_.Fail("it ends too early");
            input_.Skip(element.count * row);
            return;
        }
        for (std::uint64_t i = 0; i < element.count; ++i)
            for (const PlyProperty& property : element.properties) {
                if (property.is_list) {
                    SkipList(property);
                } else {
                    (void)ReadValue(property);
                }
            }
    }

    /// Far above any file, far below what arithmetic with counts can take.
    static constexpr std::uint64_t kMostPoints = std::uint64_t{1} << 53;
    /// Of rows that are decoded together: their slots stay in the processor's nearest cache.
    static constexpr std::size_t kMostRows = 512;

    InputStream input_;
    PlyHeader header_;
    std::size_t vertex_ = 0;
    std::vector<PlyTarget> targets_;  ///< one a property
    const Srgb srgb_;
    ColumnMap map_;
    std::optional<RowBuilder> builder_;
    std::optional<PlyRows> rows_;
    std::vector<std::byte> row_;  ///< one that lies across the end of the input's buffer
    std::size_t block_rows_ = 1;
    std::vector<float> block_;  ///< slots of rows that wait to become records
    std::uint64_t done_ = 0;
};

}  // namespace

std::unique_ptr<PointSource> OpenPly(const InputFile& file, float radius) {
    return std::make_unique<PlySource>(file, radius);
}

}  // namespace convert
