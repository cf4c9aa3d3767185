// Forms: how a cloud is stored, by a file's name or an option.

#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "ptc/format/token_file.h"

namespace convert {

enum class FileKind { kCloud, kPly, kCsv };

struct Form {
    FileKind kind = FileKind::kCloud;
    TokenForm text = TokenForm::kBinary;  ///< of a cloud or a PLY file
    bool is_gzip = false;

    bool operator==(const Form&) const = default;
};

/// The names that "--to" and "--from" know, as a sentence and as the help shows a set of values.
inline constexpr const char* kFormNames = "binary, text, gzip, ply, ply-ascii or csv";
inline constexpr const char* kFormSet = "{binary,text,gzip,ply,ply-ascii,csv}";

/// The form with that name; nothing for another.
std::optional<Form> FormCalled(std::string_view name);

/// The form of an extension: ".ptc", ".txt" or ".ptct", ".gz" behind any of these or alone, ".ply",
/// ".csv". Nothing for another.
std::optional<Form> FormOf(std::string_view file);

}  // namespace convert
