// PtcRecordReader -- runs of points, children of a node and variables by name of one open cloud.
//
// Units      offsets in bytes from the start of the (inflated) file; point indexes count from 0.
// Errors     1 for success, 0 for failure; reports nothing itself: the caches turn a 0 into
//            T43051 or T43052, because they know the file's name. Points before the place where a
//            file is damaged can be read; a read that goes as far as that place fails.
// Ownership  borrows the caller's records and their storage; keeps neither. Owns the file.
// Threads    Open(), Close(), Rewind() and the reads of a file in memory: one caller at a time,
//            and no other thread inside. All other reads from any thread, several at once.
//
// Nothing in a file is trusted: indexes, counts and references are checked before anything is read,
// and a node may refer only to records behind the points and before itself, so that every walk
// ends.

#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "ptc/cloud/block_source.h"
#include "ptc/cloud/reader.h"
#include "ptc/cloud/text_points.h"
#include "util/base/tg_lock.h"
#include "util/io/file_stamp.h"
#include "util/io/random_source.h"

class PtcRecordReader : public TgUncopyable {
public:
    /// Opens `name`, once: header and records come from one file, whatever `name` is meanwhile
    /// given to. With `in_memory` all points are read at once and kept, and the header counts no
    /// nodes, because none can be read. `*why` and `*error`: those of OpenCloud().
    CloudStatus Open(const char* name, bool in_memory, std::string* why, int* error = nullptr);

    /// Closes the file and keeps the header; Open() opens it again.
    void Close();
    bool IsOpen() const { return source_ != nullptr || is_in_memory_; }
    bool IsText() const { return is_text_; }

    /// The header. Caller: the file has been opened; it may be closed by now.
    const StoredHeader& Header() const { return header_; }

    /// Of the file, from before its header was read: whatever changes it later gives the next
    /// opening another stamp. Caller: as for Header().
    const FileStamp& Stamp() const { return stamp_; }

    /// Fills `count` records from point `first` on; each one's `data` has room for the floats of a
    /// point. A file in memory ignores `first` and takes the next `count` points.
    CloudStatus ReadPoints(std::int64_t first, std::int64_t count, PtcPoint* records);

    /// The same, but a file in memory answers the points asked for, too. Any thread.
    CloudStatus ReadPointsAnywhere(std::int64_t first, std::int64_t count, PtcPoint* records);

    /// Fills record i for each of the eight `references` that is not 0, leaves the others alone.
    CloudStatus ReadNodeChildren(const std::int64_t* references, PtcNode* records);

    /// Sets the reading of a file in memory back to its first point.
    void Rewind() { next_value_ = 0; }

private:
    struct Children;

    bool HasRun(std::int64_t first, std::int64_t count) const;
    std::size_t FloatsInMemory() const;

    CloudStatus LoadPoints(CloudReader& cloud, std::string* why);
    CloudStatus CopyFromMemory(std::size_t at, std::int64_t count, PtcPoint* records) const;
    CloudStatus ReadBinaryPoints(std::int64_t first, std::int64_t count, PtcPoint* records);
    bool ReadOneChild(Children& children, std::int64_t reference, PtcNode* record);
    bool IsSound(const NodeRecord& node, std::int64_t reference) const;

    // Written by Open() and Close(), while no other thread is inside; read without a lock.
    StoredHeader header_;
    FileStamp stamp_;
    std::unique_ptr<RandomSource> source_;
    std::int64_t points_end_ = 0;  ///< where the records of nodes may begin
    bool is_text_ = false;
    bool is_gzip_ = false;
    TextPoints text_points_;

    // A file in memory: seven floats and the data of each point, and where the next one begins.
    bool is_in_memory_ = false;
    std::vector<float> values_;
    std::size_t next_value_ = 0;
};

/// For each of `names`: how many floats of data come before that variable, and how many it takes.
/// -1, and no size, for a name that is not declared.
void FindVariables(const CloudVariables& variables, std::span<const char* const> names,
                   std::int32_t* offsets, std::int32_t* sizes);
