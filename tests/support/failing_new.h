// operator new that fails on demand, in programs that link failing_new.cpp.

#pragma once

#include <atomic>

/// Asked before each allocation; true lets it fail. Null: none fails.
extern std::atomic<bool (*)()> new_fails;
