// Opening the cloud that a user named.

#include "tools/ptc/open_input.h"

#include <fmt/format.h>

#include "tools/common/failure.h"

OpenedCloud OpenInput(const InputFile& file) {
    // The check's faults have places, which the reader's reasons have not.
    std::string why;
    FaultList faults(1, [&](std::int64_t offset, const std::string& what) {
        why = offset == 0 ? what : fmt::format("at byte {}: {}", offset, what);
    });
    OpenedCloud opened = CheckHeader(file, faults, &why);
    if (!opened.cloud) throw Failure(file.Name() + ": " + why);
    return opened;
}
