// A display driver that writes down what it is told, one line of text a call, into the image's
// file. Floats and integers stand as their bits in hexadecimal. What follows the last '-' of the
// file's name chooses what goes wrong, as in "image-OpenFails".

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "driver/dspy.h"

namespace {

struct Recording {
    std::FILE* file;
    std::string name;
    std::string fault;
    int grids = 0;
};

std::string FaultOf(const std::string& file_name) {
    const std::size_t dash = file_name.rfind('-');
    return dash == std::string::npos ? "" : file_name.substr(dash + 1);
}

void WriteWords(std::FILE* file, const void* data, int bytes) {
    const auto* from = static_cast<const unsigned char*>(data);
    for (int at = 0; at + 4 <= bytes; at += 4) {
        unsigned word = 0;
        std::memcpy(&word, from + at, sizeof word);
        std::fprintf(file, " %08x", word);
    }
    std::fputc('\n', file);
}

}  // namespace

// The parameter counts are the interface's.
// NOLINTBEGIN(readability-function-size)

#define EXPORT extern "C" __attribute__((visibility("default")))

EXPORT int DspyImageOpen(void** image, const char* driverName, const char* fileName, int width,
                         int height, int paramCount, const DspyParameter* params, int formatCount,
                         DspyFormat* formats, void* flags) {
    const std::string fault = FaultOf(fileName);
    if (fault == "OpenFails") return kDspyNoResource;
    if (fault == "NoImage") return kDspySuccess;
    std::FILE* const file = std::fopen(fileName, "w");
    if (!file) return kDspyNoResource;
    std::fprintf(file, "open %s %d %d %d\n", driverName, width, height, flags != nullptr);
    std::fprintf(file, "ascii %s\n", std::getenv("LUMR_ASCIIPOINTCLOUD") ? "yes" : "no");
    for (int i = 0; i < paramCount; ++i) {
        const DspyParameter& p = params[i];
        std::fprintf(file, "parameter %s %c %d %d", p.name, p.type, p.count, p.byteCount);
        WriteWords(file, p.values, p.byteCount);
    }
    for (int i = 0; i < formatCount; ++i) {
        std::fprintf(file, "channel %s\n", formats[i].name);
        formats[i].type = (formats[i].type & ~unsigned{kDspyBigEndian}) | kDspyLittleEndian;
    }
    *image = new Recording{file, fileName, fault};
    return kDspySuccess;
}

EXPORT int DspyImageQuery(void* image, int type, int dataLength, void* data) {
    const std::string& fault = static_cast<Recording*>(image)->fault;
    if (fault == "QueryUnsupported" || type != kDspyQueryDeepData) return kDspyUnsupported;
    const int wanted = fault == "QueryRefuses" ? 0 : 1;
    if (dataLength == int{sizeof wanted}) std::memcpy(data, &wanted, sizeof wanted);
    return kDspySuccess;
}

EXPORT int DspyImageDeepData(void* image, int first, int last, int, int, const unsigned char* data,
                             int dataLength) {
    auto* const recording = static_cast<Recording*>(image);
    if (recording->fault == "DeepDataFails" && ++recording->grids == 3) return kDspyBadParameters;
    std::fprintf(recording->file, "grid %d %d %d", first, last, dataLength);
    WriteWords(recording->file, data, dataLength);
    return kDspySuccess;
}

EXPORT int DspyImageClose(void* image) {
    auto* const recording = static_cast<Recording*>(image);
    const bool fails = recording->fault == "CloseFails";
    std::fputs("close\n", recording->file);
    const bool lost = std::fclose(recording->file) != 0;
    if (recording->fault == "FileVanishes") std::remove(recording->name.c_str());
    delete recording;
    return fails || lost ? kDspyUndefined : kDspySuccess;
}

// NOLINTEND(readability-function-size)
