// A display driver that writes down what it is told into the image's file: a line of text a call,
// and behind a delivery's line the samples as they came. What follows the last '-' of the file's
// name chooses what goes wrong, as in "image-OpenFails".

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ptc/dspy.h"

namespace {

struct Image {
    std::FILE* file;
    std::string name;
    int grids = 0;

    bool Has(const char* fault) const { return name.ends_with(std::string("-") + fault); }
};

}  // namespace

// The parameter counts are the interface's.
// NOLINTBEGIN(readability-function-size)

#define EXPORT extern "C" __attribute__((visibility("default")))

EXPORT int DspyImageOpen(void** image, const char* driverName, const char* fileName, int width,
                         int height, int paramCount, const DspyParameter* params, int formatCount,
                         DspyFormat* formats, void* flags) {
    const Image named{nullptr, fileName};
    if (named.Has("NoImage")) return kDspySuccess;
    std::FILE* const file = named.Has("OpenFails") ? nullptr : std::fopen(fileName, "w");
    if (!file) return kDspyNoResource;
    std::fprintf(file, "open %s %d %d %s%s\n", driverName, width, height, flags ? "flags " : "",
                 std::getenv("LUMR_ASCIIPOINTCLOUD") ? "ascii" : "binary");
    for (int i = 0; i < paramCount; ++i) {
        const DspyParameter& p = params[i];
        std::fprintf(file, "%s %c %d", p.name, p.type, p.byteCount);
        for (int k = 0; k < p.count; ++k)
            if (p.type == 'f')
                std::fprintf(file, " %.9g", double{static_cast<const float*>(p.values)[k]});
            else
                std::fprintf(file, " %d", static_cast<const int*>(p.values)[k]);
        std::fputc('\n', file);
    }
    for (int i = 0; i < formatCount; ++i) {
        std::fprintf(file, "channel %s\n", std::strchr(formats[i].name, '|'));
        formats[i].type = (formats[i].type & ~unsigned{kDspyBigEndian}) | kDspyLittleEndian;
    }
    *image = new Image{file, fileName};
    return kDspySuccess;
}

EXPORT int DspyImageQuery(void* image, int type, int dataLength, void* data) {
    const auto* const asked = static_cast<Image*>(image);
    if (asked->Has("QueryUnsupported") || type != kDspyQueryDeepData) return kDspyUnsupported;
    const int wanted = asked->Has("QueryRefuses") ? 0 : 1;
    if (dataLength == int{sizeof wanted}) std::memcpy(data, &wanted, sizeof wanted);
    return kDspySuccess;
}

EXPORT int DspyImageDeepData(void* image, int first, int last, int, int, const unsigned char* data,
                             int dataLength) {
    auto* const into = static_cast<Image*>(image);
    if (into->Has("DeepDataFails") && ++into->grids == 3) return kDspyBadParameters;
    std::fprintf(into->file, "grid %d %d %d\n", first, last, dataLength);
    (void)std::fwrite(data, 1, static_cast<std::size_t>(dataLength), into->file);
    return kDspySuccess;
}

EXPORT int DspyImageClose(void* image) {
    auto* const closed = static_cast<Image*>(image);
    std::fputs("close\n", closed->file);
    const bool fails = std::fclose(closed->file) != 0 || closed->Has("CloseFails");
    if (closed->Has("FileVanishes")) std::remove(closed->name.c_str());
    delete closed;
    return fails ? kDspyUndefined : kDspySuccess;
}

// NOLINTEND(readability-function-size)
