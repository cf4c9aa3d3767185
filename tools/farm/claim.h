// Claim: the mark that a process runs a task, so that no other one does.
//
// Units      none.
// Errors     a Failure that names the record's file.
// Ownership  owns the record in running/ until the task has ended.
// Threads    one caller at a time.
//
// The owner renews the claim's time. A claim is void when its process has died, which its own
// machine sees at once, and other machines when the time has not been renewed for kVoidSeconds. Two
// processes that hold the same task all the same do no harm: each collects its output in a folder
// of its own, and both outputs have the same bytes.

#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "tools/farm/record.h"
#include "tools/farm/task.h"

namespace farm {

/// How often an owner renews its claim, and when others take it for dead.
inline constexpr std::chrono::seconds kRenewal{5};
inline constexpr std::chrono::seconds kVoidSeconds{30};

/// Whether the claim's process is thought to live.
bool IsLive(const JobFolder& folder, const Record& claim);

/// Makes the folder that `file` is in.
void MakeParent(const std::string& file);

class Claim {
public:
    /// Takes the task, and removes what a dead process has left of it. Null: a live process has it.
    static std::unique_ptr<Claim> Take(const JobFolder& folder, const Task& task);

    /// Gives up the claim without a word, unless the task has ended.
    ~Claim();
    Claim(const Claim&) = delete;
    Claim& operator=(const Claim&) = delete;

    /// The folder beside the output where it is collected. Exists after MakeBeside(), until the
    /// end.
    const std::string& Beside() const { return beside_; }
    void MakeBeside();

    void Renew();

    /// Ends the task: its record moves to done/, or to failed/ if it has a reason.
    void End(const Record& record);

private:
    Claim(const JobFolder& folder, const Task& task);
    bool Create();
    static std::string BesideOf(const Task& task, const ProcessName& owner);
    static void Sweep(const Task& task, const Record& dead);

    const JobFolder& folder_;
    const std::string task_;
    const ProcessName owner_;
    const std::string beside_;
    int descriptor_ = -1;
    bool has_ended_ = false;
};

}  // namespace farm
