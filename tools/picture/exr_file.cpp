// OpenEXR files: through the library's C++ interface, over streams of our own.
//
// The library's own files lose errors of the last write, and do not tell the system's reason.

#include "tools/picture/exr_file.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfIO.h>
#include <ImfInputFile.h>
#include <ImfOutputFile.h>

#include <cerrno>
#include <exception>
#include <string>
#include <system_error>

#include "tools/common/failure.h"
#include "tools/picture/required_size.h"

namespace {

/// Larger pictures are refused before their memory is taken.
constexpr int kMostPixels = 16384;

[[noreturn]] void FailWithReason() {
    throw Failure(std::generic_category().message(errno));
}

// Exceptions of ours pass through the library, which adds to those of its own.

class ExrInput : public Imf::IStream {
public:
    explicit ExrInput(std::FILE* stream) : IStream("the file"), stream_(stream) {}

    bool read(char bytes[], int count) override {
        const auto wanted = static_cast<std::size_t>(count);
        if (std::fread(bytes, 1, wanted, stream_) == wanted)
            return std::ungetc(std::fgetc(stream_), stream_) != EOF;
        if (std::ferror(stream_)) FailWithReason();
        throw Failure("is not a whole OpenEXR file: it ends too early");
    }
    std::uint64_t tellg() override {
        const long at = std::ftell(stream_);
        if (at < 0) FailWithReason();
        return static_cast<std::uint64_t>(at);
    }
    void seekg(std::uint64_t at) override {
        if (std::fseek(stream_, static_cast<long>(at), SEEK_SET) != 0) FailWithReason();
    }
    void clear() override { std::clearerr(stream_); }

private:
    std::FILE* const stream_;
};

class ExrOutput : public Imf::OStream {
public:
    explicit ExrOutput(std::FILE* stream) : OStream("the file"), stream_(stream) {}

    void write(const char bytes[], int count) override {
        const auto wanted = static_cast<std::size_t>(count);
        if (std::fwrite(bytes, 1, wanted, stream_) != wanted) FailWithReason();
    }
    std::uint64_t tellp() override {
        const long at = std::ftell(stream_);
        if (at < 0) FailWithReason();
        return static_cast<std::uint64_t>(at);
    }
    void seekp(std::uint64_t at) override {
        if (std::fseek(stream_, static_cast<long>(at), SEEK_SET) != 0) FailWithReason();
    }

private:
    std::FILE* const stream_;
};

constexpr const char* kChannels[] = {"R", "G", "B"};

/// Where the library finds and puts the three channels. It takes one pointer for both.
Imf::FrameBuffer BufferOf(const LinearPicture& picture, const Imath::V2i& origin) {
    static_assert(sizeof(LinearRgb) == 3 * sizeof(float));
    auto* const first = const_cast<char*>(reinterpret_cast<const char*>(picture.Pixels().data()));
    const std::size_t row = sizeof(LinearRgb) * static_cast<std::size_t>(picture.Width());
    Imf::FrameBuffer buffer;
    for (std::size_t i = 0; i < 3; ++i)
        buffer.insert(kChannels[i],
                      Imf::Slice::Make(Imf::FLOAT, first + i * sizeof(float), origin,
                                       picture.Width(), picture.Height(), sizeof(LinearRgb), row));
    return buffer;
}

/// Calls `work`; what the library throws becomes a Failure.
template <class Work>
auto WithFailures(const char* what, const Work& work) {
    try {
        return work();
    } catch (const Failure&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& fault) {
        // The library begins with a name, that of our streams.
        const std::string text = fault.what();
        const std::size_t name = text.find("\". ");
        throw Failure(what + (name == text.npos ? text : text.substr(name + 3)));
    }
}

}  // namespace

const bool kHasExr = true;

void WriteExr(const LinearPicture& picture, std::FILE* stream) {
    WithFailures("", [&] {
        Imf::Header header(picture.Width(), picture.Height());
        header.compression() = Imf::ZIP_COMPRESSION;
        for (const char* const name : kChannels)
            header.channels().insert(name, Imf::Channel(Imf::FLOAT));
        ExrOutput out(stream);
        {
            constexpr int kNoThreads = 0;
            Imf::OutputFile file(out, header, kNoThreads);
            file.setFrameBuffer(BufferOf(picture, {0, 0}));
            file.writePixels(picture.Height());
        }
        if (std::fflush(stream) != 0 || std::ferror(stream)) FailWithReason();
    });
}

LinearPicture ReadExr(std::FILE* stream, int width, int height) {
    return WithFailures("is not a whole OpenEXR file: ", [&] {
        Imf::Header::setMaxImageSize(kMostPixels, kMostPixels);
        ExrInput in(stream);
        constexpr int kNoThreads = 0;
        Imf::InputFile file(in, kNoThreads);
        const Imath::Box2i window = file.header().dataWindow();
        RequireSize(std::int64_t{window.max.x} - window.min.x + 1,
                    std::int64_t{window.max.y} - window.min.y + 1, width, height);
        for (const char* const name : kChannels)
            if (!file.header().channels().findChannel(name))
                throw Failure(std::string("has no channel ") + name);
        LinearPicture picture(width, height);
        file.setFrameBuffer(BufferOf(picture, window.min));
        file.readPixels(window.min.y, window.max.y);
        return picture;
    });
}
