// DriverImage: one image open in a driver, from DspyImageOpen to DspyImageClose.
//
// Units      samples in grids of kSampleFloats floats each; seconds of wall time.
// Errors     every member throws Failure unless the driver answers success: the text
//            names the function and the code.
// Ownership  borrows the library and the tally, which must outlive it; closes the image at its end.
// Threads    one thread at a time, as the interface demands.

#pragma once

#include <string>
#include <vector>

#include "tools/bake/driver_library.h"
#include "tools/bake/image_request.h"
#include "tools/bake/tally.h"

namespace bake {

class DriverImage {
public:
    /// Opens the image and checks that the driver takes deep data.
    /// `tally`: counts all samples that are delivered.
    DriverImage(const DriverLibrary& library, const std::string& file, ImageRequest& request,
                Tally& tally);
    ~DriverImage();
    DriverImage(const DriverImage&) = delete;
    DriverImage& operator=(const DriverImage&) = delete;

    /// Delivers one grid.
    void Deliver(const std::vector<float>& samples);

    /// Completes the image. Nothing may be delivered afterwards.
    void Close();

    /// The total time of the driver's functions.
    double Seconds() const { return seconds_; }

private:
    /// Calls one of the driver's functions and measures its time.
    template <class Call>
    int Timed(const Call& call);

    /// Queries the driver of the open image, because a driver that takes only pixels is useless
    /// here.
    void RequireDeepData();

    const DriverLibrary& library_;
    Tally& tally_;
    void* image_ = nullptr;  ///< null before the open and after the close
    double seconds_ = 0;
};

}  // namespace bake
