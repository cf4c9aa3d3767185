// Editing a cloud, a piece of records at a time.

#include "tools/ptc/edit/edit.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "tools/common/failure.h"
#include "tools/common/input_file.h"
#include "tools/common/output_file.h"
#include "tools/common/progress.h"
#include "tools/common/spool.h"
#include "tools/ptc/convert/cloud_source.h"
#include "tools/ptc/convert/form_files.h"
#include "tools/ptc/convert/tree_copy.h"
#include "tools/ptc/edit/point_changes.h"
#include "tools/ptc/edit/point_filter.h"
#include "tools/ptc/edit/point_thinning.h"
#include "tools/ptc/edit/point_transform.h"
#include "tools/ptc/edit/variable_layout.h"
#include "util/io/open_file.h"

namespace edit {

namespace {

/// Bytes of records that are worked on at a time; a larger record is worked on by itself.
constexpr std::size_t kPieceBytes = std::size_t{1} << 18;

constexpr std::uint64_t kProgressSteps = 1000;

/// The form of OUT: that of the option, or that of a copy.
convert::Form FormOfOutput(const Options& options, convert::PointSource& source) {
    if (!options.form.empty()) return convert::FormCalled(options.form).value_or(convert::Form());
    return convert::FormOfCopy(options.in, options.out, source);
}

/// The plan: made once from the options and the header, then applied to every piece.
class Editor {
public:
    Editor(const Options& options, const std::string& file, StoredHeader* header)
        : filter_(options, expression::PointFields(header->point_variables)),
          changes_(options.changes, file, &header->point_variables),
          wide_record_(header->PointBytes()),
          nodes_(header->node_variables),
          layout_(options, file, header),
          does_nothing_(!options.HasFilter() && options.changes.empty() && !layout_.DropsAny() &&
                        options.renames.empty() && !options.thins) {
        if (options.thins) thinning_.emplace(options.thinning, header->point_variables);
        if (options.transform) {
            const char* why = nullptr;
            transform_ = PointTransform::Make(*options.transform, &why);
            if (!transform_) throw Failure(fmt::format("the matrix {}", why));
            if (transform_->IsIdentity()) transform_.reset();
        }
        if (!transform_) return;
        does_nothing_ = false;
        header->world_to_eye = transform_->Camera(header->world_to_eye);
        header->stored_world_to_ndc = transform_->Camera(header->stored_world_to_ndc);
    }

    /// Hands to `write` what becomes of the points of `batch`, those of IN from `first` on.
    void Edit(std::int64_t first, RecordBatch* batch, const PointThinning::Write& write) {
        filter_.Apply(first, batch);
        batch->Widen(wide_record_);
        const bool has_normals = changes_.ChangesNormals();
        if (has_normals) batch->DecodeNormals();
        changes_.Apply(batch);
        layout_.Apply(batch);
        if (thinning_) {
            if (has_normals) batch->EncodeNormals();
            thinning_->Take(*batch, [&](RecordBatch* left) { Move(left, write); });
            return;
        }
        Move(batch, write);
    }

    /// Hands out the points that wait. Caller: has no more.
    void Finish(const PointThinning::Write& write) {
        if (thinning_) thinning_->Finish([&](RecordBatch* left) { Move(left, write); });
    }

    bool IsDone() const { return filter_.IsDone(); }

    /// Whether points and variables stay as they are.
    bool DoesNothing() const { return does_nothing_; }

    /// Whether an octree over the points still is one, if none of them goes.
    bool KeepsTree() const {
        return !transform_ && !thinning_ && !layout_.DropsAny() && !changes_.ChangesTree(nodes_);
    }

private:
    /// The last step, with which the normals get their codes.
    void Move(RecordBatch* batch, const PointThinning::Write& write) const {
        if (transform_ && transform_->TurnsNormals() && batch->normals.empty())
            batch->DecodeNormals();
        if (transform_) transform_->Apply(batch);
        if (!batch->normals.empty()) batch->EncodeNormals();
        write(batch);
    }

    PointFilter filter_;
    PointChanges changes_;
    const std::size_t wide_record_;
    const CloudVariables nodes_;
    const VariableLayout layout_;
    bool does_nothing_;
    std::optional<PointThinning> thinning_;
    std::optional<PointTransform> transform_;
};

/// The answer: how many points were written.
std::int64_t EditPoints(convert::PointSource& source, Editor& editor, convert::PointSink& sink) {
    Progress progress(kProgressSteps, true);
    const std::size_t record = source.Header().PointBytes();
    const std::size_t most = std::max<std::size_t>(1, kPieceBytes / record);
    RecordBatch batch;
    std::int64_t first = 0, written = 0;
    const auto write = [&](RecordBatch* edited) {
        sink.Write(edited->Records());
        written += static_cast<std::int64_t>(edited->count);
    };
    for (std::size_t read = most; read == most && !editor.IsDone();) {
        if (batch.bytes.size() < most * record) batch.bytes.resize(most * record);
        read = source.Read(std::span(batch.bytes).first(most * record));
        batch.record = record;
        batch.count = read;
        editor.Edit(first, &batch, write);
        first += static_cast<std::int64_t>(read);
        progress.Show(static_cast<std::uint64_t>(source.Share() * kProgressSteps));
    }
    editor.Finish(write);
    return written;
}

/// A file that can be opened and closed again.
class OpenedFile {
public:
    OpenedFile(const std::string& path, const std::string& name, int flags)
        : descriptor_(OpenFile(path.c_str(), flags)) {
        if (descriptor_ < 0) FailWithErrno(name);
    }
    ~OpenedFile() { ::close(descriptor_); }
    OpenedFile(const OpenedFile&) = delete;
    OpenedFile& operator=(const OpenedFile&) = delete;

    int Descriptor() const { return descriptor_; }

private:
    const int descriptor_;
};

/// Nothing of the file is another's to decide: not the compression, the bounds nor the octree. Its
/// points are read all the same, so that a damaged file fails as in any other edit.
void CopyFile(const InputFile& in, convert::PointSource& source, const OutputFile& out) {
    const std::size_t record = source.Header().PointBytes();
    const std::size_t most = std::max<std::size_t>(1, kPieceBytes / record);
    std::vector<std::byte> piece(most * record);
    while (source.Read(piece) == most) {
    }
    const OpenedFile from(in.Path(), in.Name(), O_RDONLY);
    const OpenedFile to(out.Path(), out.Name(), O_WRONLY | O_TRUNC);
    CopyDescriptor(from.Descriptor(), in.Name(), to.Descriptor(), out.Name());
}

}  // namespace

void RunEdit(const Options& options) {
    const InputFile in(options.in);
    const auto source = convert::OpenCloudSource(in);
    StoredHeader header = source->Header();
    Editor editor(options, in.Name(), &header);
    const convert::Form form = FormOfOutput(options, *source);
    OutputFile out(options.out);
    if (editor.DoesNothing() && form == convert::FormOfCloud(*source)) {
        CopyFile(in, *source, out);
        return out.Commit();
    }
    const std::int64_t count = options.HasFilter() || options.thins ? -1 : source->Count();
    const auto sink = convert::MakeSink(out, form, header, count, "");
    const std::int64_t written = EditPoints(*source, editor, *sink);
    convert::CopyTree(in, *source, out, *sink, written == source->Count() && editor.KeepsTree());
    sink->Finish();
    out.Commit();
}

}  // namespace edit
