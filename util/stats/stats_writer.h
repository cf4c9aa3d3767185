// `StatsWriter`: where statistics write themselves, element by element.

#pragma once

#include <span>
#include <string_view>

#include "util/base/uncopyable.h"

/// One attribute of an element. Both texts live through the call, no longer.
struct StatsAttribute {
    std::string_view name;
    std::string_view value;
};

/// The report that a host collects: nested elements with attributes, leaves with a text.
///
/// Units      texts are bytes, UTF-8 where they are readable; numbers arrive as text.
/// Errors     none are told to a statistic; a writer keeps its own.
/// Ownership  every text is the caller's and is not kept.
/// Threads    one caller at a time.
class StatsWriter : public TgUncopyable {
public:
    virtual ~StatsWriter() = default;

    /// Opens an element; what follows, up to its EndElement(), lies in it.
    virtual void BeginElement(std::string_view tag, std::span<const StatsAttribute> attributes) = 0;

    /// Closes the element opened last. `newline`: end the line behind it; statistics always do.
    virtual void EndElement(std::string_view tag, bool newline) = 0;

    /// A whole element that holds a text and no other element.
    virtual void LeafElement(std::string_view tag, std::string_view value,
                             std::span<const StatsAttribute> attributes) = 0;
};
