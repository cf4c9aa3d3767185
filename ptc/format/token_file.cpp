// The token layer's file: opening, positions, the buffer that collects writes.

#include "ptc/format/token_file.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

constexpr std::size_t kDefaultCapacity = 16384;

/// Collected bytes beyond this go to the file early, so that no declaration, however many floats
/// it asks for, makes the buffer swallow the host's memory. The file's bytes are the same.
constexpr std::size_t kMaxCapacity = std::size_t{64} << 20;

/// What the scratch memory holds from the beginning: the block of the header, which is rewritten
/// when memory has run out as well.
constexpr std::size_t kScratchBytes = 2048;

}  // namespace

TokenFile::TokenFile() = default;
TokenFile::~TokenFile() = default;

TokenStatus TokenFile::OpenForWriting(std::unique_ptr<ByteSink> sink, const TokenFileKind& kind,
                                      TokenForm form) {
    sink_ = std::move(sink);
    form_ = form;
    if (sink_->Error() != 0) return FailOpen();
    text_.reserve(kScratchBytes);
    group_.reserve(kScratchBytes);
    if (form == TokenForm::kBinary) {
        if (Failed(PutRaw(kind.type_code))) return FailOpen();
    } else {
        std::string_view line = kind.magic;
        if (line.ends_with('\n')) line.remove_suffix(1);
        if (Failed(WriteLine(line))) return FailOpen();
    }
    if (Failed(WriteInt("version", static_cast<std::int32_t>(kind.version)))) return FailOpen();
    return TokenStatus::kOk;
}

TokenStatus TokenFile::FailOpen() {
    open_error_ = sink_->Error();
    (void)sink_->Close();
    sink_.reset();
    return TokenStatus::kFailed;
}

int TokenFile::Error() const {
    return sink_ ? sink_->Error() : open_error_;
}

TokenStatus TokenFile::Close() {
    if (!sink_) return TokenStatus::kOk;
    const TokenStatus collected = EndBuffering();
    const bool closed = sink_->Close();
    open_error_ = sink_->Error();
    sink_.reset();
    return closed ? collected : TokenStatus::kFailed;
}

std::int64_t TokenFile::Tell() {
    const std::int64_t below = sink_->Tell();
    return below < 0 ? -1 : below + static_cast<std::int64_t>(fill_);
}

TokenStatus TokenFile::Seek(std::int64_t offset) {
    return sink_->Seek(offset) ? TokenStatus::kOk : TokenStatus::kFailed;
}

TokenStatus TokenFile::SeekToEnd() {
    return sink_->SeekToEnd() ? TokenStatus::kOk : TokenStatus::kFailed;
}

void TokenFile::BeginBuffering(std::size_t hint) {
    if (is_buffering_) return;
    if (hint == 0 && capacity_ == 0) hint = kDefaultCapacity;
    // Without memory it grows later, or never: what does not fit is written at once.
    (void)Grow(std::min(hint, kMaxCapacity));
    fill_ = 0;
    is_buffering_ = true;
}

TokenStatus TokenFile::EndBuffering() {
    if (!is_buffering_) return TokenStatus::kOk;
    is_buffering_ = false;
    return WriteCollected();
}

TokenStatus TokenFile::WriteCollected() {
    const std::span<const std::byte> collected(buffer_.get(), fill_);
    fill_ = 0;
    if (collected.empty()) return TokenStatus::kOk;
    return sink_->Write(collected) ? TokenStatus::kOk : TokenStatus::kFailed;
}

/// Makes the capacity `needed` at least. False: no memory; all stays as it is.
bool TokenFile::Grow(std::size_t needed) noexcept {
    if (needed <= capacity_) return true;
    // Not cleared: filled by writes.
    std::unique_ptr<std::byte[]> larger(new (std::nothrow) std::byte[needed]);
    if (!larger) return false;
    if (fill_) std::memcpy(larger.get(), buffer_.get(), fill_);
    buffer_ = std::move(larger);
    capacity_ = needed;
    return true;
}

std::byte* TokenFile::Reserve(std::size_t bytes) noexcept {
    if (!is_buffering_ || bytes > kMaxCapacity - fill_) return nullptr;
    if (fill_ + bytes > capacity_ &&
        !Grow(std::max(fill_ + bytes, std::min(2 * capacity_, kMaxCapacity))))
        return nullptr;
    return buffer_.get() + fill_;
}

TokenStatus TokenFile::Put(std::span<const std::byte> bytes) {
    if (is_grouping_) {
        group_.insert(group_.end(), bytes.begin(), bytes.end());
        return TokenStatus::kOk;
    }
    if (!is_buffering_) return sink_->Write(bytes) ? TokenStatus::kOk : TokenStatus::kFailed;
    if (std::byte* const room = Reserve(bytes.size())) {
        std::memcpy(room, bytes.data(), bytes.size());
        Commit(bytes.size());
        return TokenStatus::kOk;
    }
    if (Failed(WriteCollected())) return TokenStatus::kFailed;
    return sink_->Write(bytes) ? TokenStatus::kOk : TokenStatus::kFailed;
}

TokenStatus TokenFile::PutText(std::string_view text) {
    return Put(std::as_bytes(std::span(text)));
}
