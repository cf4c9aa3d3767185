// The point cloud reader: opening, what is refused, what is repaired.

#include "ptc/reader.h"

#include <algorithm>
#include <cmath>
#include <system_error>

#include "ptc/layout.h"
#include "ptc/variables.h"
#include "util/message.h"
#include "util/number_cast.h"

namespace {

constexpr TokenFileKind kKind = {ptc_layout::kMagic, ptc_layout::kTypeCode, ptc_layout::kVersion};

constexpr const char* kEndsEarly = "the header is cut off or damaged";

/// Least bytes of one point in text form, whatever its values are: "1 2 3 0 0 1" and a newline.
constexpr std::int64_t kMinTextPoint = 12;

/// Counts are stored as doubles. False: `stored` is no count.
bool ToCount(double stored, std::int64_t* count) {
    constexpr double kMost = 9007199254740992.0;  // every whole number up to here is a double
    if (!(stored >= 0 && stored <= kMost)) return false;
    const double whole = std::round(stored);
    if (std::fabs(stored - whole) > 1e-3) return false;
    *count = static_cast<std::int64_t>(whole);
    return true;
}

/// The header's parts in file order. Each answers null, or why the file is refused.
class HeaderReader {
public:
    HeaderReader(Cloud& cloud, CountCheck check)
        : cloud_(cloud), input_(cloud.input), check_(check) {}

    const char* Read() {
        if (cloud_.version > ptc_layout::kVersion) return "its version is not known";
        cloud_.header_position = input_.Tell();
        for (const auto part : {&HeaderReader::Counts, &HeaderReader::Matrices,
                                &HeaderReader::PointVariables, &HeaderReader::NodeVariables}) {
            if (const char* refused = (this->*part)()) return refused;
        }
        cloud_.data_start = input_.Tell();
        return check_ == CountCheck::kStrict ? Sizes() : nullptr;
    }

private:
    const char* Counts() {
        double points = 0;
        std::array<float, 6> box;
        if (Failed(input_.ReadDouble("npoints", &points)) || Failed(input_.ReadFloats("bbox", box)))
            return kEndsEarly;
        if (!ToCount(points, &cloud_.point_count)) return "its number of points is impossible";
        std::copy_n(box.begin(), 3, cloud_.box_min.begin());
        std::copy_n(box.begin() + 3, 3, cloud_.box_max.begin());
        if (cloud_.version >= 1)
            if (const char* refused = Nodes()) return refused;
        std::array<float, ptc_layout::kPaddingFloats> padding;
        if (cloud_.version >= 2 &&
            (Failed(input_.ReadFloat("largestradius", &cloud_.largest_radius)) ||
             Failed(input_.ReadFloats("padding", padding))))
            return kEndsEarly;
        return nullptr;
    }

    const char* Nodes() {
        double nodes = 0;
        if (Failed(input_.ReadDouble("nnodes", &nodes)) ||
            Failed(input_.ReadInt64("rootpos", &cloud_.root_position)))
            return kEndsEarly;
        if (!ToCount(nodes, &cloud_.node_count)) return "its number of octree nodes is impossible";
        cloud_.stored_node_count = cloud_.node_count;
        if (!input_.IsCompressed() || cloud_.point_count == 0) return nullptr;
        // Nodes are found by their offsets, and every jump would inflate the file anew.
        MsgReport("T43050", 4, 1, cloud_.name.c_str());
        cloud_.node_count = 0;
        cloud_.root_position = 0;
        return nullptr;
    }

    const char* Matrices() {
        std::array<float, 3>& format = cloud_.stored_format;
        if (Failed(input_.ReadMatrix("world_to_eye\n", cloud_.world_to_eye)) ||
            Failed(input_.ReadMatrix("world_to_ndc\n", cloud_.world_to_ndc)) ||
            Failed(input_.ReadFloats("format", format)))
            return kEndsEarly;
        cloud_.stored_world_to_ndc = cloud_.world_to_ndc;

        const auto is_size = [](float size) { return size >= 1 && size <= 16000; };
        cloud_.pixel_aspect = is_size(format[0]) && is_size(format[1]) ? format[2] : -1.0f;
        if (cloud_.pixel_aspect > 0) {
            cloud_.x_resolution = ClampToInt32(format[0]);
            cloud_.y_resolution = ClampToInt32(format[1]);
            return nullptr;
        }
        cloud_.x_resolution = 640;
        cloud_.y_resolution = 480;
        cloud_.pixel_aspect = 1;
        cloud_.world_to_ndc = {1.811f, 0, 0, 0, 0, 2.414f, 0, 0, 0, 0, 1, 1, 0, 0, -0.1f, 0};
        return nullptr;
    }

