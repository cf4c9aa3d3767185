// Reads configuration files: finds the files, splits the lines, replaces references in values.
//
// Files and environment may come from strangers: no text is used as a format, every length has a
// limit or costs no more than the file itself, and text that replaces a reference is not searched.

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "util/host/config_messages.h"
#include "util/host/config_store.h"
#include "util/host/message.h"
#include "util/host/message_tables.h"
#include "util/host/platform.h"
#include "util/io/open_file.h"
#include "util/text/words.h"

namespace {

constexpr std::string_view kFileName = "lumenarc.ini";
constexpr std::string_view kRootVariable = "LUMRTREE";
constexpr std::size_t kLongestSubstitute = 4095;
constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kKeyEnds = " \t\r\n";
constexpr std::string_view kValueEnds = "\r\n";

std::string Joined(std::string_view folder, std::string_view between, std::string_view name) {
    std::string path(folder);
    return path.append(between).append(name);
}

}  // namespace

/// The text that replaces "${`reference`}", where `reference` is NAME or NAME-default.
std::string ConfigStore::ValueOfReference(std::string_view reference) const {
    const std::size_t dash = reference.find('-');
    std::string name(reference.substr(0, dash));
    const char* const set = name == kRootVariable ? Root() : std::getenv(name.c_str());
    std::string_view value;
    if (set)
        value = set;
    else if (dash != std::string_view::npos)
        value = reference.substr(dash + 1);
    if (value.size() <= kLongestSubstitute) return std::string(value);
    config_messages::VariableIsTooLong(name, static_cast<int>(kLongestSubstitute) + 1);
    return name;
}

/// `value` with its references replaced. Text that replaces one is not searched for others, so this
/// always ends.
std::string ConfigStore::Expanded(std::string_view value) const {
    std::string expanded;
    for (;;) {
        const std::size_t open = value.find("${");
        const std::size_t close = open == value.npos ? open : value.find('}', open);
        if (close == value.npos) return expanded.append(value);
        expanded.append(value.substr(0, open));
        expanded.append(ValueOfReference(value.substr(open + 2, close - open - 2)));
        value.remove_prefix(close + 1);
    }
}

std::FILE* ConfigStore::Dump() const noexcept {
    if (!dumps_.load(std::memory_order_relaxed)) return nullptr;
    std::FILE* const stream = dump_stream_.load(std::memory_order_relaxed);
    return stream ? stream : stdout;
}

void ConfigStore::ReadLine(const char* line) try {
    std::string_view rest = line;  // ends at a zero byte
    const std::string_view key = TakeWord(&rest, kKeyEnds);
    if (key.empty() || key.front() == '#') return;
    // The one character that ends the key is skipped; the value begins behind it, blanks included.
    // So a key and two blanks have an empty value, and a key and one blank have none.
    rest.remove_prefix(std::min<std::size_t>(rest.size(), 1));
    const std::string_view token = TakeWord(&rest, kValueEnds);
    if (token.empty()) return;

    const std::string value = Expanded(Trimmed(token, kBlanks));
    Add(key, value);
    if (std::FILE* const dump = Dump())
        std::fprintf(dump, " default: %.*s  value: %s\n", static_cast<int>(key.size()), key.data(),
                     value.c_str());
} catch (const std::bad_alloc&) {
    return;  // without memory the entry is dropped, as in Add()
}

void ConfigStore::ReadFile(const char* path) {
    // The zones read so far apply to the path, so one file can say where the next ones are.
    const std::optional<std::string> expanded = platform::ExpandPath(path, *this);
    if (expanded) ReadPlace(*expanded);
}

/// Nobody has named the file, so it is passed over if it might make the program wait or never end.
void ConfigStore::ReadUsualFile(const std::string& path) {
    const std::optional<std::string> expanded = platform::ExpandPath(path.c_str(), *this);
    struct stat info;
    const bool is_there = expanded && ::stat(expanded->c_str(), &info) == 0;
    if (expanded && (!is_there || S_ISREG(info.st_mode))) ReadPlace(*expanded);
}

void ConfigStore::ReadPlace(const std::string& place) {
    std::FILE* const dump = Dump();
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(OpenStream(place.c_str(), "re"),
                                                               std::fclose);
    if (!file) {
        if (dump) std::fprintf(dump, "No defaults in %s\n", place.c_str());
        return;
    }
    if (dump) std::fprintf(dump, "Defaults from %s:\n", place.c_str());
    // The rest of a line that does not fit the buffer is read as a line of its own.
    std::array<char, kLineBytes> line;
    while (std::fgets(line.data(), static_cast<int>(line.size()), file.get()))
        ReadLine(line.data());
}

void ConfigStore::FindRoot() {
    std::string variable;
    {
        TgMutexGuard hold(name_lock_);
        variable = root_variable_;
    }
    // A variable set to nothing counts as set: the root is then the root of the file system.
    const char* root = variable.empty() ? nullptr : std::getenv(variable.c_str());
    if (!root) root = std::getenv(kRootVariable.data());
    // release: pairs with the acquire in Root()
    if (root) root_.store(strdup(root), std::memory_order_release);
}

/// Reads every file that may hold options; a later one hides options of an earlier one.
void ConfigStore::ReadChain() {
    const auto read = [this](const std::string& path) { ReadUsualFile(path); };
    if (const char* const only = std::getenv("LUMRCONFIG")) {
        ReadFile(only);
    } else {
        read(Joined(Root(), "/etc/", kFileName));
        if (const char* const site = std::getenv("RDIR")) read(Joined(site, "/", kFileName));
    }
    if (const char* const home = std::getenv("HOME")) {
        read(Joined(home, "/.", kFileName));
        read(Joined(home, "/", kFileName));
    }
    read(std::string(kFileName));
}

class ConfigStore::LoadedAtEnd : public TgUncopyable {
public:
    explicit LoadedAtEnd(ConfigStore& store) : store_(store) {
        store_.loader_.store(std::this_thread::get_id(), std::memory_order_relaxed);
    }
    ~LoadedAtEnd() {
        store_.loader_.store({}, std::memory_order_relaxed);
        // release: pairs with the acquire of the threads that wait in Load()
        store_.load_state_.store(LoadState::kLoaded, std::memory_order_release);
        store_.load_state_.notify_all();
    }

private:
    ConfigStore& store_;
};

void ConfigStore::Load() {
    LoadState state = LoadState::kNotLoaded;
    // acquire: pairs with the release in LoadedAtEnd
    if (!load_state_.compare_exchange_strong(state, LoadState::kLoading,
                                             std::memory_order_acquire)) {
        if (loader_.load(std::memory_order_relaxed) == std::this_thread::get_id()) return;
        // acquire: pairs with the release in LoadedAtEnd
        load_state_.wait(LoadState::kLoading, std::memory_order_acquire);
        return;
    }
    const LoadedAtEnd end(*this);
    if (std::getenv("LUMR_DUMP_DEFAULTS")) dumps_.store(true, std::memory_order_relaxed);
    FindRoot();
    if (!Newest()) ReadChain();  // a host that has read files of its own gets no others
    platform::Init();
    const char* const disabled = Get("/messages/disable");
    MsgSetDisabledList(disabled);
    // This thread has a table already if it has reported before, such as a warning about the files;
    // a table does not look at the list again.
    if (disabled) message_tables::SilenceInThread(disabled);
}
