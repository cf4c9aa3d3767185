// LightClouds: the clouds that light comes out of, open and organised with light.
//
// Units      files are counted from 0, in the order given.
// Errors     a Failure that names the file as the user did: one that cannot be used fails all.
// Ownership  borrows the inputs; owns the open files and the temporary ones.
// Threads    made and destroyed by one thread; any thread may gather.

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ptc/access.h"
#include "ptc/light.h"
#include "tools/ptc/library_files.h"
#include "tools/ptc/light/light_options.h"
#include "tools/ptc/temporary_cloud.h"

namespace lighting {

class LightClouds {
public:
    enum class Notes { kNone, kOfEachFile };

    /// Inputs that are not organised with light, or with that of other channels, are organised into
    /// temporary files first.
    LightClouds(const LibraryInputs& inputs, const LightChannels& channels, int threads,
                Notes notes);

    const PtcLight& Light() const { return *light_; }

    /// Whether any of the files has a colour.
    bool HasColour() const { return has_colour_; }

    /// The channel that the areas of the first file come from; empty: its radii.
    const std::string& AreaChannel() const { return area_channel_; }

    /// Throws the library's last failure in this thread.
    [[noreturn]] void Fail() const;

private:
    struct Release {
        void operator()(PtcManagedFile* file) const { PtcRelease(file); }
    };

    std::string UsablePath(int file, const LightChannels& channels, int threads, Notes notes);
    void Organise(int file, const LightChannels& channels, int threads);

    const LibraryInputs& inputs_;
    std::vector<std::unique_ptr<TemporaryCloud>> temporaries_;  ///< null: used as it is
    std::vector<std::unique_ptr<PtcManagedFile, Release>> files_;
    std::unique_ptr<PtcLight> light_;
    std::string area_channel_;
    bool has_colour_ = false;
};

}  // namespace lighting
