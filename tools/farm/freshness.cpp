// Freshness: the digest, and comparing with the record.

#include "tools/farm/freshness.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "tools/farm/digest.h"

namespace farm {

namespace {

/// Names count in the command alone, as the job has them: machines may have others for the files.
void AddFile(const std::string& file, Digest* digest) {
    const Stamp stamp = StampOf(file).value_or(Stamp());
    digest->AddNumber(stamp.bytes);
    digest->AddNumber(stamp.written);
}

}  // namespace

std::string Freshness::MadeFrom(const Task& task) {
    Digest digest;
    for (const std::string& argument : task.command) digest.Add(argument);
    if (!task.history.empty()) digest.Add(task.history);
    for (const std::string& source : task.sources) AddFile(source, &digest);
    return digest.Text();
}

std::string Freshness::MadeOf(const Task& task) const {
    Digest digest;
    for (const std::size_t before : task.after) AddFile(frame_[before].output, &digest);
    return digest.Text();
}

bool Freshness::MayBeGone(const Task& task) const {
    return task.next && !job_.keep_work && !StampOf(task.output);
}

bool Freshness::IsMade(const Task& task) const {
    const std::optional<Record> record = ReadRecord(folder_.Done(task.name));
    if (!record || StampOf(task.output) != record->output || record->made_from != MadeFrom(task))
        return false;
    const bool is_used_up =
        std::any_of(task.after.begin(), task.after.end(),
                    [&](std::size_t before) { return MayBeGone(frame_[before]); });
    return is_used_up || record->made_of == MadeOf(task);
}

bool Freshness::IsFresh(std::size_t index) const {
    const Task& task = frame_[index];
    if (!MayBeGone(task)) return IsMade(task);
    return IsFresh(*task.next);  // behind this one, so it ends
}

void Freshness::Fill(std::size_t index, Record* record) const {
    record->made_from = MadeFrom(frame_[index]);
    record->made_of = MadeOf(frame_[index]);
}

}  // namespace farm
