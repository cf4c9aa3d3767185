// `ptc view` into a page: the steps from files to a file.

#include "tools/ptc/page/page.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>

#include "tools/common/failure.h"
#include "tools/common/input_file.h"
#include "tools/common/output_file.h"
#include "tools/ptc/page/cloud_facts.h"
#include "tools/ptc/page/packed_points.h"
#include "tools/ptc/page/page_file.h"
#include "tools/ptc/page/page_json.h"
#include "tools/ptc/page/page_text.h"
#include "tools/ptc/page/page_variables.h"
#include "tools/ptc/report.h"
#include "util/text/printable_text.h"

namespace page {

namespace {

/// How often a cloud is read.
constexpr std::uint64_t kReadings = 3;

/// Bytes of points in one element of the page: browsers have no texts of more than 2^29 letters.
constexpr std::size_t kPart = std::size_t{1} << 27;

/// One of the clouds, open.
struct OpenedInput {
    explicit OpenedInput(const std::string& path)
        : file(path), cloud(view::OpenToDraw(file)), pass(*cloud, file.Name()) {}

    std::uint64_t Points() const { return static_cast<std::uint64_t>(cloud->point_count); }

    InputFile file;
    std::unique_ptr<CloudReader> cloud;
    PointPass pass;
    VariableChoice variables;
};

/// The name without its folders: where a file lies is nothing that a page should tell.
std::string ShownName(const InputFile& file) {
    return std::filesystem::path(file.Name()).filename();
}

class PageMaker {
public:
    explicit PageMaker(const PageOptions& options) : options_(options) {
        inputs_.push_back(std::make_unique<OpenedInput>(options.view.input));
        if (!options.compare.empty())
            inputs_.push_back(std::make_unique<OpenedInput>(options.compare));
        CheckNames();
        for (const auto& input : inputs_) ChooseVariables(input.get());
        std::uint64_t steps = 0;
        for (const auto& input : inputs_) steps += kReadings * input->Points();
        progress_ = std::make_unique<Progress>(steps, true);
    }

    void Write(PageFile* page) {
        std::vector<CloudFacts> clouds;
        for (const auto& input : inputs_) {
            clouds.push_back(LookAt(*input->cloud, input->file.Name(), input->variables.shown,
                                    input->pass, *progress_, Done(*input)));
            clouds.back().name = ShownName(input->file);
        }
        page->Write(kTextBefore);
        page->Write("<script type=\"application/json\" id=\"page\">");
        page->Write(PageJson(options_, clouds, variable_));
        page->Write("</script>\n");
        for (std::size_t i = 0; i < clouds.size(); ++i) {
            const std::vector<std::byte> packed = Packed(clouds[i], inputs_[i].get());
            for (std::size_t at = 0; at < packed.size(); at += kPart) {
                page->Write(fmt::format("<script type=\"text/plain\" class=\"points-{}\">", i));
                page->WriteCompressed(
                    std::span(packed).subspan(at, std::min(kPart, packed.size() - at)));
                page->Write("</script>\n");
            }
        }
        page->Write(kTextBehind);
        Report(clouds);
    }

    /// A line for each cloud.
    const std::string& ReportText() const { return report_; }

private:
    /// A name that no cloud has is a mistake; one that only one of them has is not.
    void CheckNames() const {
        for (const std::string& wanted : options_.variables) {
            const auto has = [&](const auto& input) {
                const auto& names = input->cloud->point_variables.names;
                return std::find(names.begin(), names.end(), wanted) != names.end();
            };
            if (std::any_of(inputs_.begin(), inputs_.end(), has)) continue;
            throw Failure(fmt::format("{}: no variable {}; there are {}", inputs_[0]->file.Name(),
                                      wanted,
                                      fmt::join(inputs_[0]->cloud->point_variables.names, ", ")));
        }
    }

    /// The first cloud decides what is shown first; the other one shows that too, if it has it.
    void ChooseVariables(OpenedInput* input) {
        const CloudVariables& all = input->cloud->point_variables;
        const bool is_first = input == inputs_[0].get();
        if (!options_.variables.empty()) {
            input->variables = ChooseByName(all, options_.variables);
        } else {
            const std::string first =
                is_first ? ColouringOf(all, options_.view.variable).Name() : variable_;
            if (is_first) CheckThatItFits(all, first);
            input->variables = ChooseWhatFits(all, first);
        }
        if (!is_first) return;
        const view::Colouring shown =
            ColouringOf(DeclarationsOf(input->variables.shown), options_.view.variable);
        view::CheckColourOptions(options_.view, shown);
        variable_ = shown.Name();
    }

    view::Colouring ColouringOf(const CloudVariables& variables, const std::string& name) const {
        try {
            return view::Colouring(variables, name);
        } catch (const Failure& failure) {
            throw Failure(fmt::format("{}: {}", inputs_[0]->file.Name(), failure.what()));
        }
    }

    /// The steps done when the next reading of `input` begins.
    std::uint64_t Done(const OpenedInput& input) {
        const std::uint64_t done = done_;
        done_ += input.Points();
        return done;
    }

    std::vector<std::byte> Packed(const CloudFacts& facts, OpenedInput* input) {
        // Numbers of candidates have 32 bits. Of more points every second, third ... is looked at.
        const std::uint64_t step = (input->Points() >> 32) + 1;
        const auto count = static_cast<std::uint32_t>(facts.points / step);
        PointChoice choice({facts.box, facts.largest_radius, count, options_.points});
        std::uint64_t number = 0;
        input->pass.Run(*progress_, Done(*input), [&](const PointPiece& piece) {
            for (std::size_t i = 0; i < piece.Count(); ++i, ++number)
                if (piece.IsDrawable(i) && number % step == 0)
                    choice.Add(static_cast<std::uint32_t>(number / step), piece.Position(i),
                               piece.Radius(i));
        });
        const std::vector<ChosenPoint> chosen = choice.Take();
        return PackPoints(facts, {chosen, step}, input->pass, *progress_, Done(*input));
    }

    void Report(const std::vector<CloudFacts>& clouds) {
        for (std::size_t i = 0; i < clouds.size(); ++i) {
            const CloudFacts& facts = clouds[i];
            report_ += fmt::format("{}: {} of {} points", Printable(inputs_[i]->file.Name()),
                                   std::min<std::uint64_t>(facts.points, options_.points),
                                   facts.header->point_count);
            const char* between = ", without ";
            for (const Variable& variable : inputs_[i]->variables.left_out) {
                report_ += between;
                report_ += Printable(variable.name);
                between = ", ";
            }
            report_ += '\n';
        }
    }

    const PageOptions& options_;
    std::vector<std::unique_ptr<OpenedInput>> inputs_;
    std::unique_ptr<Progress> progress_;
    std::uint64_t done_ = 0;
    std::string variable_;  ///< that is shown first
    std::string report_;
};

}  // namespace

void MakePage(const PageOptions& options) {
    OutputFile output(options.view.output);
    std::string report;
    {
        PageMaker maker(options);
        PageFile page(output);
        maker.Write(&page);
        page.Close();
        report = maker.ReportText();
    }
    output.Commit();
    TellReport(report, output.IsStandardOutput());
}

}  // namespace page
