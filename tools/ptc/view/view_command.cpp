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
#include "tools/common/parts.h"
#include "tools/ptc/commands.h"
#include "tools/ptc/page/page.h"
#include "tools/ptc/run_guarded.h"
#include "tools/ptc/view/view.h"

namespace view {

namespace {

/// Along one side. Both sides at this take 5 GB.
constexpr int kMostPixels = 8192;

/// Of a page that a browser may still show, given time and memory.
constexpr std::uint32_t kMostPoints = 50'000'000;

constexpr const char* kAbout =
    "draw the points of FILE as discs into a PNG picture, or into a page for a browser";

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

/// In small letters.
std::string ExtensionOf(const std::string& name) {
    std::string extension = std::filesystem::path(name).extension();
    for (char& c : extension) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    return extension;
}

bool IsPage(const std::string& name) {
    return ExtensionOf(name) == ".html";
}

/// What is no page is always a PNG. Another extension is a mistake, and the name may be that of a
/// file to keep.
CLI::Validator OutputName() {
    return CLI::Validator(
        [](std::string& name) -> std::string {
            const std::string extension = ExtensionOf(name);
            return extension.empty() || extension == ".png" || IsPage(name)
                       ? ToPlace(name)
                       : "must end in .png, as a picture, or in .html, as a page";
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
              {"--background", "black|grey|white|#RRGGBB",
               "the colour behind the points (#282828; in a page as the browser's theme)",
               "must be black, grey, white or #RRGGBB"},
              &options->background, [](const std::string& text, std::optional<Rgb>* colour) {
                  return ParseColour(text, &colour->emplace());
              });
}

/// The options of pages alone.
void AddPageOptions(CLI::App& app, page::PageOptions* options) {
    app.add_option("--points", options->points,
                   fmt::format("most points in a page, spread evenly ({})", options->points))
        ->type_name("N")
        ->check(Count(std::uint32_t{1}, kMostPoints));
    app.add_option("--compare", options->compare,
                   "another cloud to show in the page, beside FILE and under the same camera")
        ->type_name("OTHER")
        ->transform(FileName());
    // A list of its own would take the words that follow, too.
    app.add_option_function<std::string>(
           "--variables",
           [options](const std::string& list) {
               options->variables.clear();
               Parts parts(list, ',');
               for (std::string_view part; parts.Next(&part);)
                   options->variables.emplace_back(part);
           },
           "the variables to put into the page, separated by commas (all that fit)")
        ->type_name("A,B,...");
}

/// A page has its camera and its size from who looks at it, a picture shows one cloud as it is.
void RefuseOptionsWithoutEffect(const CLI::App& app, bool is_page) {
    if (is_page) {
        for (const char* name : {"--size", "--camera", "--turn", "--tilt"})
            if (app.count(name) > 0)
                throw CLI::ValidationError(name, "works with a picture, not with a page");
        return;
    }
    for (const char* name : {"--points", "--compare", "--variables"})
        if (app.count(name) > 0)
            throw CLI::ValidationError(name, "needs a page, an output that ends in .html");
}

}  // namespace

}  // namespace view

void AddView(CLI::App& app, int* status) {
    // Shared with the callback, which runs when the command line is parsed.
    const auto all = std::make_shared<page::PageOptions>();
    view::ViewOptions* const options = &all->view;
    CLI::App* const command = app.add_subcommand("view", view::kAbout);
    command->option_defaults()->take_last();  // the last of several wins
    NamesFile(
        command->add_option("FILE", options->input, "a point cloud file, - for standard input"))
        ->required();
    command
        ->add_option("-o,--output", options->output,
                     "the picture, - for standard output, or the page if it ends in .html")
        ->type_name("OUT")
        ->required()
        ->transform(view::OutputName());
    view::AddSightOptions(*command, options);
    view::AddColourOptions(*command, options);
    view::AddPageOptions(*command, all.get());
    command->callback([all, command, status] {
        const view::ViewOptions& given = all->view;
        const bool is_page = view::IsPage(given.output);
        view::RefuseOptionsWithoutEffect(*command, is_page);
        if (given.camera == view::CameraChoice::kFile && given.direction)
            throw CLI::ValidationError("--turn, --tilt",
                                       "work with a fitted camera, not with --camera file");
        if (given.input == "-" && all->compare == "-")
            throw CLI::ValidationError("--compare", "standard input can be read once only");
        std::optional<view::WrongUsage> wrong;
        *status = RunGuarded([&] {
            try {
                if (is_page)
                    page::MakePage(*all);
                else
                    view::View(given);
            } catch (const view::WrongUsage& usage) {
                wrong = usage;
            }
            return 0;
        });
        // Outside the guard: this is wrong usage, though only the file shows that it is.
        if (wrong) throw CLI::ValidationError(wrong->Option(), wrong->what());
    });
}
