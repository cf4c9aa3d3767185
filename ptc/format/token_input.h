// The token layer's reading side: the same sequence of typed values from either form.
//
// Units      offsets and sizes in bytes; of the inflated bytes, for a compressed file.
// Errors     0 for success, -1 for failure: the file ends, a line has another key, too few items
//            or is too long. Error() is the system's reason when there is one.
// Ownership  owns its source; keys are the caller's.
// Threads    one caller at a time.

#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "ptc/format/token_kind.h"
#include "util/base/results.h"
#include "util/io/bytes.h"

/// A data file open for reading.
///
/// Every reader takes the key under which the value was written; the text form must show it. A
/// null key means a line without one, an empty key a line that begins with a blank.
/// Text numbers are read as they were written, whatever the locale; arrays are read item by item,
/// so that a line may be as long as its items need and no longer.
class TokenInput {
public:
    static constexpr std::size_t kReadAhead = 8192;
    static constexpr std::size_t kMaxLine = 255;

    /// Reads ahead into `room` instead of memory of its own, unless it is empty. The caller keeps
    /// the room as long as the file is open. Call it first.
    void ReadAheadInto(std::span<std::byte> room) { room_ = room; }

    /// Takes `source` over, which is at its start, finds out the form and reads the version. A
    /// source that has failed before is unreadable, with its error.
    TokenOpenStatus OpenForReading(std::unique_ptr<ByteSource> source, const TokenFileKind& kind,
                                   std::uint32_t* version);

    /// Takes `source` over in the middle of a text file, and reads on from its place.
    void ResumeText(std::unique_ptr<ByteSource> source);

    void Close() { source_.reset(); }
    bool IsOpen() const { return source_ != nullptr; }

    /// Closes the input, but hands its file over, as ByteSource::TakeFile().
    [[nodiscard]] int TakeFile(FileStamp* stamp);
    /// As ByteSource::StoredFile().
    int StoredFile() const { return source_ ? source_->StoredFile() : -1; }
    bool IsText() const { return form_ == TokenForm::kText; }
    bool IsCompressed() const { return source_ && source_->IsCompressed(); }
    std::int64_t StoredBytes() const { return source_ ? source_->StoredBytes() : -1; }
    int Error() const { return source_ ? source_->Error() : open_error_; }

    /// Where the next value is taken from.
    std::int64_t Tell() const;
    TokenStatus Seek(std::int64_t offset);

    /// Raw bytes, in either form; all of them or a failure.
    TokenStatus ReadBytes(std::span<std::byte> bytes);

    /// As many of `bytes` as the file still has.
    std::size_t ReadUpTo(std::span<std::byte> bytes);

    TokenStatus ReadInt(const char* key, std::int32_t* value);
    TokenStatus ReadByte(const char* key, std::uint8_t* value);
    TokenStatus ReadFloat(const char* key, float* value);
    TokenStatus ReadDouble(const char* key, double* value);
    TokenStatus ReadInt64(const char* key, std::int64_t* value);
    TokenStatus ReadFloats(const char* key, std::span<float> values);
    TokenStatus ReadMatrix(const char* key, std::span<float, 16> rows);

    /// The values that `format` names: whole numbers for "%hi" and "%i", floats for "%e".
    TokenStatus ReadRecord(const char* key, std::string_view format, std::span<double> values);

    /// A line of text without its newline. Failed: it is longer than `longest`, or has no end.
    TokenStatus ReadLine(std::string* line, std::size_t longest = kMaxLine);

private:
    void Take(std::unique_ptr<ByteSource> source, TokenForm form);
    bool Refill();
    int NextCharacter();
    void Unread() { --next_; }
    bool TakeKey(const char* key);
    bool TakeNearWord(std::size_t longest, std::string_view* word);
    bool TakeWord(std::array<char, 64>* room, std::string_view* word);
    template <class T>
    bool TakeNumber(T* value);
    bool TakeLineEnd();
    template <class T>
    TokenStatus ReadOne(const char* key, T* value);
    bool RestartAsText(const TokenFileKind& kind);

    std::unique_ptr<ByteSource> source_;
    TokenForm form_ = TokenForm::kBinary;
    int open_error_ = 0;

    // The read-ahead: bytes [next_, end_) of the room are read and not taken yet.
    std::unique_ptr<std::byte[]> own_room_;
    std::span<std::byte> room_;
    std::size_t next_ = 0;
    std::size_t end_ = 0;
    std::int64_t source_position_ = 0;
};
