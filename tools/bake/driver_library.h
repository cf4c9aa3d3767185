// DriverLibrary: a display driver loaded from a shared object, with its four functions.
//
// Units      none.
// Errors     the constructor throws Failure when the file cannot be loaded or lacks a function.
// When
//            a name was looked up, the places are told on standard error first, a line each.
// Ownership  keeps the shared object loaded; images must be closed before it is destroyed.
// Threads    one thread makes and destroys it; the functions follow the driver's own rules.

#pragma once

#include <array>
#include <string>
#include <vector>

#include "ptc/dspy.h"
#include "util/host/shared_object.h"

namespace bake {

/// What a display driver has.
inline constexpr std::array kDriverFunctions = {"DspyImageOpen", "DspyImageQuery",
                                                "DspyImageDeepData", "DspyImageClose"};

class DriverLibrary {
public:
    /// `name`: with a slash a file, and looked up along `folders` without one.
    DriverLibrary(const std::string& name, const std::vector<std::string>& folders);

    DriverLibrary(const DriverLibrary&) = delete;
    DriverLibrary& operator=(const DriverLibrary&) = delete;

    /// The file's name without folder and extension: the name of the driver in messages.
    const std::string& Name() const { return name_; }

    /// The four functions, none of them null, as long as this object lives.
    DspyImageOpenFunction* Open() const { return open_; }
    DspyImageQueryFunction* Query() const { return query_; }
    DspyImageDeepDataFunction* DeepData() const { return deep_data_; }
    DspyImageCloseFunction* Close() const { return close_; }

private:
    const SharedObject object_;
    const std::string name_;
    DspyImageOpenFunction* const open_;
    DspyImageQueryFunction* const query_;
    DspyImageDeepDataFunction* const deep_data_;
    DspyImageCloseFunction* const close_;
};

}  // namespace bake
