#include "Grammar.h"

#include <algorithm>
#include <charconv>

#include <CLI/CLI.hpp>

#include "Console.h"
#include "Recipe.h"

namespace veltool {
namespace {

using velhost::FindOperation;
using velhost::ImageArgument;
using velhost::Parameter;
using velhost::ValueType;

// The texts that a run's options are given as, before they mean anything.
struct RunTexts {
    std::string convert;
    std::string seed;
    std::string onError = "skip";
    std::string maxPixels;
};

// Declares every option of a run once; parsing, help and completion all start here.
void DeclareRunOptions(CLI::App* app, RunOptions* options, RunTexts* texts) {
    app->add_option("-i,--in", options->inputs,
                    "pictures to read: files, folders, patterns, @FILE with one name a line, - for standard input")
        ->type_name("FILE...");
    app->add_option(
           "-o,--out", options->output,
           "the picture to write, or a folder, or a name with {stem} {ext} {dir} {n}, or - for standard output")
        ->type_name("OUT");
    app->add_flag("--in-place", options->inPlace, "write each result over its input");
    app->add_flag("--overwrite", options->overwrite, "replace outputs that exist");
    app->add_option("--as", options->save.format, "format of the output, whatever its name")->type_name("FORMAT");
    app->add_option("--quality", options->save.quality, "1 to 100, for jpeg and lossy webp; default 90")
        ->type_name("N")
        ->check(CLI::Range(1, 100));
    app->add_flag("--lossy{false}", options->save.lossless, "webp: lossy, with --quality");
    app->add_option("--effort", options->save.effort, "0 (fast) to 9 (small), for png and webp")
        ->type_name("N")
        ->check(CLI::Range(0, 9));
    app->add_option("--compression", options->save.tiffCompression, "tiff: none, lzw, deflate, packbits or group4")
        ->type_name("NAME");
    app->add_option("--convert", texts->convert,
                    "what may be done to a picture that cannot be held as it is: widen, 8bit, rgb, round or all")
        ->type_name("HOW");
    app->add_flag("--expand", options->expand,
                  "read pictures below 24 bits as 24-bit colour, through their palette if they have one");
    app->add_option("--page", options->load.page, "which picture of a file that holds several, from 0")->type_name("N");
    app->add_option("--max-pixels", texts->maxPixels, "refuse pictures of more pixels; 50M are 50 millions")
        ->type_name("N");
    app->add_option("--seed", texts->seed,
                    "start of the random filters' draws: this plus the input's number, from 0; default 1")
        ->type_name("N");
    app->add_flag("--strict", options->strict, "fail where an operation leaves an image's depth alone");
    app->add_flag("-q,--quiet", options->quiet, "say nothing but errors");
    app->add_option("--recipe", options->recipe, "steps from a JSON file, before those of the command line")
        ->type_name("FILE");
    app->add_flag("-r,--recursive", options->recursive, "take folders with all that is below them");
    app->add_option("-j,--jobs", options->jobs, "pictures to work on at the same time")
        ->type_name("N")
        ->check(CLI::Range(1, 256));
    app->add_flag("-n,--dry-run", options->dryRun, "say what would be done, and do nothing");
    app->add_option("--on-error", texts->onError, "skip goes on with the other pictures, stop does not")
        ->type_name("skip|stop")
        ->check(CLI::IsMember({"skip", "stop"}));
    app->add_option("--timeout", options->timeout, "give up a picture after so many seconds")
        ->type_name("SECONDS")
        ->check(CLI::PositiveNumber);
    app->add_option("--journal", options->journal, "keep a record of what is done")->type_name("FILE");
    app->add_flag("--resume", options->resume, "leave out what the journal records as done");
    app->add_option("--report", options->report, "write what became of every picture as JSON")->type_name("FILE");
}

std::vector<std::string> OptionNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
    return names;
}

[[noreturn]] void Usage(const std::string& text) { throw Failure(kUsage, text); }

// CLI11's messages may span lines.
std::string OneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

// Parses the words with an App whose unknown words stay in order; returns those.
std::vector<std::string> ParseWith(CLI::App* app, std::vector<std::string> words, const std::string& where) {
    std::reverse(words.begin(), words.end());
    try {
        app->parse(words);
    } catch (const CLI::ParseError& error) {
        Usage(where + OneLine(error.what()));
    }
    return app->remaining();
}

// The words of one step after its name; what the step does not know is returned.
std::vector<std::string> ParseStepWords(Step* step, const std::vector<std::string>& words,
                                        std::vector<std::string>* optionNames) {
    CLI::App app;
    app.set_help_flag();
    app.allow_extras();
    std::map<std::string, std::string> texts;
    for (const Parameter& parameter : step->operation->parameters) {
        std::string& text = texts[parameter.name];
        if (parameter.type == ValueType::Boolean) {
            app.add_flag("--" + parameter.name + "{true},!--no-" + parameter.name, text);
        } else {
            app.add_option("--" + parameter.name, text);
        }
    }
    for (const ImageArgument& image : step->operation->images) {
        if (image.name != "input") app.add_option("--" + image.name, texts[image.name]);
    }
    for (CLI::Option* option : app.get_options()) option->ignore_underscore();
    auto rest = ParseWith(&app, words, step->label + ": ");
    for (const auto& [name, text] : texts) {
        if (app.get_option("--" + name)->count() > 0) SetArgument(step, name, text);
    }
    *optionNames = OptionNames(app);
    return rest;
}

// "2500000", "2.5M", "1k", "1G"
uint64_t ReadPixels(const std::string& text) {
    double number = 0;
    const char* end = text.data() + text.size();
    const auto [at, code] = std::from_chars(text.data(), end, number);
    const std::string unit(at, end);
    const double factor = unit.empty() ? 1 : unit == "k" ? 1e3 : unit == "M" ? 1e6 : unit == "G" ? 1e9 : 0;
    const double pixels = number * factor;
    if (code != std::errc() || !(pixels >= 1 && pixels <= 1e15)) {
        Usage("--max-pixels '" + text +
              "': allowed is a number from 1, with k, M or G for thousands, millions or billions");
    }
    return static_cast<uint64_t>(pixels);
}

void ReadTexts(const RunTexts& texts, RunOptions* options) {
    if (!texts.convert.empty()) {
        try {
            options->load.convert = velhost::Conversions::Parse(texts.convert);
        } catch (const velhost::Error& error) {
            Usage(std::string("--convert: ") + error.what());
        }
    }
    if (!texts.maxPixels.empty()) options->load.limits.pixels = ReadPixels(texts.maxPixels);
    if (!texts.seed.empty()) {
        unsigned seed = 0;
        const char* end = texts.seed.data() + texts.seed.size();
        const auto [at, code] = std::from_chars(texts.seed.data(), end, seed);
        if (code != std::errc() || at != end)
            Usage("--seed '" + texts.seed + "': allowed is a whole number from 0 to 4294967295");
        options->seed = seed;
    }
    options->stopOnError = texts.onError == "stop";
    if (options->resume && options->journal.empty()) Usage("--resume needs --journal FILE, the record to go on with");
    if (!options->save.format.empty()) {
        std::vector<std::string> names;
        for (const auto& format : velhost::Formats()) names.push_back(format.name);
        if (std::find(names.begin(), names.end(), options->save.format) == names.end()) {
            std::string list;
            for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
            Usage("--as '" + options->save.format + "': allowed is one of " + list +
                  velhost::DidYouMean(options->save.format, names));
        }
    }
}

}  // namespace

