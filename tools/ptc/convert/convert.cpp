// ptc convert: from one form to another, a piece at a time.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <vector>

#include "tools/common/failure.h"
#include "tools/common/input_file.h"
#include "tools/common/number.h"
#include "tools/common/option_values.h"
#include "tools/common/output_file.h"
#include "tools/common/progress.h"
#include "tools/ptc/commands.h"
#include "tools/ptc/convert/columns.h"
#include "tools/ptc/convert/form_files.h"
#include "tools/ptc/convert/tree_copy.h"
#include "tools/ptc/run_guarded.h"

namespace convert {

namespace {

/// Bytes of records that are copied at a time; a larger record is copied by itself.
constexpr std::size_t kPieceBytes = std::size_t{1} << 18;

constexpr std::uint64_t kProgressSteps = 1000;

struct Options {
    std::string in;
    std::string out;
    std::string from;
    std::string to;
    std::optional<float> radius;
    bool scalar_prefix = false;
};

/// The form that the option names, or else the extension; nothing when neither does.
std::optional<Form> ChooseForm(const std::string& option, const std::string& file) {
    return option.empty() ? FormOf(file) : FormCalled(option);
}

/// The form of OUT. Wrong usage when it is not given.
Form OutputForm(const Options& options) {
    const auto form = ChooseForm(options.to, options.out);
    if (!form)
        throw CLI::ValidationError("OUT", fmt::format("\"{}\" does not say which form it is to "
                                                      "have; give --to",
                                                      options.out));
    if (options.scalar_prefix && form->kind != FileKind::kPly)
        throw CLI::ValidationError("--scalar-prefix", "works with PLY only");
    return *form;
}

void CopyPoints(PointSource& source, PointSink& sink) {
    Progress progress(kProgressSteps, true);
    const std::size_t record = source.Header().PointBytes();
    std::vector<std::byte> piece(std::max<std::size_t>(1, kPieceBytes / record) * record);
    for (std::size_t read = piece.size(); read == piece.size();) {
        read = source.Read(piece) * record;
        sink.Write(std::span(piece).first(read));
        progress.Show(static_cast<std::uint64_t>(source.Share() * kProgressSteps));
    }
}

void Run(const Options& options, const Form& form) {
    const InputFile in(options.in);
    const FileKind kind = ChooseForm(options.from, options.in).value_or(Form()).kind;
    const auto source = OpenSource(in, kind, options.radius);
    OutputFile out(options.out);
    const std::string_view prefix = options.scalar_prefix ? kScalarPrefix : "";
    const auto sink = MakeSink(out, form, source->Header(), source->Count(), prefix);
    CopyPoints(*source, *sink);
    CopyTree(in, *source, out, *sink, true);
    sink->Finish();
    out.Commit();
}

CLI::Validator FormName() {
    return CLI::Validator(
        [](const std::string& name) -> std::string {
            return FormCalled(name) ? "" : fmt::format("must be {}", kFormNames);
        },
        kFormSet);
}

CLI::Validator Radius() {
    return CLI::Validator(
        [](const std::string& text) -> std::string {
            float radius = -1;
            const bool is_number = ParseNumber(text, &radius);
            return is_number && radius >= 0 && std::isfinite(radius) ? "" : "must be 0 or more";
        },
        "0 or more");
}

}  // namespace

}  // namespace convert

void AddConvert(CLI::App& app, int* status) {
    const auto options = std::make_shared<convert::Options>();
    CLI::App* const command = app.add_subcommand(
        "convert", "write a point cloud in another form: binary, text, gzip, PLY, CSV");
    NamesFile(command->add_option("IN", options->in, "the file to read, - for standard input"))
        ->required();
    NamesFile(command->add_option("OUT", options->out, "the file to make, - for standard output"))
        ->required();
    command->add_option("--to", options->to, "the form of OUT, when its extension does not give it")
        ->type_name("FORM")
        ->check(convert::FormName());
    command->add_option("--from", options->from, "the form of IN, likewise")
        ->type_name("FORM")
        ->check(convert::FormName());
    command
        ->add_option("--radius", options->radius,
                     "radius of points that have none; default: half their mean spacing")
        ->type_name("NUMBER")
        ->check(convert::Radius());
    command->add_flag("--scalar-prefix", options->scalar_prefix,
                      "write scalar_ before the names of radius, codes and variables, for programs "
                      "that keep only such PLY properties");
    command->callback([options, status] {
        // Outside the guard: a form that is not given is wrong usage, not a failure.
        const convert::Form form = convert::OutputForm(*options);
        *status = RunGuarded([&] {
            convert::Run(*options, form);
            return 0;
        });
    });
}
