// Reading a gzip file point by point through the caches, beside inflating it once with zlib.

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <cmath>
#include <vector>

#include "bench/rows/row.h"
#include "ptc/access.h"
#include "ptc/cloud/writer.h"

namespace {

constexpr std::int64_t kPoints = 500'000;
constexpr unsigned kPiece = 1U << 18;

/// A compressed file of kPoints points, deleted at the end of the program.
class GzipFile {
public:
    GzipFile() : name_(RowFile("gzip_sequence")) {
        const std::string plain = name_ + ".plain";
        const char* const types[] = {"color"};
        CloudDescription description;
        description.file_name = plain.c_str();
        description.point_variables = {1, types, types};
        std::string why;
        const auto cloud = CreateCloud(description, &why);
        if (!cloud) RowFailed(why.c_str());
        // A wavy surface, line by line, as a renderer delivers it.
        for (std::int64_t i = 0; i < kPoints; ++i) {
            const float x = static_cast<float>(i % 1000) * 0.01f;
            const std::int64_t line = i / 1000;
            const float y = static_cast<float>(line) * 0.01f;
            const float z = std::sin(x) * std::cos(y);
            const float data[] = {z * z, 0.5f, x * 0.1f};
            (void)WritePoint(*cloud, {{x, y, z}, {-std::cos(x), std::sin(y), 1}, 0.007f}, data);
        }
        if (Failed(FinishCloud(*cloud))) RowFailed("writing the points");
        Compress(plain);
        unlink(plain.c_str());
    }
    ~GzipFile() { unlink(name_.c_str()); }
    GzipFile(const GzipFile&) = delete;
    GzipFile& operator=(const GzipFile&) = delete;

    void Inflate() const {
        static std::vector<unsigned char> in(kPiece), out(kPiece);
        const int descriptor = open(name_.c_str(), O_RDONLY | O_CLOEXEC);
        z_stream zlib{};
        if (inflateInit2(&zlib, 15 + 16) != Z_OK) RowFailed("inflateInit2");
        int result = Z_OK;
        while (result == Z_OK) {
            if (zlib.avail_in == 0) {
                const ssize_t got = read(descriptor, in.data(), in.size());
                zlib.next_in = in.data();
                zlib.avail_in = static_cast<unsigned>(got);
            }
            zlib.next_out = out.data();
            zlib.avail_out = kPiece;
            result = inflate(&zlib, Z_NO_FLUSH);
        }
        if (result != Z_STREAM_END) RowFailed("inflate");
        inflateEnd(&zlib);
        close(descriptor);
    }

    /// The caches keep fewer points. Finishing opens the file anew, so that every turn inflates
    /// it from its start, with all checks.
    void ReadPoints() const {
        PtcManagedFile* const file = PtcOpenForReading(name_.c_str());
        if (!file) RowFailed("PtcOpenForReading");
        float sum = 0;
        for (std::int64_t i = 0; i < kPoints; ++i) {
            const PtcPoint* const point = PtcGetPoint(file, i);
            if (!point) RowFailed("PtcGetPoint");
            sum += point->radius;
        }
        if (!(sum > 0)) RowFailed("the points");
        (void)PtcFinish(file);
    }

private:
    void Compress(const std::string& plain) const {
        std::vector<char> piece(kPiece);
        const int from = open(plain.c_str(), O_RDONLY | O_CLOEXEC);
        gzFile to = gzopen(name_.c_str(), "wb");
        ssize_t got = 0;
        while ((got = read(from, piece.data(), piece.size())) > 0)
            if (gzwrite(to, piece.data(), static_cast<unsigned>(got)) != got) RowFailed("gzwrite");
        close(from);
        if (gzclose(to) != Z_OK) RowFailed("gzclose");
    }

    const std::string name_;
};

}  // namespace

int main(int count, char** arguments) {
    const GzipFile file;
    PtcConfigure(1, 1024, 1024, nullptr);
    Row row;
    row.what = "a gzip file in sequence through the caches";
    row.limit_name = "inflating it once with zlib";
    row.goal = 1.2;
    row.items = static_cast<double>(kPoints);
    row.limit = [&] { file.Inflate(); };
    row.ours = [&] { file.ReadPoints(); };
    return RunRows(count, arguments, {row});
}
