// Options of light_accuracy: the scene, the clouds, and how much work goes into the truth.

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bench/light/truth.h"
#include "tools/scene/scene_options.h"

namespace accuracy {

/// What is measured and printed.
enum class Part { kErrors, kSpeed, kSeams, kGrowth, kKnown };

struct Options {
    scene::SceneOptions scene;
    std::string cloud;         ///< organised with light; empty: the truth alone
    std::string larger_cloud;  ///< with ten times the points; empty: growth is not measured
    std::string write_cloud;   ///< writes the scene as a cloud with exact colours
    std::string cached_truth;
    std::string colour = "_reflected";  ///< the channel that was organised as colour
    int places = 2000;
    TruthWork truth;
    std::string quality = "all";
    float bias = 0;
    int worst = 3;
    std::vector<Part> parts;  ///< empty: all
};

/// Fills `*options`. Answers the exit status when the program ends here.
std::optional<int> ParseOptions(int argc, char** argv, Options* options);

}  // namespace accuracy
