// Finding repeats among more points than fit memory: in classes by their hashes, which fit it.

#include <algorithm>
#include <cstring>
#include <memory>
#include <queue>
#include <vector>

#include "ptc/organise/repeats.h"

namespace {

constexpr std::size_t kChunkBytes = std::size_t{1} << 14;
constexpr std::size_t kTablePlaces = 4;  // bytes of the table for each record, at most: it doubles
constexpr std::size_t kNumberBytes = sizeof(std::uint32_t);

/// Records of a class, each behind its number in the whole.
class ClassReader {
public:
    ClassReader(PartFile& file, PartChain chain)
        : file_(file), chain_(chain), chunk_(file.ChunkBytes()) {}

    /// The next one; null: there is none.
    const std::byte* Next() {
        if (at_ == end_) {
            end_ = file_.TakeFirst(chain_, chunk_);
            at_ = 0;
            if (end_ == 0) return nullptr;
        }
        const std::byte* const next = &chunk_[at_];
        at_ += file_.RecordBytes();
        return next;
    }

private:
    PartFile& file_;
    PartChain chain_;
    std::vector<std::byte> chunk_;
    std::size_t at_ = 0;
    std::size_t end_ = 0;
};

/// Collects whole chunks for a chain.
class ChainWriter {
public:
    explicit ChainWriter(PartFile& file) : file_(file) { chunk_.reserve(file.ChunkBytes()); }

    void Add(const std::byte* bytes, std::size_t count) {
        chunk_.insert(chunk_.end(), bytes, bytes + count);
        if (chunk_.size() == file_.ChunkBytes()) End();
    }
    PartChain End() {
        file_.Append(chain_, chunk_);
        chunk_.clear();
        return chain_;
    }

private:
    PartFile& file_;
    std::vector<std::byte> chunk_;
    PartChain chain_;
};

std::uint32_t NumberOf(const std::byte* numbered) {
    std::uint32_t number;
    std::memcpy(&number, numbered, sizeof number);
    return number;
}

/// The first of each bytes among the records of a class.
PartChain FirstOnes(PartFile& file, PartChain chain) {
    const std::size_t record = file.RecordBytes() - kNumberBytes;
    ClassReader reader(file, chain);
    ChainWriter kept(file);
    SeenRecords seen(record);
    std::vector<std::byte> records;
    while (const std::byte* const numbered = reader.Next()) {
        records.insert(records.end(), numbered + kNumberBytes, numbered + kNumberBytes + record);
        if (seen.Add(records.data(), static_cast<std::uint32_t>(seen.Count()))) {
            kept.Add(numbered, file.RecordBytes());
        } else {
            records.resize(records.size() - record);
        }
    }
    return kept.End();
}

}  // namespace

PartChain DropRepeats(PartFile& file, PartChain chain, std::size_t memory) {
    const std::size_t record = file.RecordBytes();
    const std::size_t numbered = record + kNumberBytes;
    PartFile classes(numbered, std::max<std::size_t>(kChunkBytes / numbered, 1));
    const std::size_t most = std::max<std::size_t>(memory / 2 / classes.ChunkBytes(), 2);
    // Vectors grow by doubling, so half of the memory is left to that.
    const std::size_t each = 2 * (record + 2 * kTablePlaces * sizeof(std::uint32_t));
    const std::size_t wanted = static_cast<std::size_t>(chain.records) * each / memory + 1;
    const std::size_t count = std::min(2 * wanted, most);

    std::vector<PartChain> chains;
    {
        std::vector<ChainWriter> writers(count, ChainWriter(classes));
        std::vector<std::byte> piece(file.ChunkBytes());
        std::uint32_t number = 0;
        while (const std::size_t bytes = file.TakeFirst(chain, piece)) {
            for (std::size_t at = 0; at < bytes; at += record, ++number) {
                // High bits: the low ones choose places in the table.
                ChainWriter& writer = writers[(HashOf(&piece[at], record) >> 32) % count];
                std::byte head[kNumberBytes];
                std::memcpy(head, &number, sizeof number);
                writer.Add(head, sizeof head);
                writer.Add(&piece[at], record);
            }
        }
        for (ChainWriter& writer : writers) chains.push_back(writer.End());
    }
    for (PartChain& one : chains) one = FirstOnes(classes, one);

    // Back into the order of the numbers.
    std::vector<std::unique_ptr<ClassReader>> readers;
    using Head = std::pair<std::uint32_t, std::size_t>;  // number, class
    std::priority_queue<Head, std::vector<Head>, std::greater<>> heads;
    std::vector<const std::byte*> next;
    for (const PartChain& one : chains) {
        readers.push_back(std::make_unique<ClassReader>(classes, one));
        next.push_back(readers.back()->Next());
        if (next.back()) heads.emplace(NumberOf(next.back()), next.size() - 1);
    }
    ChainWriter kept(file);
    while (!heads.empty()) {
        const std::size_t from = heads.top().second;
        heads.pop();
        kept.Add(next[from] + kNumberBytes, record);
        next[from] = readers[from]->Next();
        if (next[from]) heads.emplace(NumberOf(next[from]), from);
    }
    return kept.End();
}
