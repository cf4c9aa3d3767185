// Writing an organised cloud at any place, and completing it.

#include "ptc/organise/organised_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>

#include "ptc/organise/finite_float.h"
#include "ptc/organise/organise_error.h"
#include "ptc/organise/positioned_io.h"
#include "util/io/open_file.h"
#include "util/io/plain_file.h"

namespace {

constexpr const char* kCannotWrite = "cannot be written";
constexpr std::size_t kMovedAtOnce = std::size_t{1} << 18;

/// Pointers to the texts of a header's variables, as the writer takes them.
struct VariableTexts {
    explicit VariableTexts(const CloudVariables& variables) {
        for (const std::string& type : variables.types) types.push_back(type.c_str());
        for (const std::string& name : variables.names) names.push_back(name.c_str());
    }
    VariableList List() const {
        return {static_cast<int>(types.size()), types.data(), names.data()};
    }

    std::vector<const char*> types;
    std::vector<const char*> names;
};

/// Takes the whole node records at the start of `bytes` off, adds `shift` to the offsets in them,
/// and returns how many bytes they are.
std::size_t ShiftNodes(std::span<std::byte> bytes, std::size_t data_floats, std::int64_t shift) {
    const std::size_t mask_at = ptc_layout::MinNodeBytes(data_floats) - 1;
    std::size_t at = 0;
    while (bytes.size() - at > mask_at) {
        const auto mask = std::to_integer<unsigned>(bytes[at + mask_at]);
        const std::size_t children = static_cast<std::size_t>(std::popcount(mask));
        const std::size_t end = at + mask_at + 1 + children * sizeof shift;
        if (end > bytes.size()) break;
        for (std::size_t place = at + mask_at + 1; place < end; place += sizeof shift) {
            std::int64_t offset;
            std::memcpy(&offset, &bytes[place], sizeof offset);
            offset += shift;
            std::memcpy(&bytes[place], &offset, sizeof offset);
        }
        at = end;
    }
    return at;
}

}  // namespace

std::unique_ptr<CloudWriter> CreateLike(const StoredHeader& like,
                                        const CloudVariables& node_variables,
                                        const std::string& name, WholeFile& whole) {
    struct stat info;
    if (::stat(name.c_str(), &info) == 0 && !S_ISREG(info.st_mode))
        FailToOrganise(PtcFailureCode::kCannotWrite, name, kCannotWrite, 0,
                       "it is no regular file");
    auto file = std::make_unique<PlainFile>();
    if (!whole.Begin(name) ||
        !file->Open(whole.Path().c_str(), kPlainWrite | kPlainTruncate | kPlainBinary))
        FailToOrganise(PtcFailureCode::kCannotWrite, name, kCannotWrite, errno);

    const VariableTexts points(like.point_variables);
    const VariableTexts nodes(node_variables);
    CloudDescription description;
    description.point_variables = points.List();
    description.node_variables = nodes.List();
    description.world_to_eye = like.world_to_eye.data();
    description.world_to_ndc = like.stored_world_to_ndc.data();
    std::copy(like.stored_format.begin(), like.stored_format.end(), description.format);
    std::string why;
    int error = 0;
    auto cloud = CreateCloud(description, std::move(file), TokenForm::kBinary, &why, &error);
    if (!cloud) FailToOrganise(PtcFailureCode::kCannotWrite, name, kCannotWrite, error, why);
    return cloud;
}

OrganisedFile::OrganisedFile(const StoredHeader& like, const CloudVariables& node_variables,
                             const std::string& name, std::int64_t most_points)
    : name_(name),
      most_points_(most_points),
      cloud_(CreateLike(like, node_variables, name, whole_)) {
    descriptor_ = OpenFile(whole_.Path().c_str(), O_RDWR);
    if (descriptor_ < 0) Fail(errno);
}

OrganisedFile::~OrganisedFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

void OrganisedFile::Fail(int error) const {
    FailToOrganise(PtcFailureCode::kCannotWrite, name_, kCannotWrite, error);
}

void OrganisedFile::Write(std::int64_t offset, std::span<const std::byte> bytes) {
    if (!WriteAt(descriptor_, offset, bytes)) Fail(errno);
}

void OrganisedFile::WritePoints(std::int64_t first, std::span<const std::byte> records) {
    Write(PointOffset(first), records);
}

void OrganisedFile::WriteNodes(std::int64_t at, std::span<const std::byte> records) {
    Write(NodeStart() + at, records);
}

/// Nodes are moved towards the start of the file, front to back, so none is overwritten unread.
void OrganisedFile::MoveNodes(std::int64_t to, std::int64_t bytes) {
    const std::size_t floats = cloud_->node_variables.DataFloats();
    std::vector<std::byte> piece(std::max(kMovedAtOnce, ptc_layout::MaxNodeBytes(floats)));
    const std::int64_t from = NodeStart();
    for (std::int64_t done = 0; done < bytes;) {
        const std::int64_t left = bytes - done;
        const auto size =
            static_cast<std::size_t>(std::min(left, static_cast<std::int64_t>(piece.size())));
        const std::span<std::byte> records(piece.data(), size);
        if (!ReadAt(descriptor_, from + done, records))
            FailToOrganise(PtcFailureCode::kUnreadable, name_, "cannot be read back", errno);
        const std::size_t whole = ShiftNodes(records, floats, to - from);
        Write(to + done, records.first(whole));
        done += static_cast<std::int64_t>(whole);
    }
    if (::ftruncate(descriptor_, to + bytes) != 0) Fail(errno);
}

void OrganisedFile::Finish(const OrganisedTotals& totals) {
    const std::int64_t nodes = PointOffset(totals.points);
    if (nodes != NodeStart()) MoveNodes(nodes, totals.node_bytes);
    const int closed = ::close(descriptor_);
    descriptor_ = -1;
    if (closed != 0 && errno != EINTR) Fail(errno);

    cloud_->point_count = cloud_->stored_points = totals.points;
    cloud_->node_count = totals.nodes;
    cloud_->root_position = totals.nodes > 0 ? nodes + totals.root : 0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        cloud_->box_min[axis] = ClampToFinite(totals.box.min[axis]);
        cloud_->box_max[axis] = ClampToFinite(totals.box.max[axis]);
    }
    cloud_->largest_radius = totals.largest_radius;
    if (Failed(FinishCloud(*cloud_))) Fail(cloud_->file.Error());
    if (!whole_.Commit()) Fail(errno);
}
