// Opening the cloud that a user named.

#include "tools/ptc/open_input.h"

#include <fmt/format.h>

#include "tools/ptc/read_error.h"

OpenedCloud OpenInput(const InputFile& file) {
    // The check goes first: it says more than the reader, and says nothing on standard output.
    std::string why;
    FaultList faults(1, [&](std::int64_t offset, const std::string& what) {
        why = offset == 0 ? what : fmt::format("at byte {}: {}", offset, what);
    });
    const std::optional<HeaderPlaces> places = CheckHeader(file, faults);
    OpenedCloud opened;
    if (places) opened = {OpenQuietly(file, CountCheck::kOff, &why), *places};
    if (!opened.cloud) throw Failure(file.Name() + ": " + why);
    FailIfUnread(*opened.cloud, file.Name());
    return opened;
}
