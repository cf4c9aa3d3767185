// DriverSearch: puts the list of folders together.

#include "tools/bake/driver_search.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "tools/common/start.h"
#include "util/host/shared_object.h"

namespace bake {

namespace {

/// The folder that the build has told, seen from the one of this program; empty when the system
/// does not say where the program is.
std::string InstalledDrivers() {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) return {};
    return (program.parent_path() / BAKE_DRIVER_FOLDER).lexically_normal().string();
}

}  // namespace

std::vector<std::string> DriverFolders(const std::string& option) {
    std::vector<std::string> folders = FoldersOf(option);
    if (const char* const set = std::getenv("LUMR_DRIVERPATH"))
        for (std::string& folder : FoldersOf(set)) folders.push_back(std::move(folder));
    for (std::string& folder : folders) folder = PlaceOf(folder);
    folders.emplace_back(".");
    if (std::string installed = InstalledDrivers(); !installed.empty())
        folders.push_back(std::move(installed));
    return folders;
}

std::vector<std::string> DriverFileNames(const std::string& name) {
    if (name.ends_with(".so")) return {name};
    return {name, name + ".so", "d_" + name + ".so"};
}

}  // namespace bake