Step MakeStep(const std::string& name, const std::string& label) {
    Step step;
    step.operation = FindOperation(name);
    if (!step.operation) {
        Usage(label + ": there is no operation '" + name + "'" +
              velhost::DidYouMean(name, velhost::OperationNames(true)) + (name.empty() ? "" : " (vel ops lists all)"));
    }
    step.label = label + " (" + step.operation->name + ")";
    return step;
}

void SetArgument(Step* step, const std::string& name, const std::string& text) {
    if (const Parameter* parameter = step->operation->FindParameter(name)) {
        std::string error;
        if (!velhost::ParseValue(*parameter, text, &step->arguments[parameter->name], &error)) {
            Usage(step->label + ": " + error);
        }
        return;
    }
    const ImageArgument* image = step->operation->FindImage(name);
    if (!image) {
        std::vector<std::string> names;
        for (const Parameter& parameter : step->operation->parameters) names.push_back(parameter.name);
        Usage(step->label + ": there is no parameter '" + name + "'" + velhost::DidYouMean(name, names));
    }
    step->imageFiles[image->name] = text;
}

void FinishStep(Step* step) {
    for (const Parameter& parameter : step->operation->parameters) {
        if (parameter.Required() && !step->arguments.contains(parameter.name)) {
            Usage(step->label + ": --" + parameter.name + " is missing: " + velhost::AllowedText(parameter) + " (" +
                  parameter.doc + ")");
        }
    }
    for (const ImageArgument& image : step->operation->images) {
        if (!image.required || step->imageFiles.contains(image.name)) continue;
        if (!step->piped.empty()) Usage(step->label + ": --" + image.name + " FILE is missing: " + image.doc);
        step->piped = image.name;
    }
    if (step->piped.empty()) Usage(step->label + ": every image is given, and none is left for the one that comes in");
}

