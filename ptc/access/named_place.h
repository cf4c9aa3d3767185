// NamedPlace: the place on this machine of a file that the library's user has named.
//
// Units      none.
// Errors     throws std::bad_alloc.
// Ownership  a name that is not moved is borrowed; one that is moved is a copy.
// Threads    any; TakeNamesAsPlaces() before any other function of the library.
//
// The entries "/dirmap/zone" of the configuration move folders (docs/configuration.md). Names are
// looked up there once, at the public functions, before a file is known by its name. So all names
// of one file lead to one object. Nothing below the public functions moves a name.

#pragma once

#include <optional>
#include <string>

class NamedPlace {
public:
    /// `name`: may be null.
    explicit NamedPlace(const char* name);

    /// Null for null.
    const char* Get() const { return moved_ ? moved_->c_str() : name_; }

private:
    std::optional<std::string> moved_;
    const char* const name_;
};

/// From here on names are taken as they are. For programs that look their users' names up
/// themselves: a second look-up could move what the first one gave, and would move temporary files.
void TakeNamesAsPlaces() noexcept;
