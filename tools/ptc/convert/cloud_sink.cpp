// Cloud sink: the system's own writer, fed with records.

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <system_error>

#include "ptc/cloud/writer.h"
#include "tools/common/failure.h"
#include "tools/ptc/convert/sinks.h"

namespace convert {

namespace {

/// Pointers to the texts of a header's variables, as the writer takes them.
class VariableTexts {
public:
    explicit VariableTexts(const CloudVariables& variables) {
        for (const std::string& type : variables.types) types_.push_back(type.c_str());
        for (const std::string& name : variables.names) names_.push_back(name.c_str());
    }

    VariableList List() const {
        return {static_cast<int>(types_.size()), types_.data(), names_.data()};
    }

private:
    std::vector<const char*> types_;
    std::vector<const char*> names_;
};

class CloudSink : public PointSink {
public:
    CloudSink(const StoredHeader& header, OutputName output, TokenForm form)
        : name_(std::move(output.name)), record_(header.PointBytes()) {
        const VariableTexts points(header.point_variables);
        const VariableTexts nodes(header.node_variables);
        CloudDescription description;
        description.point_variables = points.List();
        description.node_variables = nodes.List();
        description.world_to_eye = header.world_to_eye.data();
        description.world_to_ndc = header.stored_world_to_ndc.data();
        std::copy(header.stored_format.begin(), header.stored_format.end(), description.format);
        std::string why;
        cloud_ = CreateCloud(description, std::move(output.bytes), form, &why);
        if (!cloud_) throw Failure(fmt::format("{}: {}", name_, why));
        // The header is rewritten at one place, and the other decides whether nodes, which name
        // places in their file, can be copied.
        if (std::min(cloud_->header_position, cloud_->data_start) < 0)
            throw Failure(name_ + ": the system does not tell where it stands");
    }

    CloudWriter* AsCloud() override { return cloud_.get(); }

    void Write(std::span<const std::byte> records) override {
        const std::int64_t before = cloud_->point_count;
        if (!Failed(WritePointRecords(*cloud_, records))) return;
        if (cloud_->has_failed) FailToWrite();
        throw Failure(fmt::format("{}: point {} has a negative radius, which no point cloud holds",
                                  name_, before + FirstRefused(records)));
    }

    void Finish() override {
        if (Failed(FinishCloud(*cloud_))) FailToWrite();
    }

private:
    std::int64_t FirstRefused(std::span<const std::byte> records) const {
        std::size_t at = Find(ptc_layout::kPoint, "radius").offset;
        std::int64_t index = 0;
        for (float radius = 0; at < records.size(); at += record_, ++index) {
            std::memcpy(&radius, &records[at], sizeof radius);
            if (radius < 0) break;
        }
        return index;
    }

    [[noreturn]] void FailToWrite() const {
        throw Failure(name_ + ": " + std::generic_category().message(cloud_->file.Error()));
    }

    std::string name_;
    std::size_t record_;
    std::unique_ptr<CloudWriter> cloud_;
};

}  // namespace

std::unique_ptr<PointSink> MakeCloudSink(const StoredHeader& header, OutputName output,
                                         TokenForm form) {
    return std::make_unique<CloudSink>(header, std::move(output), form);
}

}  // namespace convert
