// PlyHeader: the text before a PLY file's data.
//
// Units      counts count rows of an element.
// Errors     a Failure, which names the file.
// Threads    any.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/ptc/convert/input_stream.h"
#include "tools/ptc/convert/point_stream.h"

namespace convert {

enum class PlyEncoding { kText, kLittleEndian, kBigEndian };

enum class PlyType { kInt8, kUint8, kInt16, kUint16, kInt32, kUint32, kFloat32, kFloat64 };

/// Bytes of one value.
std::size_t PlyBytes(PlyType type);

struct PlyProperty {
    std::string name;
    PlyType type;
    bool is_list = false;
    PlyType count_type = PlyType::kUint8;  ///< of a list
};

struct PlyElement {
    std::string name;
    std::uint64_t count = 0;
    std::vector<PlyProperty> properties;
};

struct PlyHeader {
    PlyEncoding encoding = PlyEncoding::kText;
    std::vector<PlyElement> elements;
    StoredHeader cloud = HeaderWithoutCamera();  ///< as far as this system's comments say it
    bool declares_variables = false;             ///< the comments say it
};

/// Reads the header; the stream is then at the first element's data.
PlyHeader ReadPlyHeader(InputStream& input);

}  // namespace convert
