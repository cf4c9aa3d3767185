// DriverLibrary: a display driver loaded from a shared object, with its four functions.
//
// Units      none.
// Errors     the constructor throws Failure when the file cannot be loaded or lacks a function.
// Ownership  keeps the shared object loaded; images must be closed before it is destroyed.
// Threads    one thread makes and destroys it; the functions follow the driver's own rules.

#pragma once

#include <memory>
#include <string>

#include "ptc/dspy.h"

namespace bake {

class DriverLibrary {
public:
    /// `path`: a file; without a slash it is in the working directory, and is not searched for.
    explicit DriverLibrary(const std::string& path);

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
    /// Closes the shared object.
    struct Unload {
        void operator()(void* handle) const;
    };

    const std::string name_;
    const std::unique_ptr<void, Unload> handle_;
    DspyImageOpenFunction* const open_;
    DspyImageQueryFunction* const query_;
    DspyImageDeepDataFunction* const deep_data_;
    DspyImageCloseFunction* const close_;
};

}  // namespace bake
