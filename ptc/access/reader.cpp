// Reading one file from front to back, as users of the library see it.

#include "ptc/reader.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "ptc/access/header.h"
#include "ptc/access/last_failure.h"
#include "ptc/access/named_place.h"
#include "ptc/cloud/raw_points.h"
#include "ptc/cloud/reader.h"
#include "ptc/format/layout.h"
#include "ptc/format/normal_decode.h"

namespace {

constexpr std::int64_t kRun = 1024;  // points that are decoded at a time

using ptc_layout::kPoint;
static_assert(ptc_layout::Find(kPoint, "position").offset == PtcRecordPlaces::kPosition);
static_assert(ptc_layout::Find(kPoint, "azimuth").offset == PtcRecordPlaces::kCodes);
static_assert(ptc_layout::Find(kPoint, "height").offset == PtcRecordPlaces::kCodes + 2);
static_assert(ptc_layout::Find(kPoint, "radius").offset == PtcRecordPlaces::kRadius);
static_assert(ptc_layout::kPointHeadBytes == PtcRecordPlaces::kData);

/// Copies the heads to place `at` of the arrays.
void CopyHeads(std::span<const PointHead> heads, const PtcPointArrays& to, std::int64_t at) {
    for (const PointHead& head : heads) {
        if (to.positions) std::copy_n(head.position, 3, to.positions + 3 * at);
        if (to.normals) std::copy_n(head.normal, 3, to.normals + 3 * at);
        if (to.radii) to.radii[at] = head.radius;
        ++at;
    }
}

}  // namespace

struct PtcReader::State {
    State() = default;
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() {
        if (mapped) ::munmap(mapped, mapped_bytes);
    }

    bool Refuse(const char* what, const char* reason = nullptr) const {
        SetFailure(PtcFailureCode::kBadArgument, cloud->name.c_str(), what, 0, reason);
        return false;
    }
    std::int64_t Floats() const { return cloud->point_variables.data_size; }
    template <class ReadRun>
    std::int64_t ReadRuns(std::int64_t count, std::int64_t longest, ReadRun read_run);
    std::int64_t ReadInto(std::int64_t count, const PtcPointArrays& arrays);
    std::int64_t ReadRecordsInto(std::int64_t count, std::byte* records);
    void FailToRead(std::int64_t index) const;
    bool MapFile();

    std::unique_ptr<CloudReader> cloud;
    PtcForm form = PtcForm::kBinary;
    std::vector<PointHead> heads;
    void* mapped = nullptr;
    std::size_t mapped_bytes = 0;
};

namespace {

/// Stores that the reader is not open, unless it is.
template <class State>
bool IsOpen(const State& state) {
    if (!state) SetFailure(PtcFailureCode::kBadArgument, nullptr, "the reader has no open file");
    return state != nullptr;
}

/// The same, and whether the file can still be read.
template <class State>
bool IsReadable(const State& state) {
    return IsOpen(state) && (state->cloud->input.IsOpen() ||
                             state->Refuse("cannot be read", "the reader has closed it"));
}

PtcForm FormOf(const TokenInput& input) {
    if (input.IsText()) return input.IsCompressed() ? PtcForm::kCompressedText : PtcForm::kText;
    return input.IsCompressed() ? PtcForm::kCompressed : PtcForm::kBinary;
}

}  // namespace

PtcReader::PtcReader(const char* name) noexcept {
    if (!name) {
        SetFailure(PtcFailureCode::kBadArgument, nullptr, "no file name");
        return;
    }
    state_ = CatchNoMemory(name, std::unique_ptr<State>(), [&] {
        auto state = std::make_unique<State>();
        std::string why;
        int error = 0;
        const NamedPlace place(name);
        state->cloud = OpenCloud(place.Get(), &why, {.is_quiet = true}, &error);
        if (state->cloud) {
            state->form = FormOf(state->cloud->input);
            return state;
        }
        SetFailure(error != 0 ? PtcFailureCode::kCannotOpen : PtcFailureCode::kNotACloud,
                   place.Get(), "cannot be opened", error, why.c_str());
        return std::unique_ptr<State>();
    });
}

