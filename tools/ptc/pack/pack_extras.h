// What an archive gets beside a cloud: its header as JSON, and its picture.
//
// Units      bytes.
// Errors     a Failure. A cloud without a header or a picture is no failure: a note says why.
// Ownership  owns a temporary file with all of them; memory does not grow with their number.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tools/common/input_file.h"
#include "tools/common/spool.h"

namespace pack {

class PackExtras {
public:
    /// A part of the file Path().
    struct Part {
        std::int64_t offset = 0;
        std::int64_t bytes = 0;
    };

    PackExtras();

    const std::string& Path() const { return path_; }

    /// What `ptc info --json` prints of the cloud `file` in a folder where it is called `name`.
    std::optional<Part> AddHeader(const InputFile& file, const std::string& name);

    /// What `ptc view` makes of it.
    std::optional<Part> AddPicture(const InputFile& file);

private:
    Part Add(const std::function<void(std::FILE*)>& write);

    Spool spool_;
    std::string path_;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream_;
};

/// Whether a file begins as a cloud does, whole or not.
bool BeginsCloud(const InputFile& file);

}  // namespace pack
