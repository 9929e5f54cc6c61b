#include <cstdlib>

#include "Make.h"
#include "reference/Deform.h"
#include "reference/Filter.h"

namespace bench {
namespace {

// Pseudo-random coefficients from -4 to 8.
std::vector<int> RandomKernel(int size) {
    std::vector<int> kernel(size_t(size) * size_t(size));
    uint32_t state = 12345;
    for (int& k : kernel) {
        state = state * 1664525u + 1013904223u;
        k = static_cast<int>(state >> 16) % 13 - 4;
    }
    return kernel;
}

int SumOf(const std::vector<int>& kernel) {
    int sum = 0;
    for (const int k : kernel) sum += k;
    return sum == 0 ? 1 : sum;
}

cv::Mat FloatKernel(const std::vector<int>& kernel, int size, int divisor) {
    cv::Mat m(size, size, CV_32F);
    for (int i = 0; i < size * size; ++i) m.at<float>(i / size, i % size) = float(kernel[size_t(i)]) / float(divisor);
    return m;
}

void AddFilter(const std::string& name, uint32_t bpp, int size, std::vector<int> kernel) {
    auto shared = std::make_shared<std::vector<int>>(std::move(kernel));
    const int divisor = SumOf(*shared);
    const cv::Mat peerKernel = FloatKernel(*shared, size, divisor);
    AddFilterLike(
        name, bpp, "convolution", "~", "filter2D",
        [=](IVEL* src, IVEL** dest) { Filters()->Filter(src, shared->data(), size, divisor, 0, dest); },
        [=](const cv::Mat& src, cv::Mat& dst) { cv::filter2D(src, dst, -1, peerKernel); },
        [=](const ref::Image& image) { ref::Filter(image, shared->data(), size, divisor, 0); })
        .growth = name == "Filter" + std::to_string(size) ? size : 0;
}

void AddFixedFilters(uint32_t bpp) {
    AddFilterLike(
        "Emboss", bpp, "convolution", "=", "addWeighted of shifted views",
        [](IVEL* src, IVEL** dest) { Filters()->Emboss(src, dest); },
        [](const cv::Mat& src, cv::Mat& dst) {
            const int w = src.cols, h = src.rows;
            cv::addWeighted(src(cv::Rect(0, 2, w - 2, h - 2)), 1, src(cv::Rect(2, 0, w - 2, h - 2)), -1, 127, dst);
        },
        [](const ref::Image& image) { ref::Emboss(image); });
    AddFilterLike(
        "Blur", bpp, "convolution", "=", "blur", [](IVEL* src, IVEL** dest) { Filters()->Blur(src, dest); },
        [](const cv::Mat& src, cv::Mat& dst) {
            cv::blur(src, dst, {3, 3});
        },
        [](const ref::Image& image) { ref::Blur(image); });
    static const cv::Mat soften = FloatKernel({1, 1, 1, 1, 8, 1, 1, 1, 1}, 3, 16);
    AddFilterLike(
        "Soften", bpp, "convolution", "=", "filter2D", [](IVEL* src, IVEL** dest) { Filters()->Soften(src, dest); },
        [](const cv::Mat& src, cv::Mat& dst) { cv::filter2D(src, dst, -1, soften); },
        [](const ref::Image& image) { ref::Soften(image); });
    static const cv::Mat sharpen = FloatKernel({-1, -1, -1, -1, 15, -1, -1, -1, -1}, 3, 7);
    AddFilterLike(
        "Sharpen", bpp, "convolution", "=", "filter2D", [](IVEL* src, IVEL** dest) { Filters()->Sharpen(src, dest); },
        [](const cv::Mat& src, cv::Mat& dst) { cv::filter2D(src, dst, -1, sharpen); },
        [](const ref::Image& image) { ref::Sharpen(image); });
    for (int level = 0; level < 4; ++level) {
        AddFilterLike(
            "Gauss" + std::to_string(level), bpp, "convolution", level == 0 ? "=" : "<",
            level == 0 ? "GaussianBlur 3x3" : "GaussianBlur 5x5",
            [=](IVEL* src, IVEL** dest) { Filters()->GaussianBlur(src, level, dest); },
            [=](const cv::Mat& src, cv::Mat& dst) {
                cv::GaussianBlur(src, dst, level == 0 ? cv::Size(3, 3) : cv::Size(5, 5), 0);
            },
            [=](const ref::Image& image) { ref::GaussianBlur(image, level); });
    }
}

void AddMorphology(uint32_t bpp, int size) {
    const std::string n = std::to_string(size);
    const cv::Mat box = cv::getStructuringElement(cv::MORPH_RECT, {size, size});
    AddFilterLike(
        "Erode" + n, bpp, "morphology", "=", "erode",
        [=](IVEL* src, IVEL** dest) { Filters()->Erode(src, size, dest); },
        [=](const cv::Mat& src, cv::Mat& dst) { cv::erode(src, dst, box); },
        [=](const ref::Image& image) { ref::Erode(image, size); })
        .growth = size;
    if (size == 3) {
        AddFilterLike(
            "Dilate" + n, bpp, "morphology", "=", "dilate",
            [=](IVEL* src, IVEL** dest) { Filters()->Dilate(src, size, dest); },
            [=](const cv::Mat& src, cv::Mat& dst) { cv::dilate(src, dst, box); },
            [=](const ref::Image& image) { ref::Dilate(image, size); });
    }
    AddFilterLike(
        "Edge" + n, bpp, "morphology", "=", "morphologyEx gradient",
        [=](IVEL* src, IVEL** dest) { Filters()->Edge(src, size, dest); },
        [=](const cv::Mat& src, cv::Mat& dst) { cv::morphologyEx(src, dst, cv::MORPH_GRADIENT, box); },
        [=](const ref::Image& image) { ref::Edge(image, size); })
        .growth = size;
}

void AddMedian(uint32_t bpp, int size) {
    AddFilterLike(
        "Median" + std::to_string(size), bpp, "rank", bpp == 8 ? "=" : "~", "medianBlur (each channel)",
        [=](IVEL* src, IVEL** dest) { Filters()->Median(src, size, dest); },
        [=](const cv::Mat& src, cv::Mat& dst) { cv::medianBlur(src, dst, size); },
        size <= 15 ? std::function<void(const ref::Image&)>([=](const ref::Image& image) { ref::Median(image, size); })
                   : std::function<void(const ref::Image&)>())
        .growth = size;
}

// Bare draws: what no implementation that draws from rand() can go below.
void AddRandom(uint32_t bpp) {
    const auto draws = [](Size size, int perPixel) -> std::function<void()> {
        return [=] {
            unsigned sum = 0;
            for (double i = size.Pixels() * perPixel; i > 0; --i) sum += static_cast<unsigned>(std::rand());
            volatile unsigned sink = sum;
            (void)sink;
        };
    };
    Case& jitter = AddFilterLike(
        "Jitter", bpp, "random", "<", "randu and remap",
        [](IVEL* src, IVEL** dest) { Filters()->Jitter(src, 5, dest); },
        [](const cv::Mat& src, cv::Mat& dst) {
            cv::Mat map(src.size(), CV_16SC2);
            cv::randu(map, cv::Scalar(0, 0), cv::Scalar(src.cols, src.rows));
            cv::remap(src, dst, map, cv::noArray(), cv::INTER_NEAREST);
        });
    jitter.boundByCalls = true;
    jitter.prepare = [inner = jitter.prepare, draws](Size size) {
        Calls calls = inner(size);
        calls.floor = draws(size, 2);
        return calls;
    };
    Case& noise = AddFilterLike(
        "Noise", bpp, "random", "<", "randu and add", [](IVEL* src, IVEL** dest) { Filters()->Noise(src, 40, dest); },
        [](const cv::Mat& src, cv::Mat& dst) {
            cv::Mat random(src.size(), CV_MAKETYPE(CV_16S, src.channels()));
            cv::randu(random, cv::Scalar::all(-20), cv::Scalar::all(20));
            cv::add(src, random, dst, cv::noArray(), CV_8U);
        });
    noise.boundByCalls = true;
    noise.prepare = [inner = noise.prepare, draws](Size size) {
        Calls calls = inner(size);
        calls.floor = draws(size, 3);
        return calls;
    };
}

void AddCircle(uint32_t bpp, int mode) {
    Case added;
    added.name = "Circle" + std::to_string(mode);
    added.bitsPerPixel = bpp;
    added.family = "deformation";
    added.relation = "<";
    added.peerCall = "remap nearest, maps made beforehand";
    added.prepare = [=](Size size) {
        const SmartPtr<Picture> photo = Photo(size, bpp);
        Calls calls;
        calls.ours = [=] { Deforms()->CircleTransform(static_cast<IVELImageDIB*>(photo.Get()), mode, 0); };
        auto source = std::make_shared<cv::Mat>(photo->Mat().clone());
        auto map = std::make_shared<cv::Mat>(int(size.height), int(size.width), CV_16SC2);
        for (int y = 0; y < map->rows; ++y) {
            for (int x = 0; x < map->cols; ++x) {
                map->at<cv::Vec2s>(y, x) = {short((x + x * 7 % 5) % map->cols), short((y + x % 3) % map->rows)};
            }
        }
        auto result = std::make_shared<cv::Mat>();
        calls.peer = [=] { cv::remap(*source, *result, *map, cv::noArray(), cv::INTER_NEAREST); };
        return calls;
    };
    added.reference = [=](Size size) -> std::function<void()> {
        auto image = std::make_shared<ref::Image>(ReferenceOf(*Photo(size, bpp).Get()));
        return [=] { ref::CircleTransform(*image, mode, 0); };
    };
    AllCases().push_back(added);
}

void AddIntegerKernel() {
    Case added;
    added.name = "Kernel";
    added.bitsPerPixel = 32;
    added.family = "convolution";
    added.relation = "<";
    added.peerCall = "convertTo of a shifted view";
    added.prepare = [](Size size) {
        const SmartPtr<Picture> photo = Photo(size, 32, FORMAT_MONO);
        Calls calls;
        calls.ours = [=] {
            const StrideInValues scope;
            static short kernel[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
            IVEL* made = nullptr;
            FilterKernel(static_cast<IVELImageDIB*>(photo.Get()), kernel, 3, 11, 5, &made);
            if (made) made->Release();
        };
        auto result = std::make_shared<cv::Mat>();
        calls.peer = [=] {
            const cv::Mat source = photo->Mat();
            source(cv::Rect(2, 2, source.cols - 2, source.rows - 2)).convertTo(*result, CV_32S, 9.0 / 11.0, 5.0);
        };
        return calls;
    };
    AllCases().push_back(added);
}

}  // namespace

void AddFilterCases() {
    for (const uint32_t bpp : {24u, 8u, 32u}) {
        for (const int size : {3, 5, 7, 15}) AddFilter("Filter" + std::to_string(size), bpp, size, RandomKernel(size));
        AddFixedFilters(bpp);
        for (const int size : {3, 5, 15, 31}) AddMorphology(bpp, size);
        AddFilterLike(
            "Contour", bpp, "morphology", "<", "dilate and bitwise_not",
            [](IVEL* src, IVEL** dest) { Filters()->Contour(src, dest); },
            [](const cv::Mat& src, cv::Mat& dst) {
                cv::dilate(src, dst, cv::Mat());
                cv::bitwise_not(dst, dst);
            },
            [](const ref::Image& image) { ref::Contour(image); });
        for (const int size : {3, 5, 9}) AddMedian(bpp, size);
    }
    AddRandom(24);
    for (int mode = 0; mode < 5; ++mode) AddCircle(24, mode);
    AddIntegerKernel();
    // Only followed along the size of the window.
    for (const int size : {31, 63, 101}) AddFilter("Filter" + std::to_string(size), 24, size, RandomKernel(size));
    for (const int size : {15, 31, 101})
        AddFilter("FlatFilter" + std::to_string(size), 24, size, std::vector<int>(size_t(size) * size_t(size), 1));
    for (const int size : {63, 101}) AddMorphology(24, size);
    for (const int size : {15, 31, 63, 101}) AddMedian(24, size);
}

}  // namespace bench
