// Random images and comparisons for the differential tests.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "reference/Image.h"
#include "support/TestHost.h"

namespace test {

// Reproducible draws, the same with every standard library.
class Random {
public:
    explicit Random(uint64_t seed) : m_engine(seed), m_seed(seed) {}
    uint64_t Seed() const { return m_seed; }
    uint64_t Bits() { return m_engine(); }
    // Both ends included.
    int Int(int low, int high) {
        return static_cast<int>(low +
                                static_cast<int64_t>(m_engine() % (static_cast<uint64_t>(int64_t{high} - low) + 1)));
    }
    uint8_t Byte() { return static_cast<uint8_t>(m_engine() >> 56); }
    bool Chance(int percent) { return Int(1, 100) <= percent; }
    double Real(double low, double high) {
        return low + (high - low) * static_cast<double>(m_engine() >> 11) * 0x1p-53;
    }
    template <class T>
    T Pick(std::initializer_list<T> values) {
        return values.begin()[m_engine() % values.size()];
    }
    template <class T>
    const T& Pick(const std::vector<T>& values) {
        return values[m_engine() % values.size()];
    }

private:
    std::mt19937_64 m_engine;
    uint64_t m_seed;
};

// Runs the body for `rounds` random cases and stops at the first that fails, printing what repeats it. The environment
// variable VELMATHS_TEST_SEED runs one case only, VELMATHS_TEST_ROUNDS multiplies the number of cases.
void RandomCases(int rounds, const std::function<void(Random&)>& body);

// 0, 1, 2, primes, and sizes beyond a vector register.
uint32_t RandomSize(Random& random, uint32_t largest = 150);

struct ImageChoice {
    std::vector<uint32_t> depths = {1, 4, 8, 16, 24, 32};
    std::vector<uint32_t> formats = {};  // empty: any code that goes with the depth
    uint32_t largestWidth = 150, largestHeight = 24, largestPlanes = 2;
    bool zeroSizes = true;
};

// Random shape, row order, row padding and bytes (padding included).
ref::Image RandomImage(Random& random, const ImageChoice& choice = {});
// Random bytes in an image of the given shape; random row order and padding.
ref::Image RandomImage(Random& random, uint32_t width, uint32_t height, uint32_t planes, uint32_t bitsPerPixel,
                       uint32_t format);
// The same pixels with another row order and padding.
ref::Image Relaid(Random& random, const ref::Image& image);
StoreRecipe RandomRecipe(Random& random);

// "24 bits BGR , 17 x 5, 1 plane, stride -64"
std::string Describe(const ref::Image& image);

// Shape, stride and every byte of every plane, padding included: for images changed in place.
testing::AssertionResult SameBytes(const ref::Image& expected, const ref::Image& actual);
// Shape and every pixel, whatever the strides and the padding: for new images. Unused low bits of the last byte of a
// 1- or 4-bit row do not count.
testing::AssertionResult SamePixels(const ref::Image& expected, const ref::Image& actual);

inline testing::AssertionResult SameBytes(const ref::Image& expected, const SmartPtr<TestImage>& actual) {
    return SameBytes(expected, actual->Content());
}
inline testing::AssertionResult SamePixels(const ref::Image& expected, const SmartPtr<TestImage>& actual) {
    return SamePixels(expected, actual->Content());
}

// An image that holds the bytes of `rows`, one list per row.
ref::Image ImageOf(uint32_t width, uint32_t bitsPerPixel, uint32_t format,
                   std::initializer_list<std::initializer_list<int>> rows);

}  // namespace test
