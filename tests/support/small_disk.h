// A file system of a few bytes, where the test may mount one.

#pragma once

#include <sys/mount.h>

#include <filesystem>
#include <string>

#include "tests/support/scratch.h"

class SmallDisk {
public:
    /// `bytes`: a multiple of a page.
    explicit SmallDisk(std::size_t bytes) {
        std::filesystem::create_directory(folder_.File("disk"));
        const std::string options = "size=" + std::to_string(bytes);
        is_mounted_ =
            ::mount("tmpfs", folder_.File("disk").c_str(), "tmpfs", 0, options.c_str()) == 0;
    }
    ~SmallDisk() {
        if (is_mounted_) (void)::umount2(folder_.File("disk").c_str(), MNT_DETACH);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    /// False: only root may mount.
    bool IsMounted() const { return is_mounted_; }
    std::string File(const std::string& name) const { return folder_.File("disk/" + name); }

private:
    ScratchFolder folder_;
    bool is_mounted_ = false;
};
