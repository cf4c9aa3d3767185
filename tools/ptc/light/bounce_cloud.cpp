// BounceCloud: a small cloud of positions, areas and colours.

#include "tools/ptc/light/bounce_cloud.h"

#include <cstring>
#include <utility>

#include "ptc/format/layout.h"
#include "tools/clouds/lookup_clouds.h"
#include "tools/common/failure.h"
#include "tools/ptc/convert/sinks.h"
#include "tools/ptc/light/light_variables.h"
#include "util/io/plain_file.h"

namespace lighting {

namespace {

constexpr const char* kColour = "light";
constexpr const char* kArea = "area";

std::unique_ptr<convert::PointSink> SinkOver(const Spool& spool, const StoredHeader& header) {
    auto file = std::make_unique<PlainFile>();
    if (!file->Open(spool.Path().c_str(), kPlainWrite | kPlainTruncate))
        FailWithErrno("temporary file", file->Error());
    return convert::MakeCloudSink(header, {std::move(file), "temporary file"}, TokenForm::kBinary);
}

}  // namespace

BounceCloud::BounceCloud(const std::string& file, const StoredHeader& header, const Albedo& albedo,
                         const std::string& area_channel)
    : record_(header.PointBytes()), albedo_(albedo), has_area_(!area_channel.empty()) {
    const CloudVariables& variables = header.point_variables;
    if (albedo_.channel)
        albedo_at_ = ptc_layout::PointBytes(Require(file, variables, *albedo_.channel, 3));
    StoredHeader small = convert::HeaderWithoutCamera();
    if (has_area_) {
        area_at_ = ptc_layout::PointBytes(Require(file, variables, area_channel, 1));
        AddVariable("float", kArea, 1, &small.point_variables);
    }
    AddVariable("color", kColour, 3, &small.point_variables);
    out_record_ = small.PointBytes();
    sink_ = SinkOver(*spool_, small);
}

float BounceCloud::AlbedoAt(const std::byte* record, std::size_t colour) const {
    float albedo = 0;
    if (albedo_.channel)
        std::memcpy(&albedo, record + albedo_at_ + colour * sizeof albedo, sizeof albedo);
    else
        albedo = (*albedo_.constant)[colour];
    if (!(albedo > 0)) return 0;
    return albedo < 1 ? albedo : 1.0f;
}

void BounceCloud::Add(std::span<const std::byte> records, std::span<const float> light) {
    const std::size_t count = records.size() / record_;
    out_.resize(count * out_record_);
    for (std::size_t i = 0; i < count; ++i) {
        const std::byte* const from = &records[i * record_];
        std::byte* to = &out_[i * out_record_];
        std::memcpy(to, from, ptc_layout::kPointHeadBytes);
        to += ptc_layout::kPointHeadBytes;
        if (has_area_) {
            std::memcpy(to, from + area_at_, sizeof(float));
            to += sizeof(float);
        }
        for (std::size_t colour = 0; colour < 3; ++colour, to += sizeof(float)) {
            const float left = AlbedoAt(from, colour) * light[3 * i + colour];
            std::memcpy(to, &left, sizeof left);
        }
    }
    sink_->Write(out_);
}

void BounceCloud::Organise(int threads) {
    sink_->Finish();
    sink_.reset();
    inputs_ = std::make_unique<LibraryInputs>(std::vector<std::string>{spool_->Path()});
    clouds_ =
        std::make_unique<LightClouds>(*inputs_, LightChannels{kColour, has_area_ ? kArea : ""},
                                      threads, LightClouds::Notes::kNone);
}

}  // namespace lighting
