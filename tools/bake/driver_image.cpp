// DriverImage: makes the four calls, measures their times, checks their answers.

#include "tools/bake/driver_image.h"

#include <fmt/format.h>

#include "tools/common/failure.h"
#include "tools/common/stopwatch.h"

namespace bake {

namespace {

/// The names of the interface's codes.
const char* InWords(int code) {
    switch (code) {
        case kDspyUnsupported:
            return "unsupported";
        case kDspyBadParameters:
            return "bad parameters";
        case kDspyNoResource:
            return "no resource";
        case kDspyUndefined:
            return "undefined error";
        default:
            return "not a code of the interface";
    }
}

/// `about`: the purpose of the call, with a blank before it, or nothing.
void RequireSuccess(const char* function, const std::string& about, int code) {
    if (code != kDspySuccess)
        throw Failure(fmt::format("{}{} failed: {} ({})", function, about, InWords(code), code));
}

}  // namespace

template <class Call>
int DriverImage::Timed(const Call& call) {
    const Stopwatch watch;
    const int code = call();
    seconds_ += watch.Seconds();
    return code;
}

DriverImage::DriverImage(const DriverLibrary& library, const std::string& file,
                         ImageRequest& request, Tally& tally)
    : library_(library), tally_(tally) {
    const auto& parameters = request.Parameters();
    auto& formats = request.Formats();
    const int code = Timed([&] {
        return library.Open()(&image_, library.Name().c_str(), file.c_str(), request.Width(),
                              request.Height(), static_cast<int>(parameters.size()),
                              parameters.data(), static_cast<int>(formats.size()), formats.data(),
                              nullptr);
    });
    if (code != kDspySuccess) image_ = nullptr;  // no image to close
    RequireSuccess("DspyImageOpen", fmt::format(" of {}", file), code);
    if (!image_) throw Failure("DspyImageOpen answered success but opened no image");
    // The destructor does not run if the constructor throws.
    try {
        RequireDeepData();
    } catch (...) {
        library.Close()(image_);
        throw;
    }
}

void DriverImage::RequireDeepData() {
    int wanted = 0;
    const int code = Timed(
        [&] { return library_.Query()(image_, kDspyQueryDeepData, int{sizeof wanted}, &wanted); });
    // A driver refuses in one of two ways: it does not know the query, or answers it with 0.
    if (code != kDspyUnsupported) RequireSuccess("DspyImageQuery", "", code);
    if (code == kDspyUnsupported || wanted == 0)
        throw Failure(fmt::format("driver {} takes no deep data", library_.Name()));
}

DriverImage::~DriverImage() {
    // The image is still open only while a failure is thrown, and that failure is reported.
    if (image_) library_.Close()(image_);
}

void DriverImage::Deliver(const std::vector<float>& samples) {
    // Both fit: the largest grid that the options allow takes less than a megabyte.
    const auto count = static_cast<int>(samples.size() / kSampleFloats);
    const auto bytes = static_cast<int>(samples.size() * sizeof(float));
    const int code = Timed([&] {
        return library_.DeepData()(image_, 0, count - 1, 0, 0,
                                   reinterpret_cast<const unsigned char*>(samples.data()), bytes);
    });
    RequireSuccess("DspyImageDeepData", "", code);
    tally_.Add(samples);
}

void DriverImage::Close() {
    // The driver has freed the image, whatever it answers: it must not be closed again.
    void* const image = image_;
    image_ = nullptr;
    RequireSuccess("DspyImageClose", "", Timed([&] { return library_.Close()(image); }));
}

}  // namespace bake
