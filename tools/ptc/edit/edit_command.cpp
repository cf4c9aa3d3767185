// The sub-command `edit`.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "tools/common/number.h"
#include "tools/common/option_values.h"
#include "tools/common/parts.h"
#include "tools/ptc/commands.h"
#include "tools/ptc/edit/edit.h"
#include "tools/ptc/edit/point_transform.h"
#include "tools/ptc/expression/expression_error.h"

namespace edit {

namespace {

/// The options as they are typed, and what they mean.
struct Typed {
    Options options;
    std::vector<std::string> sets;
    std::vector<std::string> adds;
};

/// Finite numbers between commas; also between blanks, as headers are printed.
bool ParseNumbers(std::string text, std::span<double> numbers) {
    const auto is_blank = [](char a, char b) { return a == ' ' && b == ' '; };
    text.erase(std::unique(text.begin(), text.end(), is_blank), text.end());
    if (text.find(',') == text.npos) std::replace(text.begin(), text.end(), ' ', ',');
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
    Parts parts(text, ',');
    std::string_view part;
    for (double& number : numbers)
        if (!parts.Next(&part) || !ParseNumber(part, &number) || !std::isfinite(number))
            return false;
    return parts.IsDone();
}

template <std::size_t N>
CLI::Option* AddNumbers(CLI::App* command, const char* name,
                        std::optional<std::array<double, N>>* value, const char* form,
                        const char* what) {
    return command
        ->add_option_function<std::string>(
            name,
            [=](const std::string& text) {
                std::array<double, N> numbers{};
                if (!ParseNumbers(text, numbers))
                    throw CLI::ValidationError(name, fmt::format("must be {}", form));
                *value = numbers;
            },
            what)
        ->type_name(form);
}

CLI::Option* AddTexts(CLI::App* command, const char* name, std::vector<std::string>* texts,
                      const char* form, const char* what) {
    return command->add_option(name, *texts, what)
        ->type_name(form)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

void AddFilters(CLI::App* command, Options* options) {
    constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
    command->add_option("--where", options->where, "only points for which it holds")
        ->type_name("EXPRESSION");
    AddNumbers(command, "--box", &options->box, "X0,Y0,Z0,X1,Y1,Z1",
               "only points in the box, ends included");
    AddNumbers(command, "--sphere", &options->sphere, "X,Y,Z,R",
               "only points within R of the place");
    command->add_option("--share", options->share, "only this share of the points, at random")
        ->type_name("S")
        ->check(Within(0.0, 1.0, "0 to 1"));
    command->add_option("--seed", options->seed, "another seed, another share; default 0")
        ->type_name("N")
        ->check(Within<std::uint64_t>(0, std::numeric_limits<std::uint64_t>::max(), "0 or more"))
        ->needs("--share");
    command->add_option("--every", options->every, "of these only the first of every N")
        ->type_name("N")
        ->check(Within<std::int64_t>(1, kMost, "1 or more"));
    command->add_option("--limit", options->limit, "of these only the first N")
        ->type_name("N")
        ->check(Within<std::int64_t>(0, kMost, "0 or more"));
}

void AddEdits(CLI::App* command, Typed* typed) {
    Options* const options = &typed->options;
    AddTexts(command, "--set", &typed->sets, "NAME=EXPRESSION",
             "give x, nx, radius, a variable or one float of it a value");
    AddTexts(command, "--add", &typed->adds, "\"TYPE NAME=EXPRESSION\"",
             "add a variable with a value");
    CLI::Option* const keep =
        command->add_option("--keep", options->keep, "only these variables")->type_name("A,B,...");
    command->add_option("--drop", options->drop, "all variables but these")
        ->type_name("A,B,...")
        ->excludes(keep);
    AddTexts(command, "--rename", &options->renames, "OLD=NEW", "call a variable otherwise")
        ->check(CLI::Validator(
            [](const std::string& text) -> std::string {
                return text.find('=') == text.npos ? "must be OLD=NEW" : "";
            },
            ""));
    CLI::Option* const thin = command->add_flag(
        "--thin", options->thins, "merge points that are close and alike, as the driver does");
    constexpr float kInfinite = std::numeric_limits<float>::infinity();
    Thinning* const thinning = &options->thinning;
    command->add_option("--max-dist", thinning->max_distance, "largest distance; default 1e15")
        ->type_name("D")
        ->check(Within(0.0f, kInfinite, "0 or more"))
        ->needs(thin);
    command->add_option("--min-dot", thinning->min_dot, "least dot product; default 0.5")
        ->type_name("D")
        ->check(Within(-1.0f, 1.0f, "-1 to 1"))
        ->needs(thin);
    command
        ->add_option("--max-diff", thinning->max_difference,
                     "largest difference of a variable; default: any")
        ->type_name("D")
        ->check(Within(0.0f, kInfinite, "0 or more"))
        ->needs(thin);
    command
        ->add_option("--buffer-size", thinning->buffer_size,
                     "how many points are merged at a time; default 10000")
        ->type_name("N")
        ->check(Count<std::int64_t>(1, 100'000'000))
        ->needs(thin);
    AddNumbers(command, "--transform", &options->transform, "M",
               "move the points and the camera by this matrix: 16 numbers between commas, row by "
               "row, the translation in the last row");
}

/// "--set" and "--add" as they follow each other on the command line.
std::vector<Change> InOrder(const CLI::App& command, const Typed& typed) {
    std::vector<Change> changes;
    std::size_t set = 0, add = 0;
    for (const CLI::Option* const option : command.parse_order()) {
        if (option == command.get_option("--set")) changes.push_back({false, typed.sets[set++]});
        if (option == command.get_option("--add")) changes.push_back({true, typed.adds[add++]});
    }
    return changes;
}

/// Wrong usage, which a file has no part in.
void RequireUsable(const Options& options) {
    if (options.box)
        for (std::size_t axis = 0; axis < 3; ++axis)
            if ((*options.box)[axis] > (*options.box)[axis + 3])
                throw CLI::ValidationError("--box", "begins behind its end");
    if (options.sphere && (*options.sphere)[3] < 0)
        throw CLI::ValidationError("--sphere", "has a negative radius");
    const char* why = nullptr;
    if (options.transform && !PointTransform::Make(*options.transform, &why))
        throw CLI::ValidationError("--transform", why);
}

}  // namespace

}  // namespace edit

void AddEdit(CLI::App& app, int* status) {
    const auto typed = std::make_shared<edit::Typed>();
    edit::Options* const options = &typed->options;
    CLI::App* const command =
        app.add_subcommand("edit", "choose points, change their values, move them");
    NamesFile(command->add_option("IN", options->in, "a point cloud file, - for standard input"))
        ->required();
    command->add_option("-o,--output", options->out, "the file to make, - for standard output")
        ->type_name("FILE")
        ->transform(FileName())
        ->required();
    command->add_option("--form", options->form, "the form of the file; default: that of IN")
        ->type_name("FORM")
        ->check(CLI::Validator(
            [](const std::string& name) -> std::string {
                return convert::FormCalled(name) ? ""
                                                 : fmt::format("must be {}", convert::kFormNames);
            },
            convert::kFormSet));
    edit::AddFilters(command, options);
    edit::AddEdits(command, typed.get());
    command->callback([command, typed, options, status] {
        options->changes = edit::InOrder(*command, *typed);
        edit::RequireUsable(*options);
        *status = expression::RunWithExpressions(options->in, 1, [&] {
            edit::RunEdit(*options);
            return 0;
        });
    });
}
