// `StatsWriter`: the interface through which statistics write a report, element by element.

#pragma once

#include <span>
#include <string_view>

#include "util/base/uncopyable.h"

/// One attribute of an element. Both texts are borrowed during the call.
struct StatsAttribute {
    std::string_view name;
    std::string_view value;
};

/// A report: nested elements with attributes, and leaves with a text.
///
/// Units      texts are bytes, usually UTF-8; numbers are passed as text.
/// Errors     none are returned; a writer keeps its own.
/// Ownership  every text belongs to the caller and is copied or written before the return.
/// Threads    one caller at a time.
class StatsWriter : public TgUncopyable {
public:
    virtual ~StatsWriter() = default;

    /// Opens an element, which contains everything up to its EndElement().
    virtual void BeginElement(std::string_view tag, std::span<const StatsAttribute> attributes) = 0;

    /// Closes the innermost open element. `newline`: also ends the line; statistics always do that.
    virtual void EndElement(std::string_view tag, bool newline) = 0;

    /// Writes a whole element that contains a text and no other element.
    virtual void LeafElement(std::string_view tag, std::string_view value,
                             std::span<const StatsAttribute> attributes) = 0;
};
