// PageFile: the text of a page, and compressed bytes in it.
//
// Units      bytes.
// Errors     a Failure that names the file.
// Ownership  owns the stream; borrows the output, which the caller commits.
// Threads    one caller at a time.

#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "tools/common/output_file.h"

namespace page {

/// The letters of bytes that come in pieces: six bits each.
class Base64 {
public:
    /// Appends what is complete to `text`.
    void Add(std::span<const unsigned char> bytes, std::string* text);
    /// Appends the rest, filled up to four letters.
    void Finish(std::string* text);

private:
    std::uint32_t bits_ = 0;
    int waiting_ = 0;  ///< bytes in them
};

class PageFile {
public:
    explicit PageFile(const OutputFile& output);

    void Write(std::string_view text);

    /// Compresses `bytes` into one zlib stream and writes it as base64.
    void WriteCompressed(std::span<const std::byte> bytes);

    void Close();

private:
    std::string name_;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream_;
};

}  // namespace page
