// A file made of nothing: its values tell file, generation and index, its reads fail on demand.

#pragma once

#include <atomic>
#include <cstring>
#include <new>
#include <thread>

#include "ptc/cloud/block_source.h"
#include "ptc/format/record_storage.h"

struct FakeShape {
    std::int64_t points;
    std::int32_t floats_per_point;
    std::int32_t floats_per_node;
};

class FakeSource : public PtcBlockSource {
public:
    FakeSource(std::uint32_t number, const FakeShape& shape, const char* name = nullptr)
        : shape_(shape), name_(name) {
        SetIdentity(number * 1000);
        SetPoints(shape.points, shape.floats_per_point);
    }

    const char* Name() const override { return name_; }
    std::int64_t PointCount() const override { return shape_.points; }
    std::int32_t FloatsPerPoint() const override { return shape_.floats_per_point; }
    std::int32_t FloatsPerNode() const override { return shape_.floats_per_node; }

    CloudStatus ReadPoints(std::int64_t first, std::int64_t count, PtcPoint* records) override {
        last_count = count;
        for (std::int64_t i = 0; i < count; ++i) {
            Write(first + i, records[i].position, 7);
            Write(first + i + 7, StorageOf(records[i]), shape_.floats_per_point);
        }
        return Answer();
    }
    CloudStatus ReadNodeChildren(const std::int64_t* references, PtcNode* records) override {
        bool has_child = false;
        for (int i = 0; i < kNodeChildren; ++i) {
            if (references[i] == 0) continue;
            has_child = true;
            records[i].first_point = static_cast<std::int32_t>(references[i] + 1);
            records[i].point_count = static_cast<std::int32_t>(Identity());
            Write(references[i], records[i].box, 6);
            Write(references[i] + 6, StorageOf(records[i]), shape_.floats_per_node);
            for (int k = 0; k < kNodeChildren; ++k)
                records[i].children[k] = references[i] * kNodeChildren + k;
        }
        return has_child ? Answer() : CloudStatus::kFailed;
    }

    /// The references that the tests give the node at `reference`: some of them 0, never all.
    static void ChildrenOf(std::int64_t reference, std::int64_t* children) {
        for (int i = 0; i < kNodeChildren; ++i)
            children[i] = (reference + i) % 3 == 0 ? 0 : reference * kNodeChildren + i;
    }

    /// Whether `point` is what a direct read of point `index` answers; behind the end, zeros.
    bool IsPoint(const PtcPoint& point, std::int64_t index) const {
        const bool is_there = index < shape_.points;
        return Are(index, point.position, 7, is_there) &&
               Are(index + 7, point.data, shape_.floats_per_point, is_there);
    }
    /// Likewise for the eight children of the node at `reference`.
    bool AreChildren(const PtcNode* nodes, std::int64_t reference) const {
        std::int64_t children[kNodeChildren];
        ChildrenOf(reference, children);
        for (int i = 0; i < kNodeChildren; ++i) {
            const std::int64_t child = children[i];
            const PtcNode& node = nodes[i];
            if (node.first_point != (child ? child + 1 : 0)) return false;
            if (node.point_count != (child ? static_cast<std::int32_t>(Identity()) : 0))
                return false;
            if (node.children[7] != (child ? child * kNodeChildren + 7 : 0)) return false;
            if (!Are(child, node.box, 6, child != 0)) return false;
            if (!Are(child + 6, node.data, shape_.floats_per_node, child != 0)) return false;
        }
        return true;
    }

    /// The file's content changes. Caller: nobody uses the file.
    void Rewrite() { SetIdentity(Identity() + 1); }

    std::atomic<bool> fails{false};
    std::atomic<bool> has_no_memory{false};  ///< reads throw
    std::atomic<bool> is_slow{false};        ///< others run during a read
    std::atomic<std::int64_t> reads{0};
    std::atomic<std::int64_t> failures{0};
    std::atomic<std::int64_t> last_count{0};

private:
    CloudStatus Answer() {
        ++reads;
        if (is_slow) std::this_thread::yield();
        if (has_no_memory) throw std::bad_alloc();
        if (!fails) return CloudStatus::kOk;
        ++failures;
        return CloudStatus::kFailed;
    }
    float Value(std::int64_t index, int lane) const {
        return static_cast<float>(Identity() * 31 + static_cast<std::uint64_t>(index) * 7 +
                                  static_cast<std::uint64_t>(lane));
    }
    void Write(std::int64_t index, float* values, int count) const {
        for (int lane = 0; lane < count; ++lane) values[lane] = Value(index, lane);
    }
    bool Are(std::int64_t index, const float* values, int count, bool is_there) const {
        for (int lane = 0; lane < count; ++lane)
            if (values[lane] != (is_there ? Value(index, lane) : 0)) return false;
        return true;
    }

    const FakeShape shape_;
    const char* const name_;
};
