// TemporaryCloud: the folder, and the file without a name.

#include "tools/ptc/temporary_cloud.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdlib>

#include "tools/common/failure.h"

TemporaryCloud::TemporaryCloud() {
    const char* const temporary = std::getenv("TMPDIR");
    std::string folder =
        (temporary && *temporary ? std::string(temporary) : "/tmp") + "/ptc-XXXXXX";
    if (!::mkdtemp(folder.data())) FailWithErrno(folder);
    folder_ = folder;
    path_ = folder_ + "/out.ptc";
}

TemporaryCloud::~TemporaryCloud() {
    Remove();
    if (descriptor_ >= 0) ::close(descriptor_);
}

void TemporaryCloud::Remove() {
    if (folder_.empty()) return;
    ::unlink((folder_ + "/out.ptc").c_str());
    ::rmdir(folder_.c_str());
    folder_.clear();
}

void TemporaryCloud::HideFile() {
    descriptor_ = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor_ < 0) FailWithErrno(path_);
    Remove();
    path_ = "/proc/self/fd/" + std::to_string(descriptor_);
}
