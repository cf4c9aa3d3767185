// InputStream: a file's bytes, lines and words in order, each within its limit.
//
// Units      bytes.
// Errors     a Failure, which names the file: it ends too early, the system cannot
//            read it, or a line or a word is longer than its limit.
// Ownership  owns the open file and a buffer of fixed size.
// Threads    one caller at a time.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/common/input_file.h"
#include "util/io/plain_input.h"

namespace convert {

class InputStream {
public:
    static constexpr std::size_t kBufferBytes = 65536;
    static constexpr std::size_t kMaxLine = std::size_t{1} << 20;
    static constexpr std::size_t kMaxWord = 256;

    explicit InputStream(const InputFile& file);

    /// A line without its end, which is a newline, with or without a carriage return. Valid until
    /// the next call. False: the file is at its end.
    bool ReadLine(std::string_view* line);

    /// The next word between blanks and line ends. Valid until the next call.
    std::string_view ReadWord();

    /// The bytes that are read ahead and not taken yet, which may be none. Valid until the next
    /// call. Drop() takes the first of them.
    std::span<const std::byte> Ahead() const { return {buffer_.data() + next_, end_ - next_}; }
    /// Caller: Ahead() has as many.
    void Drop(std::size_t bytes) { next_ += bytes; }

    void Read(std::span<std::byte> bytes);
    void Skip(std::uint64_t bytes);

    /// How much of the file is read, 0 to 1.
    double Share() const;

    /// Says what is wrong with the file.
    [[noreturn]] void Fail(const std::string& reason) const;

private:
    bool Refill();
    int Next();
    std::string_view AheadAsText() const;

    std::string name_;
    PlainInput file_;
    std::vector<std::byte> buffer_;
    std::size_t next_ = 0;
    std::size_t end_ = 0;
    std::int64_t position_ = 0;  ///< of the buffer's end
    std::string text_;           ///< the line or the word
};

}  // namespace convert
