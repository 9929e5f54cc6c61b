// A walk along a straight line in fixed point, and a cheap blend of the four pixels around a fixed-point position.
#pragma once

#include <cmath>
#include <cstdint>

// Positions and steps are 24.8 fixed point. The caller advances the current point by adding the steps.
class CBresenhamLineFPB {
public:
    // A walk from (x0, y0) towards (x1, y1) in points `step` apart. A line shorter than a thousandth of the step
    // leaves the steps as they were.
    void Initialize(double x0, double y0, double x1, double y1, double step) {
        const double dx = x1 - x0, dy = y1 - y0;
        const double n = std::sqrt(dx * dx + dy * dy) / step;
        m_points = Truncated(1 + n);
        if (n > 0.001) {
            m_xStep = Truncated(dx / n * 256 + 0.5);
            m_yStep = Truncated(dy / n * 256 + 0.5);
        }
        m_x = Truncated(x0 * 256 + 0.5);
        m_y = Truncated(y0 * 256 + 0.5);
    }

    // Adds the steps to the current point, modulo 2^32.
    void Advance() {
        m_x = static_cast<int32_t>(static_cast<uint32_t>(m_x) + static_cast<uint32_t>(m_xStep));
        m_y = static_cast<int32_t>(static_cast<uint32_t>(m_y) + static_cast<uint32_t>(m_yStep));
    }

    // The first four (at most) channel bytes of the pixel at (x, y), channel c in bits 8c to 8c + 7; 0 when
    // bytesPerPixel is below 1. A pixel's weight is the sum, not the product, of its nearness in x and in y: exact at
    // the corners and in the centre. Reads the pixels right of, below and diagonally below (x, y) as well.
    static int InterpolateCB(int x, int y, const unsigned char* bits, int stride, int bytesPerPixel) {
        const uint32_t fx = x & 255, fy = y & 255;
        const unsigned char* p0 = bits + int64_t{y >> 8} * stride + int64_t{x >> 8} * bytesPerPixel;
        const unsigned char* p1 = p0 + stride;
        const uint32_t w00 = (256 - fy) + (256 - fx), w10 = (256 - fy) + fx, w01 = (256 - fx) + fy, w11 = fy + fx;
        uint32_t packed = 0;
        for (int c = 0; c < bytesPerPixel && c < 4; ++c) {
            const uint32_t sum = p0[c] * w00 + p0[c + bytesPerPixel] * w10 + p1[c] * w01 + p1[c + bytesPerPixel] * w11;
            packed |= ((sum >> 2) + 128) >> 8 << (8 * c);
        }
        return static_cast<int>(packed);
    }

    int32_t m_x = 0;  // current point
    int32_t m_y = 0;
    int32_t m_xStep = 0;  // distance of neighbouring points
    int32_t m_yStep = 0;
    int32_t m_points = 0;

private:
    // Towards zero; INT32_MIN for what does not fit and for NaN.
    static int32_t Truncated(double value) {
        return value > -2147483649.0 && value < 2147483648.0 ? static_cast<int32_t>(value) : INT32_MIN;
    }
};
