// `TgUncopyable`: the base of classes whose objects are never copied.
//
// Units      none.
// Errors     none.
// Ownership  none.
// Threads    any.

#pragma once

/// Base of what exists once: a copy of a lock or of an open file would guard or own nothing.
class TgUncopyable {
public:
    TgUncopyable(const TgUncopyable&) = delete;
    TgUncopyable& operator=(const TgUncopyable&) = delete;

protected:
    constexpr TgUncopyable() = default;
    ~TgUncopyable() = default;
};
