// TemporaryCloud: the folder, and the file without a name.

#include "tools/clouds/temporary_cloud.h"

#include <fcntl.h>

#include <cerrno>

#include "tools/common/failure.h"
#include "util/io/open_file.h"

TemporaryCloud::TemporaryCloud() {
    if (!folder_.Make()) FailWithErrno(folder_.FailedName());
    path_ = folder_.Path() + "/out.ptc";
}

void TemporaryCloud::HideFile() {
    hidden_.Reset(OpenFile(path_.c_str(), O_RDONLY));
    if (!hidden_.IsOpen()) FailWithErrno(path_);
    folder_.Remove();
    path_ = "/proc/self/fd/" + std::to_string(hidden_.Number());
}
