// ListDrivers: finds the files, tries each in a child process, prints the table.

#include "tools/bake/driver_list.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <exception>
#include <filesystem>
#include <set>

#include "tools/bake/driver_library.h"
#include "tools/bake/driver_search.h"
#include "tools/common/standard_streams.h"
#include "tools/scene/bounded_child.h"
#include "util/host/shared_object.h"
#include "util/text/printable_text.h"

namespace bake {

namespace {

namespace fs = std::filesystem;

/// What a driver may use while it is loaded, and how long.
constexpr std::uint64_t kMostMemory = std::uint64_t{1} << 30;
constexpr std::chrono::seconds kMostTime{10};
constexpr std::size_t kMostWords = 4096;  // bytes of what is said of one file

constexpr const char* kOk = "ok";
constexpr const char* kBrokeDown = "broke down while it was loaded";

struct Candidate {
    std::string file;
    std::string state;
    bool is_loaded = false;
};

/// What the child says of a file: its first letter is 'y' if it was loaded.
std::string Examine(const std::string& file) {
    SharedObject object(SharedObjectFlags::FromConfiguration());
    if (!object.LoadFile(file)) {
        // The row has the file already.
        std::string_view reason = object.Tried().front();
        if (const std::string path = Printable(file) + ": "; reason.starts_with(path))
            reason.remove_prefix(path.size());
        return fmt::format("n{}", reason);
    }
    std::vector<const char*> missing;
    for (const char* const name : kDriverFunctions)
        if (!object.Find(name)) missing.push_back(name);
    return missing.empty() ? std::string("y") + kOk
                           : fmt::format("yhas no {}", fmt::join(missing, ", "));
}

/// Reads a line, which is empty when it does not come whole and in time.
std::string LineInTime(int from) {
    const auto end = std::chrono::steady_clock::now() + kMostTime;
    std::string text;
    while (text.size() < kMostWords) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        pollfd waiting{from, POLLIN, 0};
        if (left.count() <= 0) return {};
        if (::poll(&waiting, 1, static_cast<int>(left.count())) <= 0) continue;
        std::array<char, 512> piece;
        const ssize_t read = ::read(from, piece.data(), piece.size());
        if (read <= 0) return {};
        text.append(piece.data(), static_cast<std::size_t>(read));
        if (const std::size_t line = text.find('\n'); line != text.npos)
            return text.substr(0, line);
    }
    return {};
}

Candidate Try(const std::string& file) {
    const auto start = std::chrono::steady_clock::now();
    scene::BoundedChild child(kMostMemory, [&](std::FILE* to) {
        try {
            (void)std::fprintf(to, "%.*s\n", static_cast<int>(kMostWords / 2),
                               Examine(file).c_str());
        } catch (const std::exception&) {
            (void)std::fputs("nmemory ran out\n", to);
        }
        (void)std::fflush(to);
        ::_exit(0);  // ahead of the destructors of the object
    });
    std::string said = LineInTime(::fileno(child.From()));
    if (said.size() > 1) return {file, Printable(said.substr(1)), said[0] == 'y'};
    if (std::chrono::steady_clock::now() - start >= kMostTime)
        return {file, fmt::format("still loading after {} s", kMostTime.count())};
    const std::string end = child.Wait();
    return {file, end.empty() ? kBrokeDown : fmt::format("{}: {}", kBrokeDown, end)};
}

/// The files "*.so" of a folder, by their names.
std::vector<std::string> FilesOf(const std::string& folder) {
    std::vector<std::string> files;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code ignored;
        if (entry->path().extension() == ".so" && entry->is_regular_file(ignored))
            files.push_back(entry->path().string());
    }
    if (error && error != std::errc::no_such_file_or_directory)
        Tell("pcbake", folder + ": " + error.message());
    std::sort(files.begin(), files.end());
    return files;
}

/// Every folder once, whatever it is called.
std::vector<std::string> Distinct(const std::vector<std::string>& folders) {
    std::vector<std::string> distinct;
    std::set<fs::path> seen;
    for (const std::string& folder : folders) {
        std::error_code error;
        const fs::path whole = fs::canonical(folder, error);
        if (error || seen.insert(whole).second) distinct.push_back(folder);
    }
    return distinct;
}

/// The shortest name that leads to `candidate`: another file may come first on the path.
std::string NameFor(const Candidate& candidate, const std::vector<std::string>& folders,
                    const std::vector<Candidate>& all) {
    const auto leads_here = [&](const std::string& name) {
        for (const std::string& folder : folders)
            for (const std::string& file : DriverFileNames(name)) {
                const std::string path = (fs::path(folder) / file).string();
                const auto found = std::find_if(all.begin(), all.end(),
                                                [&](const Candidate& c) { return c.file == path; });
                if (found != all.end() && !found->is_loaded) continue;
                if (found != all.end()) return found->file == candidate.file;
                std::error_code ignored;
                if (fs::is_regular_file(path, ignored)) return false;  // nobody has tried it
            }
        return false;
    };
    const std::string file = fs::path(candidate.file).filename().string();
    const std::string stem = file.substr(0, file.size() - 3);
    for (const std::string& name : {stem.starts_with("d_") ? stem.substr(2) : stem, stem, file})
        if (!name.empty() && leads_here(name)) return name;
    return candidate.file;
}

}  // namespace

void ListDrivers(const std::vector<std::string>& folders) {
    const std::vector<std::string> distinct = Distinct(folders);
    std::vector<Candidate> all;
    for (const std::string& folder : distinct)
        for (const std::string& file : FilesOf(folder)) all.push_back(Try(file));

    if (all.empty()) {
        Tell("pcbake", fmt::format("no shared objects in {}", fmt::join(distinct, ", ")));
        return;
    }
    std::vector<std::array<std::string, 3>> rows = {{"name", "file", "state"}};
    for (const Candidate& candidate : all)
        rows.push_back({candidate.state == kOk ? Printable(NameFor(candidate, distinct, all)) : "-",
                        Printable(candidate.file), candidate.state});
    std::array<std::size_t, 2> widths{};
    for (const auto& row : rows)
        for (std::size_t i = 0; i < widths.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    for (const auto& [name, file, state] : rows)
        WriteOut(fmt::format("{:{}}  {:{}}  {}\n", name, widths[0], file, widths[1], state));
}

}  // namespace bake
