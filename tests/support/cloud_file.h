// A binary cloud file taken apart and changed by the documented offsets, without the product's
// reader.

#pragma once

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "ptc/format/layout.h"

/// Writes `value` over the bytes at `at`.
template <class T>
void Put(std::string* bytes, std::size_t at, T value) {
    if (at + sizeof value > bytes->size()) std::abort();  // a mistake of the test
    std::memcpy(bytes->data() + at, &value, sizeof value);
}

struct CloudFile {
    std::string bytes;

    template <class T>
    T At(std::size_t offset) const {
        T value{};
        if (offset + sizeof value <= bytes.size())
            std::memcpy(&value, bytes.data() + offset, sizeof value);
        return value;
    }

    double PointCount() const { return At<double>(8); }
    double NodeCount() const { return At<double>(40); }
    float BoxValue(std::size_t i) const { return At<float>(16 + 4 * i); }
    float LargestRadius() const { return At<float>(56); }
    std::int32_t PointVariables() const { return At<std::int32_t>(328); }
    std::int32_t DataSize() const { return At<std::int32_t>(332); }

    /// Declarations of the point variables, one string a line.
    std::vector<std::string> Declarations() const {
        std::vector<std::string> lines;
        std::size_t at = 336;
        for (int i = 0; i < PointVariables(); ++i) {
            const std::size_t end = bytes.find('\n', at);
            lines.push_back(bytes.substr(at, end - at));
            at = end + 1;
        }
        return lines;
    }

    /// Offset of the first point, in a file without tree variables.
    std::size_t DataStart() const {
        std::size_t at = 336;
        for (const std::string& line : Declarations()) at += line.size() + 1;
        return at + 8;
    }
    std::size_t Record() const { return 20 + 4 * static_cast<std::size_t>(DataSize()); }

    /// Float `field` of record `index`: 0 to 2 position, 4 radius, from 5 on data.
    float PointValue(std::size_t index, std::size_t field) const {
        return At<float>(DataStart() + index * Record() + 4 * field);
    }
    std::string_view PointBytes(std::size_t index) const {
        return std::string_view(bytes).substr(DataStart() + index * Record(), Record());
    }
    std::size_t RecordsInFile() const { return (bytes.size() - DataStart()) / Record(); }
};
