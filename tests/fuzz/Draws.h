// Choices read from a fuzzer's bytes; all 0 when these are used up.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

namespace fuzz {

class Draws {
public:
    Draws(const uint8_t* data, size_t size) : m_at(data), m_end(data + size) {}

    bool Done() const { return m_at == m_end; }
    uint8_t Byte() { return Done() ? uint8_t{0} : *m_at++; }
    uint64_t Bits() {
        uint64_t bits = 0;
        for (int i = 0; i < 8; ++i) bits = bits << 8 | Byte();
        return bits;
    }
    // Both ends included. One byte serves small ranges, so that short inputs go far.
    int64_t Int(int64_t low, int64_t high) {
        const uint64_t range = static_cast<uint64_t>(high) - static_cast<uint64_t>(low);
        const uint64_t bits = range < 256 ? Byte() : Bits();
        return static_cast<int64_t>(static_cast<uint64_t>(low) + (range == UINT64_MAX ? bits : bits % (range + 1)));
    }
    bool Chance(int percent) { return Int(1, 100) <= percent; }
    template <class T>
    T Pick(std::initializer_list<T> values) {
        return values.begin()[static_cast<size_t>(Int(0, static_cast<int64_t>(values.size()) - 1))];
    }
    template <class T>
    const T& Pick(const std::vector<T>& values) {
        return values[static_cast<size_t>(Int(0, static_cast<int64_t>(values.size()) - 1))];
    }
    std::vector<uint8_t> Rest() { return {m_at, m_end}; }
    // `size` bytes: some as given, then made from them by a generator, so that pixels cost little input.
    std::vector<uint8_t> Pixels(size_t size) {
        std::vector<uint8_t> pixels(size);
        const size_t given = std::min({size, size_t{Byte()}, static_cast<size_t>(m_end - m_at)});
        if (given) std::memcpy(pixels.data(), m_at, given);
        m_at += given;
        uint64_t state = Bits();
        for (size_t i = given; i < size; ++i) {
            state = state * 6364136223846793005u + 1442695040888963407u;
            pixels[i] = static_cast<uint8_t>(state >> 56);
        }
        return pixels;
    }

private:
    const uint8_t* m_at;
    const uint8_t* m_end;
};

// Ends the program with one line, as a sanitizer would.
[[noreturn]] void Fail(const std::string& what);

}  // namespace fuzz

// A fuzz target: 0 always.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
