// HostPort: reading the two parts.

#include "util/io/host_port.h"

#include <arpa/inet.h>
#include <net/if.h>

#include <algorithm>
#include <charconv>

#include "util/base/ascii.h"

namespace {

/// The longest name that the domain name system has.
constexpr std::size_t kMostNameBytes = 253;

bool IsNameByte(char c) {
    return IsAsciiLetter(c) || IsAsciiDigit(c) || c == '-' || c == '.' || c == '_';
}

bool IsName(std::string_view text, std::size_t most) {
    return !text.empty() && text.size() <= most && text.front() != '-' &&
           std::all_of(text.begin(), text.end(), IsNameByte);
}

/// An IPv6 address, perhaps with the interface that it is reached through.
bool IsSixAddress(std::string_view text) {
    const std::size_t percent = text.find('%');
    if (percent != text.npos && !IsName(text.substr(percent + 1), IF_NAMESIZE - 1)) return false;
    in6_addr address;
    return inet_pton(AF_INET6, std::string(text.substr(0, percent)).c_str(), &address) == 1;
}

/// Digits alone: from_chars() takes neither a sign nor a blank for an unsigned number.
std::optional<std::uint16_t> ParsePort(std::string_view text) {
    std::uint16_t port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc() || end != text.data() + text.size() || text.front() == '0')
        return std::nullopt;
    return port;
}

}  // namespace

std::string HostPort::Text() const {
    const bool is_six = host.find(':') != host.npos;
    return (is_six ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

std::optional<HostPort> ParseHostPort(std::string_view text) {
    const std::size_t colon = text.rfind(':');
    if (colon == text.npos) return std::nullopt;
    std::string_view host = text.substr(0, colon);
    const std::optional<std::uint16_t> port = ParsePort(text.substr(colon + 1));
    if (!port) return std::nullopt;
    if (host.starts_with('[') && host.ends_with(']')) {
        host = host.substr(1, host.size() - 2);
        // A NUL would end what inet_pton() looks at.
        if (host.find('\0') != host.npos || !IsSixAddress(host)) return std::nullopt;
    } else if (!IsName(host, kMostNameBytes)) {
        return std::nullopt;
    }
    return HostPort{std::string(host), *port};
}
