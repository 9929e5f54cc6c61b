// The registry as a list, and its entries against the module: each one once, documented, in range, and doing what the
// component's operation does.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <random>
#include <set>

#include <nlohmann/json.hpp>

#include "Image.h"
#include "Module.h"
#include "Registry.h"

namespace {

using namespace velhost;

// What the five components offer, written down from their interfaces; the last three are members of classes only.
const std::map<std::string, std::vector<std::string>> kComponents = {
    {"VELColorTransform",
     {"Colorize", "Lut", "Negative", "GrayScale", "ShiftRGB", "Gamma", "Light", "SetImageAlpha",
      "SetImageAlphaTransparency", "SetImageTransparentPixel", "Threshold"}},
    {"VELFilterTransform",
     {"Erode", "Edge", "Dilate", "Filter", "Contour", "Jitter", "Noise", "Median", "Emboss", "Blur", "Soften",
      "Sharpen", "GaussianBlur", "Kernel"}},
    {"VELDeform", {"CircleTransform"}},
    {"VELTransform",
     {"Flip", "Mirror", "Rotate", "Skew", "Resample", "IncreaseBpp", "RotatePaste", "FlipBits", "Quad", "Transform",
      "TransformPaste", "Rotate4", "FillVoids"}},
    {"VELMaths", {"Equal", "Copy", "AddScale", "Scale", "Subtract", "CreateDestImage", "Add", "Scale8"}},
};

bool IsKebab(const std::string& name) {
    return !name.empty() && name.front() != '-' && name.back() != '-' && name.find("--") == std::string::npos &&
           std::all_of(name.begin(), name.end(),
                       [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-'; });
}

SmartPtr<Image> Picture(uint32_t width, uint32_t height, uint32_t bits, uint32_t format) {
    SmartPtr<Image> image = Image::Make({width, height, bits, format, 1});
    for (uint32_t y = 0; y < height; ++y) {
        for (uint64_t x = 0; x < image->GetShape().RowBytes(); ++x) {
            image->Row(y)[x] = static_cast<uint8_t>((x * 37 + y * 101 + x * y) & 0xFF);
        }
    }
    return image;
}

std::vector<uint8_t> Bytes(IVEL* any) {
    auto* image = dynamic_cast<Image*>(any);
    std::vector<uint8_t> bytes;
    if (!image) return bytes;
    for (uint32_t y = 0; y < image->Height(); ++y) {
        bytes.insert(bytes.end(), image->Row(y), image->Row(y) + image->GetShape().RowBytes());
    }
    return bytes;
}

Arguments Parse(const Operation& operation, const std::map<std::string, std::string>& texts) {
    Arguments arguments;
    for (const auto& [name, text] : texts) {
        std::string error;
        const Parameter* parameter = operation.FindParameter(name);
        EXPECT_TRUE(parameter) << operation.name << " has no parameter " << name;
        if (parameter) {
            EXPECT_TRUE(ParseValue(*parameter, text, &arguments[name], &error)) << operation.name << ": " << error;
        }
    }
    return arguments;
}

TEST(RegistryList, EveryOperationOfTheModuleIsThereOnce) {
    std::map<std::string, std::vector<std::string>> found;
    for (const Operation& operation : Operations()) found[operation.component].push_back(operation.method);
    size_t count = 0;
    for (auto [component, methods] : kComponents) {
        std::sort(methods.begin(), methods.end());
        std::sort(found[component].begin(), found[component].end());
        EXPECT_EQ(found[component], methods) << component;
        count += methods.size();
    }
    EXPECT_EQ(found.size(), kComponents.size());
    EXPECT_EQ(count, 47u);
    EXPECT_EQ(Operations().size(), 47u);
}

TEST(RegistryList, NamesAndAliasesAreKebabCaseAndUnique) {
    std::set<std::string> names;
    for (const std::string& name : OperationNames(true)) {
        EXPECT_TRUE(IsKebab(name)) << name;
        EXPECT_TRUE(names.insert(name).second) << name << " occurs twice";
        ASSERT_TRUE(FindOperation(name)) << name;
    }
    EXPECT_EQ(FindOperation("gray-scale"), FindOperation("grayscale"));
    EXPECT_EQ(FindOperation("gaussian_blur"), FindOperation("gaussian-blur"));
    EXPECT_EQ(FindOperation("nothing"), nullptr);
}

TEST(RegistryList, EverythingIsDocumented) {
    for (const Operation& operation : Operations()) {
        SCOPED_TRACE(operation.name);
        EXPECT_FALSE(operation.summary.empty());
        EXPECT_FALSE(operation.details.empty());
        EXPECT_LE(operation.summary.size(), 100u);
        EXPECT_NE(operation.run, nullptr);
        const RuleCard& rules = operation.rules;
        for (const std::string* text :
             {&rules.border, &rules.rounding, &rules.saturation, &rules.alpha, &rules.window, &rules.tiling}) {
            EXPECT_FALSE(text->empty());
        }
        EXPECT_FALSE(rules.results.empty());
        ASSERT_FALSE(operation.images.empty());
        EXPECT_TRUE(operation.images.front().required);
        std::set<std::string> names;
        for (const ImageArgument& image : operation.images) {
            EXPECT_TRUE(IsKebab(image.name)) << image.name;
            EXPECT_FALSE(image.doc.empty()) << image.name;
            EXPECT_TRUE(names.insert(image.name).second) << image.name;
        }
        for (const Parameter& parameter : operation.parameters) {
            EXPECT_TRUE(IsKebab(parameter.name)) << parameter.name;
            EXPECT_FALSE(parameter.doc.empty()) << parameter.name;
            EXPECT_TRUE(names.insert(parameter.name).second) << parameter.name << " occurs twice";
            EXPECT_FALSE(AllowedText(parameter).empty());
        }
    }
}

TEST(RegistryList, EveryDepthHasOneRule) {
    for (const Operation& operation : Operations()) {
        std::multiset<int> depths;
        for (const auto* list : {&operation.rules.acts, &operation.rules.leavesAlone, &operation.rules.refuses}) {
            depths.insert(list->begin(), list->end());
        }
        EXPECT_EQ(depths, (std::multiset<int>{1, 4, 8, 16, 24, 32})) << operation.name;
    }
}

TEST(RegistryList, DefaultsAndExamplesFitTheirParameters) {
    for (const Operation& operation : Operations()) {
        SCOPED_TRACE(operation.name);
        std::string error;
        for (const Parameter& parameter : operation.parameters) {
            SCOPED_TRACE(parameter.name);
            if (parameter.type == ValueType::Enumeration) {
                ASSERT_FALSE(parameter.choices.empty());
                std::set<std::string> names;
                std::set<int64_t> numbers;
                for (const Choice& choice : parameter.choices) {
                    EXPECT_TRUE(names.insert(choice.name).second && numbers.insert(choice.number).second)
                        << choice.name;
                    EXPECT_FALSE(choice.doc.empty()) << choice.name;
                    Value value;
                    EXPECT_TRUE(ParseValue(parameter, choice.name, &value, &error)) << error;
                    EXPECT_EQ(value, Value(choice.number)) << choice.name;
                }
            }
            if (!Given(parameter.defaultValue)) continue;
            EXPECT_TRUE(CheckValue(parameter, parameter.defaultValue, &error)) << error;
            Value again;
            EXPECT_TRUE(ParseValue(parameter, FormatValue(parameter, parameter.defaultValue), &again, &error)) << error;
            EXPECT_EQ(again, parameter.defaultValue);
        }
        const Arguments example = Parse(operation, operation.example);
        for (const Parameter& parameter : operation.parameters) {
            const bool mapping = parameter.type == ValueType::Mapping;  // made by the caller
            EXPECT_TRUE(!parameter.Required() || mapping || example.contains(parameter.name)) << parameter.name;
        }
        for (const std::string& value : operation.mainValues) Parse(operation, {{operation.mainParameter, value}});
        EXPECT_EQ(operation.mainParameter.empty(), !operation.FindParameter(operation.mainParameter));
    }
}

TEST(RegistryList, JsonHoldsEveryEntry) {
    const nlohmann::json json = RegistryJson();
    ASSERT_EQ(json["operations"].size(), Operations().size());
    for (size_t i = 0; i < Operations().size(); ++i) {
        const Operation& operation = Operations()[i];
        const nlohmann::json& entry = json["operations"][i];
        EXPECT_EQ(entry["name"], operation.name);
        EXPECT_EQ(entry["parameters"].size(), operation.parameters.size());
        EXPECT_EQ(entry["images"].size(), operation.images.size());
        EXPECT_EQ(entry["rules"]["results"].size(), operation.rules.results.size());
        for (size_t p = 0; p < operation.parameters.size(); ++p) {
            EXPECT_EQ(entry["parameters"][p]["required"], operation.parameters[p].Required());
            EXPECT_EQ(entry["parameters"][p]["type"], TypeName(operation.parameters[p].type));
        }
    }
    EXPECT_EQ(nlohmann::json::parse(json.dump()), json);
}

// --- Values -----------------------------------------------------------------------------------------------------

Parameter Of(ValueType type, double minimum = 0, double maximum = 0) {
    Parameter parameter;
    parameter.name = "value";
    parameter.type = type;
    parameter.minimum = minimum;
    parameter.maximum = maximum;
    return parameter;
}

Value Read(const Parameter& parameter, const std::string& text) {
    Value value;
    std::string error;
    EXPECT_TRUE(ParseValue(parameter, text, &value, &error)) << error;
    return value;
}

std::string Refusal(const Parameter& parameter, const std::string& text) {
    Value value;
    std::string error;
    EXPECT_FALSE(ParseValue(parameter, text, &value, &error)) << text;
    return error;
}

TEST(RegistryValues, Numbers) {
    const Parameter integer = Of(ValueType::Integer, -5, 300);
    EXPECT_EQ(Read(integer, "-5"), Value(int64_t{-5}));
    EXPECT_EQ(Read(integer, "+7"), Value(int64_t{7}));
    EXPECT_EQ(Read(integer, "0x10"), Value(int64_t{16}));
    for (const char* bad : {"", "301", "-6", "1.5", "7 8", "seven", "0x", "0x-1", "99999999999999999999"}) {
        EXPECT_EQ(Refusal(integer, bad).find("--value '"), 0u);
    }
    EXPECT_EQ(Refusal(integer, "301"), "--value '301': allowed is a whole number from -5 to 300");
    const Parameter real = Of(ValueType::Float, -1, 1);
    EXPECT_EQ(Read(real, "0.25"), Value(0.25));
    EXPECT_EQ(Read(real, "1e-3"), Value(0.001));
    for (const char* bad : {"nan", "inf", "1.5", "0,5", ""}) Refusal(real, bad);
}

TEST(RegistryValues, ColoursSizesAndPoints) {
    const Parameter colour = Of(ValueType::Colour);
    EXPECT_EQ(Read(colour, "#12aBff"), Value(Colour{0x12, 0xAB, 0xFF}));
    EXPECT_EQ(Read(colour, "#1af"), Value(Colour{0x11, 0xAA, 0xFF}));
    EXPECT_EQ(Read(colour, "1, 2,255"), Value(Colour{1, 2, 255}));
    for (const char* bad : {"#12345", "#12345g", "#+12345", "1,2", "1,2,256", "-1,0,0", "red"}) Refusal(colour, bad);
    const Parameter size = Of(ValueType::Size, 0, 1000);
    EXPECT_EQ(Read(size, "800x600"), Value(Size{800, 600}));
    EXPECT_EQ(Read(size, "800x"), Value(Size{800, 0}));
    EXPECT_EQ(Read(size, "x600"), Value(Size{0, 600}));
    for (const char* bad : {"x", "800", "800x600x3", "-1x5", "1001x1"}) Refusal(size, bad);
    Parameter point = Of(ValueType::Point, -10, 10);
    EXPECT_EQ(Read(point, "-3,4"), Value(Point{-3, 4}));
    Refusal(point, "1.5,2");
    point.whole = false;
    EXPECT_EQ(Read(point, "1.5,2"), Value(Point{1.5, 2}));
    for (const char* bad : {"1", "1,2,3", "11,0", "a,b"}) Refusal(point, bad);
}

TEST(RegistryValues, TablesAndKernels) {
    const Parameter table = Of(ValueType::Table);
    const auto curve = std::get<Table>(Read(table, "0:0,128:255,255:0"));
    EXPECT_EQ(curve[0], 0);
    EXPECT_EQ(curve[64], 128);  // 127.5 rounded
    EXPECT_EQ(curve[128], 255);
    EXPECT_EQ(curve[255], 0);
    const auto level = std::get<Table>(Read(table, "10:20,20:30"));
    EXPECT_EQ(level[0], 20);
    EXPECT_EQ(level[255], 30);
    std::string values;
    for (int i = 255; i >= 0; --i) values += std::to_string(i) + (i ? "," : "");
    EXPECT_EQ(std::get<Table>(Read(table, values))[1], 254);
    for (const char* bad : {"1,2,3", "0:0,0:1", "0:300", ":", "@/nonexistent/file"}) Refusal(table, bad);

    const Parameter kernel = Of(ValueType::Kernel);
    const Kernel sharpen{3, {0, -1, 0, -1, 5, -1, 0, -1, 0}};
    EXPECT_EQ(Read(kernel, "0 -1 0 / -1 5 -1 / 0 -1 0"), Value(sharpen));
    EXPECT_EQ(Read(kernel, "0,-1,0,-1,5,-1,0,-1,0"), Value(sharpen));
    EXPECT_EQ(Read(kernel, "7"), Value(Kernel{1, {7}}));
    for (const char* bad : {"", "1 2 3", "1 2 / 3", "1 2 3 / 4 5 6", "a"}) Refusal(kernel, bad);
    const Parameter narrow = Of(ValueType::Kernel, -10, 10);
    Refusal(narrow, "11");

    const std::string path = testing::TempDir() + "registry_kernel.txt";
    std::ofstream(path) << "1 2\n3 4\n";
    EXPECT_EQ(Read(kernel, "@" + path), Value(Kernel{2, {1, 2, 3, 4}}));
    std::ofstream(path) << "@" << path;
    Refusal(kernel, "@" + path);
}

TEST(RegistryValues, JsonForms) {
    const auto read = [](const Parameter& parameter, const char* text) {
        Value value;
        std::string error;
        EXPECT_TRUE(ParseJsonValue(parameter, nlohmann::json::parse(text), &value, &error)) << error;
        return value;
    };
    EXPECT_EQ(read(Of(ValueType::Integer, 0, 9), "7"), Value(int64_t{7}));
    EXPECT_EQ(read(Of(ValueType::Float, 0, 9), "0.5"), Value(0.5));
    EXPECT_EQ(read(Of(ValueType::Boolean), "true"), Value(true));
    EXPECT_EQ(read(Of(ValueType::Colour), "[1,2,3]"), Value(Colour{1, 2, 3}));
    EXPECT_EQ(read(Of(ValueType::Size, 0, 9), "[3,4]"), Value(Size{3, 4}));
    EXPECT_EQ(read(Of(ValueType::Point, 0, 9), "[3,4]"), Value(Point{3, 4}));
    EXPECT_EQ(read(Of(ValueType::Kernel), "[[1,2],[3,4]]"), Value(Kernel{2, {1, 2, 3, 4}}));
    Value value;
    std::string error;
    EXPECT_FALSE(ParseJsonValue(Of(ValueType::Integer, 0, 9), true, &value, &error));
    EXPECT_FALSE(ParseJsonValue(Of(ValueType::Integer, 0, 9), {{"a", 1}}, &value, &error));
    EXPECT_FALSE(ParseJsonValue(Of(ValueType::Integer, 0, 9), nullptr, &value, &error));
}

// Whatever text is taken comes back as a text that means the same; everything else is refused with one line.
TEST(RegistryValues, AnyTextIsTakenAndRepeatedOrRefused) {
    const std::vector<std::string> pieces = {"0",  "1",    "255",      "-3",      "1e3",         ".5",   "x",   "X",
                                             ",",  ":",    ";",        "/",       "\n",          " ",    "#",   "a",
                                             "ff", "0x1",  "+",        "inf",     "-",           "@",    "1e9", "4",
                                             "b",  "\xC3", "identity", "affine:", "catmull-rom", "true", "no",  "256"};
    std::mt19937 random(20240517);
    size_t taken = 0;
    for (const Operation& operation : Operations()) {
        for (const Parameter& parameter : operation.parameters) {
            for (int i = 0; i < 2000; ++i) {
                std::string text;
                for (size_t length = random() % 8; length > 0; --length) text += pieces[random() % pieces.size()];
                Value value, again;
                std::string error;
                if (!ParseValue(parameter, text, &value, &error)) {
                    ASSERT_FALSE(error.empty()) << parameter.name << " '" << text << "'";
                    ASSERT_EQ(error.find('\n'), std::string::npos) << error;
                    continue;
                }
                ++taken;
                ASSERT_TRUE(CheckValue(parameter, value, &error)) << error;
                const std::string repeated = FormatValue(parameter, value);
                ASSERT_TRUE(ParseValue(parameter, repeated, &again, &error)) << error << " from '" << text << "'";
                ASSERT_EQ(FormatValue(parameter, again), repeated) << "from '" << text << "'";
            }
        }
    }
    EXPECT_GT(taken, 2000u);
}

TEST(RegistryValues, Suggestions) {
    EXPECT_EQ(SimilarNames("rotat", OperationNames()).front(), "rotate");
    EXPECT_EQ(SimilarNames("nagative", OperationNames()).front(), "negative");
    EXPECT_EQ(SimilarNames("gaussian", OperationNames()).front(), "gaussian-blur");
    EXPECT_TRUE(SimilarNames("qqqqqq", OperationNames()).empty());
    EXPECT_EQ(DidYouMean("flp", {"flip", "fill"}), "; did you mean 'flip'?");
}

// --- Runs -------------------------------------------------------------------------------------------------------

class RegistryRun : public testing::Test {
protected:
    Outcome Do(const char* name, const Images& images, const std::map<std::string, std::string>& texts = {}) {
        const Operation* operation = FindOperation(name);
        return velhost::Run(m_module, *operation, images, Parse(*operation, texts));
    }
    Module m_module;
};

TEST_F(RegistryRun, RefusesCallsThatDoNotFitTheEntry) {
    SmartPtr<Image> image = Picture(5, 4, 24, FORMAT_BGR);
    EXPECT_NE(Do("gamma", {{"input", image.Get()}}).error.find("--value is missing"), std::string::npos);
    EXPECT_NE(Do("negative", {}).error.find("'input' is missing"), std::string::npos);
    const Operation& negative = *FindOperation("negative");
    Outcome outcome = velhost::Run(m_module, negative, {{"input", image.Get()}}, {{"valeu", int64_t{1}}});
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.code, E_INVALIDARG);
    const Operation& gamma = *FindOperation("gamma");
    outcome = velhost::Run(m_module, gamma, {{"input", image.Get()}}, {{"value", int64_t{1}}});
    EXPECT_TRUE(outcome.failed);
    EXPECT_NE(outcome.error.find("allowed is a number from 0.01 to 100"), std::string::npos) << outcome.error;
    outcome = velhost::Run(m_module, negative, {{"input", image.Get()}, {"other", image.Get()}}, {});
    EXPECT_TRUE(outcome.failed);
}

TEST_F(RegistryRun, ChangesAnImageInPlace) {
    SmartPtr<Image> image = Picture(5, 4, 24, FORMAT_BGR);
    std::vector<uint8_t> expected = Bytes(image.Get());
    for (uint8_t& byte : expected) byte = static_cast<uint8_t>(255 - byte);
    const Outcome outcome = Do("negative", {{"input", image.Get()}});
    EXPECT_FALSE(outcome.failed) << outcome.error;
    EXPECT_TRUE(outcome.notes.empty());
    EXPECT_EQ(outcome.image.Get(), static_cast<IVEL*>(image.Get()));
    EXPECT_EQ(Bytes(image.Get()), expected);
}

TEST_F(RegistryRun, SaysWhenADepthIsLeftAloneAndNamesTheWay) {
    SmartPtr<Image> image = Picture(9, 4, 1, FORMAT_MONO);
    const std::vector<uint8_t> before = Bytes(image.Get());
    const Outcome outcome = Do("negative", {{"input", image.Get()}});
    EXPECT_FALSE(outcome.failed);
    ASSERT_EQ(outcome.notes.size(), 1u);
    EXPECT_NE(outcome.notes[0].find("leaves 1-bit images unchanged; it acts on 8, 24 and 32 bits"), std::string::npos)
        << outcome.notes[0];
    EXPECT_EQ(Bytes(image.Get()), before);

    SmartPtr<Image> small = Picture(9, 4, 8, FORMAT_MONO);
    const Outcome refused = Do("set-image-alpha", {{"input", small.Get()}}, {{"alpha", "10"}});
    EXPECT_TRUE(refused.failed);
    EXPECT_EQ(refused.code, E_FAIL);
    EXPECT_NE(refused.error.find("increase-bpp --depth 32"), std::string::npos) << refused.error;
}

TEST_F(RegistryRun, ColoursArriveInTheOrderOfTheOperation) {
    SmartPtr<Image> image = Picture(3, 2, 24, FORMAT_BGR);
    Do("equal", {{"input", image.Get()}}, {{"colour", "#102030"}});
    EXPECT_EQ(std::vector<uint8_t>(image->Row(0), image->Row(0) + 3), (std::vector<uint8_t>{0x30, 0x20, 0x10}));
    SmartPtr<Image> deep = Picture(3, 2, 32, FORMAT_ARGB);
    Do("equal", {{"input", deep.Get()}}, {{"colour", "#102030"}});
    EXPECT_EQ(std::vector<uint8_t>(deep->Row(1), deep->Row(1) + 4), (std::vector<uint8_t>{0x30, 0x20, 0x10, 0xFF}));
    // Only pixels of that very colour become transparent.
    Do("set-image-transparent-pixel", {{"input", deep.Get()}}, {{"key", "#302010"}});
    EXPECT_EQ(deep->Row(1)[3], 0xFF);
    Do("set-image-transparent-pixel", {{"input", deep.Get()}}, {{"key", "16,32,48"}});
    EXPECT_EQ(deep->Row(1)[3], 0);
}

TEST_F(RegistryRun, MakesDestinationsAndCounts) {
    SmartPtr<Image> first = Picture(5, 4, 24, FORMAT_BGR), second = Image::CopyOf(first.Get());
    Outcome outcome = Do("subtract", {{"first", first.Get()}, {"second", second.Get()}}, {{"mode", "absolute"}});
    ASSERT_FALSE(outcome.failed) << outcome.error;
    EXPECT_EQ(outcome.count, 0);
    EXPECT_EQ(Bytes(outcome.image.Get()), std::vector<uint8_t>(60, 0));
    second->Row(2)[4] ^= 0x10;
    outcome = Do("subtract", {{"first", first.Get()}, {"second", second.Get()}}, {{"mode", "1"}});
    EXPECT_EQ(outcome.count, 1);

    SmartPtr<Image> onto = Picture(8, 8, 24, FORMAT_BGR);
    outcome = Do("copy", {{"source", first.Get()}, {"onto", onto.Get()}}, {{"position", "2,3"}});
    ASSERT_FALSE(outcome.failed) << outcome.error;
    EXPECT_EQ(outcome.image.Get(), static_cast<IVEL*>(onto.Get()));
    EXPECT_TRUE(std::equal(first->Row(0), first->Row(0) + 15, onto->Row(3) + 6));
    outcome = Do("copy", {{"source", first.Get()}, {"onto", onto.Get()}}, {{"position", "8,0"}});
    EXPECT_TRUE(outcome.failed);
    EXPECT_NE(outcome.error.find("outside the destination of 8x8"), std::string::npos) << outcome.error;
}

TEST_F(RegistryRun, KeepsToWhatOperationsRelyOn) {
    SmartPtr<Image> large = Picture(6, 6, 24, FORMAT_BGR), small = Picture(5, 6, 24, FORMAT_BGR);
    Outcome outcome = Do("add", {{"first", large.Get()}, {"second", small.Get()}});
    EXPECT_TRUE(outcome.failed);
    EXPECT_NE(outcome.error.find("must be at least as large"), std::string::npos) << outcome.error;
    SmartPtr<Image> mask = Picture(5, 6, 8, FORMAT_MONO);
    outcome = Do("add-scale", {{"first", large.Get()}, {"second", large.Get()}, {"mask", mask.Get()}});
    EXPECT_NE(outcome.error.find("mask (5x6) must be at least as large as the image (6x6)"), std::string::npos)
        << outcome.error;
    SmartPtr<Image> deepMask = Picture(6, 6, 24, FORMAT_BGR);
    outcome = Do("equal", {{"input", large.Get()}, {"mask", deepMask.Get()}});
    EXPECT_NE(outcome.error.find("a mask needs 8 bits"), std::string::npos) << outcome.error;
    SmartPtr<Image> bits = Picture(6, 6, 1, FORMAT_MONO);
    EXPECT_TRUE(Do("equal", {{"input", bits.Get()}}).failed);
    SmartPtr<Image> grey = Picture(6, 6, 8, FORMAT_MONO);
    EXPECT_TRUE(Do("rotate-paste", {{"source", large.Get()}, {"onto", grey.Get()}}, {{"angle", "10"}}).failed);
}

TEST_F(RegistryRun, PalettesFollowMovedPixels) {
    SmartPtr<Image> image = Picture(7, 3, 8, FORMAT_BGR);
    const RGBQUAD palette[2] = {{1, 2, 3, 0}, {4, 5, 6, 0}};
    ASSERT_TRUE(image->SetPalette(palette));
    Outcome outcome = Do("flip", {{"input", image.Get()}});
    ASSERT_FALSE(outcome.failed) << outcome.error;
    EXPECT_TRUE(outcome.notes.empty());
    auto* made = dynamic_cast<Image*>(outcome.image.Get());
    ASSERT_TRUE(made);
    ASSERT_EQ(made->Palette().size(), 2u);
    EXPECT_EQ(made->Palette()[1].rgbRed, 6);
    for (const char* angle : {"90", "0"}) {
        outcome = Do("rotate", {{"input", image.Get()}}, {{"angle", angle}});
        EXPECT_TRUE(outcome.notes.empty()) << outcome.notes[0];
        EXPECT_EQ(dynamic_cast<Image&>(*outcome.image.Get()).Palette().size(), 2u) << angle;
    }
    outcome = Do("resample", {{"input", image.Get()}}, {{"size", "14x6"}});
    EXPECT_TRUE(outcome.notes.empty());
    EXPECT_EQ(dynamic_cast<Image&>(*outcome.image.Get()).Palette().size(), 2u);
    EXPECT_EQ(Do("resample", {{"input", image.Get()}}, {{"size", "3x2"}}).notes.size(), 1u);
    outcome = Do("blur", {{"input", image.Get()}});
    ASSERT_FALSE(outcome.failed) << outcome.error;
    ASSERT_EQ(outcome.notes.size(), 1u);
    EXPECT_NE(outcome.notes[0].find("indexes"), std::string::npos);
}

TEST_F(RegistryRun, ClassOperationsAreReachedThroughTheirTables) {
    SmartPtr<Image> image = Picture(3, 2, 24, FORMAT_BGR);
    Outcome outcome = Do("rotate4", {{"input", image.Get()}}, {{"angle", "90"}});
    ASSERT_FALSE(outcome.failed) << outcome.error;
    auto* turned = dynamic_cast<Image*>(outcome.image.Get());
    ASSERT_TRUE(turned);
    EXPECT_EQ(turned->Width(), 2u);
    EXPECT_EQ(turned->Height(), 3u);
    EXPECT_TRUE(std::equal(turned->Row(0), turned->Row(0) + 3, image->Row(1)));

    SmartPtr<Image> hole = Image::Make({3, 3, 8, FORMAT_MONO, 1});
    hole->Row(0)[1] = 10;
    hole->Row(1)[0] = 20;
    hole->Row(1)[2] = 30;
    hole->Row(2)[1] = 40;
    outcome = Do("fill-voids", {{"input", hole.Get()}});
    ASSERT_FALSE(outcome.failed) << outcome.error;
    EXPECT_EQ(hole->Row(1)[1], 25);

    SmartPtr<Image> numbers = Image::Make({5, 4, 32, FORMAT_MONO, 1});
    reinterpret_cast<int32_t*>(numbers->Row(2))[2] = 30;
    outcome = Do("kernel", {{"input", numbers.Get()}}, {{"kernel", "0 0 0 / 0 0 0 / 0 0 2"}, {"offset", "5"}});
    ASSERT_FALSE(outcome.failed) << outcome.error;
    auto* result = dynamic_cast<Image*>(outcome.image.Get());
    ASSERT_TRUE(result);
    EXPECT_EQ(reinterpret_cast<const int32_t*>(result->Row(1))[1], 65);
}

// What the rule cards say of each depth is what happens.
TEST_F(RegistryRun, DepthListsAreTrue) {
    const auto has = [](const std::vector<int>& list, int depth) {
        return std::find(list.begin(), list.end(), depth) != list.end();
    };
    for (const Operation& operation : Operations()) {
        for (const int depth : {1, 4, 8, 16, 24, 32}) {
            SCOPED_TRACE(operation.name + " at " + std::to_string(depth) + " bits");
            const bool mono = (depth <= 8 && operation.name != "equal") ||
                              (depth == 32 && (operation.name == "kernel" || operation.name == "scale8"));
            const uint32_t format = mono ? FORMAT_MONO : depth == 32 ? FORMAT_ARGB : FORMAT_BGR;
            Images images;
            std::vector<SmartPtr<Image>> held;
            std::map<std::string, std::vector<uint8_t>> before;
            for (const ImageArgument& argument : operation.images) {
                if (!argument.required) continue;
                const bool deep = operation.name == "rotate-paste" && argument.name == "onto";
                held.push_back(deep ? Picture(280, 220, 24, FORMAT_BGR)
                                    : Picture(280, 220, static_cast<uint32_t>(depth), format));
                // A second picture that is another one, and voids for what fills them.
                if (held.size() > 1) held.back()->Row(7)[9] ^= 0x55;
                std::fill_n(held.back()->Row(5) + 10, 8, uint8_t{0});
                std::fill_n(held.back()->Row(3), 8, uint8_t{255});
                images[argument.name] = held.back().Get();
                before[argument.name] = Bytes(held.back().Get());
            }
            Arguments arguments = Parse(operation, operation.example);
            if (operation.FindParameter("map")) {
                arguments["map"] = Read(*operation.FindParameter("map"), "affine:1,0,3,0,1,2");
            }
            if (operation.name == "increase-bpp") arguments["depth"] = int64_t{depth < 24 ? 24 : 32};
            if (operation.name == "resample") arguments["mode"] = int64_t{1};
            if (operation.name == "scale") arguments["depth"] = int64_t{8};
            const Outcome outcome = velhost::Run(m_module, operation, images, arguments);
            if (has(operation.rules.refuses, depth)) {
                EXPECT_TRUE(outcome.failed);
                EXPECT_TRUE(Failed(outcome.code));
                for (const auto& [name, bytes] : before) EXPECT_EQ(Bytes(images[name]), bytes) << name;
                continue;
            }
            ASSERT_FALSE(outcome.failed) << outcome.error;
            const std::vector<uint8_t> result = Bytes(outcome.image.Get());
            const bool blank = std::count(result.begin(), result.end(), 0) == static_cast<ptrdiff_t>(result.size());
            const bool made = operation.result == ResultKind::NewImage || operation.result == ResultKind::Replaces;
            const std::string changed = operation.result == ResultKind::Destination && images.contains("onto")
                                            ? "onto"
                                            : operation.images.front().name;
            const bool asBefore = result == before[changed];
            if (has(operation.rules.acts, depth)) {
                // Of greys 0 and 1 little is left to see, and low greys take no tint.
                if (depth == 1 || (depth == 4 && operation.name == "colorize")) continue;
                EXPECT_TRUE(operation.name == "create-dest-image" ? blank : !blank);
                EXPECT_TRUE(made || !asBefore);
            } else {
                EXPECT_TRUE(asBefore || blank);
                EXPECT_FALSE(outcome.notes.empty()) << "left alone without a word";
            }
        }
    }
}

// Every entry runs on a picture of a depth that it acts on and says what it says it does.
TEST_F(RegistryRun, EveryExampleRuns) {
    for (const Operation& operation : Operations()) {
        SCOPED_TRACE(operation.name);
        const bool mono = operation.name == "kernel" || operation.name == "scale8";
        const bool alpha = operation.name.starts_with("set-image");
        const bool grey = operation.name == "increase-bpp";
        const uint32_t bits = grey ? 8 : mono || alpha ? 32 : 24;
        const uint32_t format = mono || grey ? FORMAT_MONO : alpha ? FORMAT_ARGB : FORMAT_BGR;
        Images images;
        std::vector<SmartPtr<Image>> held;
        for (const ImageArgument& argument : operation.images) {
            if (!argument.required) continue;
            held.push_back(Picture(280, 220, bits, format));
            images[argument.name] = held.back().Get();
        }
        Arguments arguments = Parse(operation, operation.example);
        if (operation.FindParameter("map")) {
            arguments["map"] = Read(*operation.FindParameter("map"), "affine:1,0,3,0,1,2");
        }
        const Outcome outcome = velhost::Run(m_module, operation, images, arguments);
        EXPECT_FALSE(outcome.failed) << outcome.error;
        EXPECT_TRUE(outcome.image.Get());
        const bool inPlace = operation.result == ResultKind::InPlace || operation.result == ResultKind::Replaces;
        const bool same = std::any_of(held.begin(), held.end(), [&](const SmartPtr<Image>& image) {
            return static_cast<IVEL*>(image.Get()) == outcome.image.Get();
        });
        if (operation.result != ResultKind::Destination) {
            EXPECT_EQ(same, inPlace);
        }
    }
}

}  // namespace
