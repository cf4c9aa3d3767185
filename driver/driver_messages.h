// The driver's own messages to the person who watches the render: one function for each.
//
// Units      counts of points.
// Errors     none. Under a null driver name nothing is printed.
// Ownership  texts are borrowed during the call.
// Threads    any.

#pragma once

#include <concepts>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "driver/image.h"
#include "util/host/message.h"
#include "util/text/printable_text.h"
#include "util/text/system_reason.h"

namespace driver_messages {

/// Prints on standard output, without the driver's name. `type` is printed unchanged.
inline void TypeIsUnknown(const std::string& type) {
    std::printf("error: unknown variable type '%s' in pointcloud display driver\n", type.c_str());
}

inline void TypeIsMissing(const char* driver_name) {
    DriverError(driver_name, "Bad type declaration - missing DisplayChannel?\n");
}

/// Throws std::bad_alloc.
inline void SizeIsImpossible(const char* driver_name, std::string_view type) {
    DriverError(driver_name, "variable of type '%s' has an impossible size\n",
                Printable(type).c_str());
}

inline void FileNameIsTooLong(const char* driver_name) {
    DriverError(driver_name, "file name too long\n");
}

/// Throws std::bad_alloc.
inline void FileCannotBeCreated(const char* driver_name, std::string_view file_name,
                                const std::string& reason) {
    DriverError(driver_name, "cannot create '%s': %s\n", Printable(file_name).c_str(),
                reason.c_str());
}

/// Allocates nothing, so that the line is printed even when memory has run out.
/// `kept`: points that a reader of the file finds; exactly the type of a cloud's counts, so that no
/// caller converts.
inline void FileIsIncomplete(const char* driver_name, std::string_view file_name,
                             const SystemReason& reason, std::same_as<std::int64_t> auto kept) {
    DriverError(driver_name, "cannot write all of '%s': %s; %lld points are kept\n",
                PrintableText<kMaxFileName>(file_name).c_str(), reason.c_str(),
                static_cast<long long>(kept));
}

}  // namespace driver_messages
