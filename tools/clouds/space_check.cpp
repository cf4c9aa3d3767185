// LeastBytes: points times the bytes of one, by the headers; and the questions to the file system.

#include "tools/clouds/space_check.h"

#include <sys/stat.h>

#include <cstdlib>
#include <memory>

#include "ptc/cloud/reader.h"
#include "tools/common/failure.h"
#include "util/io/free_space.h"

namespace {

/// Null: nothing can be said of the file `path`.
std::unique_ptr<CloudReader> OpenToCount(const char* path) {
    struct stat info {};
    // Opening a pipe would wait for its other end.
    if (::stat(path, &info) != 0 || !S_ISREG(info.st_mode)) return nullptr;
    std::string ignored;
    return OpenCloud(path, &ignored, {.is_quiet = true});
}

}  // namespace

std::int64_t LeastBytes(const char* const* paths, int count) {
    std::int64_t points = 0;
    std::int64_t point_bytes = 0;
    for (int i = 0; i < count; ++i) {
        const auto cloud = OpenToCount(paths[i]);
        // Its variables decide; and a call that refuses one input makes nothing.
        if (!cloud) return 0;
        if (i == 0) point_bytes = static_cast<std::int64_t>(cloud->PointBytes());
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
