// Images, files, errors and runs by name, through libvel.so alone.
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include <nlohmann/json.hpp>

#include "Pictures.h"

namespace {

using namespace capitest;

// --- Errors -------------------------------------------------------------------------------------------------------

TEST(CapiErrors, VersionsAndNames) {
    EXPECT_EQ(vel_abi_version(), VEL_ABI_VERSION);
    EXPECT_STREQ(vel_result_name(VEL_OK), "VEL_OK");
    EXPECT_STREQ(vel_result_name(VEL_ERROR_ARGUMENT), "VEL_ERROR_ARGUMENT");
    EXPECT_STREQ(vel_result_name(VEL_ERROR_INTERNAL), "VEL_ERROR_INTERNAL");
    EXPECT_STREQ(vel_result_name(1), "unknown");
    EXPECT_STREQ(vel_result_name(-1000), "unknown");
}

TEST(CapiErrors, EachThreadHasItsOwnText) {
    vel_image* image = nullptr;
    EXPECT_EQ(vel_image_create(4, 4, 7, VEL_COLOUR_BGR, &image), VEL_ERROR_ARGUMENT);
    EXPECT_EQ(image, nullptr);
    EXPECT_NE(std::string(vel_last_error()).find("7 bits"), std::string::npos);
    std::string other = "not run";
    std::thread([&] {
        other = vel_last_error();
        EXPECT_EQ(vel_image_load("no/such/file.png", nullptr, &image), VEL_ERROR_NOT_FOUND);
        EXPECT_NE(std::string(vel_last_error()).find("no/such/file.png"), std::string::npos);
    }).join();
    EXPECT_EQ(other, "");
    EXPECT_NE(std::string(vel_last_error()).find("7 bits"), std::string::npos);
}

TEST(CapiErrors, NullPointersAndWrongNamesAreArguments) {
    const Owned image = Picture(4, 4, 24, VEL_COLOUR_BGR);
    const vel_image_argument input = {"input", image.get()};
    EXPECT_EQ(vel_image_create(4, 4, 8, VEL_COLOUR_MONO, nullptr), VEL_ERROR_ARGUMENT);
    EXPECT_EQ(vel_image_get_info(nullptr, nullptr), VEL_ERROR_ARGUMENT);
    EXPECT_EQ(vel_run(nullptr, nullptr, 0, nullptr, 0, nullptr, nullptr), VEL_ERROR_ARGUMENT);
    EXPECT_EQ(vel_run("negative", nullptr, 1, nullptr, 0, nullptr, nullptr), VEL_ERROR_ARGUMENT);
    EXPECT_EQ(vel_run("negative", nullptr, 0, nullptr, 0, nullptr, nullptr), VEL_ERROR_ARGUMENT);
    EXPECT_EQ(vel_run("negativ", &input, 1, nullptr, 0, nullptr, nullptr), VEL_ERROR_NOT_FOUND);
    EXPECT_NE(std::string(vel_last_error()).find("'negative'"), std::string::npos) << vel_last_error();
    const vel_argument unknown = Text("colour", "red"), wrong = Text("size", "much");
    EXPECT_EQ(vel_run("negative", &input, 1, &unknown, 1, nullptr, nullptr), VEL_ERROR_ARGUMENT);
    EXPECT_EQ(vel_run("median", &input, 1, &wrong, 1, nullptr, nullptr), VEL_ERROR_ARGUMENT);
    EXPECT_NE(std::string(vel_last_error()).find("much"), std::string::npos) << vel_last_error();
    vel_argument kind{};
    kind.name = "size";
    kind.kind = VEL_POINT;
    EXPECT_EQ(vel_run("median", &input, 1, &kind, 1, nullptr, nullptr), VEL_ERROR_ARGUMENT);
}

TEST(CapiErrors, AFailedOperationKeepsItsOwnCode) {
    const Owned image = Picture(8, 8, 16, VEL_COLOUR_BGR);
    const vel_image_argument input = {"input", image.get()};
    int32_t verdict = -1;
    const char* note = nullptr;
    ASSERT_VEL(vel_judge("fill-voids", &input, 1, nullptr, 0, &verdict, &note));
    EXPECT_EQ(verdict, VEL_REFUSES);
    EXPECT_STRNE(note, "");
    EXPECT_EQ(vel_run("fill-voids", &input, 1, nullptr, 0, nullptr, nullptr), VEL_ERROR_OPERATION);
    EXPECT_EQ(static_cast<uint32_t>(vel_last_code()), 0x80004005u);
}

// --- Images -------------------------------------------------------------------------------------------------------

TEST(CapiImages, OwnImagesAreZeroAndCloned) {
    vel_image *image = nullptr, *clone = nullptr;
    ASSERT_VEL(vel_image_create(5, 3, 8, VEL_COLOUR_BGR, &image));
    EXPECT_EQ(Bytes(image), std::vector<uint8_t>(15));
    const vel_colour colours[] = {{1, 2, 3, 0}, {250, 251, 252, 0}};
    ASSERT_VEL(vel_image_set_palette(image, colours, 2));
    uint8_t* row = nullptr;
    ASSERT_VEL(vel_image_row(image, 2, &row));
    row[4] = 1;
    EXPECT_EQ(vel_image_row(image, 3, &row), VEL_ERROR_ARGUMENT);
    ASSERT_VEL(vel_image_clone(image, &clone));
    row = nullptr;
    vel_image_release(image);
    ASSERT_VEL(vel_image_row(clone, 2, &row));
    EXPECT_EQ(row[4], 1);
    vel_colour back[4] = {};
    uint32_t count = 0;
    ASSERT_VEL(vel_image_get_palette(clone, back, 1, &count));
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(back[0].red, 1);
    EXPECT_EQ(back[0].blue, 3);
    EXPECT_EQ(back[1].red, 0) << "beyond the capacity";
    EXPECT_EQ(vel_image_set_palette(clone, colours, 257), VEL_ERROR_ARGUMENT);
    vel_image_release(clone);
    vel_image_release(nullptr);
}

// A crop of bottom-up memory: only its own pixels are changed, and nothing is copied.
TEST(CapiImages, WrappedCropWithNegativeStride) {
    constexpr int kStride = 40, kRows = 10;
    std::vector<uint8_t> memory(kStride * kRows), expected;
    for (size_t i = 0; i < memory.size(); ++i) memory[i] = static_cast<uint8_t>(i * 7);
    expected = memory;
    // 4 pixels of 24 bits from byte 6 of memory rows 7 down to 5.
    for (int y = 0; y < 3; ++y) {
        for (int x = 6; x < 18; ++x) {
            uint8_t& byte = expected[static_cast<size_t>((7 - y) * kStride + x)];
            byte = static_cast<uint8_t>(255 - byte);
        }
    }
    vel_image* image = nullptr;
    ASSERT_VEL(vel_image_wrap(&memory[7 * kStride + 6], -kStride, 4, 3, 24, VEL_COLOUR_BGR, &image));
    const Owned owner(image);
    EXPECT_EQ(InfoOf(image).wrapped, 1u);
    EXPECT_EQ(InfoOf(image).stride, -kStride);
    const vel_image_argument input = {"input", image};
    vel_image* result = nullptr;
    int64_t count = 0;
    ASSERT_VEL(vel_run("negative", &input, 1, nullptr, 0, &result, &count));
    EXPECT_EQ(result, image);
    EXPECT_EQ(count, -1);
    vel_image_release(result);
    EXPECT_EQ(memory, expected);
    uint8_t* row = nullptr;
    ASSERT_VEL(vel_image_row(image, 2, &row));
    EXPECT_EQ(row, &memory[5 * kStride + 6]);
}

TEST(CapiImages, WrapRefusesWhatNoImageIs) {
    uint8_t byte = 0;
    vel_image* image = nullptr;
    EXPECT_EQ(vel_image_wrap(nullptr, 4, 4, 1, 8, VEL_COLOUR_MONO, &image), VEL_ERROR_ARGUMENT);
    EXPECT_EQ(vel_image_wrap(&byte, INT64_C(1) << 40, 1, 1, 8, VEL_COLOUR_MONO, &image), VEL_ERROR_ARGUMENT);
    EXPECT_EQ(vel_image_wrap(&byte, 1, 1, 1, 12, VEL_COLOUR_MONO, &image), VEL_ERROR_ARGUMENT);
    EXPECT_EQ(image, nullptr);
    vel_image_info info{};
    EXPECT_EQ(vel_image_get_info(Picture(1, 1, 8, VEL_COLOUR_MONO).get(), &info), VEL_ERROR_ARGUMENT);
}

// --- Files --------------------------------------------------------------------------------------------------------

TEST(CapiFiles, MemoryAndFileKeepEveryPixel) {
    const Owned image = Picture(19, 7, 24, VEL_COLOUR_BGR);
    vel_save_options options;
    vel_save_options_init(&options);
    options.format = "bmp";
    void* data = nullptr;
    size_t bytes = 0;
    ASSERT_VEL(vel_image_save_memory(image.get(), &options, &data, &bytes));
    ASSERT_GT(bytes, size_t{19 * 7 * 3});
    EXPECT_EQ(std::memcmp(data, "BM", 2), 0);
    vel_image* loaded = nullptr;
    ASSERT_VEL(vel_image_load_memory(data, bytes, nullptr, &loaded));
    EXPECT_EQ(Bytes(loaded), Bytes(image.get()));
    vel_image_release(loaded);
    EXPECT_EQ(vel_image_load_memory(data, 30, nullptr, &loaded), VEL_ERROR_DAMAGED);
    vel_free(data);

    const auto path = std::filesystem::temp_directory_path() / ("vel_capi_" + std::to_string(getpid()) + ".bmp");
    ASSERT_VEL(vel_image_save(image.get(), path.c_str(), nullptr));
    EXPECT_EQ(vel_image_save(image.get(), path.c_str(), nullptr), VEL_ERROR_EXISTS);
    vel_load_options limits;
    vel_load_options_init(&limits);
    limits.max_pixels = 19 * 7 - 1;
    EXPECT_EQ(vel_image_load(path.c_str(), &limits, &loaded), VEL_ERROR_LIMIT);
    ASSERT_VEL(vel_image_load(path.c_str(), nullptr, &loaded));
    EXPECT_EQ(Bytes(loaded), Bytes(image.get()));
    vel_image_release(loaded);
    std::filesystem::remove(path);
    const char* json = nullptr;
    ASSERT_VEL(vel_formats_json(&json));
    EXPECT_EQ(nlohmann::json::parse(json)[0]["name"].is_string(), true);
}

TEST(CapiFiles, OptionsOfOtherVersions) {
    struct {
        vel_save_options known;
        uint64_t added;
    } longer{};
    vel_save_options_init(&longer.known);
    longer.known.format = "bmp";
    longer.known.size = sizeof longer;
    const Owned image = Picture(3, 3, 8, VEL_COLOUR_MONO);
    void* data = nullptr;
    size_t bytes = 0;
    EXPECT_VEL(vel_image_save_memory(image.get(), &longer.known, &data, &bytes));
    vel_free(data);
    longer.added = 1;
    EXPECT_EQ(vel_image_save_memory(image.get(), &longer.known, &data, &bytes), VEL_ERROR_ARGUMENT);
    longer.known.size = 0;
    EXPECT_EQ(vel_image_save_memory(image.get(), &longer.known, &data, &bytes), VEL_ERROR_ARGUMENT);
}

// --- Runs ---------------------------------------------------------------------------------------------------------

// Flipped rows, written straight into a crop of the caller's memory with a stride of its own.
TEST(CapiRuns, NewImagesGoIntoTheCallersMemory) {
    const Owned image = Picture(6, 4, 24, VEL_COLOUR_BGR);
    const vel_image_argument input = {"input", image.get()};
    const std::vector<uint8_t> before = Bytes(image.get());
    std::vector<uint8_t> memory(4 * 32, 0xEE), expected(4 * 32, 0xEE);
    for (size_t y = 0; y < 4; ++y) std::copy_n(&before[(3 - y) * 18], 18, &expected[y * 32 + 8]);
    vel_image* out = nullptr;
    ASSERT_VEL(vel_image_wrap(&memory[8], 32, 6, 4, 24, VEL_COLOUR_BGR, &out));
    const Owned owner(out);
    ASSERT_VEL(vel_run_into("flip", &input, 1, nullptr, 0, out, nullptr));
    EXPECT_EQ(memory, expected);
    EXPECT_EQ(InfoOf(out).wrapped, 1u);
    EXPECT_EQ(Bytes(image.get()), before);
    // Back over its own input, which overlaps.
    const vel_image_argument same = {"input", out};
    ASSERT_VEL(vel_run_into("flip", &same, 1, nullptr, 0, out, nullptr));
    EXPECT_EQ(Bytes(out), before);
    // What is changed in place elsewhere leaves the input alone.
    ASSERT_VEL(vel_run_into("negative", &input, 1, nullptr, 0, out, nullptr));
    EXPECT_EQ(Bytes(image.get()), before);
    EXPECT_EQ(Bytes(out)[5], 255 - before[5]);
    const Owned small = Picture(5, 4, 24, VEL_COLOUR_BGR);
    EXPECT_EQ(vel_run_into("flip", &input, 1, nullptr, 0, small.get(), nullptr), VEL_ERROR_ARGUMENT);
}

// An image that takes over a new one of its shape.
TEST(CapiRuns, ReplacedImagesKeepTheCallersMemory) {
    std::vector<uint8_t> memory(9 * 8 * 3);
    for (size_t i = 0; i < memory.size(); ++i) memory[i] = static_cast<uint8_t>(i * 29);
    vel_image *view = nullptr, *copy = nullptr;
    ASSERT_VEL(vel_image_wrap(memory.data(), 27, 9, 8, 24, VEL_COLOUR_BGR, &view));
    const Owned owner(view);
    ASSERT_VEL(vel_image_clone(view, &copy));
    const Owned copyOwner(copy);
    const vel_image_argument input = {"input", view}, other = {"input", copy};
    ASSERT_VEL(vel_run("circle-transform", &other, 1, nullptr, 0, nullptr, nullptr));
    ASSERT_VEL(vel_run_into("circle-transform", &input, 1, nullptr, 0, view, nullptr));
    EXPECT_EQ(memory, Bytes(copy));
    EXPECT_EQ(InfoOf(view).wrapped, 1u);
    const std::vector<uint8_t> coloured = memory;
    ASSERT_VEL(vel_run("grayscale", &input, 1, nullptr, 0, nullptr, nullptr));
    for (size_t i = 0; i < memory.size(); i += 3) {
        const int mean = (coloured[i] + coloured[i + 1] + coloured[i + 2]) / 3;
        EXPECT_TRUE(memory[i] == mean && memory[i + 1] == mean && memory[i + 2] == mean) << i;
    }
    EXPECT_EQ(InfoOf(view).wrapped, 1u);
}

TEST(CapiRuns, CountsAndDestinations) {
    const Owned first = Picture(8, 2, 24, VEL_COLOUR_BGR), second = Picture(8, 2, 24, VEL_COLOUR_BGR);
    uint8_t* row = nullptr;
    ASSERT_VEL(vel_image_row(first.get(), 1, &row));
    row[3] = 200;
    ASSERT_VEL(vel_image_row(second.get(), 1, &row));
    row[3] = 90;
    const vel_image_argument images[] = {{"first", first.get()}, {"second", second.get()}, {"onto", nullptr}};
    vel_image* result = nullptr;
    int64_t count = 0;
    ASSERT_VEL(vel_run("subtract", images, 3, nullptr, 0, &result, &count));
    std::vector<uint8_t> expected(48);
    expected[24 + 3] = 110;
    EXPECT_EQ(Bytes(result), expected);
    EXPECT_EQ(count, 1);
    vel_image_release(result);
    ASSERT_VEL(vel_run_into("subtract", images, 3, nullptr, 0, second.get(), &count));
    EXPECT_EQ(Bytes(second.get()), expected);
}

struct Shift {
    double dx;
    size_t calls = 0, points = 0;
    bool stop = false;
};

int32_t MapByShift(void* user, double* x, double* /*y*/, size_t count) {
    auto* shift = static_cast<Shift*>(user);
    ++shift->calls;
    shift->points += count;
    for (size_t i = 0; i < count; ++i) x[i] += shift->dx;
    return shift->stop;
}

TEST(CapiRuns, MappingsByCallback) {
    const Owned image = Picture(9, 5, 24, VEL_COLOUR_BGR);
    const vel_image_argument input = {"input", image.get()};
    const std::vector<uint8_t> before = Bytes(image.get());
    std::vector<uint8_t> expected(before.size());  // black where the source is outside
    for (size_t y = 0; y < 5; ++y) std::copy_n(&before[y * 27 + 6], 21, &expected[y * 27]);
    for (const uint32_t batch : {1u, 4u, 9u}) {
        Shift shift{2};
        vel_mapping* mapping = nullptr;
        ASSERT_VEL(vel_mapping_create(MapByShift, &shift, batch, &mapping));
        vel_argument argument{};
        argument.name = "map";
        argument.kind = VEL_MAPPING;
        argument.value.mapping = mapping;
        vel_image* result = nullptr;
        ASSERT_VEL(vel_run("transform", &input, 1, &argument, 1, &result, nullptr));
        EXPECT_EQ(Bytes(result), expected) << batch;
        vel_image_release(result);
        EXPECT_EQ(shift.calls, batch == 9 ? 5u : batch == 4 ? 15u : 45u);
        EXPECT_EQ(shift.points, shift.calls * batch);
        shift.stop = true;
        shift.calls = 0;
        EXPECT_EQ(vel_run("transform", &input, 1, &argument, 1, &result, nullptr), VEL_ERROR_CALLBACK);
        EXPECT_EQ(result, nullptr);
        EXPECT_EQ(shift.calls, 1u);
        vel_mapping_release(mapping);
    }
    vel_mapping* mapping = nullptr;
    EXPECT_EQ(vel_mapping_create(nullptr, nullptr, 1, &mapping), VEL_ERROR_ARGUMENT);
    EXPECT_EQ(vel_mapping_create(MapByShift, nullptr, 0, &mapping), VEL_ERROR_ARGUMENT);
}

TEST(CapiRuns, TwoThreadsOnDifferentImages) {
    const auto work = [](uint32_t seed, bool* good) {
        *good = true;
        const Owned image = Picture(61, 37, 32, VEL_COLOUR_ARGB, seed);
        const std::vector<uint8_t> before = Bytes(image.get());
        for (int round = 0; round < 50; ++round) {
            const vel_image_argument input = {"input", image.get()};
            const vel_argument size = Text("size", "3");
            vel_image *mirrored = nullptr, *median = nullptr, *back = nullptr;
            *good &= vel_run("mirror", &input, 1, nullptr, 0, &mirrored, nullptr) == VEL_OK;
            *good &= vel_run("median", &input, 1, &size, 1, &median, nullptr) == VEL_OK;
            const vel_image_argument again = {"input", mirrored};
            *good &= vel_run("mirror", &again, 1, nullptr, 0, &back, nullptr) == VEL_OK;
            *good &= back && Bytes(back) == before && Bytes(mirrored) != before;
            for (vel_image* made : {mirrored, median, back}) vel_image_release(made);
        }
    };
    bool first = false, second = false;
    std::thread other(work, 1, &first);
    work(2, &second);
    other.join();
    EXPECT_TRUE(first && second);
}

// An image in the middle of larger memory.
struct Crop {
    static constexpr size_t kWidth = 300, kHeight = 260, kMargin = 16;
    size_t rowBytes, stride;
    std::vector<uint8_t> memory;
    Owned image;

