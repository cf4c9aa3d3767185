// Opening the cloud that a user named, with the reason of a failure as the line that the user
// reads.

#pragma once

#include <memory>
#include <string>

#include "ptc/reader.h"
#include "tools/common/failure.h"
#include "tools/common/input_file.h"

/// A file with fewer points than its header counts is opened, too: these commands are there for it.
inline std::unique_ptr<Cloud> OpenInput(const InputFile& file) {
    std::string why;
    auto cloud = OpenCloud(file.Path().c_str(), &why, CountCheck::kOff);
    if (!cloud) throw Failure(file.Name() + ": " + why);
    return cloud;
}
