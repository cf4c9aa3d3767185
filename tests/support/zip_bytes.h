// Zip archives byte by byte, honest ones and such as lie about what is in them.

#pragma once

#include <zlib.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zip_bytes {

/// A member. What is set below `bytes` replaces what would be true.
struct Part {
    std::string name;
    std::string bytes;  ///< as they lie in the archive
    std::optional<std::uint64_t> size = {};
    std::optional<std::uint64_t> packed_size = {};
    std::optional<std::uint32_t> checksum = {};
    std::uint16_t method = 0;
    std::uint16_t flags = 0;
    std::uint32_t attributes = 0100644u << 16;
    std::optional<std::uint32_t> place = {};  ///< of its local header, in the directory
};

inline std::string Number(std::uint64_t number, std::size_t bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes; ++i) text += static_cast<char>(number >> 8 * i & 0xFF);
    return text;
}

inline std::uint32_t Checksum(const std::string& bytes) {
    return static_cast<std::uint32_t>(
        crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
}

/// Raw deflate.
inline std::string Deflated(std::string bytes) {
    z_stream stream{};
    if (deflateInit2(&stream, 9, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK) return {};
    std::string out(bytes.size() + 1000, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    (void)deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

/// A member whose bytes are deflated and that says so.
inline Part DeflatedPart(const std::string& name, const std::string& bytes) {
    Part part = {name, Deflated(bytes), bytes.size(), {}, Checksum(bytes)};
    part.method = 8;
    return part;
}

/// What the local header and the directory say alike: from the flags to the name's length.
inline std::string Facts(const Part& part, std::size_t extra) {
    constexpr std::uint64_t kInExtra = 0xFFFFFFFF;
    return Number(part.flags, 2) + Number(part.method, 2) + Number(0x00216000, 4) +
           Number(part.checksum.value_or(Checksum(part.bytes)), 4) +
           Number(extra ? kInExtra : part.packed_size.value_or(part.bytes.size()), 4) +
           Number(extra ? kInExtra : part.size.value_or(part.bytes.size()), 4) +
           Number(part.name.size(), 2) + Number(extra, 2);
}

/// The long sizes of a member whose sizes have no room in 32 bits.
inline std::string LongSizes(const Part& part) {
    const std::uint64_t size = part.size.value_or(part.bytes.size());
    const std::uint64_t packed = part.packed_size.value_or(part.bytes.size());
    if (size <= UINT32_MAX && packed <= UINT32_MAX) return {};
    return Number(1, 2) + Number(16, 2) + Number(size, 8) + Number(packed, 8);
}

inline std::string Local(const Part& part) {
    const std::string sizes = LongSizes(part);
    return "PK\x03\x04" + Number(45, 2) + Facts(part, sizes.size()) + part.name + sizes;
}

/// The directory's entry of a part whose local header is at `place`.
inline std::string Entry(const Part& part, std::uint64_t place) {
    const std::string sizes = LongSizes(part);
    return "PK\x01\x02" + Number(0x032D, 2) + Number(45, 2) + Facts(part, sizes.size()) +
           Number(0, 2) + Number(0, 2) + Number(0, 2) + Number(part.attributes, 4) +
           Number(part.place.value_or(static_cast<std::uint32_t>(place)), 4) + part.name + sizes;
}

/// The end of an archive whose directory of `bytes` begins at `place`.
inline std::string End(std::uint64_t members, std::uint64_t bytes, std::uint64_t place) {
    return "PK\x05\x06" + Number(0, 4) + Number(members, 2) + Number(members, 2) +
           Number(bytes, 4) + Number(place, 4) + Number(0, 2);
}

/// The same with the long records in front, of which the archive has `at` bytes before.
inline std::string LongEnd(std::uint64_t members, std::uint64_t bytes, std::uint64_t place,
                           std::uint64_t at) {
    return "PK\x06\x06" + Number(44, 8) + Number(45, 2) + Number(45, 2) + Number(0, 8) +
           Number(members, 8) + Number(members, 8) + Number(bytes, 8) + Number(place, 8) +
           "PK\x06\x07" + Number(0, 4) + Number(at, 8) + Number(1, 4) +
           End(0xFFFF, 0xFFFFFFFF, 0xFFFFFFFF);
}

inline std::string Archive(const std::vector<Part>& parts) {
    std::string archive, directory;
    for (const Part& part : parts) {
        directory += Entry(part, archive.size());
        archive += Local(part) + part.bytes;
    }
    const std::size_t place = archive.size();
    return archive + directory + End(parts.size() & 0xFFFF, directory.size(), place);
}

}  // namespace zip_bytes
