// Every filter against the literal reference: all depths and codes, any layout, windows from below 1 to beyond the
// image.
#include <climits>
#include <sstream>

#include "reference/Filter.h"
#include "support/NewImages.h"

namespace {

using test::ImageChoice;
using test::NewImageCall;
using test::Random;

const ImageChoice kSmall = {.largestWidth = 40, .largestHeight = 12};
const ImageChoice kTiny = {.largestWidth = 9, .largestHeight = 9};
const ImageChoice kWide = {.largestWidth = 0};
// Enough of both directions for several blocks of a large window.
const ImageChoice kBroad = {.depths = {1, 8, 24, 32}, .largestWidth = 150, .largestHeight = 100};

// Rows beyond any buffer, few of them.
ref::Image Wide(Random& random) {
    return test::RandomImage(random, static_cast<uint32_t>(random.Int(800, 5000)),
                             static_cast<uint32_t>(random.Int(1, 4)), 1, random.Pick({1u, 4u, 8u, 24u, 32u}),
                             random.Pick({ref::kBgr, ref::kMono}));
}

class FilterReference : public test::ComponentTest<IVELFilterTransform> {
protected:
    // One random picture, layout and delivery for each call that `make` draws. A largest width of 0 asks for wide ones.
    void CompareRandomly(int rounds, const ImageChoice& choice, const std::function<NewImageCall(Random&)>& make) {
        test::RandomCases(rounds, [&](Random& random) {
            const ref::Image source =
                test::Repainted(random, choice.largestWidth ? test::RandomImage(random, choice) : Wide(random));
            RandomLayout(random);
            const NewImageCall call = make(random);
            const auto delivery = random.Chance(80) ? test::Delivery::OutputPointer : test::Delivery::IntoSource;
            test::Compare(call, source, delivery, static_cast<size_t>(random.Pick({0, 0, 1, 2, 5})));
        });
    }

    using Windowed = HRESULT (IVELFilterTransform::*)(IVEL*, int, IVEL**);
    void CompareWindows(const char* name, Windowed operation, ref::Made (*reference)(const ref::Image&, int32_t),
                        const std::vector<int>& sizes, int rounds, const ImageChoice& choice) {
        CompareRandomly(rounds, choice, [&](Random& random) {
            const int size = random.Pick(sizes);
            return NewImageCall{std::string(name) + " of size " + std::to_string(size),
                                [=, this](IVEL* s, IVEL** d) { return (component.Get()->*operation)(s, size, d); },
                                [=](const ref::Image& s) { return reference(s, size); }};
        });
    }

    using Fixed = HRESULT (IVELFilterTransform::*)(IVEL*, IVEL**);
    void CompareFixed(const char* name, Fixed operation, ref::Made (*reference)(const ref::Image&)) {
        CompareRandomly(250, {}, [&](Random&) { return FixedCall(name, operation, reference); });
        CompareRandomly(15, kWide, [&](Random&) { return FixedCall(name, operation, reference); });
    }
    NewImageCall FixedCall(const char* name, Fixed operation, ref::Made (*reference)(const ref::Image&)) {
        return {name, [=, this](IVEL* s, IVEL** d) { return (component.Get()->*operation)(s, d); }, reference};
    }

