// Reads stored files at any offset.

#include "util/io/random_source.h"

#include <unistd.h>

#include <cerrno>

#include "util/io/gzip_index.h"

namespace {

class PlainRandomSource : public RandomSource {
public:
    explicit PlainRandomSource(int descriptor) : descriptor_(descriptor) {}
    ~PlainRandomSource() override { ::close(descriptor_); }

    std::int64_t ReadAt(std::int64_t offset, std::span<std::byte> bytes) override {
        std::int64_t total = 0;
        while (!bytes.empty()) {
            const ssize_t read = ::pread(descriptor_, bytes.data(), bytes.size(), offset + total);
            if (read < 0 && errno == EINTR) continue;
            if (read < 0) return -1;
            if (read == 0) break;
            total += read;
            bytes = bytes.subspan(static_cast<std::size_t>(read));
        }
        return total;
    }

private:
    const int descriptor_;
};

}  // namespace

std::unique_ptr<RandomSource> NewRandomSource(int descriptor, bool is_gzip) {
    try {
        if (is_gzip) return std::make_unique<GzipIndex>(descriptor);
        return std::make_unique<PlainRandomSource>(descriptor);
    } catch (...) {
        ::close(descriptor);  // no source owns it yet
        throw;
    }
}
