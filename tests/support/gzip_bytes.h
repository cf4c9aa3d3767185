// Bytes to be compressed, and gzip streams, whole ones and such as can be spoiled at a known place.

#pragma once

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>

namespace gzip_bytes {

/// Bytes that are neither all alike nor without any order.
inline std::string Plain(std::size_t count) {
    std::string bytes;
    for (std::size_t i = 0; bytes.size() < count; ++i) bytes += std::to_string(i * i % 7919) + ' ';
    bytes.resize(count);
    return bytes;
}

inline std::string Deflated(std::string bytes, int flush, int memory = 8, int level = 1) {
    z_stream stream{};
    EXPECT_EQ(deflateInit2(&stream, level, Z_DEFLATED, 15 + 16, memory, Z_DEFAULT_STRATEGY), Z_OK);
    std::string out(2 * bytes.size() + 1000, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    EXPECT_GE(deflate(&stream, flush), Z_OK);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

/// One member.
inline std::string Whole(const std::string& bytes) {
    return Deflated(bytes, Z_FINISH);
}

/// One member whose bytes are stored as they are: a cut leaves a known part.
inline std::string Stored(const std::string& bytes) {
    return Deflated(bytes, Z_FINISH, 8, 0);
}

/// One member with a new block every few hundred bytes.
inline std::string ManyBlocks(const std::string& bytes) {
    return Deflated(bytes, Z_FINISH, 1);
}

/// The beginning of a member from which all of `bytes`, and nothing else, can be inflated; another
/// block is to follow.
inline std::string Beginning(const std::string& bytes) {
    return Deflated(bytes, Z_SYNC_FLUSH);
}

/// What no block begins with.
inline constexpr const char* kNoBlock = "\x07\x07\x07\x07\x07\x07\x07\x07\x07\x07\x07\x07";

}  // namespace gzip_bytes
