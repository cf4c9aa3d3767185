// CloudWriter: writes points with an area and a colour, and throws when that fails.
//
// Units      those of ptc/writer.h.
// Errors     Failure with the library's text.
// Ownership  owns the writer; a cloud that is not finished leaves nothing.
// Threads    one caller at a time.

#pragma once

#include <memory>
#include <string>

#include "ptc/writer.h"
#include "tools/common/failure.h"
#include "util/math/vec3.h"

namespace accuracy {

class CloudWriter {
public:
    explicit CloudWriter(const std::string& file) {
        static constexpr const char* kTypes[] = {"float", "color"};
        static constexpr const char* kNames[] = {"_area", "_reflected"};
        PtcCloudDescription description;
        description.name = file.c_str();
        description.point_variables = {2, kTypes, kNames};
        writer_.reset(PtcCreateCloud(description));
        if (!writer_) throw Failure(PtcLastFailure().text);
    }

    void Write(Vec3f position, Vec3f normal, float radius, float area, Vec3f colour) {
        const float data[] = {area, colour.x, colour.y, colour.z};
        if (!PtcWritePoint(writer_.get(), &position.x, &normal.x, radius, data))
            throw Failure(PtcLastFailure().text);
    }

    void Finish() {
        if (!PtcFinishCloud(writer_.release())) throw Failure(PtcLastFailure().text);
    }

private:
    struct Abandon {
        void operator()(PtcCloudWriter* writer) const { PtcAbandonCloud(writer); }
    };
    std::unique_ptr<PtcCloudWriter, Abandon> writer_;
};

}  // namespace accuracy
