// Frame lists: reading and writing ranges.

#include "tools/farm/frame_list.h"

#include <fmt/format.h>

#include <unordered_set>

#include "tools/common/failure.h"
#include "tools/common/number.h"
#include "tools/common/parts.h"

namespace farm {

namespace {

struct Range {
    int first = 0;
    int last = 0;
    int step = 1;
};

bool ParseFrame(std::string_view text, int* frame) {
    // The sign is for ranges: "-5" is not a frame.
    return !text.starts_with('-') && ParseNumber(text, frame) && *frame <= kLastFrame;
}

bool ParseRange(std::string_view text, Range* range) {
    const std::size_t dash = text.find('-');
    if (!ParseFrame(text.substr(0, dash), &range->first)) return false;
    range->last = range->first;
    if (dash == text.npos) return true;
    std::string_view rest = text.substr(dash + 1);
    const std::size_t cross = rest.find('x');
    if (cross != rest.npos &&
        (!ParseFrame(rest.substr(cross + 1), &range->step) || range->step == 0))
        return false;
    return ParseFrame(rest.substr(0, cross), &range->last) && range->last >= range->first;
}

std::string RangeText(const Range& range) {
    if (range.last == range.first) return fmt::format("{}", range.first);
    if (range.step == 1) return fmt::format("{}-{}", range.first, range.last);
    return fmt::format("{}-{}x{}", range.first, range.last, range.step);
}

}  // namespace

std::vector<int> ParseFrames(std::string_view text) {
    std::vector<int> frames;
    std::unordered_set<int> seen;
    Parts parts(text, ',');
    for (std::string_view part; parts.Next(&part);) {
        Range range;
        if (!ParseRange(part, &range))
            throw Failure(
                fmt::format("\"{}\" is no list of frames, such as 1-12, 1-12x3 or 1,5-9", text));
        for (int frame = range.first; frame <= range.last; frame += range.step) {
            if (!seen.insert(frame).second)
                throw Failure(fmt::format("frame {} comes twice in \"{}\"", frame, text));
            if (seen.size() > kMostFrames)
                throw Failure(fmt::format("\"{}\" has more than {} frames", text, kMostFrames));
            frames.push_back(frame);
        }
    }
    if (frames.empty()) throw Failure("there are no frames");
    return frames;
}

std::string FramesText(const std::vector<int>& frames) {
    std::string text;
    for (std::size_t begin = 0; begin < frames.size();) {
        Range range{frames[begin], frames[begin], 1};
        std::size_t end = begin + 1;
        if (end < frames.size() && frames[end] > range.first)
            range.step = frames[end] - range.first;
        while (end < frames.size() && frames[end] - range.last == range.step)
            range.last = frames[end++];
        // Two frames that are not neighbours are shorter as two.
        if (end - begin == 2 && range.step > 1) {
            range.last = range.first;
            --end;
        }
        text += fmt::format("{}{}", text.empty() ? "" : ",", RangeText(range));
        begin = end;
    }
    return text;
}

std::string FrameName(int frame) {
    return fmt::format("{:04}", frame);
}

}  // namespace farm
