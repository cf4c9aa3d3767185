// PNG files: through libpng's simplified interface, which needs no long jumps.

#include "tools/picture/png_file.h"

#include <png.h>

#include <cerrno>
#include <system_error>
#include <vector>

#include "tools/common/failure.h"
#include "tools/picture/required_size.h"

// The pixels are handed over as they lie in memory.
static_assert(sizeof(Rgb) == 3);

void WritePng(const Picture& picture, std::FILE* stream) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.Width());
    image.height = static_cast<png_uint_32>(picture.Height());
    image.format = PNG_FORMAT_RGB;

    errno = 0;
    constexpr int kAsTheyAre = 0;    // eight bits stay eight bits
    constexpr int kWithoutGaps = 0;  // one row right behind the other
    const int written = png_image_write_to_stdio(&image, stream, kAsTheyAre,
                                                 picture.Pixels().data(), kWithoutGaps, nullptr);
    if (written && std::fflush(stream) == 0) return;
    // A full disk has a reason of the system's; libpng only knows that writing failed.
    throw Failure(errno ? std::generic_category().message(errno) : image.message);
}

Picture ReadPng(std::FILE* stream, int width, int height) {
    // Frees what libpng holds, at whatever step reading ends.
    struct Reading {
        png_image image{};
        ~Reading() { png_image_free(&image); }
    } reading;
    png_image& image = reading.image;
    image.version = PNG_IMAGE_VERSION;
    errno = 0;
    const auto require = [&](int done) {
        if (std::ferror(stream)) throw Failure(std::generic_category().message(errno));
        if (!done) throw Failure(std::string("is not a whole PNG file: ") + image.message);
    };
    require(png_image_begin_read_from_stdio(&image, stream));
    RequireSize(image.width, image.height, width, height);

    image.format = PNG_FORMAT_RGB;
    constexpr png_color kBehind{};  // what is transparent shows black
    std::vector<png_byte> bytes(PNG_IMAGE_SIZE(image));
    require(png_image_finish_read(&image, &kBehind, bytes.data(), 0, nullptr));
    Picture picture(width, height, {});
    std::size_t at = 0;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x, at += sizeof(Rgb))
            picture.Set(x, y, {bytes[at], bytes[at + 1], bytes[at + 2]});
    return picture;
}
