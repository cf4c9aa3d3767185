// Opening clouds through the library's caches.

#include "tools/clouds/open_through_caches.h"

#include "tools/clouds/foreign_file.h"
#include "tools/common/failure.h"

PtcFile OpenThroughCaches(const InputFile& file) {
    PtcFile open(file.Path().c_str());
    if (open) return open;
    const PtcFailure why = PtcLastFailure();
    const bool is_foreign = why.code == PtcFailureCode::kNotACloud;
    throw Failure(file.Name() + ": " + why.reason + (is_foreign ? ConvertHint(file) : ""));
}

PtcHeader HeaderOf(const PtcFile& file) {
    PtcHeader header{};
    (void)PtcGetHeader(file.Get(), &header);  // an open file has one
    return header;
}
