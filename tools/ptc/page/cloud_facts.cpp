// CloudFacts: one reading of all points.

#include "tools/ptc/page/cloud_facts.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "tools/common/failure.h"
#include "tools/ptc/view/file_camera.h"
#include "tools/ptc/view/value_sample.h"

namespace page {

namespace {

/// What is collected of one float of the data, or of the radius.
struct FloatSurvey {
    view::ValueSample values;
    float largest = 0;

    void Include(float value) {
        if (!std::isfinite(value)) return;
        values.Add(value);
        largest = std::max(largest, std::fabs(value));
    }

    view::ValueRange Range() {
        return values.IsEmpty() ? view::ValueRange() : values.RobustRange();
    }

    /// Brings the largest value just below 2^15, half a half float's range. A shader has to
    /// multiply by it, so it is a float that is neither infinite nor subnormal.
    double Scale() const {
        if (largest == 0) return 1;
        constexpr int kHalfExponent = 15, kLeastExponent = -126;
        int exponent = 0;
        std::frexp(largest, &exponent);
        return std::ldexp(1.0, std::max(exponent - kHalfExponent, kLeastExponent));
    }
};

/// What is collected of a variable.
struct VariableSurvey {
    explicit VariableSurvey(const Variable& wanted)
        : variable(wanted),
          kind(view::KindOf(wanted).value_or(view::ColourKind::kValue)),
          floats(static_cast<std::size_t>(wanted.size)) {}

    void Include(std::span<const float> data) {
        for (std::size_t part = 0; part < floats.size(); ++part) {
            const float value = data[variable.offset + part];
            floats[part].Include(value);
            if (floats.size() > 1 && kind == view::ColourKind::kValue) all.Include(value);
        }
    }

    ShownVariable Result() {
        ShownVariable shown{variable, kind, {}, {}, {}};
        for (FloatSurvey& part : floats) {
            shown.scales.push_back(part.Scale());
            shown.ranges.push_back(part.Range());
        }
        if (kind == view::ColourKind::kDirection) shown.range = {-1, 1};
        if (kind == view::ColourKind::kValue)
            shown.range = floats.size() > 1 ? all.Range() : shown.ranges[0];
        return shown;
    }

    Variable variable;
    view::ColourKind kind;
    std::vector<FloatSurvey> floats;
    FloatSurvey all;  ///< of an array, whose floats are compared
};

}  // namespace

std::size_t CloudFacts::Floats() const {
    std::size_t floats = 0;
    for (const ShownVariable& shown : variables) floats += shown.scales.size();
    return floats;
}

std::size_t CloudFacts::BytesPerPoint() const {
    constexpr std::size_t kNumbers = 3 + 2 + 1;  // position, normal, radius
    return 2 * (kNumbers + Floats());
}

CloudFacts LookAt(const StoredHeader& cloud, const std::string& file,
                  const std::vector<Variable>& shown, PointPass& pass, Progress& progress,
                  std::uint64_t done) {
    CloudFacts facts;
    facts.header = &cloud;
    view::FileCamera camera(cloud);
    FloatSurvey radii;
    std::vector<VariableSurvey> surveys(shown.begin(), shown.end());
    pass.Run(progress, done, [&](const PointPiece& piece) {
        for (std::size_t i = 0; i < piece.Count(); ++i) {
            if (!piece.IsDrawable(i)) continue;
            const float* const position = piece.Position(i);
            ++facts.points;
            facts.box.Include(position);
            camera.Look({position[0], position[1], position[2]});
            radii.Include(piece.Radius(i));
            for (VariableSurvey& survey : surveys) survey.Include(piece.Data(i));
        }
    });
    if (facts.points == 0) throw Failure(fmt::format("{}: no points to draw", file));
    facts.largest_radius = radii.largest;
    facts.radius_range = radii.Range();
    facts.has_camera = camera.Sees(facts.points);
    for (VariableSurvey& survey : surveys) facts.variables.push_back(survey.Result());
    return facts;
}

}  // namespace page
