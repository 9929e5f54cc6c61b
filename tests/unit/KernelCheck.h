// Checks of row kernels: every level against the plain loops, on buffers that lie at the edge of forbidden pages.
//
// A family's test source gives one check per kernel and ends with VEL_CHECK_FAMILY:
//
//     VEL_CHECK(Point, LookUpRow) {
//         uint8_t* row = run.InOut(run.count);
//         kernel(row, run.count, run.In(256));
//     }
//     VEL_CHECK_FAMILY(Point, VEL_POINT_KERNELS)
//
// A check draws its arguments from run.random, takes every buffer from `run` and calls `kernel`. It runs again for the
// plain kernel and for each level, with the same draws and the same bytes, for counts 0 to 130 and some larger ones,
// with buffers that end at a forbidden page, begin at one, or lie unaligned in between. What InOut and Out buffers hold
// afterwards (and what Returned was given) must be the same, and In buffers must be unchanged. A kernel without a
// check, or a family without a test source, is a failing test.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "Kernels/Kernels.h"
#include "support/Images.h"
#include "support/Levels.h"

namespace test {

// One buffer's address space: pages for its bytes between two pages that no access survives.
class GuardedPages {
public:
    explicit GuardedPages(size_t bytes);
    ~GuardedPages();
    GuardedPages(const GuardedPages&) = delete;
    GuardedPages& operator=(const GuardedPages&) = delete;
    uint8_t* Begin() const { return m_begin; }
    size_t Size() const { return m_size; }

private:
    uint8_t* m_mapping;
    uint8_t* m_begin;
    size_t m_page, m_size;
};

enum class Place { AtEnd, AtBegin, Anywhere };

// One call of one kernel.
class KernelRun {
public:
    KernelRun(uint64_t seed, size_t howMany, Place place) : random(seed), count(howMany), m_place(place) {}

    Random random;
    const size_t count;  // pixels or bytes, as the kernel has it

    // Random bytes that the kernel only reads.
    uint8_t* In(size_t bytes) { return Take(bytes, false); }
    // Random bytes that the kernel may change.
    uint8_t* InOut(size_t bytes) { return Take(bytes, true); }
    uint8_t* Out(size_t bytes) { return Take(bytes, true); }
    // Source and destination, in half of the cases the same.
    struct Pair {
        uint8_t *dst, *src;
    };
    Pair OutAndMaybeSameIn(size_t bytes);
    // Rows that a kernel may ask for; wherever they are, that has no effect.
    vel::NextRows Next() { return {reinterpret_cast<const uint8_t*>(this), random.Int(-3000, 3000), random.Int(0, 3)}; }
    // Typed forms of the same; the elements are random bits. An element is aligned as its type wants.
    template <class T>
    T* In(size_t elements) {
        return Typed<T>(elements, false);
    }
    template <class T>
    T* InOut(size_t elements) {
        return Typed<T>(elements, true);
    }
    template <class T>
    T* Out(size_t elements) {
        return Typed<T>(elements, true);
    }
    // For buffers that need more than random bits: fill what In or InOut gave, before the kernel is called, and say so,
    // so that the filled bytes count as what the buffer held.
    void Filled();
    // A kernel's result.
    template <class T>
    void Returned(T value) {
        Append(&value, sizeof value);
    }

    // What came of the call: results, then all bytes of all writable buffers, the room around them included.
    // `unchanged` tells whether everything else kept its bytes.
    std::vector<uint8_t> Outcome(bool& unchanged);

private:
    struct Buffer {
        GuardedPages* pages;
        uint8_t* data;
        size_t size;
        bool writable;
        std::vector<uint8_t> before;  // all pages
    };
    uint8_t* Take(size_t bytes, bool writable, size_t alignment = 1);
    template <class T>
    T* Typed(size_t elements, bool writable) {
        return reinterpret_cast<T*>(Take(elements * sizeof(T), writable, alignof(T)));
    }
    void Append(const void* bytes, size_t size);

    Place m_place;
    std::vector<Buffer> m_buffers;
    std::vector<uint8_t> m_outcome;
};

using KernelCall = std::function<void(KernelRun&)>;

// Runs one kernel of a level against the plain one.
void CheckKernel(const char* name, const char* level, const KernelCall& plain, const KernelCall& levelled);

// Registers the test of one kernel at one level. An empty call stands for a missing check.
void RegisterKernelTest(const char* family, const char* name, const char* level, const KernelCall& plain,
                        const KernelCall& levelled);
std::vector<std::string>& CheckedFamilies();

// Specialised by VEL_CHECK for the member that holds the kernel's pointer.
template <auto Member>
struct KernelCheck {
    static constexpr bool kThere = false;
};

template <auto Member, class Kernels>
KernelCall CallOf(const Kernels& kernels) {
    if constexpr (KernelCheck<Member>::kThere) {
        return [kernel = kernels.*Member](KernelRun& run) { KernelCheck<Member>::Call(kernel, run); };
    } else {
        return nullptr;
    }
}

}  // namespace test

#define VEL_CHECK(Family, Name)                                                                            \
    template <>                                                                                            \
    struct test::KernelCheck<&vel::Family##Kernels::Name> {                                                \
        static constexpr bool kThere = true;                                                               \
        static void Call(decltype(vel::Family##Kernels::Name) kernel, test::KernelRun& run);               \
    };                                                                                                     \
    void test::KernelCheck<&vel::Family##Kernels::Name>::Call(decltype(vel::Family##Kernels::Name) kernel, \
                                                              test::KernelRun& run)

#if defined(__x86_64__)
#define VEL_CHECKED_LEVELS(X, Family) \
    X(baseline, Family##Kernels_baseline) X(avx2, Family##Kernels_avx2) X(avx512, Family##Kernels_avx512)
#else
#define VEL_CHECKED_LEVELS(X, Family) X(baseline, Family##Kernels_baseline)
#endif

#define VEL_REGISTER_KERNEL(result, name, arguments)                                  \
    test::RegisterKernelTest(family, #name, level, test::CallOf<&Table::name>(plain), \
                             test::CallOf<&Table::name>(kernels));
#define VEL_REGISTER_LEVEL(level, table) registerLevel(#level, vel::table);
#define VEL_CHECK_FAMILY(Family, LIST)                                                                         \
    static const bool Family##Registered = [] {                                                                \
        using Table = vel::Family##Kernels;                                                                    \
        const char* family = #Family;                                                                          \
        const Table& plain = vel::Family##Kernels_plain;                                                       \
        const auto registerLevel = [&](const char* level, const Table& kernels) { LIST(VEL_REGISTER_KERNEL) }; \
        VEL_CHECKED_LEVELS(VEL_REGISTER_LEVEL, Family)                                                         \
        test::CheckedFamilies().push_back(family);                                                             \
        return true;                                                                                           \
    }();
