// Spool: making the file, and copying between descriptors.

#include "tools/common/spool.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "tools/common/failure.h"

namespace {

constexpr std::size_t kPiece = std::size_t{1} << 16;

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
    const char* const folder = std::getenv("TMPDIR");
    std::string name = (folder && *folder ? std::string(folder) : "/tmp") + "/ptc-XXXXXX";
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
