// The families of result codes. The numbers are fixed from outside. Each family is a type of its
// own, so the compiler refuses to use one family as another or to ignore a result.
// docs/results.md lists all families.
//
// Units      none.
// Errors     Failed() is true for every value of a family that means failure.
// Ownership  none.
// Threads    any.

#pragma once

#include <cstdint>

/// Results of the token layer.
enum class [[nodiscard]] TokenStatus : std::int32_t{kOk = 0, kFailed = -1};

/// Results of opening a file for reading.
enum class [[nodiscard]] TokenOpenStatus : std::int32_t{kOk = 0, kUnreadable = 1, kOtherType = 2};

/// Results of the point cloud writer and reader.
enum class [[nodiscard]] CloudStatus : std::int32_t{kFailed = 0, kOk = 1};

/// Results of the driver; the exported functions return them to the host as plain integers.
enum class [[nodiscard]] DriverStatus : std::int32_t{
    kSuccess = 0, kUnsupported = 2, kBadParameters = 3, kNoResource = 4, kUndefined = 5,
};

/// Results of the file manager: 0, or an error code, which is an errno value if there is one.
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

/// The only conversion from the token layer to the writer and the reader.
constexpr CloudStatus ToCloudStatus(TokenStatus status) {
    return Failed(status) ? CloudStatus::kFailed : CloudStatus::kOk;
}

/// The only conversion from the driver to the number that the host gets.
constexpr std::int32_t ToHostCode(DriverStatus status) {
    return static_cast<std::int32_t>(status);
}

/// The only conversion from the writer and the reader to the file manager. `error`: the errno
/// value of the failure, or 0 if there is none.
constexpr AccessStatus ToAccessStatus(CloudStatus status, std::int32_t error) {
    if (!Failed(status)) return AccessStatus::kOk;
    return error == 0 ? AccessStatus::kUnreadable : static_cast<AccessStatus>(error);
}

/// The error code that a file stores for its last failure.
constexpr std::int32_t ToErrorCode(AccessStatus status) {
    return static_cast<std::int32_t>(status);
}
