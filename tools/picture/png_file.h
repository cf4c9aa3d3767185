// PNG files: a picture's bytes on a stream, and back.

#pragma once

#include <cstdio>

#include "tools/picture/picture.h"

/// Writes `picture` as PNG, marked as sRGB, to `stream` and flushes that. The same picture gives
/// the same bytes: neither time nor place is written.
/// Throws Failure, which does not name the file.
void WritePng(const Picture& picture, std::FILE* stream);

/// Reads a PNG from `stream` as eight bits a colour, without its transparency. Throws Failure,
/// which does not name the file, when it cannot be read or has another size.
Picture ReadPng(std::FILE* stream, int width, int height);
