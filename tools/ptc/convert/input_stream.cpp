// InputStream: the buffer under lines, words and bytes.

#include "tools/ptc/convert/input_stream.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <system_error>

#include "tools/common/failure.h"

namespace convert {

namespace {

/// False for -1, the end of the file.
bool IsBlank(int c) {
    constexpr auto bit = [](char blank) { return std::uint64_t{1} << blank; };
    constexpr std::uint64_t kBlanks = bit(' ') | bit('\n') | bit('\r') | bit('\t');
    return c >= 0 && c <= ' ' && (kBlanks >> c & 1) != 0;
}

}  // namespace

InputStream::InputStream(const InputFile& file) : name_(file.Name()), buffer_(kBufferBytes) {
    if (!file_.Open(file.Path().c_str(), false))
        Fail(std::generic_category().message(file_.Error()));
}

void InputStream::Fail(const std::string& reason) const {
    throw Failure(fmt::format("{}: {}", name_, reason));
}

bool InputStream::Refill() {
    const std::int64_t read = file_.Read(buffer_);
    // An error after the last bytes that were read is not the end of the file.
    if (read < 0 || file_.Error() != 0) Fail(std::generic_category().message(file_.Error()));
    next_ = 0;
    end_ = static_cast<std::size_t>(read);
    position_ += read;
    return read > 0;
}

int InputStream::Next() {
    if (next_ == end_ && !Refill()) return -1;
    return static_cast<unsigned char>(buffer_[next_++]);
}

std::string_view InputStream::AheadAsText() const {
    return {static_cast<const char*>(static_cast<const void*>(buffer_.data())) + next_,
            end_ - next_};
}

/// A line that ends within the buffer needs no copy.
bool InputStream::ReadLine(std::string_view* line) {
    static_assert(kBufferBytes <= kMaxLine);  // no line in it is above the limit
    const std::string_view ahead = AheadAsText();
    if (const std::size_t length = ahead.find('\n'); length != std::string_view::npos) {
        next_ += length + 1;
        *line = ahead.substr(0, length);
        if (line->ends_with('\r')) line->remove_suffix(1);
        return true;
    }
    text_.clear();
    int c = Next();
    if (c < 0) return false;
    for (; c >= 0 && c != '\n'; c = Next()) {
        if (text_.size() == kMaxLine) Fail(fmt::format("it has a line above {} bytes", kMaxLine));
        text_ += static_cast<char>(c);
    }
    *line = text_;
    if (line->ends_with('\r')) line->remove_suffix(1);
    return true;
}

/// A word that ends within the buffer needs no copy.
std::string_view InputStream::ReadWord() {
    const std::string_view ahead = AheadAsText();
    const auto is_blank = [](char c) { return IsBlank(static_cast<unsigned char>(c)); };
    const auto first = std::find_if_not(ahead.begin(), ahead.end(), is_blank);
    const auto last = std::find_if(first, ahead.end(), is_blank);
    if (last != ahead.end() && last - first <= static_cast<std::ptrdiff_t>(kMaxWord)) {
        next_ += static_cast<std::size_t>(last - ahead.begin()) + 1;
        return {first, last};
    }
    text_.clear();
    int c = Next();
    while (IsBlank(c)) c = Next();
    for (; c >= 0 && !IsBlank(c); c = Next()) {
        if (text_.size() == kMaxWord) Fail(fmt::format("it has a number above {} bytes", kMaxWord));
        text_ += static_cast<char>(c);
    }
    if (text_.empty()) Fail("it ends too early");
    return text_;
}

void InputStream::Read(std::span<std::byte> bytes) {
    while (!bytes.empty()) {
        if (next_ == end_ && !Refill()) Fail("it ends too early");
        const std::size_t ready = std::min(bytes.size(), end_ - next_);
        std::memcpy(bytes.data(), buffer_.data() + next_, ready);
        next_ += ready;
        bytes = bytes.subspan(ready);
    }
}

void InputStream::Skip(std::uint64_t bytes) {
    while (bytes > 0) {
        if (next_ == end_ && !Refill()) Fail("it ends too early");
        const std::uint64_t ready = std::min<std::uint64_t>(bytes, end_ - next_);
        next_ += static_cast<std::size_t>(ready);
        bytes -= ready;
    }
}

double InputStream::Share() const {
    const auto stored = static_cast<double>(file_.StoredBytes());
    const auto taken = static_cast<double>(position_) - static_cast<double>(end_ - next_);
    return stored > 0 ? std::min(taken / stored, 1.0) : 0;
}

}  // namespace convert
