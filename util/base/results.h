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

/// The file manager's answers: any number but 0 is an error code, the system's own when it gave
/// one.
enum class [[nodiscard]] AccessStatus : std::int32_t{kOk = 0, kUnreadable = -1};

constexpr bool Failed(TokenStatus status) {
    return status != TokenStatus::kOk;
}
constexpr bool Failed(CloudStatus status) {
    return status != CloudStatus::kOk;
}
constexpr bool Failed(DriverStatus status) {
    return status != DriverStatus::kSuccess;
}

constexpr bool Failed(AccessStatus status) {
    return status != AccessStatus::kOk;
}

/// The one place where a token layer answer becomes the writer's or the reader's.
constexpr CloudStatus ToCloudStatus(TokenStatus status) {
    return Failed(status) ? CloudStatus::kFailed : CloudStatus::kOk;
}

/// The one place where a driver answer becomes the number that the host sees.
constexpr std::int32_t ToHostCode(DriverStatus status) {
    return static_cast<std::int32_t>(status);
}

/// The one place where a writer's or reader's answer becomes the file manager's. `error` is the
/// system's reason for a failure; 0 when it has none to give.
constexpr AccessStatus ToAccessStatus(CloudStatus status, std::int32_t error) {
    if (!Failed(status)) return AccessStatus::kOk;
    return error == 0 ? AccessStatus::kUnreadable : static_cast<AccessStatus>(error);
}

/// The code that a file keeps of its last failure.
constexpr std::int32_t ToErrorCode(AccessStatus status) {
    return static_cast<std::int32_t>(status);
}
