// Reads variable declarations from channel names.

#include "driver/channels.h"

#include <algorithm>
#include <string_view>

#include "driver/driver_messages.h"
#include "ptc/format/layout.h"
#include "ptc/format/variables.h"
#include "util/text/words.h"

namespace {

constexpr std::string_view kBlanks = " \t\n\v\f\r";

/// Splits "class type name" or "type name" and ignores the class, which does not concern points.
/// The name ends at its first dot. With fewer than two words, type and name are empty.
void AddDeclaration(std::string_view text, Channels* channels) {
    const std::string_view first = TakeWord(&text, kBlanks);
    const std::string_view second = TakeWord(&text, kBlanks);
    const std::string_view third = TakeWord(&text, kBlanks);

    std::string_view type;
    std::string_view name;
    if (!third.empty()) {
        type = second;
        name = third;
    } else if (!second.empty()) {
        type = first;
        name = second;
    }
    channels->types.emplace_back(type);
    channels->names.emplace_back(name.substr(0, name.find('.')));
}

/// The driver's own count of a type's floats.
///
/// KEPT: this compares whole texts, but the file compares prefixes. So an array type is unknown
/// here and gives a warning; its suffix is then multiplied in.
/// Test: DriverChannels.SizesOfDriverAndFile
std::int32_t DriverSize(const std::string& type) {
    std::int32_t size = 1;
    if (type == "point" || type == "vector" || type == "normal" || type == "color") {
        size = 3;
    } else if (type == "matrix") {
        size = 16;
    } else if (type != "float") {
        driver_messages::TypeIsUnknown(type);
    }
    return TimesArraySuffix(size, type);
}

DriverStatus AddSizes(const char* driver_name, Channels* channels) {
    std::int64_t driver_total = 0;
    std::int64_t file_total = 0;
    for (const std::string& type : channels->types) {
        if (type.empty()) {
            driver_messages::TypeIsMissing(driver_name);
            return DriverStatus::kBadParameters;
        }
        const std::int32_t driver_size = channels->sizes.emplace_back(DriverSize(type));
        const std::int32_t file_size = KnownComponentCount(type).value_or(0);
        driver_total += driver_size;
        file_total += file_size;
        if (driver_size < 0 || file_size < 0 || driver_total > ptc_layout::kMaxDataFloats ||
            file_total > ptc_layout::kMaxDataFloats) {
            driver_messages::SizeIsImpossible(driver_name, type);
            return DriverStatus::kBadParameters;
        }
    }
    channels->data_size = static_cast<std::int32_t>(driver_total);
    channels->row_size = static_cast<std::int32_t>(std::max(driver_total, file_total));
    return DriverStatus::kSuccess;
}

}  // namespace

DriverStatus ReadChannels(const char* driver_name, std::span<const DspyFormat> formats,
                          Channels* channels) {
    for (const DspyFormat& format : formats) {
        const std::string_view channel = format.name ? format.name : "";
        const std::size_t bar = channel.find('|');
        if (bar == std::string_view::npos) return DriverStatus::kUndefined;
        const std::string_view declaration = channel.substr(bar + 1);
        if (formats.size() == 1 && declaration == "float _none") return DriverStatus::kSuccess;
        AddDeclaration(declaration, channels);
    }
    return AddSizes(driver_name, channels);
}

std::vector<std::uint8_t> AreaFlags(const Channels& channels) {
    std::vector<std::uint8_t> flags(static_cast<std::size_t>(channels.data_size));
    const std::size_t both = std::min(flags.size(), channels.names.size());
    for (std::size_t i = 0; i < both; ++i) {
        const std::string& name = channels.names[i];
        flags[i] = name.find("area") != std::string::npos || name.find("Area") != std::string::npos;
    }
    return flags;
}
