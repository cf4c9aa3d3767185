// DiffInput: records, and what keeps them from being read.

#include "tools/ptc/diff/diff_input.h"

#include <fmt/format.h>

#include "ptc/cloud/raw_points.h"
#include "tools/common/failure.h"
#include "tools/ptc/read_error.h"

void DiffInput::Read(std::span<std::byte> records) {
    std::size_t bytes = 0;
    const CloudStatus status = ReadPointRecords(*opened_.cloud, records, &bytes);
    next_ += static_cast<std::int64_t>(bytes / RecordBytes());
    if (!Failed(status)) return;
    FailIfUnread(Cloud(), file_.Name());
    throw Failure(fmt::format("{}: point {} of {} is missing, cut off or damaged", file_.Name(),
                              next_, Cloud().point_count));
}
