// Opens files with descriptors above the standard ones.

#include "util/io/open_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>

#include "util/base/uncopyable.h"

namespace {

constexpr int kStandardDescriptors = 3;

int OpenThroughInterruptions(const char* name, int flags, mode_t mode) {
    int descriptor = -1;
    do {
        descriptor = ::open(name, flags | O_CLOEXEC, mode);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

/// Opens /dev/null on the standard descriptors that are closed, for one scope. What the host prints
/// meanwhile is lost, as it was while they were closed.
class StandardDescriptorsTaken : public TgUncopyable {
public:
    StandardDescriptorsTaken() {
        for (int& descriptor : taken_) {
            descriptor = OpenThroughInterruptions("/dev/null", O_RDWR, 0);
            if (descriptor >= kStandardDescriptors) {
                ::close(descriptor);
                descriptor = -1;
            }
            if (descriptor < 0) return;
        }
    }
    ~StandardDescriptorsTaken() {
        const int error = errno;
        for (const int descriptor : taken_)
            if (descriptor >= 0) ::close(descriptor);
        errno = error;
    }

private:
    std::array<int, kStandardDescriptors> taken_{-1, -1, -1};
};

bool AreStandardDescriptorsOpen() {
    for (int descriptor = 0; descriptor < kStandardDescriptors; ++descriptor)
        if (::fcntl(descriptor, F_GETFD) < 0) return false;
    return true;
}

/// Another number for the file of `descriptor`, which is a standard one; closes that.
int MoveUp(int descriptor) {
    const int above = ::fcntl(descriptor, F_DUPFD_CLOEXEC, kStandardDescriptors);
    const int error = errno;
    ::close(descriptor);
    errno = error;
    return above;
}

}  // namespace

int OpenFile(const char* name, int flags, mode_t mode) {
    // Nothing can be printed into a file that is only read: it may be moved up afterwards, which
    // spares the questions about the standard descriptors.
    std::optional<StandardDescriptorsTaken> taken;
    if ((flags & O_ACCMODE) != O_RDONLY && !AreStandardDescriptorsOpen()) taken.emplace();
    const int descriptor = OpenThroughInterruptions(name, flags, mode);
    return descriptor < 0 || descriptor >= kStandardDescriptors ? descriptor : MoveUp(descriptor);
}

std::FILE* OpenStream(const char* name, const char* mode) {
    std::FILE* stream = nullptr;
    do {
        stream = std::fopen(name, mode);
    } while (!stream && errno == EINTR);
    return stream;
}