PtcReader::~PtcReader() = default;
PtcReader::PtcReader(PtcReader&& other) noexcept = default;
PtcReader& PtcReader::operator=(PtcReader&& other) noexcept = default;

PtcReader::operator bool() const noexcept {
    return state_ != nullptr;
}

bool PtcReader::GetHeader(PtcHeader* header) const noexcept {
    if (!IsOpen(state_)) return false;
    if (!header) return state_->Refuse("no place for the answer");
    CopyHeader(*state_->cloud, header);
    return true;
}

bool PtcReader::GetVariables(PtcVariables* of_points, PtcVariables* of_nodes) const noexcept {
    return IsOpen(state_) && CatchNoMemory(state_->cloud->name.c_str(), false, [&] {
               CopyVariables(*state_->cloud, of_points, of_nodes);
               return true;
           });
}

PtcForm PtcReader::Form() const noexcept {
    return state_ ? state_->form : PtcForm::kBinary;
}

std::int64_t PtcReader::RecordBytes() const noexcept {
    return state_ ? static_cast<std::int64_t>(state_->cloud->PointBytes()) : 0;
}

bool PtcReader::Seek(std::int64_t index) noexcept {
    if (!IsReadable(state_)) return false;
    CloudReader& cloud = *state_->cloud;
    if (index < 0 || index > cloud.point_count)
        return state_->Refuse("there is no such point to go to");
    return CatchNoMemory(cloud.name.c_str(), false, [&] {
        if (!Failed(SeekPoint(cloud, index))) return true;
        state_->FailToRead(index);
        return false;
    });
}

/// Calls `read_run(done, wanted, &got)` for one run after the other, until a run is short.
template <class ReadRun>
std::int64_t PtcReader::State::ReadRuns(std::int64_t count, std::int64_t longest,
                                        ReadRun read_run) {
    std::int64_t done = 0;
    while (done < count) {
        const std::int64_t next = cloud->next_point;
        const std::int64_t left = next < 0 ? 0 : cloud->point_count - next;
        const std::int64_t wanted = std::min({count - done, left, longest});
        std::int64_t got = 0;
        // What was read before memory ran out still counts: the file goes on behind it.
        const bool had_memory = wanted <= 0 || CatchNoMemory(cloud->name.c_str(), false, [&] {
                                    read_run(done, wanted, &got);
                                    return true;
                                });
        done += got;
        if (wanted > 0 && got == wanted) continue;
        if (had_memory) FailToRead(next < 0 ? next : next + got);
        break;
    }
    return done;
}

/// `index`: of the point that is not read; below 0: it is not known.
void PtcReader::State::FailToRead(std::int64_t index) const {
    const char* const name = cloud->name.c_str();
    if (index >= cloud->point_count) {
        const std::string what = "point " + std::to_string(index);
        SetFailure(PtcFailureCode::kNoSuchRecord, name, what.c_str(), 0, "there is none");
        return;
    }
    const std::string point = index < 0 ? "the next point" : "point " + std::to_string(index);
    const int error = cloud->input.Error();
    const char* const reason = index < 0 ? "its place is not known" : "the file is damaged there";
    SetFailure(PtcFailureCode::kUnreadable, name, (point + " cannot be read").c_str(), error,
               error != 0 ? nullptr : reason);
}

std::int64_t PtcReader::State::ReadInto(std::int64_t count, const PtcPointArrays& arrays) {
    const std::int64_t floats = Floats();
    return ReadRuns(count, kRun, [&](std::int64_t at, std::int64_t wanted, std::int64_t* got) {
        heads.resize(static_cast<std::size_t>(wanted));
        std::span<float> data;
        if (arrays.data && floats > 0)
            data = {arrays.data + floats * at, static_cast<std::size_t>(floats * wanted)};
        std::size_t read = 0;
        (void)ReadPoints(*cloud, heads, data, &read);
        CopyHeads(std::span(heads).first(read), arrays, at);
        *got = static_cast<std::int64_t>(read);
    });
}

