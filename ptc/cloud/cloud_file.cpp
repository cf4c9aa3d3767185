// Opening cloud files by name.

#include "ptc/cloud/cloud_file.h"

#include <memory>

#include "util/io/plain_file.h"
#include "util/io/plain_input.h"

TokenOpenStatus OpenCloudFile(TokenInput& input, const char* name, std::uint32_t* version) {
    TokenOpenStatus status = TokenOpenStatus::kOtherType;
    for (const bool allow_gzip : {false, true}) {
        auto source = std::make_unique<PlainInput>();
        (void)source->Open(name, allow_gzip);  // a source that failed is refused with its error
        status = input.OpenForReading(std::move(source), ptc_layout::kFileKind, version);
        if (status != TokenOpenStatus::kOtherType) break;
    }
    return status;
}

TokenStatus CreateCloudFile(TokenFile& file, const char* name, TokenForm form,
                            std::uint32_t version) {
    const unsigned mode = kPlainWriteThrough | kPlainTruncate | kPlainWrite |
                          (form == TokenForm::kBinary ? kPlainBinary : 0U);
    TokenFileKind kind = ptc_layout::kFileKind;
    kind.version = version;
    auto sink = std::make_unique<PlainFile>();
    (void)sink->Open(name, mode);  // a sink that failed is refused with its error
    return file.OpenForWriting(std::move(sink), kind, form);
}
