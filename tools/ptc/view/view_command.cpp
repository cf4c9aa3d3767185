// The sub-command `view`: its options, their ranges and help.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "tools/common/number.h"
#include "tools/common/option_values.h"
#include "tools/ptc/commands.h"
#include "tools/ptc/run_guarded.h"
#include "tools/ptc/view/view.h"

namespace view {

namespace {

/// Along one side. Both sides at this take 5 GB.
constexpr int kMostPixels = 8192;

constexpr const char* kAbout = "draw the points of FILE as discs into a PNG picture";

/// "WxH" in pixels.
bool ParseSize(const std::string& text, PictureSize* size) {
    const auto fits = [](int pixels) { return pixels >= 1 && pixels <= kMostPixels; };
    return ParseTwoNumbers(text, 'x', &size->width, &size->height) && fits(size->width) &&
           fits(size->height);
}

/// "MIN:MAX". Neither an end nor the distance between the two may be infinite, or no value would
/// have a share of it.
bool ParseRange(const std::string& text, ValueRange* range) {
    return ParseTwoNumbers(text, ':', &range->low, &range->high) && std::isfinite(range->low) &&
           range->low < range->high && std::isfinite(range->high - range->low);
}

/// A colour by name, or as six hexadecimal digits behind a '#'.
bool ParseColour(const std::string& text, Rgb* colour) {
    constexpr struct {
        std::string_view name;
        Rgb colour;
    } kNames[] = {
        {"black", {0, 0, 0}}, {"grey", {0x80, 0x80, 0x80}}, {"white", {0xFF, 0xFF, 0xFF}}};
    for (const auto& known : kNames)
        if (text == known.name) {
            *colour = known.colour;
            return true;
        }
    unsigned value = 0;
    constexpr int kHexadecimal = 16;
    const char* const end = text.data() + text.size();
    if (text.size() != 7 || text[0] != '#') return false;
    const auto result = std::from_chars(text.data() + 1, end, value, kHexadecimal);
    if (result.ec != std::errc() || result.ptr != end) return false;
    const auto byte = [value](unsigned shift) {
        return static_cast<std::uint8_t>(value >> shift & 0xFF);
    };
    *colour = {byte(16), byte(8), byte(0)};
    return true;
}

/// The texts of an option: those of the help, and `rule` for a wrong value.
struct OptionText {
    std::string name;
    std::string shape;
    std::string help;
    std::string rule;
};

/// An option whose text `parse` takes apart.
template <class Value, class Parse>
void AddParsed(CLI::App& app, const OptionText& text, Value* value, Parse parse) {
    app.add_option_function<std::string>(
           text.name,
           [=](const std::string& given) {
               if (!parse(given, value)) throw CLI::ValidationError(text.name, text.rule);
           },
           text.help)
        ->type_name(text.shape);
}

/// A number in a range, which is stored where `place` says.
template <class Place>
void AddNumber(CLI::App& app, const OptionText& text, const ValueRange& range, ViewOptions* options,
               Place place) {
    AddParsed(app,
              {text.name, "NUMBER", text.help,
               fmt::format("must be a number from {:g} to {:g}", range.low, range.high)},
              options, [=](const std::string& given, ViewOptions* all) {
                  double* const number = place(all);
                  return ParseNumber(given, number) && *number >= range.low &&
                         *number <= range.high;
              });
}

/// The direction that an option gives a part of.
Direction* GivenDirection(ViewOptions* options) {
    return options->direction ? &*options->direction : &options->direction.emplace();
}

/// The picture is always a PNG. Another extension is a mistake, and the name may be that of a file
/// to keep.
CLI::Validator PictureName() {
    return CLI::Validator(
        [](const std::string& name) -> std::string {
            std::string extension = std::filesystem::path(name).extension();
            for (char& c : extension) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
            return extension.empty() || extension == ".png" ? "" : "must end in .png, as a picture";
        },
        "", kFileMark);
}

/// The options of the camera and the size.
void AddSightOptions(CLI::App& app, ViewOptions* options) {
    AddParsed(app,
              {"--size", "WxH", "pixels, the legend's included (1024 along the longer side)",
               fmt::format("must be WxH, each 1 to {}", kMostPixels)},
              &options->size, [](const std::string& text, std::optional<PictureSize>* size) {
                  return ParseSize(text, &size->emplace());
              });
    AddParsed(
        app,
        {"--camera", "file|fit",
         "the file's own, or one that sees all points (the file's when it sees any and neither "
         "--turn nor --tilt is given)",
         "must be file or fit"},
        &options->camera, [](const std::string& text, CameraChoice* choice) {
            *choice = text == "file" ? CameraChoice::kFile : CameraChoice::kFit;
            return text == "file" || text == "fit";
        });
    const Direction usual;
    AddNumber(
        app,
        {"--turn",
         {},
         fmt::format("degrees by which a fitted camera is turned to the right ({:g})", usual.turn),
         {}},
        {-360, 360}, options, [](ViewOptions* all) { return &GivenDirection(all)->turn; });
    AddNumber(app,
              {"--tilt",
               {},
               fmt::format("degrees by which a fitted camera is raised ({:g})", usual.tilt),
               {}},
              {-90, 90}, options, [](ViewOptions* all) { return &GivenDirection(all)->tilt; });
    AddNumber(app, {"--point-scale", {}, "factor for the discs' radii (1)", {}}, {0, 1e6}, options,
              [](ViewOptions* all) { return &all->point_scale; });
}

/// The options of what is shown and in which colours.
void AddColourOptions(CLI::App& app, ViewOptions* options) {
    app.add_option("--variable", options->variable,
                   "what to show: a variable, normal, radius or one float of a variable as print "
                   "calls it, such as light_r (the first color, else the first float, else normal)")
        ->type_name("NAME");
    AddNumber(app, {"--exposure", {}, "stops by which a color is lightened (0)", {}}, {-64, 64},
              options, [](ViewOptions* all) { return &all->exposure.emplace(); });
    AddParsed(app,
              {"--range", "MIN:MAX",
               "values at the ends of the colour map (all but the outermost hundredth at either "
               "end), or a color's values for black and white (0:1)",
               "must be MIN:MAX, two numbers in this order"},
              &options->range, [](const std::string& text, std::optional<ValueRange>* range) {
                  return ParseRange(text, &range->emplace());
              });
    AddParsed(app,
              {"--background", "black|grey|white|#RRGGBB", "the colour behind the points (#282828)",
               "must be black, grey, white or #RRGGBB"},
              &options->background, ParseColour);
}

}  // namespace

}  // namespace view

void AddView(CLI::App& app, int* status) {
    // Shared with the callback, which runs when the command line is parsed.
    const auto options = std::make_shared<view::ViewOptions>();
    CLI::App* const command = app.add_subcommand("view", view::kAbout);
    command->option_defaults()->take_last();  // the last of several wins
    NamesFile(
        command->add_option("FILE", options->input, "a point cloud file, - for standard input"))
        ->required();
    command->add_option("-o,--output", options->output, "the picture, - for standard output")
        ->type_name("PICTURE")
        ->required()
        ->check(view::PictureName());
    view::AddSightOptions(*command, options.get());
    view::AddColourOptions(*command, options.get());
    command->callback([options, status] {
        if (options->camera == view::CameraChoice::kFile && options->direction)
            throw CLI::ValidationError("--turn, --tilt",
                                       "work with a fitted camera, not with --camera file");
        std::optional<view::WrongUsage> wrong;
        *status = RunGuarded([&] {
            try {
                view::View(*options);
            } catch (const view::WrongUsage& usage) {
                wrong = usage;
            }
            return 0;
        });
        // Outside the guard: this is wrong usage, though only the file shows that it is.
        if (wrong) throw CLI::ValidationError(wrong->Option(), wrong->what());
    });
}
