// OrganisedFile: the output, whose points and nodes are written at their places while the rest of
// it is not there yet.
//
// Units      points count from 0; offsets in bytes from the file's start.
// Errors     throws OrganiseError, which names the file, and std::bad_alloc.
// Ownership  owns the file, which gets its name in Finish() only.
// Threads    WritePoints() and WriteNodes() from any thread, several at once; the rest by one.

#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "ptc/cloud/writer.h"
#include "util/io/whole_file.h"

/// Begins `whole`, and creates in it a binary cloud with the point variables, the matrices and the
/// format of `like`, and with these variables of nodes. Throws OrganiseError.
std::unique_ptr<CloudWriter> CreateLike(const StoredHeader& like,
                                        const CloudVariables& node_variables,
                                        const std::string& name, WholeFile& whole);

/// What is known when all is written.
struct OrganisedTotals {
    std::int64_t points = 0;
    std::int64_t nodes = 0;
    std::int64_t node_bytes = 0;
    std::int64_t root = 0;  ///< offset of the root behind the first node
    PositionBox box;
    float largest_radius = 0;
};

class OrganisedFile : public TgUncopyable {
public:
    /// `most_points`: the nodes begin where these would end, until Finish() moves them.
    OrganisedFile(const StoredHeader& like, const CloudVariables& node_variables,
                  const std::string& name, std::int64_t most_points);
    ~OrganisedFile();

    const CloudVariables& PointVariables() const { return cloud_->point_variables; }
    std::int64_t NodeStart() const { return PointOffset(most_points_); }

    void WritePoints(std::int64_t first, std::span<const std::byte> records);

    /// `at`: behind the first node. The offsets in the records are those of the file.
    void WriteNodes(std::int64_t at, std::span<const std::byte> records);

    /// Moves the nodes behind the last point, completes the header and gives the file its name.
    void Finish(const OrganisedTotals& totals);

private:
    std::int64_t PointOffset(std::int64_t point) const {
        return cloud_->data_start + point * static_cast<std::int64_t>(cloud_->PointBytes());
    }
    void Write(std::int64_t offset, std::span<const std::byte> bytes);
    void MoveNodes(std::int64_t to, std::int64_t bytes);
    [[noreturn]] void Fail(int error) const;

    const std::string name_;
    const std::int64_t most_points_;
    WholeFile whole_;
    std::unique_ptr<CloudWriter> cloud_;
    int descriptor_ = -1;
};
