// The display-driver interface: its structures, result codes and four functions, in plain C.
//
// Units      counts in items, lengths in bytes; a deep sample is a run of 4-byte floats.
// Errors     every function answers one of the codes below and prints its own messages.
// Ownership  the driver copies what it keeps of names, parameters and samples; an image
//            handle belongs to the driver from open to close.
// Threads    a host calls the functions of one image one at a time; images are independent.

#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/// What the four functions answer; no other value occurs.
enum {
    kDspySuccess = 0,
    kDspyUnsupported = 2,
    kDspyBadParameters = 3,
    kDspyNoResource = 4,
    kDspyUndefined = 5
};

/// The one query that is answered: "do you take deep data?", a 32-bit integer.
enum { kDspyQueryDeepData = 6 };

/// Bits of a channel's type word that give the byte order in which the host delivers it.
enum { kDspyBigEndian = 0x2000, kDspyLittleEndian = 0x4000 };

/// One named value handed to the driver at open. `type` is 'f' float, 'i' 32-bit integer or
/// 's' text; `values` points to `count` of them, `byteCount` bytes in all.
typedef struct DspyParameter {
    const char* name;
    char type;
    signed char count;
    const void* values;
    int byteCount;
} DspyParameter;

/// One output channel: "anything|[class] type name". The driver sets the byte order bits of
/// `type` to little-endian when it opens the image.
typedef struct DspyFormat {
    char* name;
    unsigned type;
} DspyFormat;

/// Opens an image and stores its handle in `*image`, which is left as it is when there is none.
/// `width`, `height` and `flags` are not used.
/// 0: the image is open; or memory for its handle ran out, which only `*image` tells: a host
///    sets it to null before.
/// 3: `image` is null; a file name is above 4095 bytes; a channel has no type, or has more floats,
///    alone or with the others, than a point can have.
/// 4: the file cannot be made, or memory ran out.
/// 5: a channel has no name, or one without '|'; or something else failed.
/// What is wrong with a type, a file name or the file is printed as well.
typedef int DspyImageOpenFunction(void** image, const char* driverName, const char* fileName,
                                  int width, int height, int paramCount,
                                  const DspyParameter* params, int formatCount, DspyFormat* formats,
                                  void* flags);

/// Answers query `type` into `data`, at most `dataLength` bytes of it. The handle is not looked at.
/// 2: no such query. Without room for an answer nothing is written, and the code is 0.
typedef int DspyImageQueryFunction(void* image, int type, int dataLength, void* data);

/// Hands over one shaded grid: `last - first + 1` samples that share `dataLength` bytes evenly.
/// A sample is position, normal and radius (seven floats), then the channels' floats. The first
/// seven are in world space, and the file keeps them there: in the space that the parameters "NP"
/// and "Nl" lead from, to normalised device coordinates and to the eye.
/// `bound3` and `bound4` are not used.
/// 3: no image or no data; no sample, or fewer than seven floats a sample. 4: memory ran out.
typedef int DspyImageDeepDataFunction(void* image, int first, int last, int bound3, int bound4,
                                      const unsigned char* data, int dataLength);

/// Writes what is still buffered, completes the file and frees the image. 3: no image. All else is
/// 0; what could not be written is printed.
typedef int DspyImageCloseFunction(void* image);

#ifdef __cplusplus
}  // extern "C"
#endif
