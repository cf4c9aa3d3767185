// The program `ptc`: drawing and converting ten million points, beside reading and copying a file.
//
// A room's surfaces with a color and a float a point, as a bake delivers them and in no order,
// which is the worst case for a picture. Times are processor seconds of `ptc` for each point.

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>

#include "bench/rows/row.h"
#include "bench/surface_points.h"
#include "ptc/cloud/writer.h"

namespace {

constexpr std::int64_t kPoints = 10'000'000;

/// A file that is removed with it.
class File {
public:
    explicit File(const std::string& extension)
        : path_(RowFile("tools") + "." + std::to_string(++made) + extension) {}
    ~File() { std::remove(path_.c_str()); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    const std::string& Path() const { return path_; }

private:
    inline static int made = 0;
    std::string path_;
};

/// Writes `points` into the cloud `path`. The answer: how many there are.
double MakeCloud(const std::vector<surface_points::Point>& points, const std::string& path) {
    const char* const types[] = {"color", "float"};
    const char* const names[] = {"Cs", "_area"};
    CloudDescription description;
    description.file_name = path.c_str();
    description.point_variables = {2, types, names};
    std::string why;
    const auto cloud = CreateCloud(description, &why);
    if (!cloud) RowFailed(why.c_str());
    const float radius = surface_points::Spacing(kPoints) / 2;
    for (const auto& point : points) {
        PointHead head{};
        std::copy_n(point.position, 3, head.position);
        std::copy_n(point.normal, 3, head.normal);
        head.radius = radius;
        const float data[] = {point.color[0], point.color[1], point.color[2], radius * radius};
        if (Failed(WritePoint(*cloud, head, data))) RowFailed("writing a cloud");
    }
    if (Failed(FinishCloud(*cloud))) RowFailed("writing a cloud");
    return static_cast<double>(points.size());
}

/// Runs the tool and waits for its end.
void RunTool(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "ptc");
    std::vector<char*> words;
    words.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) words.push_back(argument.data());
    words.push_back(nullptr);
    pid_t child = 0;
    int status = -1;
    if (posix_spawn(&child, TOOL, nullptr, nullptr, words.data(), environ) != 0 ||
        waitpid(child, &status, 0) != child || status != 0)
        RowFailed("running ptc");
}

/// Reads `from` and, unless it is empty, writes its bytes to `to`.
void Copy(const std::string& from, const std::string& to) {
    static std::array<char, 1 << 17> piece;
    const int in = open(from.c_str(), O_RDONLY | O_CLOEXEC);
    const int out =
        to.empty() ? -1 : open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (in < 0 || (!to.empty() && out < 0)) RowFailed("opening a file");
    for (ssize_t there = 0; (there = read(in, piece.data(), piece.size())) != 0;)
        if (there < 0 ||
            (out >= 0 && write(out, piece.data(), static_cast<std::size_t>(there)) != there))
            RowFailed("copying a file");
    close(in);
    if (out >= 0) close(out);
}

}  // namespace

int main(int count, char** arguments) {
    // Static, so that they are also removed when the program ends early.
    static const File ordered(".ptc"), shuffled(".ptc"), cloud(".ptc");
    static const File table(".ply"), made(".ply"), copy(".ply"), picture(".png");
    double points = 0;
    {
        auto all = surface_points::Make(kPoints);
        points = MakeCloud(all, ordered.Path());
        std::shuffle(all.begin(), all.end(), std::mt19937(1));
        MakeCloud(all, shuffled.Path());
    }
    RunTool({"convert", shuffled.Path(), table.Path()});

    const auto row = [&](const char* what, const char* limit_name, double goal) {
        Row made_row;
        made_row.what = what;
        made_row.limit_name = limit_name;
        made_row.goal = goal;
        made_row.items = points;
        made_row.clock = RowClock::kChildren;
        made_row.rounds = 5;
        return made_row;
    };
    const auto view = [&](const char* what, const File& file, double goal) {
        Row viewing = row(what, "reading the file", goal);
        viewing.limit = [&] { Copy(file.Path(), ""); };
        viewing.ours = [&] { RunTool({"view", file.Path(), "-o", picture.Path()}); };
        return viewing;
    };
    const auto convert = [&](const char* what, const File& from, const File& to) {
        Row converting = row(what, "copying the PLY file", 3);
        converting.limit = [&] { Copy(table.Path(), copy.Path()); };
        converting.ours = [&] { RunTool({"convert", from.Path(), to.Path()}); };
        return converting;
    };
    return RunRows(count, arguments,
                   {view("ptc view, 10 million points of a bake", ordered, 25),
                    view("ptc view, the same points in no order", shuffled, 40),
                    convert("ptc convert to PLY, 10 million points", shuffled, made),
                    convert("ptc convert from PLY, 10 million points", table, cloud)});
}
