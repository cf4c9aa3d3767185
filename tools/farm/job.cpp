// Job: from and to JSON.

#include "tools/farm/job.h"

#include <fmt/format.h>

#include <climits>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <unordered_set>

#include "tools/common/failure.h"
#include "tools/farm/frame_list.h"
#include "tools/farm/small_file.h"

namespace farm {

namespace {

using Json = nlohmann::ordered_json;
using Texts = std::vector<std::string>;

constexpr std::size_t kMostJobBytes = std::size_t{64} << 20;

/// A text of the file. The system's calls would end at a zero byte.
std::string TextOf(const Json& value) {
    if (!value.is_string()) throw Failure("must be a text");
    auto text = value.get<std::string>();
    if (text.find('\0') != text.npos) throw Failure("must not hold a zero byte");
    return text;
}

/// Programs take numbers as well as texts, and nobody should have to quote them.
std::string ArgumentOf(const Json& value) {
    return value.is_number() ? value.dump() : TextOf(value);
}

std::vector<std::string> ListOf(const Json& value,
                                const std::function<std::string(const Json&)>& item) {
    if (!value.is_array()) throw Failure("must be a list");
    std::vector<std::string> list;
    for (const Json& one : value) list.push_back(item(one));
    return list;
}

/// true: the stage without arguments; false: no such stage; or its arguments.
StageArguments StageOf(const Json& value) {
    if (!value.is_boolean()) return ListOf(value, ArgumentOf);
    return value.get<bool>() ? StageArguments(std::in_place) : std::nullopt;
}

bool BoolOf(const Json& value) {
    if (!value.is_boolean()) throw Failure("must be true or false");
    return value.get<bool>();
}

int CountOf(const Json& value, int low, int high) {
    if (!value.is_number_integer() || value < low || value > high)
        throw Failure(fmt::format("must be a whole number from {} to {}", low, high));
    return value.get<int>();
}

std::vector<int> FramesOf(const Json& value) {
    if (value.is_number_integer()) return {CountOf(value, 0, kLastFrame)};
    return ParseFrames(TextOf(value));
}

std::variant<Steps, std::vector<std::string>> SeriesOf(const Json& value) {
    if (value.is_array()) return ListOf(value, ArgumentOf);
    constexpr const char* kWanted = R"(must be {"first": NUMBER, "step": NUMBER} or a list)";
    if (!value.is_object()) throw Failure(kWanted);
    Steps steps;
    for (const auto& [key, number] : value.items()) {
        if (!number.is_number() || (key != "first" && key != "step")) throw Failure(kWanted);
        (key == "first" ? steps.first : steps.step) = number.get<double>();
    }
    return steps;
}

/// What reads each key.
std::vector<std::pair<std::string, std::function<void(const Json&)>>> Readers(Job* job) {
    return {
        {"base", [=](const Json& value) { job->base = TextOf(value); }},
        {"frames", [=](const Json& value) { job->frames = FramesOf(value); }},
        {"parts", [=](const Json& value) { job->parts = CountOf(value, 1, kMostParts); }},
        {"values",
         [=](const Json& value) {
             if (!value.is_object()) throw Failure("must be an object");
             for (const auto& [name, series] : value.items()) job->values[name] = SeriesOf(series);
         }},
        {"bake", [=](const Json& value) { job->bake = ListOf(value, ArgumentOf); }},
        {"merge", [=](const Json& value) { job->merge = BoolOf(value); }},
        {"organize", [=](const Json& value) { job->organize = StageOf(value); }},
        {"light", [=](const Json& value) { job->light = StageOf(value); }},
        {"picture", [=](const Json& value) { job->picture = StageOf(value); }},
        {"output", [=](const Json& value) { job->output = TextOf(value); }},
        {"pictures", [=](const Json& value) { job->pictures = TextOf(value); }},
        {"publish", [=](const Json& value) { job->publish = TextOf(value); }},
        {"inputs", [=](const Json& value) { job->inputs = ListOf(value, TextOf); }},
        {"keep_work", [=](const Json& value) { job->keep_work = BoolOf(value); }},
        {"time_limit", [=](const Json& value) { job->time_limit = CountOf(value, 0, INT_MAX); }},
        {"programs", [=](const Json& value) { job->programs = ListOf(value, TextOf); }},
        {"report", [=](const Json& value) { job->report = TextOf(value); }},
        {"slurm", [=](const Json& value) { job->slurm = ListOf(value, ArgumentOf); }},
    };
}

void ReadKey(const std::string& key, const Json& value, Job* job) {
    std::string known;
    for (const auto& [name, read] : Readers(job)) {
        if (name == key) return read(value);
        known += fmt::format("{}{}", known.empty() ? "" : ", ", name);
    }
    throw Failure("is no key of a job; there are " + known);
}

Json StageJson(const StageArguments& stage) {
    if (!stage) return false;
    return stage->empty() ? Json(true) : Json(*stage);
}

Json SeriesJson(const Series& values) {
    Json json = Json::object();
    for (const auto& [name, series] : values) {
        if (const auto* const steps = std::get_if<Steps>(&series))
            json[name] = {{"first", steps->first}, {"step", steps->step}};
        else
            json[name] = std::get<std::vector<std::string>>(series);
    }
    return json;
}

/// Fills in every text once, so that a wrong one is told before the first task.
void RequireKnownValues(const Job& job, const std::string& name) {
    const FrameValues values(job.values, job.frames.front(), 0);
    std::vector<std::string> texts = {job.output, job.pictures, job.publish};
    for (const auto& more : {job.bake, job.inputs, job.organize.value_or(Texts()),
                             job.light.value_or(Texts()), job.picture.value_or(Texts())})
        texts.insert(texts.end(), more.begin(), more.end());
    try {
        for (const std::string& text : texts) (void)values.FillIn(text);
    } catch (const Failure& fault) {
        throw Failure(fmt::format("{}: {}", name, fault.what()));
    }
}

void RequireWhole(const Job& job, const std::string& name) {
    const auto refuse = [&](const std::string& why) { throw Failure(name + ": " + why); };
    if (job.frames.empty()) refuse("\"frames\" is missing");
    if (job.output.empty()) refuse("\"output\" is missing");
    if (job.picture && job.pictures.empty()) refuse("\"picture\" needs \"pictures\"");
    if (!job.pictures.empty() && !job.picture) refuse("\"pictures\" needs \"picture\"");
    if (!job.merge && !job.organize && job.parts > 1)
        refuse("without \"merge\" only \"organize\" can take several parts");
    for (const auto& [key, series] : job.values) {
        const auto* const texts = std::get_if<std::vector<std::string>>(&series);
        if (texts && texts->size() != job.frames.size())
            refuse(fmt::format("\"values\": {} has {} texts for {} frames", key, texts->size(),
                               job.frames.size()));
    }
    RequireKnownValues(job, name);
}

/// What one frame makes must not be what another one has made.
void RequireDifferentNames(const Job& job, const std::string& name) {
    std::unordered_set<std::string> names;
    for (std::size_t i = 0; i < job.frames.size(); ++i) {
        const FrameValues values(job.values, job.frames[i], i);
        for (const std::string* const made : {&job.output, &job.pictures}) {
            if (made->empty()) continue;
            std::vector<std::filesystem::path> files = {values.FillIn(*made)};
            if (!job.publish.empty())
                files.push_back(values.FillIn(job.publish) / files.front().filename());
            for (const auto& file : files)
                if (!names.insert((job.base / file).lexically_normal()).second)
                    throw Failure(fmt::format(
                        "{}: {} is made twice; {{frame}} in its name tells frames apart", name,
                        file.string()));
        }
    }
}

}  // namespace

Job ReadJob(const std::string& file) {
    const Json json = Json::parse(ReadSmallFile(file, kMostJobBytes), nullptr, false, true);
    if (!json.is_object()) throw Failure(file + ": is no job: it is not a JSON object");
    Job job;
    for (const auto& [key, value] : json.items()) {
        try {
            ReadKey(key, value, &job);
        } catch (const Failure& fault) {
            throw Failure(fmt::format("{}: \"{}\": {}", file, key, fault.what()));
        }
    }
    const auto folder = std::filesystem::absolute(file).parent_path();
    job.base = (folder / job.base).lexically_normal();
    RequireWhole(job, file);
    return job;
}

void CheckJob(const Job& job, const std::string& name) {
    RequireWhole(job, name);
    RequireDifferentNames(job, name);
}

std::string JobText(const Job& job) {
    Json json;
    json["base"] = job.base;
    json["frames"] = FramesText(job.frames);
    json["parts"] = job.parts;
    json["values"] = SeriesJson(job.values);
    json["bake"] = job.bake;
    json["merge"] = job.merge;
    json["organize"] = StageJson(job.organize);
    json["light"] = StageJson(job.light);
    json["picture"] = StageJson(job.picture);
    json["output"] = job.output;
    json["pictures"] = job.pictures;
    json["publish"] = job.publish;
    json["inputs"] = job.inputs;
    json["keep_work"] = job.keep_work;
    json["time_limit"] = job.time_limit;
    json["programs"] = job.programs;
    json["report"] = job.report;
    json["slurm"] = job.slurm;
    try {
        return json.dump(2) + "\n";
    } catch (const Json::exception&) {
        throw Failure("a job's texts and the name of its folder must be UTF-8");
    }
}

}  // namespace farm