    Crop(uint32_t bits, uint32_t format)
        : rowBytes(kWidth * bits / 8), stride(rowBytes + 2 * kMargin), memory(stride * (kHeight + 2), 0xEE) {
        for (size_t y = 0; y < kHeight; ++y) {
            for (size_t x = 0; x < rowBytes; ++x) Row(y)[x] = static_cast<uint8_t>(x * 37 + y * 101 + x * y);
        }
        vel_image* wrapped = nullptr;
        EXPECT_VEL(vel_image_wrap(Row(0), static_cast<int64_t>(stride), kWidth, kHeight, bits, format, &wrapped));
        image.reset(wrapped);
    }
    uint8_t* Row(size_t y) { return &memory[(y + 1) * stride + kMargin]; }
    bool SurroundingsUntouched() const {
        for (size_t i = 0; i < memory.size(); ++i) {
            const size_t y = i / stride, x = i % stride;
            const bool inside = y >= 1 && y <= kHeight && x >= kMargin && x < kMargin + rowBytes;
            if (!inside && memory[i] != 0xEE) return false;
        }
        return true;
    }
};

// Every operation as the registry shows it, with arguments in text form, on crops of the caller's memory.
TEST(CapiRuns, EveryOperationByName) {
    const char* text = nullptr;
    ASSERT_VEL(vel_operations_json(&text));
    const nlohmann::json operations = nlohmann::json::parse(text)["operations"];
    EXPECT_EQ(operations.size(), 47u);
    for (const auto& operation : operations) {
        const std::string name = operation["name"];
        SCOPED_TRACE(name);
        const auto& acts = operation["rules"]["acts"];
        const bool integers = name == "scale8" || name == "kernel";
        const uint32_t bits = !integers && std::find(acts.begin(), acts.end(), 24) != acts.end() ? 24 : 32;
        std::vector<Crop> crops;
        std::vector<vel_image_argument> images;
        for (const auto& image : operation["images"]) {
            if (!image["required"]) continue;
            crops.emplace_back(bits, integers ? VEL_COLOUR_MONO : bits == 24 ? VEL_COLOUR_BGR : VEL_COLOUR_ARGB);
            images.push_back({image["name"].get_ref<const std::string&>().c_str(), crops.back().image.get()});
        }
        std::vector<vel_argument> arguments;
        for (const auto& [key, value] : operation["example"].items()) {
            for (const auto& parameter : operation["parameters"]) {
                if (parameter["name"] != key) continue;
                arguments.push_back(Text(parameter["name"].get_ref<const std::string&>().c_str(),
                                         value.get_ref<const std::string&>().c_str()));
            }
        }
        ASSERT_EQ(arguments.size(), operation["example"].size());
        const std::vector<uint8_t> before = Bytes(crops[0].image.get());
        vel_image* result = nullptr;
        EXPECT_VEL(
            vel_run(name.c_str(), images.data(), images.size(), arguments.data(), arguments.size(), &result, nullptr));
        ASSERT_TRUE(result);
        if (operation["result"] == "in-place") {
            EXPECT_EQ(result, crops[0].image.get());
        }
        if (operation["result"] == "new-image") {
            // A depth that the image has already needs no new image.
            EXPECT_EQ(result == crops[0].image.get(), name == "increase-bpp");
            EXPECT_EQ(Bytes(crops[0].image.get()), before);
            // The same straight into the caller's memory without gaps, in both row orders.
            const vel_image_info info = InfoOf(result);
            for (const bool bottomUp : {false, true}) {
                constexpr size_t kGuard = 4096;
                std::vector<uint8_t> memory(info.row_bytes * info.height + 2 * kGuard, 0xEE);
                const auto stride = static_cast<int64_t>(info.row_bytes);
                uint8_t* row0 = &memory[kGuard + (bottomUp ? info.row_bytes * (info.height - 1) : 0)];
                vel_image* wrapped = nullptr;
                ASSERT_VEL(vel_image_wrap(row0, bottomUp ? -stride : stride, info.width, info.height,
                                          info.bits_per_pixel, info.format, &wrapped));
                const Owned out(wrapped);
                EXPECT_VEL(vel_run_into(name.c_str(), images.data(), images.size(), arguments.data(), arguments.size(),
                                        out.get(), nullptr));
                if (!operation["rules"]["random"]) {
                    EXPECT_EQ(Bytes(out.get()), Bytes(result)) << bottomUp;
                }
                const auto guard = [](uint8_t byte) { return byte == 0xEE; };
                EXPECT_TRUE(std::all_of(memory.begin(), memory.begin() + kGuard, guard)) << bottomUp;
                EXPECT_TRUE(std::all_of(memory.end() - kGuard, memory.end(), guard)) << bottomUp;
            }
        }
        vel_image_release(result);
        for (const Crop& crop : crops) EXPECT_TRUE(crop.SurroundingsUntouched());
    }
}

}  // namespace
