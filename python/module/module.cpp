// The extension module behind the package: thin, with names and arrays that the package has
// checked.
//
// Names of files and variables come and go as bytes. Docstrings are those of the package.

#include "ptc/version.h"
#include "python/module/families.h"
#include "python/module/messages.h"

// NOLINTNEXTLINE(performance-unnecessary-value-param): the macro's own parameter
PYBIND11_MODULE(_ptc, module) {
    module.attr("version") = PtcVersion();
    BindCloud(module);
    BindLookup(module);
    BindOrganise(module);
    BindWriter(module);
    BindRuntime(module);
    messages::Install();
}
