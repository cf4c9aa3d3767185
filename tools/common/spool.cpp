// Spool: making the file, and copying between descriptors.

#include "tools/common/spool.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "tools/common/failure.h"
#include "util/io/open_file.h"

namespace {

constexpr std::size_t kPiece = std::size_t{1} << 16;
constexpr mode_t kOnlyForUs = 0600;

bool WriteAll(int to, const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t written = ::write(to, bytes, count);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
    return true;
}

}  // namespace

Spool::Spool() {
    const char* const wanted = std::getenv("TMPDIR");
    const std::string folder = wanted && *wanted ? wanted : "/tmp";
    descriptor_ = OpenFile(folder.c_str(), O_TMPFILE | O_RDWR, kOnlyForUs);
    if (descriptor_ >= 0) return;
    // Not every file system can make a file without a name.
    std::string name = folder + "/ptc-XXXXXX";
    descriptor_ = ::mkostemp(name.data(), O_CLOEXEC);
    if (descriptor_ < 0) FailWithErrno(name);
    ::unlink(name.c_str());
}

Spool::~Spool() {
    ::close(descriptor_);
}

void CopyDescriptor(int from, const std::string& from_name, int to, const std::string& to_name) {
    const auto piece = std::make_unique<char[]>(kPiece);
    for (;;) {
        const ssize_t there = ::read(from, piece.get(), kPiece);
        if (there < 0 && errno == EINTR) continue;
        if (there < 0) FailWithErrno(from_name);
        if (there == 0) return;
        if (!WriteAll(to, piece.get(), static_cast<std::size_t>(there))) FailWithErrno(to_name);
    }
}
