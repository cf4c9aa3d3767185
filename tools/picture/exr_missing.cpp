// OpenEXR files in a build without OpenEXR: a clear failure.

#include "tools/common/failure.h"
#include "tools/picture/exr_file.h"
#include "tools/picture/picture_file.h"

const bool kHasExr = false;

void WriteExr(const LinearPicture&, std::FILE*) {
    throw Failure(kNoExr);
}

LinearPicture ReadExr(std::FILE*, int, int) {
    throw Failure(kNoExr);
}
