// Point streams: a cloud on its way from one form to another, in pieces of whole records.
//
// Units      records are those of the binary form, ptc_layout::PointBytes() each: codes of normals
//            and floats travel bit for bit. Counts count points.
// Errors     a Failure whose text names the file.
// Threads    one caller at a time.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "ptc/cloud/reader.h"
#include "ptc/cloud/writer.h"
#include "ptc/format/layout.h"

namespace convert {

/// The header of a form that says nothing of a camera. Of a header, forms carry the variables and
/// the camera as it is stored; all else follows from the points.
inline StoredHeader HeaderWithoutCamera() {
    constexpr std::array<float, 16> kIdentity{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    StoredHeader header;
    header.world_to_eye = kIdentity;
    header.stored_world_to_ndc = kIdentity;
    header.stored_format = {0, 0, -1};
    return header;
}

/// A form that is being read.
class PointSource {
public:
    PointSource() = default;
    PointSource(const PointSource&) = delete;
    PointSource& operator=(const PointSource&) = delete;
    virtual ~PointSource() = default;

    virtual const StoredHeader& Header() const = 0;

    /// How many points there are in all; -1 when that is not known before the end.
    virtual std::int64_t Count() const = 0;

    /// Fills `records`, room for whole ones. The answer: how many points; fewer than there is
    /// room for only at the end.
    virtual std::size_t Read(std::span<std::byte> records) = 0;

    /// How much of the input is read, 0 to 1.
    virtual double Share() const = 0;

    /// False: the form has no radii, and every point gets the one that the source was given.
    virtual bool HasRadii() const { return true; }

    /// The cloud that is being read, for its nodes; null in a form without nodes.
    virtual CloudReader* AsCloud() { return nullptr; }
};

/// A form that is being written.
class PointSink {
public:
    PointSink() = default;
    PointSink(const PointSink&) = delete;
    PointSink& operator=(const PointSink&) = delete;
    virtual ~PointSink() = default;

    virtual void Write(std::span<const std::byte> records) = 0;

    /// The cloud that is being written; null in a form without nodes.
    virtual CloudWriter* AsCloud() { return nullptr; }

    /// Completes and closes the file. Caller: has written every point.
    virtual void Finish() = 0;
};

}  // namespace convert
