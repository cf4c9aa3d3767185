// Picture files: PNG for screens, OpenEXR for linear values, chosen by the name's extension.
//
// Units      linear light; PNG has it as sRGB bytes, cut off at 0 and 1.
// Errors     a Failure that names the file.
// Ownership  a file that is written belongs to its OutputFile, which gives it its name.
// Threads    one caller at a time.

#pragma once

#include <cstdio>
#include <functional>
#include <optional>
#include <string>

#include "tools/common/output_file.h"
#include "tools/picture/linear_picture.h"

enum class PictureForm { kPng, kExr };

/// By the extension, ".png" or ".exr" in any case; nothing for another.
std::optional<PictureForm> PictureFormOf(const std::string& name);

/// Whether this build reads and writes files of the form.
bool HasPictureForm(PictureForm form);

/// What a message says about a form that this build lacks.
inline constexpr const char* kNoExr =
    "this build has no OpenEXR; libopenexr-dev was missing when it was configured";

/// Writes `picture` into `output`, as a whole, and leaves the Commit() to the caller. The same
/// picture gives the same bytes: neither time nor place is written.
void WritePicture(const LinearPicture& picture, PictureForm form, OutputFile* output);

/// Lets `write` write the bytes of `output`. What it throws gets the file's name in front.
void WriteThrough(OutputFile* output, const std::function<void(std::FILE*)>& write);

/// Reads the picture `name`, which has to have the given size; its header is compared before
/// memory is taken.
LinearPicture ReadPicture(const std::string& name, int width, int height);

/// The values that are left of `picture` once it is stored.
LinearPicture AsStored(const LinearPicture& picture, PictureForm form);
