// Reading one file from its first point to its last, without the caches: for whoever copies or
// converts clouds, or wants their bytes.
//
//   PtcReader cloud("a.ptc");
//   std::vector<float> positions(3 * 1024);
//   while (const std::int64_t got = cloud.Read(1024, {.positions = positions.data()})) ...
//
// Units      those of ptc/records.h; points are counted from 0.
// Errors     false, null or fewer than asked for; PtcLastFailure() (ptc/failure.h) says why. A
//            reader that could not open its file refuses everything. Nothing is thrown.
// Ownership  a reader owns its open file; arrays are the caller's.
// Threads    one caller at a time for one reader; readers are independent.
//
// A reader looks at the file that has the name when it is made, and at no other: what is renamed
// over it later does not matter. A failure to open is not remembered.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "ptc/api.h"
#include "ptc/failure.h"
#include "ptc/header.h"
#include "ptc/records.h"

/// How the file keeps its points.
enum class PtcForm : std::int32_t {
    kBinary = 0,
    kText = 1,
    kCompressed = 2,  ///< gzip of the binary form
    kCompressedText = 3,
};

/// Where the values of a point stand in its record of the binary form: offsets in bytes. The two
/// codes of the normal are 16-bit, azimuth and height; all else is floats. The data floats end the
/// record. Nothing is aligned.
struct PtcRecordPlaces {
    static constexpr int kPosition = 0;
    static constexpr int kCodes = 12;
    static constexpr int kRadius = 16;
    static constexpr int kData = 20;
};

class PtcReader {
public:
    /// Opens the file called `name`, to which the zones are applied (ptc/runtime.h).
    PTC_API explicit PtcReader(const char* name) noexcept;
    PTC_API ~PtcReader();
    PTC_API PtcReader(PtcReader&& other) noexcept;
    PTC_API PtcReader& operator=(PtcReader&& other) noexcept;

    /// Whether the file is open.
    PTC_API explicit operator bool() const noexcept;

    PTC_API bool GetHeader(PtcHeader* header) const noexcept;
    /// Either may be null.
    PTC_API bool GetVariables(PtcVariables* of_points, PtcVariables* of_nodes) const noexcept;
    PTC_API PtcForm Form() const noexcept;
    /// Of a record in the binary form: PtcRecordPlaces::kData, and 4 for each data float.
    PTC_API std::int64_t RecordBytes() const noexcept;

    /// Lets point `index` be read next; the number of points is allowed. In a text or gzip file
    /// this reads on to it, or from the first one.
    PTC_API bool Seek(std::int64_t index) noexcept;

    /// Reads the next `count` points. Answers how many were read: fewer where the file's points
    /// end, a record cannot be read or memory runs out, and then PtcLastFailure() says which of
    /// them it was. After the latter two only Seek() helps.
    PTC_API std::int64_t Read(std::int64_t count, const PtcPointArrays& arrays) noexcept;

    /// The same as records of the binary form, whichever form the file has. `records`: room for
    /// `count` of them.
    PTC_API std::int64_t ReadRecords(std::int64_t count, void* records) noexcept;

    /// The records of all points, as they stand in a plain binary file, mapped into memory and
    /// read-only. Valid while the reader lives; later calls answer the same. Null: the file is text
    /// or compressed, has no points, or is not one that can be mapped. Caller: nobody cuts the file
    /// off meanwhile; the system ends a process that reads what is gone.
    PTC_API const void* Map() noexcept;

    /// Closes the file, so that the reader holds no descriptor. What it has said and mapped stays;
    /// from here on it refuses to read, to seek, and to map what it has not.
    PTC_API void CloseFile() noexcept;

private:
    struct State;
    std::unique_ptr<State> state_;  ///< null: not open
};

/// Decodes `count` normals from their codes, which stand `stride` bytes apart; that may be
/// negative. `normals`: 3 floats each.
PTC_API bool PtcDecodeNormals(const void* codes, std::int64_t stride, std::int64_t count,
                              float* normals) noexcept;
