// LeastBytes: points times the bytes of one, by the headers; and the questions to the file system.

#include "tools/clouds/space_check.h"

#include <sys/stat.h>

#include <cstdlib>
#include <memory>

#include "ptc/cloud/reader.h"
#include "tools/common/failure.h"
#include "util/io/free_space.h"

namespace {

/// Null: it is no cloud, or no file that can be opened without waiting for somebody.
std::unique_ptr<CloudReader> OpenToCount(const InputFile& file) {
    struct stat info {};
    if (::stat(file.Path().c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return nullptr;
    std::string why;
    int error = 0;
    auto cloud = OpenCloud(file.Path().c_str(), &why, {.is_quiet = true}, &error);
    // The words of the library, which would fail so next.
    if (!cloud && error != 0) FailWithErrno(file.Name() + ": cannot be opened", error);
    return cloud;
}

}  // namespace

std::int64_t LeastBytes(const LibraryInputs& inputs, int first, int count) {
    std::int64_t points = 0;
    std::int64_t point_bytes = 0;
    for (int i = first; i < first + count; ++i) {
        const auto cloud = OpenToCount(inputs[i]);
        // Its variables decide; and a call that refuses one input makes nothing.
        if (!cloud) return 0;
        if (i == first) point_bytes = static_cast<std::int64_t>(cloud->PointBytes());
        if (!cloud->input.IsCompressed()) points += cloud->point_count;
    }
    std::int64_t bytes = 0;
    return __builtin_mul_overflow(points, point_bytes, &bytes) ? 0 : bytes;
}

void CheckSpace(const std::string& path, const std::string& name, std::int64_t bytes) {
    const std::string lack = LackOfSpace(path, bytes);
    if (!lack.empty()) throw Failure(name + ": " + lack);
}

void CheckTemporarySpace(std::int64_t bytes) {
    const char* const wanted = std::getenv("TMPDIR");
    const std::string folder = wanted && *wanted ? wanted : "/tmp";
    CheckSpace(folder + "/.ptc-parts", "temporary file", bytes);
}
