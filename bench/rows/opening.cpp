// Opening files that the library does not know, beside open, read and close of their heads.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

#include "bench/rows/row.h"
#include "ptc/access.h"
#include "ptc/cloud/writer.h"

namespace {

constexpr int kFiles = 1000;  // fewer than the library keeps open
constexpr int kPoints = 300;
constexpr std::size_t kHead = 8192;

/// Small files in a folder of their own, deleted at the end of the program.
class ManyFiles {
public:
    ManyFiles() : folder_(RowFile("opening")) {
        if (mkdir(folder_.c_str(), 0700) != 0) RowFailed("mkdir");
        for (int i = 0; i < kFiles; ++i) {
            names_.push_back(folder_ + "/" + std::to_string(i) + ".ptc");
            const char* const types[] = {"float", "color"};
            const char* const names[] = {"_area", "_radiosity"};
            CloudDescription description;
            description.file_name = names_.back().c_str();
            description.point_variables = {2, types, names};
            std::string why;
            const auto cloud = CreateCloud(description, &why);
            if (!cloud) RowFailed(why.c_str());
            const float data[4] = {1, 0.25f, 0.5f, 0.75f};
            for (int k = 0; k < kPoints; ++k)
                (void)WritePoint(*cloud, {{static_cast<float>(k), 0, 0}, {0, 0, 1}, 1}, data);
            if (Failed(FinishCloud(*cloud))) RowFailed("writing a file");
        }
    }
    ~ManyFiles() {
        for (const std::string& name : names_) unlink(name.c_str());
        rmdir(folder_.c_str());
    }
    ManyFiles(const ManyFiles&) = delete;
    ManyFiles& operator=(const ManyFiles&) = delete;

    void ReadHeads() const {
        static std::vector<char> head(kHead);
        for (const std::string& name : names_) {
            const int descriptor = open(name.c_str(), O_RDONLY | O_CLOEXEC);
            if (read(descriptor, head.data(), head.size()) <= 0) RowFailed("read(2)");
            close(descriptor);
        }
    }

    /// The shut-down closes the files, and the library forgets them.
    void OpenThemAll() const {
        for (const std::string& name : names_) {
            PtcManagedFile* const file = PtcOpenForReading(name.c_str());
            if (!file) RowFailed("PtcOpenForReading");
            PtcRelease(file);
        }
        PtcShutdown();
    }

private:
    const std::string folder_;
    std::vector<std::string> names_;
};

}  // namespace

int main(int count, char** arguments) {
    const ManyFiles files;
    Row row;
    row.what = "opening a file for the first time";
    row.limit_name = "open, read and close of its head";
    row.goal = 2;
    row.items = kFiles;
    row.rounds = 101;
    row.limit = [&] { files.ReadHeads(); };
    row.ours = [&] { files.OpenThemAll(); };
    return RunRows(count, arguments, {row});
}
