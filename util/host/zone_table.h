// ZoneTable -- where folders of other machines are on this one: the entries "/dirmap/zone".
//
// Units      none.
// Errors     a value that is neither one word nor three is ignored, and so is one for which there
//            is no memory. Place() throws std::bad_alloc.
// Ownership  owns its rules; the values that they point into belong to the caller, and live as long
//            as the table.
// Threads    any member from any thread at any time, without a lock: a rule is complete before it
//            is published as the newest one, and neither it nor the rest of the list changes
//            afterwards.

#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <string_view>

#include "util/base/uncopyable.h"

class ZoneTable : public TgUncopyable {
public:
    ZoneTable() = default;
    ~ZoneTable();

    /// Adds the value of an entry: "NAME", the zone of this machine, or "ZONE FROM TO".
    void Add(std::string_view value) noexcept;

    /// Whether no path is moved, whatever it is.
    bool IsEmpty() const noexcept {
        // acquire: pairs with the release in Add()
        return newest_.load(std::memory_order_acquire) == nullptr;
    }

    /// The place of `path`, if it is moved. Of the rules that apply the one with the longest FROM
    /// is used; of several with the same FROM the newest. `architecture`: a zone of this machine
    /// besides the one that was named last and "*".
    std::optional<std::string> Place(std::string_view path, std::string_view architecture) const;

private:
    /// `from` and `to` have no slashes at their ends, so that the root folder is empty. A rule that
    /// names the zone of this machine moves nothing.
    struct Rule {
        const Rule* next;
        std::string_view zone;
        std::string_view from;
        std::string_view to;
        bool names_this_zone;
    };

    std::string_view ThisZone(std::string_view otherwise) const noexcept;

    std::atomic<const Rule*> newest_{nullptr};
};
