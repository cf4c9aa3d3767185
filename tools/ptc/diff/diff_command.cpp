// ptc diff: what differs between two clouds.

#include <fmt/format.h>

#include <CLI/App.hpp>
#include <CLI/Error.hpp>
#include <limits>
#include <memory>
#include <string>

#include "tools/common/number.h"
#include "tools/common/option_text.h"
#include "tools/common/option_values.h"
#include "tools/common/standard_streams.h"
#include "tools/ptc/byte_size.h"
#include "tools/ptc/commands.h"
#include "tools/ptc/diff/diff_findings.h"
#include "tools/ptc/diff/ordered_diff.h"
#include "tools/ptc/run_guarded.h"

namespace {

constexpr int kSame = 0;
constexpr int kDifferent = 1;
constexpr int kTrouble = 2;

struct DiffOptions {
    std::string a;
    std::string b;
    DiffLimits limits;
    bool is_unordered = false;
    UnorderedOptions unordered;
    bool json = false;
    bool is_quiet = false;
};

DiffFindings FindInHeaders(const DiffInput& a, const DiffInput& b, const DiffLimits& limits) {
    const CloudReader& cloud_a = a.Cloud();
    const CloudReader& cloud_b = b.Cloud();
    DiffFindings findings;
    findings.names = {a.File().Name(), b.File().Name()};
    findings.points = {cloud_a.point_count, cloud_b.point_count};
    findings.limits = limits;
    findings.header = CompareHeaders(cloud_a, cloud_b, limits);
    findings.variables = PairVariables(cloud_a.point_variables, cloud_b.point_variables);
    if (BothHold(cloud_a, cloud_b, kOctreeVersion)) {
        findings.has_octree = {cloud_a.stored_node_count > 0, cloud_b.stored_node_count > 0};
        findings.node_variables = PairVariables(cloud_a.node_variables, cloud_b.node_variables);
    }
    return findings;
}

int Diff(const DiffOptions& options) {
    DiffInput a(options.a);
    DiffInput b(options.b);
    DiffFindings findings = FindInHeaders(a, b, options.limits);
    if (options.is_unordered) findings.unordered.emplace();
    if (options.is_quiet && !findings.HeadersAreAlike()) return kDifferent;

    PointDifferences values(CommonChannels(findings.variables), options.limits, a.RecordBytes(),
                            b.RecordBytes());
    if (options.is_unordered)
        findings.unordered = CompareByPlace(a, b, options.unordered, &values);
    else
        CompareInOrder(a, b, options.is_quiet, &values);
    if (!options.is_quiet) {
        WriteOut(options.json ? DiffJson(findings, values) : DiffText(findings, values));
        FlushOut();
    }
    return findings.AreAlike(values) ? kSame : kDifferent;
}

/// What fails is not a difference: a script must not take it for one.
int DiffOrTrouble(const DiffOptions& options) {
    int status = kTrouble;
    (void)RunGuarded([&] {
        status = Diff(options);
        return 0;
    });
    return status;
}

void AddLimit(CLI::App& command, const std::string& name, double* limit, const char* value,
              const char* what) {
    command
        .add_option_function<std::string>(
            name,
            [name, limit](const std::string& text) {
                constexpr double kMost = std::numeric_limits<double>::max();
                if (!ParseNumber(text, limit) || !(*limit >= 0 && *limit <= kMost))
                    throw CLI::ValidationError(name, "must be 0 or more, and finite");
            },
            what)
        ->type_name(value);
}

void AddUnorderedOptions(CLI::App& command, DiffOptions* options) {
    CLI::Option* const unordered = command.add_flag(
        "--unordered", options->is_unordered,
        "compare points in the same place, or else the nearest ones, whatever their order");
    command
        .add_option_function<std::string>(
            "--within",
            [options](const std::string& text) {
                constexpr float kMost = std::numeric_limits<float>::max();
                options->unordered.within =
                    NumberWithin("--within", text, 0, kMost, "must be 0 or more, and finite");
            },
            "the greatest distance of two points that are compared (half the median radius of A)")
        ->type_name("D")
        ->needs(unordered);
    command
        .add_option_function<std::string>(
            "--memory",
            [options](const std::string& text) {
                if (!ParseByteSize(text, &options->unordered.memory))
                    throw CLI::ValidationError("--memory", "must be bytes, such as 256M or 1G");
            },
            "the most bytes that the points of both may take, with K, M or G (4G)")
        ->type_name("SIZE")
        ->needs(unordered);
}

}  // namespace

void AddDiff(CLI::App& app, int* status) {
    const auto options = std::make_shared<DiffOptions>();
    CLI::App* const command = app.add_subcommand("diff", "show what differs between two clouds");
    command->footer("Exit status: 0 the same, 1 different, 2 failed or wrong usage.");
    NamesFile(command->add_option("A", options->a, "a point cloud file, - for standard input"))
        ->required();
    NamesFile(command->add_option("B", options->b, "the other one"))->required();
    AddLimit(*command, "--tolerance", &options->limits.absolute, "T",
             "values that are no more than this apart are the same (0)");
    AddLimit(*command, "--relative", &options->limits.relative, "R",
             "so are those no more than this times the greater one apart (0)");
    AddLimit(*command, "--angle", &options->limits.angle, "DEGREES",
             "so are normals with no greater angle between them (0)");
    AddUnorderedOptions(*command, options.get());
    CLI::Option* const json = command->add_flag("--json", options->json, "as a JSON object");
    command->add_flag("-q,--quiet", options->is_quiet, "print nothing: the exit status tells")
        ->excludes(json);
    command->callback([options, status] {
        if (options->a == "-" && options->b == "-")
            throw CLI::ValidationError("A and B", "only one can be standard input");
        *status = DiffOrTrouble(*options);
    });
}
