// A lookup that reads its block, beside reading and decoding the same bytes.

#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <random>

#include "bench/rows/cached_cloud.h"
#include "ptc/access.h"
#include "ptc/cloud/record_reader.h"

namespace {

using namespace cached_cloud;

constexpr int kMisses = 20'000;

template <class Read>
void ReadBlocks(Read read) {
    std::mt19937 random(1);
    for (int i = 0; i < kMisses; ++i) read(static_cast<std::int64_t>(random() % kBlocks));
}

/// Reads and decodes into the same records again and again.
class Decoded {
public:
    Decoded() : floats_(kBlockPoints * kFloats), records_(kBlockPoints) {
        std::string why;
        if (Failed(reader_.Open(FileName().c_str(), false, &why))) RowFailed(why.c_str());
        for (std::size_t i = 0; i < records_.size(); ++i) records_[i].data = &floats_[i * kFloats];
    }
    void Read(std::int64_t block) {
        if (Failed(reader_.ReadPoints(block * kBlockPoints, kBlockPoints, records_.data())))
            RowFailed("reading a block");
    }

private:
    PtcRecordReader reader_;
    std::vector<float> floats_;
    std::vector<PtcPoint> records_;
};

}  // namespace

int main(int count, char** arguments) {
    const int descriptor = open(FileName().c_str(), O_RDONLY | O_CLOEXEC);
    std::vector<char> bytes(kBlockBytes);
    Decoded decoded;
    std::unique_ptr<PtcFile> file;
    const auto row = [&](const char* limit_name, double goal, std::function<void()> limit) {
        Row made;
        made.what = "a miss";
        made.limit_name = limit_name;
        made.goal = goal;
        made.items = kMisses;
        made.limit = std::move(limit);
        made.prepare = [&] {
            MakeCaches(1, 3);
            file = std::make_unique<PtcFile>(FileName().c_str());
        };
        made.ours = [&] {
            ReadBlocks([&](std::int64_t block) {
                if (!PtcGetPoint(file->Get(), block * kBlockPoints)) RowFailed("a lookup");
            });
        };
        made.finish = [&] { file.reset(); };
        return made;
    };
    const int status =
        RunRows(count, arguments,
                {row("pread and decoding", 1.3,
                     [&] { ReadBlocks([&](std::int64_t block) { decoded.Read(block); }); }),
                 row("pread", 0, [&] {
                     ReadBlocks([&](std::int64_t block) {
                         if (pread(descriptor, bytes.data(), bytes.size(), PlaceOf(block)) < 0)
                             RowFailed("pread");
                     });
                 })});
    close(descriptor);
    return status;
}
