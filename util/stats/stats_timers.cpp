// Runs, merges and writes timers.

#include "util/stats/stats_timers.h"

#include "util/text/number_text.h"

namespace {

/// Writes a leaf with a number as "%f" prints it in the "C" locale.
void WriteSeconds(StatsWriter& writer, std::string_view tag, double seconds) {
    const Number value = seconds;
    std::string text;
    AppendFormatted("%f", std::span(&value, 1), &text);
    writer.LeafElement(tag, text, {});
}

}  // namespace

// --- UtTimerStat ---

void UtTimerStat::Add(const ProcessTimes& spent) {
    total_.elapsed += spent.elapsed;
    total_.user += spent.user;
    total_.system += spent.system;
}

void UtTimerStat::reset() {
    total_ = {};
    if (running_since_) running_since_ = ReadProcessTimes();
}

void UtTimerStat::merge(const UtStat& other) {
    if (const auto* same = dynamic_cast<const UtTimerStat*>(&other)) Add(same->total_);
}

void UtTimerStat::write(StatsWriter& writer) const {
    Begin(writer, "timer");
    WriteSeconds(writer, "elapsed", total_.elapsed);
    WriteSeconds(writer, "user", total_.user);
    WriteSeconds(writer, "system", total_.system);
    writer.EndElement("timer", true);
}

// A second start must not lose the stretch that runs.
void UtTimerStat::start() {
    if (!running_since_) running_since_ = ReadProcessTimes();
}

void UtTimerStat::stop() {
    update();  // adds the last stretch
    running_since_.reset();
}

void UtTimerStat::update() {
    if (!running_since_) return;
    const ProcessTimes now = ReadProcessTimes();
    Add({now.elapsed - running_since_->elapsed, now.user - running_since_->user,
         now.system - running_since_->system});
    running_since_ = now;  // the next update() adds only the time after this one
}

// --- UtHresTimerStat ---

void UtHresTimerStat::reset() {
    Set(0);
}

void UtHresTimerStat::merge(const UtStat& other) {
    if (const auto* same = dynamic_cast<const UtHresTimerStat*>(&other))
        Set(Ticks() + same->Ticks());
}

void UtHresTimerStat::write(StatsWriter& writer) const {
    Begin(writer, "timer");
    // Divided only here: a sum of whole ticks is exact in a double up to 2^53.
    WriteSeconds(writer, "elapsed", Ticks() / hres_clock::TicksPerSecond());
    writer.EndElement("timer", true);
}
