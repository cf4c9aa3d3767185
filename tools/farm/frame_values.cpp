// FrameValues: finding the braces and looking up what is between them.

#include "tools/farm/frame_values.h"

#include <fmt/format.h>

#include "tools/common/failure.h"
#include "tools/farm/frame_list.h"

namespace farm {

std::string FrameValues::ValueOf(std::string_view name) const {
    if (name == "frame") return FrameName(frame_);
    if (name == "number") return fmt::format("{}", frame_);
    const auto found = series_.find(std::string(name));
    if (found == series_.end())
        throw Failure(fmt::format(
            "\"{{{}}}\" is neither {{frame}} nor {{number}} nor one of the values; a brace itself "
            "is written twice",
            name));
    if (const auto* const steps = std::get_if<Steps>(&found->second))
        return fmt::format("{}", steps->first + steps->step * static_cast<double>(index_));
    return std::get<std::vector<std::string>>(found->second).at(index_);
}

std::string FrameValues::FillIn(std::string_view text) const {
    std::string filled;
    while (!text.empty()) {
        const std::size_t brace = text.find_first_of("{}");
        filled += text.substr(0, brace);
        if (brace == text.npos) break;
        text.remove_prefix(brace);
        if (text.starts_with("{{") || text.starts_with("}}")) {
            filled += text.front();
            text.remove_prefix(2);
            continue;
        }
        const std::size_t end = text.find('}');
        if (text.front() == '}' || end == text.npos)
            throw Failure(fmt::format("a brace in \"{}\" has no other one", text));
        filled += ValueOf(text.substr(1, end - 1));
        text.remove_prefix(end + 1);
    }
    return filled;
}

}  // namespace farm
