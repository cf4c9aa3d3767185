// The token layer: one sequence of typed values, written raw or as lines of text.
//
// Units      offsets and sizes in bytes.
// Errors     0 for success, -1 for failure; Error() tells the system's reason. Nothing is
//            printed. A writer throws std::bad_alloc when memory runs out, and has written
//            nothing then.
// Ownership  owns its sink; keys and values are the caller's and are not kept.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ptc/format/token_kind.h"
#include "util/base/results.h"
#include "util/io/bytes.h"
#include "util/text/number_text.h"

/// A data file open for writing.
///
/// Every writer takes a key, which only the text form shows: the key, a blank, the value, a
/// newline. A null key leaves key and blank away; an empty one leaves the blank.
class TokenFile {
public:
    TokenFile();
    TokenFile(const TokenFile&) = delete;
    TokenFile& operator=(const TokenFile&) = delete;
    ~TokenFile();

    /// Takes `sink` over, which is at the place where the file now ends, and writes the head. A
    /// sink that has failed before is refused, with its error.
    TokenStatus OpenForWriting(std::unique_ptr<ByteSink> sink, const TokenFileKind& kind,
                               TokenForm form);

    bool IsOpen() const { return sink_ != nullptr; }
    bool IsText() const { return form_ == TokenForm::kText; }

    /// Ends buffering and closes the file. Failed: something did not reach the file.
    TokenStatus Close();

    /// Where the next value goes, collected bytes counted; -1 for a file without positions.
    std::int64_t Tell();

    /// Both move the file below; a caller that is buffering ends that first.
    TokenStatus Seek(std::int64_t offset);
    TokenStatus SeekToEnd();

    /// Collects writes in memory from here on, in a buffer of `hint` bytes at least; 0 stands for
    /// a small default. The buffer never shrinks. Does nothing while already buffering.
    void BeginBuffering(std::size_t hint);

    /// Writes what was collected in one piece, and stops collecting.
    TokenStatus EndBuffering();

    /// `bytes` of room behind the collected values, to be filled at once and then committed. Valid
    /// until the next call of this object. Null: not buffering, or too large to be collected, or no
    /// memory; the writers below then write to the file at once.
    std::byte* Reserve(std::size_t bytes) noexcept;
    void Commit(std::size_t bytes) { fill_ += bytes; }

    /// The errno of the first failure below; 0 when nothing failed.
    int Error() const;

    class Group;

    // The writers (token_write.cpp). `format` is a printf format of one conversion.

    TokenStatus WriteInt(const char* key, std::int32_t value, const char* format = "%i");
    TokenStatus WriteByte(const char* key, std::uint8_t value);
    TokenStatus WriteFloat(const char* key, float value, const char* format = "%e");
    TokenStatus WriteDouble(const char* key, double value, const char* format = "%e");
    TokenStatus WriteInt64(const char* key, std::int64_t value, const char* format = "%li");
    TokenStatus WriteFloats(const char* key, std::span<const float> values,
                            const char* format = "%13e");
    TokenStatus WriteMatrix(const char* key, std::span<const float, 16> rows);
    TokenStatus WriteThreeFloats(const char* key, std::span<const float, 3> values);

    /// The values that `format` names, in its order: "%hi" takes 2 bytes, "%i" and "%e" take 4.
    TokenStatus WriteRecord(const char* key, std::string_view format,
                            std::initializer_list<Number> values);

    /// The characters and a newline, in both forms alike.
    TokenStatus WriteLine(std::string_view line);

private:
    TokenStatus Put(std::span<const std::byte> bytes);
    template <class T>
    TokenStatus PutRaw(const T& value);
    TokenStatus PutText(std::string_view text);
    TokenStatus PutLine(const char* key, std::string_view format, std::span<const Number> values);
    bool Grow(std::size_t needed) noexcept;
    TokenStatus WriteCollected();
    TokenStatus FailOpen();

    std::unique_ptr<ByteSink> sink_;
    TokenForm form_ = TokenForm::kBinary;
    int open_error_ = 0;

    bool is_buffering_ = false;
    std::unique_ptr<std::byte[]> buffer_;
    std::size_t capacity_ = 0;
    std::size_t fill_ = 0;
    std::string text_;  // scratch of the text form, kept for its memory

    bool is_grouping_ = false;
    std::vector<std::byte> group_;  // likewise
};

/// Values that belong together: what is written while one lives goes to the file in Put(), in one
/// piece, or not at all. Whatever unwinds in between leaves the file as it was.
///
/// Ownership  borrows the file, which has one group at a time.
class TokenFile::Group {
public:
    [[nodiscard]] explicit Group(TokenFile& file) : file_(file) {
        file_.is_grouping_ = true;
        file_.group_.clear();
    }
    Group(const Group&) = delete;
    Group& operator=(const Group&) = delete;
    ~Group() { file_.is_grouping_ = false; }

    /// Writes the values, and ends the group. Throws only what the sink does.
    TokenStatus Put() {
        file_.is_grouping_ = false;
        return file_.Put(file_.group_);
    }

private:
    TokenFile& file_;
};
