// The families of result codes. The numbers are fixed from outside; the types are ours, so that
// the compiler refuses to pass one family off as another and to drop an answer unread.
// docs/results.md lists them side by side.

#pragma once

#include <cstdint>

/// The token layer's answers.
enum class [[nodiscard]] TokenStatus : std::int32_t{kOk = 0, kFailed = -1};

/// What opening a file for reading answers.
enum class [[nodiscard]] TokenOpenStatus : std::int32_t{kOk = 0, kUnreadable = 1, kOtherType = 2};

/// The point cloud writer's and reader's answers.
enum class [[nodiscard]] CloudStatus : std::int32_t{kFailed = 0, kOk = 1};

/// The driver's answers, which the exported functions hand to the host as plain integers.
enum class [[nodiscard]] DriverStatus : std::int32_t{
    kSuccess = 0, kUnsupported = 2, kBadParameters = 3, kNoResource = 4, kUndefined = 5,
};

constexpr bool Failed(TokenStatus status) {
    return status != TokenStatus::kOk;
}
constexpr bool Failed(CloudStatus status) {
    return status != CloudStatus::kOk;
}
constexpr bool Failed(DriverStatus status) {
    return status != DriverStatus::kSuccess;
}

/// The one place where a token layer answer becomes the writer's or the reader's.
constexpr CloudStatus ToCloudStatus(TokenStatus status) {
    return Failed(status) ? CloudStatus::kFailed : CloudStatus::kOk;
}

/// The one place where a driver answer becomes the number that the host sees.
constexpr std::int32_t ToHostCode(DriverStatus status) {
    return static_cast<std::int32_t>(status);
}
