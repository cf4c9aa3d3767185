// PtcManagedFile -- a point cloud file as the manager and the caches see it, and its opener.
//
// Units      those of ptc/cloud/record_reader.h; error codes are errno values, or -1 when the
//            system has none: for a file that is no readable point cloud, and for a description
//            that is refused.
// Errors     close() and reopen() answer 0 or a code, and keep the code; reads answer 1 or 0.
//            Only the reader reports messages.
// Ownership  owns the reader, or the cloud that it writes. The manager owns the file; a file
//            without a manager belongs to its caller.
// Threads    reads from any thread that holds the file, several at once. While a file is written,
//            only the thread that writes uses it. The manager or ptc/access.h calls the functions
//            that open, close and finish a file.
//
// Locks:
//
//   rank  lock             count   guards
//   27    companion_lock_  1 file  the companion, also while it is made, for which the file is read
//   28    reader_lock_     1 file  replacing the reader; finishing; the cursor of a file in memory

#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "ptc/cloud/block_source.h"
#include "ptc/cloud/record_reader.h"
#include "ptc/cloud/writer.h"
#include "ptc/files/file_manager.h"

/// Sets whether files that are made later are transient: opening such a file reads all its points,
/// and memory keeps them until the manager is destroyed.
void SetTransientFiles(bool are_transient);

/// What a computation makes of a file's content and keeps with the file.
class PtcFileCompanion : public TgUncopyable {
public:
    virtual ~PtcFileCompanion() = default;
};

// PtcBlockSource comes first: see ptc_held::CachedFile.
class PtcManagedFile final : public PtcBlockSource, public UtFileManager::File {
public:
    /// Nothing is open yet. `name`: null for a file without one, which cannot be opened.
    explicit PtcManagedFile(const char* name);
    /// The same for a file without a manager, which is never transient. Its identity does not come
    /// from its name, so that the name's identities are not used up by a program that opens it a
    /// million times.
    struct Alone {};
    PtcManagedFile(const char* name, Alone);
    ~PtcManagedFile() override;

    /// Makes the file and opens it for writing. Name() replaces the description's name. A
    /// description without matrices gets the format 640 x 480 with pixel aspect 1.
    AccessStatus Create(const CloudDescription& description) noexcept;

    /// Closes a file that is read. A transient file stays open, and the call succeeds. Fails with
    /// EBUSY while the file is being written.
    AccessStatus close() noexcept override;

    /// Opens the file for reading, for the first time or again. A file that has changed since the
    /// last opening gets a new identity, so that the caches do not answer its old blocks.
    AccessStatus reopen() noexcept override;

    /// Completes a file that is being written; reading it requires reopen(). Sets a transient
    /// file back to its first point. Failed: nothing is open, or not everything reached the disk.
    CloudStatus Complete();

    bool IsTransient() const { return is_transient_; }
    bool IsManaged() const { return is_managed_; }

    /// Closes the file and forgets its header: nothing can be read any more.
    void Outlive() noexcept override;

    /// The file's header; null when the file was never open.
    const CloudHeader* Header() const;
    /// Whether points, nodes and variables can be read.
    bool IsReading() const { return reader_ != nullptr; }
    /// The cloud to be written; null when the file is not being written.
    CloudWriter* Writing() { return writing_.get(); }

    // PtcBlockSource.
    using UtFileManager::File::Identity;
    const char* Name() const override { return UtFileManager::File::Name(); }
    std::int64_t PointCount() const override { return points_; }
    std::int32_t FloatsPerPoint() const override;
    std::int32_t FloatsPerNode() const override;
    CloudStatus ReadPoints(std::int64_t first, std::int64_t count, PtcPoint* records) override;
    CloudStatus ReadNodeChildren(const std::int64_t* references, PtcNode* records) override;

    /// The same as ReadPoints(), but a transient file, too, answers the points asked for, and its
    /// cursor stays.
    CloudStatus ReadPointsAnywhere(std::int64_t first, std::int64_t count, PtcPoint* records);

    /// Whether the file is in text form, where reading a record means reading those before it.
    bool IsText() const { return reader_ && reader_->IsText(); }

    /// The file's companion; `make()`, which answers a shared pointer, makes it when there is none
    /// or the file has changed since. Other threads that ask meanwhile wait. The companion lives
    /// as long as the file, or longer with those who share it. Caller: uses the file, and `make`
    /// reports no message.
    template <class Make>
    std::shared_ptr<const PtcFileCompanion> Companion(Make make) {
        TgMutexGuard hold(companion_lock_);
        if (!companion_ || companion_of_ != Identity()) {
            companion_.reset();  // its memory is free for the new one
            companion_ = make();
            companion_of_ = Identity();
        }
        return companion_;
    }

private:
    friend class PtcOpener;

    AccessStatus Read() UTIL_REQUIRES(reader_lock_);
    AccessStatus Fail(int error, std::string reason = {}) noexcept;

    // Immutable once the file is with its owner.
    const bool is_transient_;
    bool is_managed_ = false;

    // Replaced under the lock while nobody else uses the file; therefore read without the lock.
    TgMutex reader_lock_;
    std::unique_ptr<PtcRecordReader> reader_;  ///< closed files keep it, for its header
    std::unique_ptr<CloudWriter> writing_;
    std::int64_t points_ = 0;

    TgMutex companion_lock_;
    std::shared_ptr<const PtcFileCompanion> companion_ UTIL_GUARDED_BY(companion_lock_);
    std::uint32_t companion_of_ UTIL_GUARDED_BY(companion_lock_) = kNoFile;  ///< its identity
};

/// Makes managed point cloud files: for reading, or new ones for writing.
///
/// Ownership  borrows the description.
/// Threads    one caller at a time.
class PtcOpener final : public UtFileManager::Opener {
public:
    enum class Status : std::uint32_t { kNotCalled = 0, kOpened = 1, kFailed = 2 };

    /// `description`: of a file to be created, or null for one to be read.
    explicit PtcOpener(const CloudDescription* description = nullptr) : description_(description) {}

    std::unique_ptr<UtFileManager::File> open(const char* name) noexcept override;
    const char* type() const override { return "ptc"; }

    /// How the last open() went.
    Status GetStatus() const { return status_; }

private:
    const CloudDescription* const description_;
    Status status_ = Status::kNotCalled;
};
