// Cloud source: the header and the records.

#include "tools/ptc/convert/cloud_source.h"

#include <fmt/format.h>

#include <algorithm>

#include "ptc/cloud/raw_points.h"
#include "ptc/cloud/reader.h"
#include "tools/clouds/foreign_file.h"
#include "tools/common/failure.h"
#include "tools/ptc/quiet_open.h"
#include "tools/ptc/read_error.h"

namespace convert {

namespace {

class CloudSource : public PointSource {
public:
    explicit CloudSource(const InputFile& file) : name_(file.Name()) {
        std::string why;
        cloud_ = OpenQuietly(file, CountCheck::kStrict, &why);
        if (!cloud_) throw Failure(fmt::format("{}: {}{}", name_, why, ConvertHint(file)));
    }

    const StoredHeader& Header() const override { return *cloud_; }
    std::int64_t Count() const override { return cloud_->point_count; }
    CloudReader* AsCloud() override { return cloud_.get(); }

    double Share() const override {
        return static_cast<double>(done_) / static_cast<double>(std::max<std::int64_t>(1, Count()));
    }

    std::size_t Read(std::span<std::byte> records) override {
        const std::size_t record = Header().PointBytes();
        const std::size_t wanted = std::min<std::uint64_t>(
            records.size() / record, static_cast<std::uint64_t>(Count() - done_));
        std::size_t bytes = 0;
        const CloudStatus read = ReadPointRecords(*cloud_, records.first(wanted * record), &bytes);
        done_ += static_cast<std::int64_t>(bytes / record);
        FailIfUnread(*cloud_, name_);
        if (Failed(read))
            throw Failure(fmt::format("{}: point {} of {} cannot be read", name_, done_, Count()));
        return wanted;
    }

private:
    std::string name_;
    std::unique_ptr<CloudReader> cloud_;
    std::int64_t done_ = 0;
};

}  // namespace

std::unique_ptr<PointSource> OpenCloudSource(const InputFile& file) {
    return std::make_unique<CloudSource>(file);
}

}  // namespace convert
