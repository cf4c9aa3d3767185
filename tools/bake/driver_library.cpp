// DriverLibrary: loads the shared object, finds the four functions.

#include "tools/bake/driver_library.h"

#include <fmt/format.h>

#include <filesystem>

#include "tools/bake/driver_search.h"
#include "tools/common/failure.h"
#include "tools/common/standard_streams.h"

namespace bake {

namespace {

constexpr const char* kProgram = "pcbake";

/// Symbols stay local unless the configuration says otherwise, so that two drivers do not use each
/// other's.
SharedObject Load(const std::string& name, const std::vector<std::string>& folders) {
    SharedObject object(SharedObjectFlags::FromConfiguration());
    if (name.find('/') != std::string::npos) {
        if (object.LoadFile(name)) return object;
        throw Failure(fmt::format("cannot load driver: {}", object.Tried().front()));
    }
    const bool is_loaded = object.LoadAlong(folders, DriverFileNames(name));
    // A driver of the name that is passed over might be the one that was meant.
    for (const std::string& line : is_loaded ? object.PassedOver() : object.Tried())
        Tell(kProgram, "tried " + line);
    if (is_loaded) return object;
    throw Failure(
        fmt::format("cannot load driver {}: tried {} places", name, object.Tried().size()));
}

/// The function `name` of the loaded object, valid while the object is loaded.
template <class Function>
Function* Find(const SharedObject& object, const char* name) {
    void* const address = object.Find(name);
    if (!address)
        throw Failure(fmt::format("{} is no display driver: it has no {}", object.File(), name));
    return reinterpret_cast<Function*>(address);
}

}  // namespace

DriverLibrary::DriverLibrary(const std::string& name, const std::vector<std::string>& folders)
    : object_(Load(name, folders)),
      name_(std::filesystem::path(object_.File()).stem().string()),
      open_(Find<DspyImageOpenFunction>(object_, kDriverFunctions[0])),
      query_(Find<DspyImageQueryFunction>(object_, kDriverFunctions[1])),
      deep_data_(Find<DspyImageDeepDataFunction>(object_, kDriverFunctions[2])),
      close_(Find<DspyImageCloseFunction>(object_, kDriverFunctions[3])) {}

}  // namespace bake
