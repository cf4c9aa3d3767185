// Making a file without a name, and keeping chains of chunks in it.

#include "ptc/organise/part_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>

#include "ptc/organise/organise_error.h"
#include "ptc/organise/positioned_io.h"
#include "util/io/open_file.h"

namespace {

constexpr mode_t kOnlyForUs = 0600;
constexpr int kAttempts = 100;  // names that others may hold

/// -1 on failure, and errno says why.
int OpenUnnamed(const std::string& folder) {
    const int unnamed = OpenFile(folder.c_str(), O_TMPFILE | O_RDWR, kOnlyForUs);
    if (unnamed >= 0) return unnamed;
    // Not every file system can make a file without a name.
    static constinit std::atomic<unsigned> made{0};
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const std::string name = folder + "/.ptc-" + std::to_string(::getpid()) + "-" +
                                 std::to_string(made.fetch_add(1)) + ".points";
        const int named = OpenFile(name.c_str(), O_CREAT | O_EXCL | O_RDWR, kOnlyForUs);
        if (named >= 0) ::unlink(name.c_str());
        if (named >= 0 || errno != EEXIST) return named;
    }
    return -1;
}

}  // namespace

PartFile::~PartFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

void PartFile::Open() {
    const char* const wanted = std::getenv("TMPDIR");
    folder_ = wanted && *wanted ? wanted : "/tmp";
    descriptor_ = OpenUnnamed(folder_);
    if (descriptor_ < 0)
        FailToOrganise(PtcFailureCode::kCannotWrite, folder_,
                       "a file for parts of the points cannot be made", errno);
}

void PartFile::Append(PartChain& chain, std::span<const std::byte> chunk) {
    if (chunk.empty()) return;
    if (descriptor_ < 0) Open();
    const bool is_reused = !free_.empty();
    const auto index = is_reused ? free_.back() : static_cast<std::uint32_t>(next_.size());
    if (!is_reused) next_.push_back(PartChain::kNone);
    if (is_reused) free_.pop_back();
    next_[index] = PartChain::kNone;
    if (!WriteAt(descriptor_, index * static_cast<std::int64_t>(ChunkBytes()), chunk))
        FailToOrganise(PtcFailureCode::kCannotWrite, folder_,
                       "parts of the points cannot be written", errno);
    if (chain.last != PartChain::kNone) next_[chain.last] = index;
    if (chain.first == PartChain::kNone) chain.first = index;
    chain.last = index;
    chain.records += static_cast<std::int64_t>(chunk.size() / record_bytes_);
    bytes_written_ += static_cast<std::int64_t>(chunk.size());
}

std::size_t PartFile::TakeFirst(PartChain& chain, std::span<std::byte> room) {
    if (chain.records == 0) return 0;
    const std::int64_t records = std::min(chain.records, static_cast<std::int64_t>(chunk_records_));
    const auto bytes = static_cast<std::size_t>(records) * record_bytes_;
    const std::uint32_t index = chain.first;
    if (!ReadAt(descriptor_, index * static_cast<std::int64_t>(ChunkBytes()), room.first(bytes)))
        FailToOrganise(PtcFailureCode::kUnreadable, folder_, "parts of the points cannot be read",
                       errno);
    chain.first = next_[index];
    chain.records -= records;
    if (chain.records == 0) chain = {};
    free_.push_back(index);
    return bytes;
}
