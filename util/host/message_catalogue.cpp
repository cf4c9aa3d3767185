// The texts of this system's own messages, and the search for one.

#include "util/host/message_catalogue.h"

#include <atomic>

namespace message_catalogue {
namespace {

// The order counts where an identifier is in the list twice or is looked up by its beginning: the
// first text is used.
constexpr const char* kBuiltIn[] = {
    "T43050 Organized point cloud file '%s' is gzipped; will be treated as unorganized.",
    "T43051 Point cloud file '%s' has unreadable points.",
    "T43052 Organized point cloud file '%s' has unreadable tree nodes.",
    "T43053 Can't handle more than 100 pointclouds per lookup.",
    "T43054 Point cloud file '%s' has no octree and exceeds %ld KB in memory: use 'ptc organize'.",
    "D05666 ENV variable \"%s\" too long. Max size: %d",
    nullptr,
};

constinit std::atomic<const char* const*> texts_in_use{kBuiltIn};

}  // namespace

const char* FindMessage(std::string_view identifier) {
    if (identifier.empty()) return nullptr;
    // acquire: pairs with the release in Replace()
    const char* const* text = texts_in_use.load(std::memory_order_acquire);
    while (*text && !std::string_view(*text).starts_with(identifier)) ++text;
    return *text;
}

void Replace(const char* const* texts) {
    // release: pairs with the acquire in FindMessage()
    texts_in_use.store(texts ? texts : kBuiltIn, std::memory_order_release);
}

}  // namespace message_catalogue
