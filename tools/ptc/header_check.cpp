// The header's check.

#include "tools/ptc/header_check.h"

#include <string>

#include "ptc/cloud/cloud_file.h"
#include "ptc/format/layout.h"
#include "tools/clouds/foreign_file.h"
#include "tools/ptc/read_error.h"

namespace {

constexpr const char* kAxes[] = {"x", "y", "z"};

/// Adds every fault to the list and lets the walk go on where it can.
class Faults final : public HeaderListener {
public:
    Faults(const TokenInput& input, FaultList& faults) : input_(input), faults_(faults) {}

    bool Hear(const HeaderFinding& found) override {
        if (input_.Error() != 0) return false;  // it could not be read: the file has no fault
        switch (found.fault) {
            case HeaderFault::kMissing:
                faults_.Add(found.place, "{}: {}", found.key,
                            input_.IsText() ? "the line is missing or malformed" : "the file ends");
                break;
            case HeaderFault::kVariableCount:
                faults_.Add(found.place, "{}: {} is not within 0 to {}", found.key, found.value,
                            ptc_layout::kMaxVariables);
                break;
            case HeaderFault::kDeclarationMissing:
                faults_.Add(found.place, "{}: a declaration is missing", found.key);
                break;
            case HeaderFault::kDeclarationTooLong:
                faults_.Add(found.place, "{}: a declaration is too long", found.key);
                break;
            case HeaderFault::kUnknownType:
                faults_.Add(found.place, "{}: the type of \"{}\" is not known", found.key,
                            found.line);
                break;
            case HeaderFault::kNoFloats:
                faults_.Add(found.place, "{}: \"{}\" takes no floats", found.key, found.line);
                break;
            default:
                HearValue(found);
        }
        return true;
    }

private:
    /// Faults of a value whose place is known.
    void HearValue(const HeaderFinding& found) {
        switch (found.fault) {
            case HeaderFault::kNotACount:
                faults_.Add(found.place, "{}: {} is no count", found.key, found.value);
                break;
            case HeaderFault::kDataSize:
                faults_.Add(found.place, "{}: {}, but the variables take {} floats", found.key,
                            found.value, found.other);
                break;
            case HeaderFault::kTooManyFloats:
                faults_.Add(found.place, "{}: {} is above {}", found.key, found.value,
                            ptc_layout::kMaxDataFloats);
                break;
            case HeaderFault::kNotFinite:
                faults_.Add(found.place, "{}: value {} is {}", found.key, found.index, found.value);
                break;
            case HeaderFault::kBoxInsideOut:
                faults_.Add(found.place, "{}: minimum {} {} lies above the maximum {}", found.key,
                            kAxes[found.index], static_cast<float>(found.value),
                            static_cast<float>(found.other));
                break;
            case HeaderFault::kNodesWithoutRoot:
                faults_.Add(found.place, "{}: nodes without a root", found.key);
                break;
            case HeaderFault::kRootWithoutNodes:
                faults_.Add(found.place, "{}: {} without nodes", found.key, found.value);
                break;
            default:
                faults_.Add(found.place, "{}: {} is no radius", found.key,
                            static_cast<float>(found.value));
        }
    }

    const TokenInput& input_;
    FaultList& faults_;
};

/// The place of the version: behind the type code, or on the second line.
std::int64_t VersionPlace(const TokenInput& input) {
    return input.IsText()
               ? static_cast<std::int64_t>(ptc_layout::kMagic.size())
               : static_cast<std::int64_t>(ptc_layout::Find(ptc_layout::kHead, "version").offset);
}

}  // namespace

OpenedCloud CheckHeader(const InputFile& file, FaultList& faults, std::string* why) {
    OpenedCloud opened = {std::make_unique<CloudReader>(), {}};
    CloudReader& cloud = *opened.cloud;
    const TokenInput& input = cloud.input;
    cloud.name = file.Path();
    cloud.is_quiet = true;
    const auto fail_on_error = [&] { FailIfUnread(cloud, file.Name()); };
    const TokenOpenStatus status = OpenCloudFile(cloud.input, file.Path().c_str(), &cloud.version);
    fail_on_error();
    if (status == TokenOpenStatus::kOtherType) {
        faults.Add(0, "it is not a point cloud file{}", ConvertHint(file));
        return {};
    }
    if (status == TokenOpenStatus::kUnreadable) {
        faults.Add(VersionPlace(input), "version: missing");
        return {};
    }
    if (cloud.version > ptc_layout::kVersion) {
        faults.Add(VersionPlace(input), "version: {} is not known", cloud.version);
        return {};
    }
    Faults listener(input, faults);
    const char* const refused = ReadHeader(cloud, CountCheck::kOff, &opened.places, &listener);
    fail_on_error();
    if (!refused) return opened;
    const bool is_whole = opened.places.data_start >= 0;
    if (is_whole) *why = refused;
    return {};
}
