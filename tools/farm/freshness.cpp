// Freshness: the digest, and comparing with the record.

#include "tools/farm/freshness.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "tools/farm/digest.h"

namespace farm {

namespace {

/// A file counts with its name, its size and its time.
void AddFile(std::string_view name, const std::string& file, Digest* digest) {
    const Stamp stamp = StampOf(Here(file)).value_or(Stamp());
    digest->Add(name);
    digest->AddNumber(stamp.bytes);
    digest->AddNumber(stamp.written);
}

}  // namespace

/// Machines may have other names for the job's folder, so names in it count without it.
std::string_view Freshness::NameOf(std::string_view name) const {
    if (name.starts_with(folder_.Path() + "/")) name.remove_prefix(folder_.Path().size());
    return name;
}

std::string Freshness::MadeFrom(const Task& task) const {
    Digest digest;
    for (const std::string& argument : task.command) digest.Add(NameOf(argument));
    for (const std::string& source : task.sources) AddFile(NameOf(source), source, &digest);
    return digest.Text();
}

std::string Freshness::MadeOf(const Task& task) const {
    Digest digest;
    for (const std::size_t before : task.after) {
        const std::string& file = frame_[before].output;
        AddFile(NameOf(file), file, &digest);
    }
    return digest.Text();
}

bool Freshness::MayBeGone(const Task& task) const {
    return task.next && !job_.keep_work && !StampOf(Here(task.output));
}

bool Freshness::IsMade(const Task& task) const {
    const std::optional<Record> record = ReadRecord(folder_.Done(task.name));
    if (!record || StampOf(Here(task.output)) != record->output ||
        record->made_from != MadeFrom(task))
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
