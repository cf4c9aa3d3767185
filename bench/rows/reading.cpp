// Reading 10 million points in sequence, beside reading the same bytes with read(2).

#include <fcntl.h>
#include <unistd.h>

#include <vector>

#include "bench/rows/row.h"
#include "ptc/access.h"
#include "ptc/cloud/reader.h"
#include "ptc/cloud/writer.h"

namespace {

constexpr std::int64_t kPoints = 10'000'000;
constexpr std::size_t kBatch = 4096;
constexpr std::size_t kRawPiece = std::size_t{1} << 18;

/// A file of kPoints points, deleted at the end of the program.
class BigFile {
public:
    explicit BigFile(std::size_t floats)
        : name_(RowFile("reading" + std::to_string(floats))), floats_(floats) {
        const std::vector<const char*> types(floats, "float");
        CloudDescription description;
        description.file_name = name_.c_str();
        description.point_variables = {static_cast<int>(floats), types.data(), types.data()};
        std::string why;
        const auto cloud = CreateCloud(description, &why);
        if (!cloud) RowFailed(why.c_str());
        const std::vector<float> data(floats, 0.5f);
        for (std::int64_t i = 0; i < kPoints; ++i) {
            // Normals in random order, so that decoding uses all parts of its table.
            const auto mixed = static_cast<std::uint32_t>(i) * 2654435761U;
            const float x = static_cast<float>(mixed >> 16) * 0x1p-15f - 1;
            const float y = static_cast<float>(mixed & 0xFFFFU) * 0x1p-15f - 1;
            (void)WritePoint(*cloud, {{x, y, 2}, {x, y, x * y}, 1}, data.data());
        }
        if (Failed(FinishCloud(*cloud))) RowFailed("writing the points");
    }
    ~BigFile() { unlink(name_.c_str()); }
    BigFile(const BigFile&) = delete;
    BigFile& operator=(const BigFile&) = delete;

    void ReadRaw() const {
        static std::vector<char> piece(kRawPiece);
        const int descriptor = open(name_.c_str(), O_RDONLY | O_CLOEXEC);
        ssize_t got = 0;
        std::int64_t all = 0;
        while ((got = read(descriptor, piece.data(), piece.size())) > 0) all += got;
        close(descriptor);
        if (all < kPoints) RowFailed("read(2)");
    }

    void ReadInBatches() const {
        std::vector<PointHead> heads(kBatch);
        std::vector<float> data(kBatch * floats_);
        std::string why;
        const auto cloud = OpenCloud(name_.c_str(), &why);
        if (!cloud) RowFailed(why.c_str());
        std::size_t count = 0;
        std::int64_t all = 0;
        do {
            (void)ReadPoints(*cloud, heads, data, &count);
            all += static_cast<std::int64_t>(count);
        } while (count == kBatch);
        if (all != kPoints) RowFailed("ReadPoints");
    }

    void ReadThroughFrontDoor() const {
        std::vector<float> positions(3 * kBatch), normals(3 * kBatch), radii(kBatch);
        std::vector<float> data(kBatch * floats_);
        const PtcPointArrays arrays = {positions.data(), normals.data(), radii.data(), data.data()};
        PtcManagedFile* const file = PtcOpenForReading(name_.c_str());
        std::int64_t all = 0, got = 0;
        do {
            const auto batch = std::min<std::int64_t>(kBatch, kPoints - all);
            got = PtcGetPoints(file, all, batch, arrays);
            all += got;
        } while (got > 0 && all < kPoints);
        if (all != kPoints) RowFailed("PtcGetPoints");
        PtcRelease(file);
    }

private:
    const std::string name_;
    const std::size_t floats_;
};

Row NewRow(std::string what, double goal) {
    Row row;
    row.what = std::move(what);
    row.limit_name = "read(2) of the same bytes";
    row.goal = goal;
    row.items = static_cast<double>(kPoints);
    return row;
}

}  // namespace

int main(int count, char** arguments) {
    const BigFile thin(1), thick(4);
    std::vector<Row> rows;
    for (const auto& [file, floats] :
         {std::pair(&thin, "1 float"), std::pair(&thick, "4 floats")}) {
        for (const bool is_front_door : {false, true}) {
            Row row = NewRow(std::string(is_front_door ? "runs through the front door, "
                                                       : "points in sequence, ") +
                                 floats,
                             is_front_door ? 3 : 1.75);
            row.limit = [file = file] { file->ReadRaw(); };
            row.ours = [file = file, is_front_door] {
                is_front_door ? file->ReadThroughFrontDoor() : file->ReadInBatches();
            };
            rows.push_back(std::move(row));
        }
    }
    return RunRows(count, arguments, rows);
}
