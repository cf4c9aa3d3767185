// Sinks: the forms that a cloud can be written in, over a sink of bytes.
//
// Errors     a Failure with the file's `name` and the system's reason.
// Ownership  a sink owns the byte sink; the header is copied.

#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "ptc/format/token_file.h"
#include "tools/ptc/convert/point_stream.h"
#include "util/io/bytes.h"

namespace convert {

/// Where a form is written to, and its name in messages.
struct OutputName {
    std::unique_ptr<ByteSink> bytes;
    std::string name;
};

/// The system's own file. The counts, the box and the largest radius are those of the points that
/// were written. A point with a negative radius fails.
std::unique_ptr<PointSink> MakeCloudSink(const StoredHeader& header, OutputName output,
                                         TokenForm form);

/// PLY. `count`: the number of points, -1 when it is not known yet. `prefix`: what the names of
/// radius, codes and variables begin with.
std::unique_ptr<PointSink> MakePlySink(const StoredHeader& header, OutputName output,
                                       TokenForm form, std::int64_t count, std::string_view prefix);

std::unique_ptr<PointSink> MakeCsvSink(const StoredHeader& header, OutputName output);

}  // namespace convert