    NewImageCall FilterCall(const std::vector<int>& kernel, int size, int divisor, int offset) {
        std::ostringstream text;
        text << "Filter of size " << size << ", divisor " << divisor << ", offset " << offset << ", kernel";
        for (size_t i = 0; i < kernel.size() && i < 49; ++i) text << ' ' << kernel[i];
        return {text.str(),
                [=, this](IVEL* s, IVEL** d) {
                    std::vector<int> copy = kernel;
                    const HRESULT code = component->Filter(s, copy.data(), size, divisor, offset, d);
                    EXPECT_EQ(copy, kernel) << "The kernel was changed.";
                    return code;
                },
                [=](const ref::Image& s) { return ref::Filter(s, kernel.data(), size, divisor, offset); }};
    }
};

int AnyNumber(Random& random) {
    switch (random.Int(0, 4)) {
        case 0: return random.Pick({INT_MIN, INT_MAX, INT_MIN + 1, 1 << 30, -(1 << 24), 1 << 16, 1 << 23});
        case 1: return static_cast<int>(static_cast<uint32_t>(random.Bits()));
        default: return random.Int(-20, 20);
    }
}

std::vector<int> RandomKernel(Random& random, int size) {
    const size_t n = static_cast<size_t>(std::max(size, 0));
    std::vector<int> kernel(n * n, 0);
    std::vector<int> column(n), row(n);
    switch (random.Int(0, 8)) {
        case 0:  // small coefficients
            for (int& k : kernel) k = random.Int(-9, 30);
            break;
        case 1:  // any 32-bit coefficients
            for (int& k : kernel) k = AnyNumber(random);
            break;
        case 2:  // all the same
            kernel.assign(n * n, AnyNumber(random));
            break;
        case 3:  // the same but for one
            kernel.assign(n * n, random.Int(-3, 3));
            if (n) kernel[static_cast<size_t>(random.Int(0, static_cast<int>(n * n) - 1))] = AnyNumber(random);
            break;
        case 4:  // a single one, or none
            if (n && random.Chance(90))
                kernel[static_cast<size_t>(random.Int(0, static_cast<int>(n * n) - 1))] = AnyNumber(random);
            break;
        case 5:  // column times row
        case 6:  // the same with factors whose products wrap
            for (int& k : column) k = random.Int(0, 5) == 5 ? AnyNumber(random) : random.Int(-6, 6);
            for (int& k : row) k = random.Int(-6, 6);
            for (size_t i = 0; i < n * n; ++i) {
                kernel[i] = static_cast<int>(static_cast<uint32_t>(column[i / n]) * static_cast<uint32_t>(row[i % n]));
            }
            break;
        case 8:  // the limits of bytes and 16-bit words
            for (int& k : kernel) {
                k = random.Chance(70) ? random.Int(-128, 127)
                                      : random.Pick({127, 128, -127, -128, -129, 255, 256, -255, -256, 257, 32767,
                                                     32768, -32768, -32769, 65535});
            }
            if (random.Chance(50)) {
                for (int& k : kernel) k = random.Pick({127, 127, -128, 0});
            }
            break;
        case 7:  // even coefficients with a common factor, nearly a product
            for (int& k : column) k = random.Int(1, 6);
            for (int& k : row) k = 2 * random.Int(-3, 6);
            for (size_t i = 0; i < n * n; ++i) kernel[i] = 6 * column[i / n] * row[i % n];
            if (n && random.Chance(50)) kernel[n * n - 1] += random.Pick({-1, 1, 12});
            break;
    }
    return kernel;
}

int RandomDivisor(Random& random, const std::vector<int>& kernel) {
    int64_t sum = 0;
    for (const int k : kernel) sum += k;
    if (random.Chance(40)) return static_cast<int>(static_cast<uint32_t>(sum));
    return random.Chance(60) ? random.Int(-12, 300) : AnyNumber(random);
}

int RandomOffset(Random& random) {
    return random.Chance(70) ? random.Pick({0, 0, 127, 128, -100, 255, 300}) : AnyNumber(random);
}

TEST_F(FilterReference, FilterWithSmallWindows) {
    CompareRandomly(1500, {}, [&](Random& random) {
        const int size = random.Pick({-1, 0, 1, 2, 3, 3, 3, 4, 5, 5, 6, 7});
        const std::vector<int> kernel = RandomKernel(random, size);
        return FilterCall(kernel, size, RandomDivisor(random, kernel), RandomOffset(random));
    });
}

TEST_F(FilterReference, FilterWithWindowsBeyondTheImage) {
    CompareRandomly(300, kTiny, [&](Random& random) {
        const int size = random.Int(1, 24);
        const std::vector<int> kernel = RandomKernel(random, size);
        return FilterCall(kernel, size, RandomDivisor(random, kernel), RandomOffset(random));
    });
}

TEST_F(FilterReference, FilterWithLargeWindows) {
    CompareRandomly(80, kSmall, [&](Random& random) {
        const int size = random.Pick({9, 12, 15, 16, 21, 31});
        const std::vector<int> kernel = RandomKernel(random, size);
        return FilterCall(kernel, size, RandomDivisor(random, kernel), RandomOffset(random));
    });
}

TEST_F(FilterReference, WideRows) {
    CompareRandomly(60, kWide, [&](Random& random) {
        const int size = random.Pick({1, 2, 3, 3, 4, 5, 7});
        const std::vector<int> kernel = RandomKernel(random, size);
        return FilterCall(kernel, size, RandomDivisor(random, kernel), RandomOffset(random));
    });
    const std::vector<int> sizes = {1, 2, 3, 4, 5, 8};
    CompareWindows("GaussianBlur", &IVELFilterTransform::GaussianBlur, ref::GaussianBlur, {0, 1, 2, 3}, 30, kWide);
    CompareWindows("Erode", &IVELFilterTransform::Erode, ref::Erode, sizes, 20, kWide);
    CompareWindows("Dilate", &IVELFilterTransform::Dilate, ref::Dilate, sizes, 20, kWide);
    CompareWindows("Edge", &IVELFilterTransform::Edge, ref::Edge, sizes, 20, kWide);
    CompareWindows("Median", &IVELFilterTransform::Median, ref::Median, sizes, 20, kWide);
    CompareWindows("Jitter", &IVELFilterTransform::Jitter, ref::Jitter, {0, 2, 2000}, 20, kWide);
    CompareWindows("Noise", &IVELFilterTransform::Noise, ref::Noise, {0, 40, 600}, 20, kWide);
}

TEST_F(FilterReference, LargeWindowsOnBroadImages) {
    const std::vector<int> sizes = {13, 15, 16, 25, 31};
    CompareWindows("Erode", &IVELFilterTransform::Erode, ref::Erode, sizes, 6, kBroad);
    CompareWindows("Dilate", &IVELFilterTransform::Dilate, ref::Dilate, sizes, 6, kBroad);
    CompareWindows("Edge", &IVELFilterTransform::Edge, ref::Edge, sizes, 6, kBroad);
    CompareWindows("Median", &IVELFilterTransform::Median, ref::Median, {7, 11, 15}, 6, kBroad);
    CompareRandomly(6, kBroad, [&](Random& random) {
        const int size = random.Pick({11, 15, 25});
        const std::vector<int> kernel = RandomKernel(random, size);
        return FilterCall(kernel, size, RandomDivisor(random, kernel), RandomOffset(random));
    });
}

TEST_F(FilterReference, FilterWithNegativeSizes) {
    CompareRandomly(40, kTiny, [&](Random& random) {
        return FilterCall({}, random.Pick({0, -1, -2, -3, -100, INT_MIN, INT_MIN + 1}), AnyNumber(random),
                          RandomOffset(random));
    });
}

TEST_F(FilterReference, FixedKernels) {
    CompareFixed("Emboss", &IVELFilterTransform::Emboss, ref::Emboss);
    CompareFixed("Blur", &IVELFilterTransform::Blur, ref::Blur);
    CompareFixed("Soften", &IVELFilterTransform::Soften, ref::Soften);
    CompareFixed("Sharpen", &IVELFilterTransform::Sharpen, ref::Sharpen);
}

TEST_F(FilterReference, GaussianBlur) {
    CompareWindows("GaussianBlur", &IVELFilterTransform::GaussianBlur, ref::GaussianBlur, {0, 1, 2, 3, -1, 4}, 600, {});
}

TEST_F(FilterReference, ErodeDilateAndEdgeWithSmallWindows) {
    const std::vector<int> sizes = {-1, 0, 1, 2, 3, 3, 4, 5, 6, 7, 8};
    CompareWindows("Erode", &IVELFilterTransform::Erode, ref::Erode, sizes, 400, {});
    CompareWindows("Dilate", &IVELFilterTransform::Dilate, ref::Dilate, sizes, 400, {});
    CompareWindows("Edge", &IVELFilterTransform::Edge, ref::Edge, sizes, 400, {});
}

TEST_F(FilterReference, ErodeDilateAndEdgeWithLargeWindows) {
    const std::vector<int> sizes = {9, 11, 12, 15, 16, 17, 31, 32, 33, 60};
    CompareWindows("Erode", &IVELFilterTransform::Erode, ref::Erode, sizes, 50, kSmall);
    CompareWindows("Dilate", &IVELFilterTransform::Dilate, ref::Dilate, sizes, 50, kSmall);
    CompareWindows("Edge", &IVELFilterTransform::Edge, ref::Edge, sizes, 50, kSmall);
}

TEST_F(FilterReference, ErodeDilateAndEdgeWithWindowsBeyondTheImage) {
    const std::vector<int> sizes = {2, 3, 6, 9, 10, 13, 18, 19, 20, 41, 64};
    CompareWindows("Erode", &IVELFilterTransform::Erode, ref::Erode, sizes, 120, kTiny);
    CompareWindows("Dilate", &IVELFilterTransform::Dilate, ref::Dilate, sizes, 120, kTiny);
    CompareWindows("Edge", &IVELFilterTransform::Edge, ref::Edge, sizes, 120, kTiny);
}

TEST_F(FilterReference, Contour) { CompareFixed("Contour", &IVELFilterTransform::Contour, ref::Contour); }

TEST_F(FilterReference, MedianWithSmallWindows) {
    CompareWindows("Median", &IVELFilterTransform::Median, ref::Median, {-1, 0, 1, 2, 3, 3, 3, 4, 5, 5, 6, 7}, 500,
                   {.largestWidth = 150, .largestHeight = 10});
}

TEST_F(FilterReference, MedianWithLargeWindows) {
    CompareWindows("Median", &IVELFilterTransform::Median, ref::Median, {8, 9, 10, 11, 12, 15, 16, 21, 31}, 40,
                   {.largestWidth = 33, .largestHeight = 8});
    CompareWindows("Median", &IVELFilterTransform::Median, ref::Median, {3, 4, 7, 9, 10, 19, 24, 40}, 100, kTiny);
}

TEST_F(FilterReference, Jitter) {
    CompareWindows("Jitter", &IVELFilterTransform::Jitter, ref::Jitter,
                   {0, 1, 2, 3, -3, 10, 100, 100000, INT_MIN, INT_MAX, 1 << 30}, 400, {});
}

TEST_F(FilterReference, Noise) {
    CompareWindows("Noise", &IVELFilterTransform::Noise, ref::Noise,
                   {0, 1, 2, 3, -40, 40, 255, 512, 100000, INT_MIN, INT_MAX}, 400, {});
}

}  // namespace
