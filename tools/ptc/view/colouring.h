// Colouring: what is shown of the points, and the colour that each one gets.
//
// Units      exposure in stops: one more is twice the light.
// Errors     a Failure without the file's name, when the cloud does not have what is to be shown.
// Ownership  copies what it keeps.
// Threads    does not change while it colours; any number of threads may.

#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "ptc/format/cloud_header.h"
#include "ptc/format/record_code.h"
#include "tools/ptc/srgb.h"
#include "tools/ptc/variable_list.h"
#include "tools/ptc/view/legend.h"
#include "tools/ptc/view/picture.h"

namespace view {

enum class ColourKind {
    kLight,      ///< a color: linear light
    kValue,      ///< one number, through the colour map
    kDirection,  ///< a normal or a vector: its components as red, green and blue
};

/// How the variable as a whole is shown. Nothing: its floats can be shown, but only one by one.
std::optional<ColourKind> KindOf(const Variable& variable);

class Colouring {
public:
    /// What is called `name`: a variable of the cloud, else "normal" or "radius", else one float of
    /// a variable by the title of its column. An empty name stands for the first color, without one
    /// for the first float, without one for the normal.
    ///
    /// A color is light; a float is a value for the colour map; a normal or a vector is a
    /// direction, whose components from -1 to 1 are red, green and blue from dark to light.
    Colouring(const CloudVariables& variables, const std::string& name);

    const std::string& Name() const { return name_; }

    /// Whether the colours come through the colour map.
    bool IsMapped() const { return kind_ == Kind::kValue; }
    /// Whether the colours are light.
    bool IsLight() const { return kind_ == Kind::kLight; }

    /// Whether the points' own normal is what is shown: else it may be anything in what follows.
    bool ShowsNormal() const { return source_ == Source::kNormal; }

    /// The values at the ends of the colour map; of light, what is shown black and white.
    const ValueRange& Range() const { return range_; }
    void SetRange(const ValueRange& range) { range_ = range; }

    /// Of light, within the range.
    void SetExposure(double stops);

    /// The value that is mapped. False: it is not finite. Caller: IsMapped().
    bool ValueOf(const PointHead& point, std::span<const float> data, double* value) const;

    /// The point's colour. False: it has none, because a number is not finite.
    bool ColourOf(const PointHead& point, std::span<const float> data, const Srgb& srgb,
                  Rgb* colour) const;

private:
    using Kind = ColourKind;
    enum class Source { kData, kNormal, kRadius };

    void ChooseDefault(const CloudVariables& variables);
    bool ChooseVariable(const CloudVariables& variables, const std::string& name);
    bool ChooseComponent(const CloudVariables& variables, const std::string& name);
    std::span<const float> Values(const PointHead& point, std::span<const float> data) const;

    std::string name_;
    Kind kind_ = Kind::kDirection;
    Source source_ = Source::kNormal;
    std::size_t offset_ = 0;  ///< of the first float that is shown, in the data
    ValueRange range_;
    float gain_ = 1;  ///< what light is multiplied by
};

}  // namespace view
