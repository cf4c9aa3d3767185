// Messages to the person who watches the render.

#pragma once

#include <cstdarg>

/// Prints `module`, a colon, two blanks and the formatted message on standard error, as it
/// stands: a newline only where `format` has one. A null `module` prints nothing at all.
/// `module` is text, whatever it holds. Module and format together are cut at 255 bytes, never
/// inside a conversion; the arguments are printed whole.
/// Threads: any.
void DriverError(const char* module, const char* format, ...) __attribute__((format(printf, 2, 3)));
void DriverErrorV(const char* module, const char* format, std::va_list arguments)
    __attribute__((format(printf, 2, 0)));
