// Points for the simplifier, and everything that it may change.

#pragma once

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "driver/simplify.h"

using Points = std::vector<std::pair<PointHead, std::vector<float>>>;

/// Records with their data, ready to be thinned.
struct Cloudlet {
    explicit Cloudlet(const Points& points) : removed(points.size()) {
        data.reserve(points[0].second.size() * points.size());
        for (const auto& [head, values] : points) {
            records.push_back({head, data.data() + data.size()});
            data.insert(data.end(), values.begin(), values.end());
        }
    }

    /// Everything that there is, in its order, as bytes to compare.
    std::string Bytes() const {
        std::string bytes(removed.begin(), removed.end());
        for (const PointRecord& record : records) {
            float head[7];
            std::memcpy(head, &record.head, sizeof head);
            for (const float value : head) Append(value, &bytes);
            bytes += std::to_string(record.data - data.data());
        }
        for (const float value : data) Append(value, &bytes);
        return bytes;
    }

    /// All NaNs are one: of two, the compiler chooses which one a sum has.
    static void Append(float value, std::string* bytes) {
        if (std::isnan(value)) value = std::numeric_limits<float>::quiet_NaN();
        bytes->append(reinterpret_cast<const char*>(&value), sizeof value);
    }

    std::vector<float> data;
    std::vector<PointRecord> records;
    std::vector<std::uint8_t> removed;
};
