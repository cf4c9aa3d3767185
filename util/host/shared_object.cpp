// SharedObject: asks the loader, place by place.

#include "util/host/shared_object.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <algorithm>

#include "util/host/config.h"
#include "util/text/printable_text.h"

namespace {

bool Says(const char* key) {
    return ConfigParseBool(ConfigGet(key), 0) != 0;
}

/// Whether `path` is something that the loader must not open: it waits at a pipe for ever.
bool IsUnfit(const struct stat& info) {
    return !S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode);
}

}  // namespace

SharedObjectFlags SharedObjectFlags::FromConfiguration() {
    return {.deep_bind = Says("/platform/linux/rtlddeepbind"),
            .is_global = Says("/platform/linux/rtldglobalextension")};
}

void SharedObject::Unload::operator()(void* handle) const {
    dlclose(handle);
}

void SharedObject::Note(const std::string& path, std::string_view reason, bool is_file) {
    // The loader mostly begins with the name itself, and has another one for what the object needs.
    std::string line(reason);
    if (!line.starts_with(path + ':')) line.insert(0, path + ": ");
    tried_.push_back(Printable(line));
    if (is_file) passed_over_.push_back(tried_.back());
}

bool SharedObject::LoadFile(const std::string& file) {
    // Without a slash the loader would search its own folders; with none at all it takes the
    // program itself.
    const std::string path = file.find('/') == std::string::npos ? "./" + file : file;
    if (file.empty() || file.find('\0') != std::string::npos) {
        Note(path, file.empty() ? "the name is empty" : "the name holds a zero byte", false);
        return false;
    }
    struct stat info;
    const bool is_there = ::stat(path.c_str(), &info) == 0;
    if (is_there && IsUnfit(info)) {
        Note(path, "neither a file nor a folder", false);
        return false;
    }
    const int binding = flags_.deep_bind ? RTLD_NOW | RTLD_DEEPBIND : RTLD_NOW;
    handle_.reset(dlopen(path.c_str(), binding | (flags_.is_global ? RTLD_GLOBAL : RTLD_LOCAL)));
    if (handle_) {
        file_ = path;
        return true;
    }
    const char* const reason = dlerror();
    Note(path, reason ? reason : "cannot be loaded", is_there && S_ISREG(info.st_mode));
    return false;
}

bool SharedObject::LoadAlong(const std::vector<std::string>& folders,
                             const std::vector<std::string>& names) {
    for (const std::string& folder : folders) {
        if (folder.empty()) continue;
        const std::string within = folder.back() == '/' ? folder : folder + '/';
        for (const std::string& name : names)
            if (LoadFile(within + name)) return true;
    }
    return false;
}

void* SharedObject::Find(const char* symbol) const {
    return handle_ ? dlsym(handle_.get(), symbol) : nullptr;
}

std::vector<std::string> FoldersOf(std::string_view list) {
    std::vector<std::string> folders;
    while (!list.empty()) {
        const std::size_t end = std::min(list.find(':'), list.size());
        if (end > 0) folders.emplace_back(list.substr(0, end));
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return folders;
}
