// Opens and closes a managed file, and finds out whether the file has changed since.

#include "ptc/files/managed_file.h"

#include <atomic>
#include <cassert>
#include <cerrno>
#include <new>
#include <string>
#include <utility>

namespace {

constinit std::atomic<bool> files_are_transient{false};

/// Counts the files that were made without a manager.
constinit std::atomic<std::uint32_t> files_alone{0};

/// Compares everything that points and nodes depend on. A header that contains a NaN equals no
/// header, itself included; then blocks are read again, which is slower but never wrong.
bool IsSameHeader(const StoredHeader& a, const StoredHeader& b) {
    const auto same_variables = [](const CloudVariables& x, const CloudVariables& y) {
        return x.types == y.types && x.names == y.names;
    };
    return a.version == b.version && a.point_count == b.point_count &&
           a.stored_node_count == b.stored_node_count && a.root_position == b.root_position &&
           a.data_start == b.data_start && a.box_min == b.box_min && a.box_max == b.box_max &&
           a.largest_radius == b.largest_radius && a.world_to_eye == b.world_to_eye &&
           a.stored_world_to_ndc == b.stored_world_to_ndc && a.stored_format == b.stored_format &&
           same_variables(a.point_variables, b.point_variables) &&
           same_variables(a.node_variables, b.node_variables);
}

}  // namespace

void SetTransientFiles(bool are_transient) {
    files_are_transient.store(are_transient, std::memory_order_relaxed);
}

PtcManagedFile::PtcManagedFile(const char* name)
    : File(name), is_transient_(files_are_transient.load(std::memory_order_relaxed)) {
    SetIdentity(Identity());
    assert(&ptc_held::CachedFile::Of(this) == this);
}

PtcManagedFile::PtcManagedFile(const char* name, Alone)
    : File(name, files_alone.fetch_add(1, std::memory_order_relaxed)), is_transient_(false) {
    SetIdentity(Identity());
}

PtcManagedFile::~PtcManagedFile() = default;

AccessStatus PtcManagedFile::Fail(int error, std::string reason) noexcept {
    return Remember(ToAccessStatus(CloudStatus::kFailed, error), std::move(reason));
}

AccessStatus PtcManagedFile::Create(const CloudDescription& description) noexcept {
    if (!Name()) return Fail(ENOENT);
    CloudDescription mine = description;
    mine.file_name = Name();
    if (!mine.world_to_eye && !mine.world_to_ndc) {
        mine.format[0] = 640;
        mine.format[1] = 480;
        mine.format[2] = 1;
    }
    try {
        TgMutexGuard hold(reader_lock_);
        std::string why;
        int error = 0;
        writing_ = CreateCloud(mine, &why, &error);
        if (!writing_) return Fail(error, std::move(why));
    } catch (const std::bad_alloc&) {
        return Fail(ENOMEM);
    }
    StayOpen(true);  // opening it again would not continue the writing
    MarkOpen();
    return AccessStatus::kOk;
}

AccessStatus PtcManagedFile::close() noexcept {
    TgMutexGuard hold(reader_lock_);
    if (writing_ && writing_->file.IsOpen()) return Fail(EBUSY);
    if (is_transient_) return AccessStatus::kOk;
    if (reader_) reader_->Close();
    MarkClosed();
    return AccessStatus::kOk;
}

AccessStatus PtcManagedFile::reopen() noexcept {
    if (!Name()) return Fail(ENOENT);
    try {
        TgMutexGuard hold(reader_lock_);
        if (writing_ && writing_->file.IsOpen()) return Fail(EBUSY);
        return Read();
    } catch (const std::bad_alloc&) {
        return Fail(ENOMEM);
    }
}

AccessStatus PtcManagedFile::Read() {
    auto fresh = std::make_unique<PtcRecordReader>();
    std::string why;
    int error = 0;
    if (Failed(fresh->Open(Name(), is_transient_, &why, &error)))
        return Fail(error, std::move(why));
    const bool has_changed = reader_ && (reader_->Stamp() != fresh->Stamp() ||
                                         !IsSameHeader(reader_->Header(), fresh->Header()));
    if (has_changed) {
        if (!RenewIdentity()) return Fail(EOVERFLOW);
        SetIdentity(Identity());
    }
    reader_ = std::move(fresh);
    points_ = reader_->Header().point_count;
    SetPoints(points_, FloatsPerPoint());
    writing_.reset();
    StayOpen(is_transient_);
    MarkOpen();
    return AccessStatus::kOk;
}

void PtcManagedFile::Outlive() noexcept {
    {
        TgMutexGuard hold(companion_lock_);
        companion_.reset();
    }
    TgMutexGuard hold(reader_lock_);
    reader_.reset();
    writing_.reset();
    points_ = 0;
    SetPoints(0, 0);
    MarkClosed();
}

CloudStatus PtcManagedFile::Complete() {
    TgMutexGuard hold(reader_lock_);
    if (writing_) return FinishCloud(*writing_);
    if (!reader_ || !reader_->IsOpen()) return CloudStatus::kFailed;
    reader_->Rewind();
    return CloudStatus::kOk;
}

const CloudHeader* PtcManagedFile::Header() const {
    if (reader_) return &reader_->Header();
    return writing_.get();
}

std::int32_t PtcManagedFile::FloatsPerPoint() const {
    return reader_ ? reader_->Header().point_variables.data_size : 0;
}

std::int32_t PtcManagedFile::FloatsPerNode() const {
    return reader_ ? reader_->Header().node_variables.data_size : 0;
}

CloudStatus PtcManagedFile::ReadPoints(std::int64_t first, std::int64_t count, PtcPoint* records) {
    if (!reader_) return CloudStatus::kFailed;
    if (!is_transient_) return reader_->ReadPoints(first, count, records);
    TgMutexGuard hold(reader_lock_);  // all reads move the reader's one cursor
    return reader_->ReadPoints(first, count, records);
}

CloudStatus PtcManagedFile::ReadPointsAnywhere(std::int64_t first, std::int64_t count,
                                               PtcPoint* records) {
    return reader_ ? reader_->ReadPointsAnywhere(first, count, records) : CloudStatus::kFailed;
}

CloudStatus PtcManagedFile::ReadNodeChildren(const std::int64_t* references, PtcNode* records) {
    return reader_ ? reader_->ReadNodeChildren(references, records) : CloudStatus::kFailed;
}

std::unique_ptr<UtFileManager::File> PtcOpener::open(const char* name) noexcept {
    status_ = Status::kFailed;
    std::unique_ptr<PtcManagedFile> file;
    try {
        file = std::make_unique<PtcManagedFile>(name);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    file->is_managed_ = true;
    if (!file->IsUsable()) return file;
    if (Failed(description_ ? file->Create(*description_) : file->reopen())) {
        file->MarkUnusable();
    } else {
        status_ = Status::kOpened;
    }
    return file;
}
