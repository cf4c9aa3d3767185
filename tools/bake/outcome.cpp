// Outcome: compares the file's header with the file, and the file with the tally.

#include "tools/bake/outcome.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "tools/bake/stored_cloud.h"
#include "tools/common/failure.h"

namespace bake {

namespace {

/// Points that a driver merges at a time by default.
constexpr int kDefaultBufferSize = 10000;

/// The part of a sum of areas that rounding may lose: each merge rounds to a float, a point merges
/// with at most as many others as a buffer contains, and the text form has seven digits.
double RoundingShare(const DriverSettings& settings, std::uint64_t merges) {
    constexpr double kFloatRounding = 1.0 / (1 << 24);
    constexpr double kTextRounding = 1e-6;
    const int buffer = settings.buffer_size.value_or(kDefaultBufferSize);
    return std::min(static_cast<double>(merges), static_cast<double>(buffer)) * kFloatRounding +
           kTextRounding;
}

/// A driver writes the header last, so an interrupted bake has left an older one.
void RequireWhole(const std::string& file, const StoredCloud& cloud) {
    if (cloud.found < cloud.promised)
        throw Failure(fmt::format("{}: points are missing: the header promises {}, {} are there",
                                  file, cloud.promised, cloud.found));
    if (cloud.has_more)
        throw Failure(
            fmt::format("{}: the cloud is not whole: more is stored than the {} points "
                        "of its header",
                        file, cloud.promised));
}

void RequirePoints(const std::string& file, const StoredCloud& cloud, const Tally& tally,
                   const DriverSettings& settings) {
    const bool thins = settings.simplify.value_or(false);
    const bool drops = settings.eliminate_duplicates.value_or(false);
    const Amount& kept = drops ? tally.Distinct() : tally.All();
    const std::uint64_t least = thins ? std::min<std::uint64_t>(kept.samples, 1) : kept.samples;
    if (cloud.found > tally.All().samples)
        throw Failure(fmt::format("{}: the cloud has {} points, but {} were delivered", file,
                                  cloud.found, tally.All().samples));
    if (cloud.found < least)
        throw Failure(fmt::format("{}: points are missing: the cloud has {}, it should have {}{}",
                                  file, cloud.found, least, drops || thins ? " or more" : ""));
    // A sum that is NaN, as of a broken mesh, passes: all comparisons with it are false.
    const double least_area =
        kept.area * (1 - RoundingShare(settings, tally.All().samples - cloud.found));
    if (thins && cloud.has_area && cloud.area < least_area)
        throw Failure(
            fmt::format("{}: points are missing: the cloud's have an area of {:.6g}, "
                        "it should be {:.6g} or more",
                        file, cloud.area, least_area));
}

}  // namespace

std::string RequireOutcome(const std::string& file, const Tally& tally,
                           const DriverSettings& settings) {
    struct stat status;
    if (stat(file.c_str(), &status) != 0)
        throw Failure(fmt::format("the driver made no file {}: {}", file,
                                  std::generic_category().message(errno)));
    if (!S_ISREG(status.st_mode)) return "not a regular file, not looked into";
    if (status.st_size == 0) throw Failure(fmt::format("the driver left {} empty", file));
    const std::string size = fmt::format("{} bytes", status.st_size);
    const auto cloud = ReadStoredCloud(file);
    if (!cloud) return size + ", no point cloud, not looked into";
    RequirePoints(file, *cloud, tally, settings);
    RequireWhole(file, *cloud);
    return fmt::format("{}, {} points", size, cloud->found);
}

}  // namespace bake
