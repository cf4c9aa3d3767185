// OpenEXR files: linear light on a stream, and back.

#pragma once

#include <cstdio>

#include "tools/picture/linear_picture.h"

/// Whether this build has OpenEXR. Without it the functions below throw Failure.
extern const bool kHasExr;

/// Writes `picture` as channels R, G and B of 32 bits, compressed without loss, to `stream` and
/// flushes that. Throws Failure, which does not name the file.
void WriteExr(const LinearPicture& picture, std::FILE* stream);

/// Reads the channels R, G and B of `stream`. Throws Failure, which does not name the file, when it
/// cannot be read, lacks a channel or has another size.
LinearPicture ReadExr(std::FILE* stream, int width, int height);
