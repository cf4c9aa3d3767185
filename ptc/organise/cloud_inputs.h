// CloudInputs: the points of several clouds, one after the other, as records of one kind.
//
// Units      sizes in bytes; points count from 0 in each cloud.
// Errors     throws OrganiseError, which names the cloud, and std::bad_alloc.
// Ownership  copies the names; owns the cloud that is open, of which there is one at a time.
// Threads    one caller at a time.
//
// The first cloud says which variables there are, and in which order. Each other one has the same,
// matched by name and type; its floats are moved to the places of the first.

#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "ptc/cloud/reader.h"

class CloudInputs {
public:
    /// Opens every cloud once, to see that all fit together, and is at the first point then.
    explicit CloudInputs(std::span<const char* const> names);

    const StoredHeader& First() const { return first_; }
    std::size_t RecordBytes() const { return first_.PointBytes(); }

    /// As the headers count them. That of a compressed cloud may promise more than there are.
    std::int64_t PointCount() const { return point_count_; }

    /// Whether reading all points once more costs no more than reading the files.
    bool AreCheapToReread() const { return are_binary_; }

    void Rewind();

    /// Reads the next points and returns the bytes of `room` that they fill: whole records, and 0
    /// behind the last point only. Refuses a negative radius, which no cloud holds.
    std::size_t Read(std::span<std::byte> room);

private:
    struct Input {
        std::string name;
        std::int64_t point_count = 0;
    };

    std::unique_ptr<CloudReader> Open(const Input& input) const;
    void OpenNext();
    void Match(const Input& input, const CloudVariables& variables);
    void CheckRadii(std::span<const std::byte> records) const;
    void Permute(std::span<std::byte> records);

    std::vector<Input> inputs_;
    StoredHeader first_;
    std::int64_t point_count_ = 0;
    bool are_binary_ = true;

    std::size_t next_input_ = 0;
    std::unique_ptr<CloudReader> cloud_;  ///< null: the next input is to be opened
    std::int64_t left_ = 0;               ///< points of the open cloud that were not read yet
    std::vector<std::size_t> places_;     ///< float i of a point is float places_[i] in the cloud
    bool is_permuted_ = false;
    std::vector<float> floats_;
};
