// PNG files: writing through libpng's simplified interface, which needs no long jumps.

#include "tools/picture/png_file.h"

#include <png.h>

#include <cerrno>
#include <system_error>

#include "tools/common/failure.h"

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
