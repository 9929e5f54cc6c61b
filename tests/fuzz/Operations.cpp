// Every operation with any images and arguments, through every kernel level that the machine has: no level may differ
// from another in results, codes or what it does to its inputs.
#include <cstdlib>
#include <limits>
#include <memory>

#include "fuzz/Draws.h"
#include "host/Image.h"
#include "host/Mappings.h"
#include "host/Module.h"
#include "host/Registry.h"
#include "support/Levels.h"

using velhost::Image;
using velhost::Shape;

namespace {

// Pixels and shape of one image of a call, from which each level gets its own.
struct ImagePlan {
    std::string name;
    Shape shape;
    int32_t stride = 0;
    std::vector<uint8_t> block;
    std::vector<RGBQUAD> palette;
    size_t sameAs = SIZE_MAX;  // the image of an earlier argument
};

ImagePlan DrawImage(fuzz::Draws& draws, const velhost::ImageArgument& argument, const Shape* like) {
    ImagePlan plan;
    plan.name = argument.name;
    plan.shape.width = static_cast<uint32_t>(draws.Chance(80) ? draws.Int(1, 40) : draws.Int(0, 200));
    plan.shape.height = static_cast<uint32_t>(draws.Chance(90) ? draws.Int(1, 20) : draws.Int(0, 60));
    plan.shape.bitsPerPixel = draws.Pick({1u, 4u, 8u, 16u, 24u, 32u});
    plan.shape.format = draws.Pick({FORMAT_MONO, FORMAT_BGR, FORMAT_ARGB});
    if (like && draws.Chance(70)) plan.shape = *like;
    if (argument.role == velhost::ImageArgument::Mask && draws.Chance(80)) plan.shape.bitsPerPixel = 8;
    const auto stride = static_cast<int32_t>(plan.shape.RowBytes()) + static_cast<int32_t>(draws.Int(0, 9));
    plan.stride = draws.Chance(30) ? -stride : stride;
    // The last row ends where the memory does.
    const size_t rows = plan.shape.height;
    plan.block = draws.Pixels(rows ? (rows - 1) * static_cast<size_t>(stride) + plan.shape.RowBytes() : 0);
    if (plan.shape.bitsPerPixel <= 8 && draws.Chance(30)) {
        const std::vector<uint8_t> bytes = draws.Pixels(static_cast<size_t>(draws.Int(1, 256)) * sizeof(RGBQUAD));
        plan.palette.resize(bytes.size() / sizeof(RGBQUAD));
        std::memcpy(plan.palette.data(), bytes.data(), bytes.size());
    }
    return plan;
}

std::vector<ImagePlan> DrawImages(fuzz::Draws& draws, const velhost::Operation& operation) {
    std::vector<ImagePlan> plans;
    for (const velhost::ImageArgument& argument : operation.images) {
        if (!argument.required && draws.Chance(40)) continue;
        plans.push_back(DrawImage(draws, argument, plans.empty() ? nullptr : &plans[0].shape));
        if (plans.size() > 1 && draws.Chance(10)) plans.back().sameAs = 0;
    }
    return plans;
}

double DrawNumber(fuzz::Draws& draws, double low, double high) {
    switch (draws.Int(0, 5)) {
        case 0: return low;
        case 1: return high;
        case 2: return std::clamp(0.0, low, high);
        case 3: return std::clamp(static_cast<double>(draws.Int(-8, 8)), low, high);
        case 4: return std::clamp(static_cast<double>(draws.Int(-1000, 1000)) / 64, low, high);
        default: return low + (high - low) * (static_cast<double>(draws.Bits() >> 11) * 0x1p-53);
    }
}

int64_t DrawWhole(fuzz::Draws& draws, double low, double high) {
    return static_cast<int64_t>(DrawNumber(draws, low, high));
}

velhost::Value DrawMapping(fuzz::Draws& draws, const velhost::Parameter& parameter) {
    velhost::Value value;
    std::string text = draws.Pick({"identity", "affine:", "lens:"}), error;
    for (int i = 0; text.back() != 'y' && i < 6; ++i) {
        if (i) text += ',';
        text += std::to_string(DrawNumber(draws, -4, 4));
    }
    ParseValue(parameter, text, &value, &error);
    return value;
}

velhost::Value DrawKernel(fuzz::Draws& draws) {
    velhost::Kernel kernel;
    kernel.size = static_cast<int>(draws.Int(1, 9));
    const int32_t greatest = draws.Pick({1, 8, 64, 32767, INT32_MAX});
    for (int i = 0; i < kernel.size * kernel.size; ++i) {
        kernel.coefficients.push_back(static_cast<int32_t>(draws.Int(-greatest, greatest)));
    }
    return kernel;
}

velhost::Value DrawValue(fuzz::Draws& draws, const velhost::Parameter& parameter) {
    using velhost::ValueType;
    const double low = parameter.minimum, high = parameter.maximum;
    switch (parameter.type) {
        case ValueType::Integer: return DrawWhole(draws, low, high);
        case ValueType::Float: return DrawNumber(draws, low, high);
        case ValueType::Boolean: return draws.Chance(50);
        case ValueType::Enumeration: return draws.Pick(parameter.choices).number;
        case ValueType::Colour: return velhost::Colour{draws.Byte(), draws.Byte(), draws.Byte()};
        case ValueType::Size: return velhost::Size{DrawWhole(draws, low, high), DrawWhole(draws, low, high)};
        case ValueType::Point: {
            const auto part = [&] {
                const double number = DrawNumber(draws, low, high);
                return parameter.whole ? static_cast<double>(static_cast<int64_t>(number)) : number;
            };
            return velhost::Point{part(), part()};
        }
        case ValueType::Table: {
            velhost::Table table;
            const std::vector<uint8_t> bytes = draws.Pixels(table.size());
            std::copy(bytes.begin(), bytes.end(), table.begin());
            return table;
        }
        case ValueType::Kernel: return DrawKernel(draws);
        default: return DrawMapping(draws, parameter);
    }
}

velhost::Arguments DrawArguments(fuzz::Draws& draws, const velhost::Operation& operation) {
    velhost::Arguments arguments;
    for (const velhost::Parameter& parameter : operation.parameters) {
        if (!parameter.Required() && draws.Chance(30)) continue;
        arguments[parameter.name] = DrawValue(draws, parameter);
    }
    return arguments;
}

// Everything that a run can be told by, as bytes.
class Record {
public:
    void Add(const void* bytes, size_t size) {
        const size_t at = m_bytes.size();
        m_bytes.resize(at + size);
        if (size) std::memcpy(m_bytes.data() + at, bytes, size);
    }
    template <class T>
    void AddNumber(T number) {
        Add(&number, sizeof number);
    }
    void AddImage(IVEL* image) {
        uint32_t width = 0, height = 0, planes = 0, depth = 0, format = 0, unused = 0;
        int32_t stride = 0;
        uint8_t* bits = nullptr;
        image->GetSize(&width, &height, &planes);
        image->GetFormat(&depth, &format, &unused);
        image->GetBits(0, &unused, &bits, &stride);
        for (const uint32_t number : {width, height, planes, depth, format}) AddNumber(number);
        const size_t whole = static_cast<size_t>(uint64_t{width} * depth / 8), rest = uint64_t{width} * depth % 8;
        for (uint32_t y = 0; bits && y < height; ++y) {
            const uint8_t* row = bits + int64_t{y} * stride;
            Add(row, whole);
            if (rest) AddNumber(static_cast<uint8_t>(row[whole] & 0xFF00 >> rest));
        }
    }
    bool operator==(const Record&) const = default;

private:
    std::vector<uint8_t> m_bytes;
};

Record RunOn(velhost::Module& module, const velhost::Operation& operation, std::vector<ImagePlan> plans,
             const velhost::Arguments& arguments, unsigned seed) {
    std::vector<SmartPtr<Image>> images;
    velhost::Images given;
    for (ImagePlan& plan : plans) {
        if (plan.sameAs != SIZE_MAX) {
            images.push_back(images[plan.sameAs]);
        } else {
            uint8_t* row0 = plan.block.data();
            if (plan.stride < 0 && plan.shape.height) row0 -= int64_t{plan.stride} * (plan.shape.height - 1);
            static uint8_t nothing;
            images.push_back(Image::Wrap(plan.block.empty() ? &nothing : row0, plan.stride, plan.shape));
            if (!images.back().Get()) fuzz::Fail("an image cannot be wrapped");
            images.back()->SetPalette(plan.palette);
        }
        given[plan.name] = images.back().Get();
    }
    std::srand(seed);
    const velhost::Outcome outcome = Run(module, operation, given, arguments);
    if (outcome.failed && outcome.error.empty()) fuzz::Fail(operation.name + " fails without a word");
    if (!outcome.failed && !outcome.image.Get() && !outcome.count) fuzz::Fail(operation.name + " has no result");
    Record record;
    record.AddNumber(outcome.code);
    record.AddNumber(outcome.count.value_or(-1));
    if (outcome.image.Get()) record.AddImage(outcome.image.Get());
    for (size_t i = 0; i < plans.size(); ++i) {
        record.AddImage(images[i].Get());
        record.Add(plans[i].block.data(), plans[i].block.size());
    }
    return record;
}

// The module as it comes, and one for each level that the machine has.
const std::vector<std::unique_ptr<velhost::Module>>& Modules() {
    static const auto modules = [] {
        std::vector<std::unique_ptr<velhost::Module>> loaded;
        // Images that would take longer than they teach are refused like those for which there is no memory.
        Image::SetByteLimit(1 << 17);
        loaded.push_back(std::make_unique<velhost::Module>(VEL_FUZZ_MODULE));
        for (const char* level : {"baseline", "avx2", "avx512"}) {
            const std::string module = std::string(VEL_FUZZ_LEVEL_MODULES) + level + ".so";
            if (!test::MachineHasLevel(level)) continue;
            loaded.push_back(std::make_unique<velhost::Module>(module));
        }
        return loaded;
    }();
    return modules;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Draws draws(data, size);
    const auto& modules = Modules();
    const velhost::Operation& operation = draws.Pick(velhost::Operations());
    const velhost::Arguments arguments = DrawArguments(draws, operation);
    const std::vector<ImagePlan> plans = DrawImages(draws, operation);
    const unsigned seed = draws.Byte();
    const Record expected = RunOn(*modules[0], operation, plans, arguments, seed);
    for (size_t i = 1; i < modules.size(); ++i) {
        if (!(RunOn(*modules[i], operation, plans, arguments, seed) == expected)) {
            std::string text = operation.name;
            for (const auto& [name, value] : arguments) {
                text += " --" + name + " " + FormatValue(*operation.FindParameter(name), value);
            }
            fuzz::Fail(text + ": other results from " + modules[i]->Path().string());
        }
    }
    return 0;
}
