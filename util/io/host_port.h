// HostPort: "HOST:PORT" as a user writes it, checked.
//
// Units      port numbers from 1 to 65535.
// Errors     nothing for a text that is not of this form.
// Ownership  owns its text.
// Threads    any.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct HostPort {
    std::string host;  ///< a name or an address, without brackets
    std::uint16_t port = 0;

    /// As the user writes it.
    std::string Text() const;
};

/// Reads "name:9000", "10.0.0.1:9000" or "[::1]:9000". An IPv6 address needs the brackets, and may
/// have a zone, such as "[fe80::1%eth0]:9000". Looks no name up.
std::optional<HostPort> ParseHostPort(std::string_view text);
