// Frame lists: the frames of a job as a user writes them.
//
// Units      frames are numbers from 0 to kLastFrame.
// Errors     a Failure that says what is wrong with the text.
// Threads    any.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace farm {

inline constexpr int kLastFrame = 9'999'999;
inline constexpr std::size_t kMostFrames = 1'000'000;

/// The frames of "1-12", "1-12x3" (1, 4, 7, 10), "5", or of several of these with commas between
/// them, in that order. No frame comes twice.
std::vector<int> ParseFrames(std::string_view text);

/// The shortest such text.
std::string FramesText(const std::vector<int>& frames);

/// At least four digits, so that names of files sort as the frames do.
std::string FrameName(int frame);

}  // namespace farm
