// FileStamp -- tells whether a file has changed, without reading it.

#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>

struct FileStamp {
    dev_t device = 0;
    ino_t inode = 0;
    off_t bytes = 0;
    std::int64_t modified[2] = {};  ///< seconds and nanoseconds
    std::int64_t changed[2] = {};  ///< of the file's entry: other tools set `modified` as they like

    FileStamp() = default;
    explicit FileStamp(const struct stat& info)
        : device(info.st_dev),
          inode(info.st_ino),
          bytes(info.st_size),
          modified{info.st_mtim.tv_sec, info.st_mtim.tv_nsec},
          changed{info.st_ctim.tv_sec, info.st_ctim.tv_nsec} {}

    bool operator==(const FileStamp&) const = default;
};
