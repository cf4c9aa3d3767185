// Claim: the mark that a process runs a task, so that no other one does.
//
// Units      none.
// Errors     a Failure that names the record's file.
// Ownership  owns the record in running/ until the task has ended.
// Threads    one caller at a time.
//
// The owner renews the claim's time. A claim is void when its process has died, which its own
// machine sees at once, and other machines when the time has not been renewed for kVoidSeconds. It
// may have been held up only. Then it sees that its claim is lost, and leaves the task to whoever
// has it. Both collect their output in a folder of their own, and both outputs have the same bytes.
//
// Who removes or moves a claim locks its file before looking whether that still has the name, so
// that the next claim stays. File systems without locks leave a gap of microseconds there.

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

/// Whether the process of the claim in `file` is thought to live.
bool IsLive(const JobFolder& folder, const std::string& file, const Record& claim);

/// Makes the folder that `file` is in.
void MakeParent(const std::string& file);

class Claim {
public:
    /// Takes the task, and removes what a dead process has left of it. Null: a live process has it.
    static std::unique_ptr<Claim> Take(const JobFolder& folder, const Task& task);

    /// Gives up the claim without a word, unless the task has ended or the claim is lost.
    ~Claim();
    Claim(const Claim&) = delete;
    Claim& operator=(const Claim&) = delete;

    /// The folder beside the output where it is collected. Exists after MakeBeside(), until the
    /// end.
    const std::string& Beside() const { return beside_; }
    void MakeBeside();

    /// False: the claim is lost.
    bool Renew();
    bool IsHeld() const;

    /// Ends the task: its record moves to done/, or to failed/ if it has a reason. False: the claim
    /// is lost, and the record of who has the task counts.
    bool End(const Record& record);

private:
    Claim(const JobFolder& folder, const Task& task);
    bool Create();
    bool Hold() const;
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
