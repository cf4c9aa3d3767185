// Cloud files by name: opening the file that the token layer reads or writes.
//
// Errors     those of the token layer, whose Error() then is the errno.
// Ownership  the token layer owns the file from then on; names are not kept.
// Threads    one caller at a time for one token input or token file.

#pragma once

#include <cstdint>

#include "ptc/format/layout.h"
#include "ptc/format/token_file.h"
#include "ptc/format/token_input.h"

/// Opens `name` into `input` and reads its version: as a plain file first, and inflated when that
/// is of neither form. `*version`: set on success only.
TokenOpenStatus OpenCloudFile(TokenInput& input, const char* name, std::uint32_t* version);

/// Makes or empties the file `name`, opens it into `file` and writes its head.
TokenStatus CreateCloudFile(TokenFile& file, const char* name, TokenForm form,
                            std::uint32_t version = ptc_layout::kVersion);
