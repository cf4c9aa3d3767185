// Opening clouds that belong together, and bringing their floats into one order.

#include "ptc/organise/cloud_inputs.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>

#include "ptc/cloud/raw_points.h"
#include "ptc/format/layout.h"
#include "ptc/organise/organise_error.h"

namespace {

constexpr const char* kCannotJoin = "cannot be joined";
constexpr std::size_t kRadius = Find(ptc_layout::kPoint, "radius").offset;

std::string Quoted(const std::string& text) {
    return "\"" + text + "\"";
}

/// Why variables of one name and type are missing: the nearest thing that is there.
std::string WhyMissing(const std::string& name, const std::string& type,
                       const CloudVariables& variables, const std::string& other) {
    for (std::size_t i = 0; i < variables.names.size(); ++i)
        if (variables.names[i] == name && variables.types[i] != type)
            return "variable " + Quoted(name) + " is a " + Quoted(variables.types[i]) + ", but a " +
                   Quoted(type) + " in " + other;
    return "it has no variable " + Quoted(type + " " + name) + ", which " + other + " has";
}

}  // namespace

CloudInputs::CloudInputs(std::span<const char* const> names) {
    for (const char* const name : names) inputs_.push_back({name});
    for (Input& input : inputs_) {
        const auto cloud = Open(input);
        if (&input == &inputs_.front()) first_ = *cloud;
        Match(input, cloud->point_variables);
        input.point_count = cloud->point_count;
        // A sum of what damaged headers promise could run over.
        point_count_ = std::min(point_count_ + input.point_count, std::int64_t{1} << 60);
        are_binary_ = are_binary_ && !cloud->input.IsText() && !cloud->input.IsCompressed();
    }
}

std::unique_ptr<CloudReader> CloudInputs::Open(const Input& input) const {
    struct stat info;
    if (::stat(input.name.c_str(), &info) == 0 && !S_ISREG(info.st_mode))
        FailToOrganise(PtcFailureCode::kCannotOpen, input.name, "cannot be opened", 0,
                       "it is no regular file, and would be read more than once");
    std::string why;
    int error = 0;
    auto cloud = OpenCloud(input.name.c_str(), &why, {.is_quiet = true}, &error);
    if (cloud) return cloud;
    FailToOrganise(error ? PtcFailureCode::kCannotOpen : PtcFailureCode::kNotACloud, input.name,
                   "cannot be opened", error, why);
}

/// Finds each variable of the first cloud among `variables`. Of several that are declared alike,
/// the first takes the first.
void CloudInputs::Match(const Input& input, const CloudVariables& variables) {
    const CloudVariables& wanted = first_.point_variables;
    const std::string& first = inputs_.front().name;
    std::vector<std::size_t> begin(variables.names.size());
    for (std::size_t i = 1; i < begin.size(); ++i)
        begin[i] = begin[i - 1] + static_cast<std::size_t>(variables.sizes[i - 1]);

    std::vector<bool> is_taken(variables.names.size());
    places_.clear();
    for (std::size_t i = 0; i < wanted.names.size(); ++i) {
        std::size_t found = 0;
        while (found < is_taken.size() &&
               (is_taken[found] || variables.names[found] != wanted.names[i] ||
                variables.types[found] != wanted.types[i]))
            ++found;
        if (found == is_taken.size())
            FailToOrganise(PtcFailureCode::kBadArgument, input.name, kCannotJoin, 0,
                           WhyMissing(wanted.names[i], wanted.types[i], variables, first));
        is_taken[found] = true;
        for (std::int32_t k = 0; k < wanted.sizes[i]; ++k)
            places_.push_back(begin[found] + static_cast<std::size_t>(k));
    }
    const auto extra = std::find(is_taken.begin(), is_taken.end(), false) - is_taken.begin();
    const auto index = static_cast<std::size_t>(extra);
    if (index < is_taken.size())
        FailToOrganise(PtcFailureCode::kBadArgument, input.name, kCannotJoin, 0,
                       "it has a variable " +
                           Quoted(variables.types[index] + " " + variables.names[index]) +
                           ", which " + first + " has not");
    is_permuted_ = !std::is_sorted(places_.begin(), places_.end());
    floats_.resize(places_.size());
}

void CloudInputs::Rewind() {
    next_input_ = 0;
    cloud_.reset();
}

void CloudInputs::OpenNext() {
    const Input& input = inputs_[next_input_++];
    cloud_ = Open(input);
    Match(input, cloud_->point_variables);
    left_ = cloud_->point_count;
    if (left_ != input.point_count)
        FailToOrganise(PtcFailureCode::kUnreadable, input.name, "cannot be read", 0,
                       "it was changed meanwhile");
}

std::size_t CloudInputs::Read(std::span<std::byte> room) {
    const std::size_t record = RecordBytes();
    std::size_t filled = 0;
    while (room.size() - filled >= record) {
        if (cloud_ && left_ == 0) cloud_.reset();
        if (!cloud_) {
            if (next_input_ == inputs_.size()) break;
            OpenNext();
            continue;
        }
        const std::int64_t fit = static_cast<std::int64_t>((room.size() - filled) / record);
        const std::int64_t count = std::min(fit, left_);
        const auto records = room.subspan(filled, static_cast<std::size_t>(count) * record);
        std::size_t bytes = 0;
        if (Failed(ReadPointRecords(*cloud_, records, &bytes))) {
            const int error = cloud_->input.Error();
            const std::int64_t index =
                cloud_->point_count - left_ + static_cast<std::int64_t>(bytes / record);
            FailToOrganise(PtcFailureCode::kUnreadable, inputs_[next_input_ - 1].name,
                           "point " + std::to_string(index) + " of " +
                               std::to_string(cloud_->point_count) + " cannot be read",
                           error, error ? "" : "the file ends before it, or it is malformed");
        }
        CheckRadii(records);
        if (is_permuted_) Permute(records);
        left_ -= count;
        filled += records.size();
    }
    return filled;
}

void CloudInputs::CheckRadii(std::span<const std::byte> records) const {
    const std::size_t record = RecordBytes();
    for (std::size_t at = 0; at < records.size(); at += record) {
        float radius;
        std::memcpy(&radius, &records[at + kRadius], sizeof radius);
        if (!(radius < 0)) continue;
        const std::int64_t index =
            cloud_->point_count - left_ + static_cast<std::int64_t>(at / record);
        FailToOrganise(PtcFailureCode::kBadArgument, inputs_[next_input_ - 1].name,
                       "point " + std::to_string(index) + " is refused", 0,
                       "its radius is negative, which no point cloud holds");
    }
}

void CloudInputs::Permute(std::span<std::byte> records) {
    const std::size_t record = RecordBytes();
    for (std::size_t at = 0; at < records.size(); at += record) {
        std::byte* const data = &records[at] + ptc_layout::kPointHeadBytes;
        for (std::size_t i = 0; i < places_.size(); ++i)
            std::memcpy(&floats_[i], data + 4 * places_[i], sizeof(float));
        std::memcpy(data, floats_.data(), 4 * floats_.size());
    }
}
