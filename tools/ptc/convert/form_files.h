// Files of all forms: opened for reading and made for writing, by kind.
//
// Errors     a Failure that names the file.

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "tools/common/input_file.h"
#include "tools/common/output_file.h"
#include "tools/ptc/convert/forms.h"
#include "tools/ptc/convert/point_stream.h"

namespace convert {

/// Opens `file`. `radius`: of the points of a table without radii; when it is not given, such a
/// table is read twice to choose one.
std::unique_ptr<PointSource> OpenSource(const InputFile& file, FileKind kind,
                                        std::optional<float> radius);

/// The form of the cloud that `source` reads. Caller: it reads one.
Form FormOfCloud(PointSource& source);

/// The form of a copy called `out` of the cloud called `in`: that of its extension, where `in` has
/// another extension; otherwise that of `in`, whatever its name says.
Form FormOfCopy(std::string_view in, std::string_view out, PointSource& source);

/// Begins `file`, whose points have the variables of `header`. `count`: how many points there will
/// be, -1 when that is not known; `ply_prefix`: what the names of a PLY file's numbers begin with.
std::unique_ptr<PointSink> MakeSink(const OutputFile& file, const Form& form,
                                    const StoredHeader& header, std::int64_t count,
                                    std::string_view ply_prefix);

}  // namespace convert