Plan ParseRun(const std::vector<std::string>& words) {
    Plan plan;
    CLI::App app;
    app.set_help_flag();
    app.allow_extras();
    RunTexts texts;
    DeclareRunOptions(&app, &plan.options, &texts);
    std::vector<std::string> known = OptionNames(app), rest;

    std::vector<std::string> segment;
    for (size_t i = 0; i <= words.size(); ++i) {
        if (i < words.size() && words[i] != "+") {
            segment.push_back(words[i]);
            continue;
        }
        const std::string label = "step " + std::to_string(plan.steps.size() + 1);
        if (plan.steps.empty() && rest.empty() && !segment.empty() && segment[0].starts_with('-')) {
            rest = std::move(segment);  // a recipe's steps come first
            segment.clear();
            continue;
        }
        if (segment.empty() || segment[0].starts_with('-')) {
            Usage(label + ": an operation's name is missing" +
                  (segment.empty() ? std::string() : " before '" + segment[0] + "'"));
        }
        Step step = MakeStep(segment[0], label);
        segment.erase(segment.begin());
        std::vector<std::string> names;
        const auto unknown = ParseStepWords(&step, segment, &names);
        rest.insert(rest.end(), unknown.begin(), unknown.end());
        known.insert(known.end(), names.begin(), names.end());
        plan.steps.push_back(std::move(step));
        segment.clear();
    }

    for (const std::string& word : ParseWith(&app, rest, "")) {
        if (word.starts_with('-') && word.size() > 1) {
            const std::string name = word.substr(0, word.find('='));
            Usage("there is no option '" + name + "'" + velhost::DidYouMean(name, known));
        }
        Usage("'" + word + "' is unexpected here; pictures follow -i, and '+' joins operations");
    }
    ReadTexts(texts, &plan.options);
    for (Step& step : plan.steps) FinishStep(&step);
    if (!plan.options.recipe.empty()) {
        std::vector<Step> steps = ReadRecipe(plan.options.recipe);
        plan.steps.insert(plan.steps.begin(), steps.begin(), steps.end());
    }
    if (plan.steps.empty()) Usage("step 1: an operation's name is missing before '" + words[0] + "'");
    return plan;
}

std::vector<OptionText> RunOptionTexts() {
    RunOptions options;
    RunTexts texts;
    CLI::App app;
    app.set_help_flag();
    DeclareRunOptions(&app, &options, &texts);
    std::vector<OptionText> list;
    for (const CLI::Option* option : app.get_options()) {
        std::string names;
        for (const std::string& name : option->get_snames()) names.append("-").append(name).append(",");
        names += "--" + option->get_lnames().front();
        // Checks add their own words after a colon.
        const std::string value = option->get_expected_min() == 0 ? "" : option->get_type_name();
        list.push_back({names, value.substr(0, value.find(':')), option->get_description()});
    }
    return list;
}

}  // namespace veltool