    const char* PointVariables() {
        return Variables("npointvars", "pointdatasize", &cloud_.point_variables);
    }

    const char* NodeVariables() {
        if (cloud_.version == 0) return nullptr;
        return Variables("ntreevars", "treedatasize", &cloud_.node_variables);
    }

    const char* Variables(const char* count_key, const char* size_key, CloudVariables* variables) {
        std::int32_t count = 0;
        if (Failed(input_.ReadInt(count_key, &count)) ||
            Failed(input_.ReadInt(size_key, &variables->data_size)))
            return kEndsEarly;
        if (count < 0 || count > ptc_layout::kMaxVariables)
            return "its number of variables is impossible";
        std::int64_t total = 0;
        for (std::int32_t i = 0; i < count; ++i) {
            std::string line;
            if (Failed(input_.ReadLine(&line, TokenInput::kMaxDeclaration)))
                return line.size() == TokenInput::kMaxDeclaration
                           ? "a variable's declaration is too long"
                           : kEndsEarly;
            if (!Declare(line, variables)) return "a variable's type is not known or has no floats";
            total += variables->sizes.back();
        }
        if (variables->data_size != total) return "its data size is not that of its variables";
        if (total > ptc_layout::kMaxReadableFloats) return "its variables take too many floats";
        return nullptr;
    }

    static bool Declare(std::string_view line, CloudVariables* variables) {
        constexpr std::string_view kBlanks = " \t\r\v\f";
        const auto word = [&] {
            line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
            const std::string_view taken = line.substr(0, line.find_first_of(kBlanks));
            line.remove_prefix(taken.size());
            return std::string(taken);
        };
        const std::string& type = variables->types.emplace_back(word());
        variables->names.push_back(word());
        return variables->sizes.emplace_back(ComponentCount(type)) >= 1;
    }

    /// A header that counts fewer points than there are is one that lags; it may.
    const char* Sizes() const {
        const std::int64_t stored = input_.StoredBytes();
        if (stored < 0 || input_.IsCompressed()) return nullptr;
        const std::int64_t data = cloud_.point_variables.data_size;
        const std::int64_t point =
            input_.IsText()
                ? kMinTextPoint
                : static_cast<std::int64_t>(ptc_layout::PointBytes(static_cast<std::size_t>(data)));
        const std::int64_t left = stored - cloud_.data_start;
        if (left < 0 || cloud_.point_count > left / point)
            return "it is shorter than its number of points takes";
        const std::int64_t node = static_cast<std::int64_t>(ptc_layout::MinNodeBytes(0));
        if (cloud_.node_count > left / node)
            return "it is shorter than its number of octree nodes takes";
        return nullptr;
    }

    Cloud& cloud_;
    TokenInput& input_;
    CountCheck check_;
};

/// Hands out the cloud when its header is read. `error`: may be null.
std::unique_ptr<Cloud> Opened(std::unique_ptr<Cloud> cloud, TokenOpenStatus status,
                              CountCheck check, std::string* why, int* error) {
    if (status == TokenOpenStatus::kOk) {
        const char* const refused = HeaderReader(*cloud, check).Read();
        if (!refused) return cloud;
        *why = refused;
    } else if (status == TokenOpenStatus::kOtherType) {
        *why = "it is not a point cloud file";
    }
    const int code = cloud->input.Error();
    if (status == TokenOpenStatus::kUnreadable)
        *why = code ? std::generic_category().message(code) : kEndsEarly;
    if (error) *error = code;
    return nullptr;
}

std::unique_ptr<Cloud> NewCloud(const char* name) {
    auto cloud = std::make_unique<Cloud>();
    cloud->name = name;
    return cloud;
}

}  // namespace

std::unique_ptr<Cloud> OpenCloud(const char* name, std::string* why, CountCheck check, int* error) {
    auto cloud = NewCloud(name);
    TokenOpenStatus status = cloud->input.OpenForReading(name, kKind, false, &cloud->version);
    if (status == TokenOpenStatus::kOtherType)
        status = cloud->input.OpenForReading(name, kKind, true, &cloud->version);
    return Opened(std::move(cloud), status, check, why, error);
}

std::unique_ptr<Cloud> OpenCloud(std::unique_ptr<ByteSource> source, const char* name,
                                 std::string* why, CountCheck check) {
    auto cloud = NewCloud(name);
    const TokenOpenStatus status =
        cloud->input.OpenForReading(std::move(source), kKind, &cloud->version);
    return Opened(std::move(cloud), status, check, why, nullptr);
}
