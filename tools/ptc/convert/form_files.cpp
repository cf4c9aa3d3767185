// Files of all forms: which source and which sink.

#include "tools/ptc/convert/form_files.h"

#include <system_error>
#include <utility>

#include "tools/common/failure.h"
#include "tools/ptc/convert/cloud_source.h"
#include "tools/ptc/convert/gzip_sink.h"
#include "tools/ptc/convert/sinks.h"
#include "tools/ptc/convert/spacing.h"
#include "tools/ptc/convert/table_sources.h"
#include "util/io/plain_file.h"

namespace convert {

namespace {

std::unique_ptr<PointSource> OpenTable(FileKind kind, const InputFile& file, float radius) {
    return kind == FileKind::kPly ? OpenPly(file, radius) : OpenCsv(file, radius);
}

}  // namespace

std::unique_ptr<PointSource> OpenSource(const InputFile& file, FileKind kind,
                                        std::optional<float> radius) {
    if (kind == FileKind::kCloud) return OpenCloudSource(file);
    auto source = OpenTable(kind, file, radius.value_or(0.0f));
    if (source->HasRadii() || radius) return source;
    const float spaced = RadiusFromSpacing(*source);
    return OpenTable(kind, file, spaced);
}

Form FormOfCloud(PointSource& source) {
    const TokenInput& input = source.AsCloud()->input;
    return {FileKind::kCloud, input.IsText() ? TokenForm::kText : TokenForm::kBinary,
            input.IsCompressed()};
}

Form FormOfCopy(std::string_view in, std::string_view out, PointSource& source) {
    const auto named = FormOf(out);
    if (named && named != FormOf(in)) return *named;
    return FormOfCloud(source);
}

std::unique_ptr<PointSink> MakeSink(const OutputFile& file, const Form& form,
                                    const StoredHeader& header, std::int64_t count,
                                    std::string_view ply_prefix) {
    auto plain = std::make_unique<PlainFile>();
    if (!plain->Open(file.Path().c_str(), kPlainWrite | kPlainTruncate))
        throw Failure(file.Name() + ": " + std::generic_category().message(plain->Error()));
    OutputName output{std::move(plain), file.Name()};
    if (form.is_gzip) output.bytes = std::make_unique<GzipSink>(std::move(output.bytes));

    switch (form.kind) {
        case FileKind::kPly:
            return MakePlySink(header, std::move(output), form.text, count, ply_prefix);
        case FileKind::kCsv:
            return MakeCsvSink(header, std::move(output));
        case FileKind::kCloud:
            break;
    }
    return MakeCloudSink(header, std::move(output), form.text);
}

}  // namespace convert
