// SpawnProcess: the attributes and the actions in the child, in their order.

#include "util/host/spawn.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <initializer_list>
#include <new>
#include <string_view>

#include "util/base/uncopyable.h"

namespace {

class Attributes : public TgUncopyable {
public:
    Attributes() {
        if (posix_spawnattr_init(&attributes_) != 0) throw std::bad_alloc();
    }
    ~Attributes() { (void)posix_spawnattr_destroy(&attributes_); }

    /// Refuses no value that it is given here.
    const posix_spawnattr_t* Fill() {
        sigset_t none;
        sigset_t all;
        (void)sigemptyset(&none);
        (void)sigfillset(&all);
        (void)posix_spawnattr_setsigmask(&attributes_, &none);
        (void)posix_spawnattr_setsigdefault(&attributes_, &all);
        (void)posix_spawnattr_setpgroup(&attributes_, 0);
        (void)posix_spawnattr_setflags(
            &attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        return &attributes_;
    }

private:
    posix_spawnattr_t attributes_;
};

/// Keeps the first failure: the system refuses numbers above a limit that was lowered meanwhile.
class Actions : public TgUncopyable {
public:
    Actions() {
        if (posix_spawn_file_actions_init(&actions_) != 0) throw std::bad_alloc();
    }
    ~Actions() { (void)posix_spawn_file_actions_destroy(&actions_); }

    int Fill(const SpawnPlan& plan) {
        // The descriptors that are moved are above the standard ones: no step closes what a later
        // one needs.
        if (plan.folder >= 0) Note(posix_spawn_file_actions_addfchdir_np(&actions_, plan.folder));
        Open(STDIN_FILENO, O_RDONLY);
        for (const int standard : {STDOUT_FILENO, STDERR_FILENO}) {
            if (plan.output >= 0)
                Note(posix_spawn_file_actions_adddup2(&actions_, plan.output, standard));
            else if (::fcntl(standard, F_GETFD) < 0)
                // Otherwise the first file that the child opens would get all that it prints.
                Open(standard, O_WRONLY);
        }
        Note(posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1));
        return error_;
    }

    const posix_spawn_file_actions_t* Get() const { return &actions_; }

private:
    void Note(int error) {
        if (error_ == 0) error_ = error;
    }
    void Open(int descriptor, int flags) {
        Note(posix_spawn_file_actions_addopen(&actions_, descriptor, "/dev/null", flags, 0));
    }

    posix_spawn_file_actions_t actions_;
    int error_ = 0;
};

/// With the '=', so that no name is the beginning of another one.
std::string_view NameOf(std::string_view variable) {
    return variable.substr(0, variable.find('=') + 1);
}

std::vector<char*> PointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    // The system's interface wants pointers to what it does not change.
    for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

std::vector<std::string> ChangedEnvironment(const std::vector<std::string>& changes) {
    std::vector<std::string> result;
    const auto changed = [&](std::string_view variable, std::size_t from) {
        return std::any_of(changes.begin() + static_cast<std::ptrdiff_t>(from), changes.end(),
                           [&](const std::string& c) { return NameOf(c) == NameOf(variable); });
    };
    for (char** variable = environ; variable && *variable; ++variable)
        if (!changed(*variable, 0)) result.emplace_back(*variable);
    for (std::size_t i = 0; i < changes.size(); ++i)
        if (!changed(changes[i], i + 1)) result.push_back(changes[i]);
    return result;
}

int SpawnProcess(const SpawnPlan& plan, pid_t* process) {
    const std::vector<char*> arguments = PointersTo(*plan.arguments);
    const std::vector<char*> environment = PointersTo(*plan.environment);
    Attributes attributes;
    Actions actions;
    if (const int error = actions.Fill(plan); error != 0) return error;
    return ::posix_spawnp(process, arguments.front(), actions.Get(), attributes.Fill(),
                          arguments.data(), environment.data());
}
