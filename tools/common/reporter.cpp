// Reporter: the events as lines, and their limits.

#include "tools/common/reporter.h"

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string_view>

#include "tools/common/standard_streams.h"
#include "tools/common/stopwatch.h"
#include "util/io/client_port.h"

namespace {

using Event = nlohmann::ordered_json;

/// Of any one text. A byte takes up to six in JSON, so an event with two of these, the most that
/// there are, and all the rest is shorter than the longest line of a ClientPort.
constexpr std::size_t kMostTextBytes = 4096;
constexpr std::size_t kMostIdBytes = 256;

constexpr std::chrono::milliseconds kSharePause{500};

double Rounded(double value, double parts) {
    return std::round(value * parts) / parts;
}

std::string_view Cut(std::string_view text, std::size_t most = kMostTextBytes) {
    return text.substr(0, most);
}

/// The words of the command line. Those that do not fit are replaced by one that is "...".
std::vector<std::string> CommandWords() {
    std::ifstream file("/proc/self/cmdline", std::ios::binary);
    std::vector<std::string> words;
    std::size_t left = kMostTextBytes;
    for (std::string word; std::getline(file, word, '\0'); words.push_back(word)) {
        if (word.size() >= left) {
            words.emplace_back("...");
            break;
        }
        left -= word.size() + 1;
    }
    return words;
}

/// A variable that a scheduler sets for the runs of a job.
void AddVariable(const char* key, const char* variable, Event* event) {
    const char* const value = std::getenv(variable);
    if (value && *value) (*event)[key] = Cut(value, kMostIdBytes);
}

std::string HostName() {
    std::array<char, 256> name = {};
    return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

double UtcSeconds() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return Rounded(std::chrono::duration<double>(now).count(), 1000);
}

}  // namespace

/// What a run with a monitor has, and others do without.
class Reporter::Wire {
public:
    explicit Wire(const ReportedRun& run) : port_(*run.monitor) {
        common_["tool"] = run.tool;
        common_["host"] = HostName();
        common_["pid"] = getpid();
        AddVariable("job", "PCFARM_JOB", &common_);
        AddVariable("task", "PCFARM_TASK", &common_);
        common_["output"] = Cut(run.output);
    }

    ClientPort& Port() { return port_; }

    /// The event with what all of them have.
    Event Begin(const char* name) const {
        Event event = {{"event", name}};
        event.update(common_);
        event["time"] = UtcSeconds();
        event["seconds"] = Rounded(watch_.Seconds(), 1000);
        event["dropped"] = port_.Counts().dropped;
        return event;
    }

    /// Bytes that are not UTF-8 become U+FFFD.
    void Send(const Event& event) {
        port_.Send(event.dump(-1, ' ', false, Event::error_handler_t::replace));
    }

private:
    ClientPort port_;
    Event common_;
    const Stopwatch watch_;
};

Reporter::Reporter(const ReportedRun& run)
    : run_(run),
      wire_(run.monitor ? std::make_unique<Wire>(run) : nullptr),
      next_share_(std::chrono::steady_clock::now() + kSharePause) {
    if (!wire_) return;
    Tell("start", [](Event& event) { event["command"] = CommandWords(); });
    Progress::SetListener(this);
}

Reporter::~Reporter() {
    if (wire_) Progress::SetListener(nullptr);
}

void Reporter::Start() noexcept {
    if (wire_) wire_->Port().Start();
}

void Reporter::Add(const char* name, std::int64_t figure) {
    if (wire_) figures_.emplace_back(name, figure);
}

void Reporter::End() noexcept {
    Tell("end", [this](Event& event) {
        for (const auto& [name, figure] : figures_) event[name] = figure;
    });
    Finish();
}

void Reporter::Fail(const std::exception& failure) noexcept {
    Tell("failed", [&](Event& event) { event["reason"] = Cut(FailureText(failure)); });
    Finish();
}

void Reporter::ShowShare(double share) noexcept {
    const auto now = std::chrono::steady_clock::now();
    if (!wire_ || now < next_share_) return;
    next_share_ = now + kSharePause;
    Tell("progress", [&](Event& event) {
        event["pass"] = pass_;
        event["done"] = Rounded(share, 10000);
    });
}

/// Sends an event that `fill` has completed. Memory that runs out costs the report, not the run.
template <class Fill>
void Reporter::Tell(const char* event, Fill fill) noexcept {
    if (!wire_) return;
    try {
        Event whole = wire_->Begin(event);
        fill(whole);
        wire_->Send(whole);
    } catch (const std::exception&) {
        wire_->Port().Send({});  // is no line, and counts as lost
    }
}

/// Gives the reports that wait their last chance.
void Reporter::Finish() noexcept {
    if (!wire_) return;
    wire_->Port().Finish();
    const ClientPortCounts counts = wire_->Port().Counts();
    if (run_.is_quiet || counts.delivered == counts.sent) return;
    try {
        ::Tell(run_.program,
               fmt::format("{} of {} reports were not delivered to {}",
                           counts.sent - counts.delivered, counts.sent, run_.monitor->Text()));
    } catch (const std::exception&) {
        // Nothing to say it with.
    }
}
