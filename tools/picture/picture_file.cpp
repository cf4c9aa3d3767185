// Picture files: choosing the form, and sRGB for PNG.

#include "tools/picture/picture_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <memory>

#include "tools/common/failure.h"
#include "tools/picture/exr_file.h"
#include "tools/picture/picture.h"
#include "tools/picture/png_file.h"
#include "util/io/open_file.h"

namespace {

using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

/// The bytes of a PNG file. A light that is NaN is black.
Picture EncodedForScreen(const LinearPicture& picture) {
    const Srgb srgb;
    Picture encoded(picture.Width(), picture.Height(), {});
    const auto cut = [](float light) { return light > 0 ? light : 0.0f; };
    for (int y = 0; y < picture.Height(); ++y)
        for (int x = 0; x < picture.Width(); ++x) {
            const LinearRgb& light = picture.At(x, y);
            encoded.Set(x, y, srgb.Encode(LinearRgb{cut(light.r), cut(light.g), cut(light.b)}));
        }
    return encoded;
}

LinearPicture Decoded(const Picture& picture) {
    const Srgb srgb;
    LinearPicture decoded(picture.Width(), picture.Height());
    std::transform(picture.Pixels().begin(), picture.Pixels().end(), decoded.Pixels().begin(),
                   [&](Rgb colour) { return srgb.Decode(colour); });
    return decoded;
}

}  // namespace

std::optional<PictureForm> PictureFormOf(const std::string& name) {
    const std::size_t dot = name.find_last_of("./");
    if (dot == name.npos) return std::nullopt;
    std::string extension = name.substr(dot);
    for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (extension == ".png") return PictureForm::kPng;
    if (extension == ".exr") return PictureForm::kExr;
    return std::nullopt;
}

bool HasPictureForm(PictureForm form) {
    return form == PictureForm::kPng || kHasExr;
}

void WriteThrough(OutputFile* output, const std::function<void(std::FILE*)>& write) {
    Stream file(OpenStream(output->Path().c_str(), "wb"), std::fclose);
    if (!file) FailWithErrno(output->Name());
    try {
        write(file.get());
    } catch (const Failure& failure) {
        throw Failure(fmt::format("{}: {}", output->Name(), failure.what()));
    }
    if (std::fclose(file.release()) != 0) FailWithErrno(output->Name());
}

void WritePicture(const LinearPicture& picture, PictureForm form, OutputFile* output) {
    WriteThrough(output, [&](std::FILE* stream) {
        if (form == PictureForm::kPng)
            WritePng(EncodedForScreen(picture), stream);
        else
            WriteExr(picture, stream);
    });
}

LinearPicture ReadPicture(const std::string& name, int width, int height) {
    const auto form = PictureFormOf(name);
    if (!form) throw Failure(name + ": is neither .png nor .exr");
    const Stream file(OpenStream(name.c_str(), "rbe"), std::fclose);
    if (!file) FailWithErrno(name);
    try {
        if (form == PictureForm::kPng) return Decoded(ReadPng(file.get(), width, height));
        return ReadExr(file.get(), width, height);
    } catch (const Failure& failure) {
        throw Failure(fmt::format("{}: {}", name, failure.what()));
    }
}

LinearPicture AsStored(const LinearPicture& picture, PictureForm form) {
    return form == PictureForm::kPng ? Decoded(EncodedForScreen(picture)) : picture;
}
