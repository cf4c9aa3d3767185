// DriverLibrary: loads the shared object, finds the four functions.

#include "tools/bake/driver_library.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <filesystem>

#include "tools/common/failure.h"

namespace bake {

namespace {

/// Links the whole object at once, so that a missing symbol fails here and not during a render.
/// Keeps its symbols local, so that two drivers do not use each other's.
void* Load(const std::string& path) {
    const std::string file = path.find('/') == std::string::npos ? "./" + path : path;
    void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) throw Failure(fmt::format("cannot load driver: {}", dlerror()));
    return handle;
}

/// The function `name` of the loaded object, valid while the object is loaded.
template <class Function>
Function* Find(void* handle, const std::string& path, const char* name) {
    void* const address = dlsym(handle, name);
    if (!address) throw Failure(fmt::format("{} is no display driver: it has no {}", path, name));
    return reinterpret_cast<Function*>(address);
}

}  // namespace

void DriverLibrary::Unload::operator()(void* handle) const {
    dlclose(handle);
}

DriverLibrary::DriverLibrary(const std::string& path)
    : name_(std::filesystem::path(path).stem().string()),
      handle_(Load(path)),
      open_(Find<DspyImageOpenFunction>(handle_.get(), path, "DspyImageOpen")),
      query_(Find<DspyImageQueryFunction>(handle_.get(), path, "DspyImageQuery")),
      deep_data_(Find<DspyImageDeepDataFunction>(handle_.get(), path, "DspyImageDeepData")),
      close_(Find<DspyImageCloseFunction>(handle_.get(), path, "DspyImageClose")) {}

}  // namespace bake
