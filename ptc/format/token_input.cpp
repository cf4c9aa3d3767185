// The token layer's reading side: opening, positions, the read-ahead.

#include "ptc/format/token_input.h"

#include <algorithm>
#include <cstring>

void TokenInput::Take(std::unique_ptr<ByteSource> source, TokenForm form) {
    source_ = std::move(source);
    form_ = form;
    next_ = end_ = 0;
    source_position_ = 0;
    if (!room_.empty()) return;
    own_room_.reset(new std::byte[kReadAhead]);  // not cleared: filled by reads
    room_ = {own_room_.get(), kReadAhead};
}

void TokenInput::ResumeText(std::unique_ptr<ByteSource> source) {
    Take(std::move(source), TokenForm::kText);
}

int TokenInput::TakeFile(FileStamp* stamp) {
    const int descriptor = source_->TakeFile(stamp);
    Close();
    return descriptor;
}

TokenOpenStatus TokenInput::OpenForReading(std::unique_ptr<ByteSource> source,
                                           const TokenFileKind& kind, std::uint32_t* version) {
    if (source->Error() != 0) {
        open_error_ = source->Error();
        return TokenOpenStatus::kUnreadable;
    }
    Take(std::move(source), TokenForm::kBinary);
    std::uint32_t type = 0;
    const std::size_t there = ReadUpTo(std::as_writable_bytes(std::span(&type, 1)));
    const bool is_binary = there == sizeof type && type == kind.type_code;
    const bool is_known = is_binary || (there == sizeof type && RestartAsText(kind));

    TokenOpenStatus status = TokenOpenStatus::kOtherType;
    std::int32_t number = 0;
    if (is_known) status = TokenOpenStatus::kUnreadable;
    if (is_known && !Failed(ReadInt("version", &number))) status = TokenOpenStatus::kOk;
    if (status == TokenOpenStatus::kOk) {
        *version = static_cast<std::uint32_t>(number);
        return status;
    }
    if (source_->Error() != 0) status = TokenOpenStatus::kUnreadable;
    open_error_ = source_->Error();
    source_.reset();
    return status;
}

/// Rewinds and reads the first line as text. True: it begins with the magic text, whose newline, if
/// it has one, counts.
bool TokenInput::RestartAsText(const TokenFileKind& kind) {
    std::string line;
    form_ = TokenForm::kText;
    return !Failed(Seek(0)) && !Failed(ReadLine(&line)) && (line += '\n').starts_with(kind.magic);
}

std::int64_t TokenInput::Tell() const {
    return source_position_ - static_cast<std::int64_t>(end_ - next_);
}

TokenStatus TokenInput::Seek(std::int64_t offset) {
    const std::int64_t first = source_position_ - static_cast<std::int64_t>(end_);
    if (offset >= first && offset <= source_position_) {
        next_ = static_cast<std::size_t>(offset - first);
        return TokenStatus::kOk;
    }
    next_ = end_ = 0;
    if (!source_->Seek(offset)) return TokenStatus::kFailed;
    source_position_ = offset;
    return TokenStatus::kOk;
}

bool TokenInput::Refill() {
    next_ = end_ = 0;
    const std::int64_t read = source_->Read(room_);
    if (read <= 0) return false;
    end_ = static_cast<std::size_t>(read);
    source_position_ += read;
    return true;
}

std::size_t TokenInput::ReadUpTo(std::span<std::byte> bytes) {
    const std::size_t wanted = bytes.size();
    while (!bytes.empty()) {
        if (next_ == end_ && bytes.size() >= room_.size()) {
            // More than the read-ahead holds: straight into the caller's memory. What was read
            // ahead is then no longer what lies before the source's position.
            next_ = end_ = 0;
            const std::int64_t read = source_->Read(bytes);
            if (read <= 0) break;
            source_position_ += read;
            bytes = bytes.subspan(static_cast<std::size_t>(read));
            continue;
        }
        if (next_ == end_ && !Refill()) break;
        const std::size_t ready = std::min(bytes.size(), end_ - next_);
        std::memcpy(bytes.data(), room_.data() + next_, ready);
        next_ += ready;
        bytes = bytes.subspan(ready);
    }
    return wanted - bytes.size();
}

TokenStatus TokenInput::ReadBytes(std::span<std::byte> bytes) {
    if (bytes.size() <= end_ - next_) {  // nearly always, for the values of a header
        if (!bytes.empty()) std::memcpy(bytes.data(), room_.data() + next_, bytes.size());
        next_ += bytes.size();
        return TokenStatus::kOk;
    }
    return ReadUpTo(bytes) == bytes.size() ? TokenStatus::kOk : TokenStatus::kFailed;
}

int TokenInput::NextCharacter() {
    if (next_ == end_ && !Refill()) return -1;
    return static_cast<unsigned char>(room_[next_++]);
}

TokenStatus TokenInput::ReadLine(std::string* line, std::size_t longest) {
    line->clear();
    for (;;) {
        if (next_ == end_ && !Refill()) return TokenStatus::kFailed;
        // One character more than the line may have: the newline, or one too many.
        const std::size_t room = longest + 1 - line->size();
        const auto* const text = reinterpret_cast<const char*>(room_.data()) + next_;
        const std::string_view there(text, std::min(end_ - next_, room));
        const std::size_t length = there.find('\n');
        if (length != std::string_view::npos) {
            line->append(there, 0, length);
            next_ += length + 1;
            return TokenStatus::kOk;
        }
        next_ += there.size();
        line->append(there, 0, room - 1);
        if (there.size() == room) return TokenStatus::kFailed;
    }
}