std::int64_t PtcReader::State::ReadRecordsInto(std::int64_t count, std::byte* records) {
    const auto record = static_cast<std::int64_t>(cloud->PointBytes());
    return ReadRuns(count, count, [&](std::int64_t at, std::int64_t wanted, std::int64_t* got) {
        std::size_t bytes = 0;
        (void)ReadPointRecords(
            *cloud, {records + at * record, static_cast<std::size_t>(wanted * record)}, &bytes);
        *got = static_cast<std::int64_t>(bytes) / record;
    });
}

std::int64_t PtcReader::Read(std::int64_t count, const PtcPointArrays& arrays) noexcept {
    if (!IsReadable(state_)) return 0;
    return CatchNoMemory(state_->cloud->name.c_str(), std::int64_t{0},
                         [&] { return state_->ReadInto(count, arrays); });
}

std::int64_t PtcReader::ReadRecords(std::int64_t count, void* records) noexcept {
    if (!IsReadable(state_)) return 0;
    if (!records) {
        (void)state_->Refuse("no place for the records");
        return 0;
    }
    return CatchNoMemory(state_->cloud->name.c_str(), std::int64_t{0}, [&] {
        return state_->ReadRecordsInto(count, static_cast<std::byte*>(records));
    });
}

/// Maps the file from its start to the end of the last record.
bool PtcReader::State::MapFile() {
    const int file = cloud->input.StoredFile();
    const bool is_plain = file >= 0 && !cloud->input.IsText();
    if (!is_plain) return Refuse("cannot be mapped", "it is no plain binary file");
    if (cloud->point_count == 0) return Refuse("cannot be mapped", "it has no points");
    const auto record = static_cast<std::int64_t>(cloud->PointBytes());
    const std::int64_t end = cloud->data_start + cloud->point_count * record;
    struct stat info;
    int error = ::fstat(file, &info) == 0 ? 0 : errno;
    // What lies behind the end of a file can be mapped, but not read.
    if (error == 0 && info.st_size < end) error = EIO;
    void* const at =
        error == 0 ? ::mmap(nullptr, static_cast<std::size_t>(end), PROT_READ, MAP_PRIVATE, file, 0)
                   : MAP_FAILED;
    if (at == MAP_FAILED) {
        SetFailure(PtcFailureCode::kUnreadable, cloud->name.c_str(), "cannot be mapped",
                   error != 0 ? error : errno);
        return false;
    }
    mapped = at;
    mapped_bytes = static_cast<std::size_t>(end);
    return true;
}

const void* PtcReader::Map() noexcept {
    if (!IsOpen(state_)) return nullptr;
    if (!state_->mapped && !(IsReadable(state_) && state_->MapFile())) return nullptr;
    return static_cast<const std::byte*>(state_->mapped) + state_->cloud->data_start;
}

void PtcReader::CloseFile() noexcept {
    if (state_) state_->cloud->input.Close();
}

bool PtcDecodeNormals(const void* codes, std::int64_t stride, std::int64_t count,
                      float* normals) noexcept {
    if (count > 0 && (!codes || !normals)) {
        SetFailure(PtcFailureCode::kBadArgument, nullptr, "no codes or no place for the normals");
        return false;
    }
    return CatchNoMemory(nullptr, false, [&] {
        const NormalDecoder& decoder = Normals();
        const auto* at = static_cast<const std::byte*>(codes);
        for (std::int64_t i = 0; i < count; ++i, at += stride) {
            NormalCode code;
            std::memcpy(&code.azimuth, at, sizeof code.azimuth);
            std::memcpy(&code.height, at + sizeof code.azimuth, sizeof code.height);
            decoder.Decode(code, normals + 3 * i);
        }
        return true;
    });
}
