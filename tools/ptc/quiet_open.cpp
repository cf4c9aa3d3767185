// Opening a cloud whose faults the command itself reports.

#include "tools/ptc/quiet_open.h"

#include "tools/common/failure.h"

std::unique_ptr<CloudReader> OpenQuietly(const InputFile& file, CountCheck counts,
                                         std::string* why) {
    int error = 0;
    auto cloud = OpenCloud(file.Path().c_str(), why, {counts, true}, &error);
    if (!cloud && error != 0) FailWithErrno(file.Name(), error);
    return cloud;
}
