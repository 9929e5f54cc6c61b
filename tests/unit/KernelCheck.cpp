#include "unit/KernelCheck.h"

#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>

namespace test {
namespace {

constexpr size_t kLeastBytes = 8192;
constexpr size_t kWidths[] = {191, 192, 193, 255, 256, 257, 511, 777, 1023, 1024, 1025, 2049};
constexpr size_t kAllWidthsTo = 130;

// What a crash is blamed on.
char g_running[256] = "";

void OnFault(int signal) {
    const char text[] = "A kernel touched a forbidden page: ";
    if (write(2, text, sizeof text - 1) < 0 || write(2, g_running, std::strlen(g_running)) < 0) _exit(2);
    ::signal(signal, SIG_DFL);
    raise(signal);
}

// Pages are mapped once per place in a call and kept, so that the same call gets the same addresses again.
GuardedPages& PagesFor(size_t index, size_t bytes) {
    static std::vector<std::unique_ptr<GuardedPages>> all;
    if (all.size() <= index) all.resize(index + 1);
    if (!all[index] || all[index]->Size() < bytes) all[index] = std::make_unique<GuardedPages>(bytes);
    return *all[index];
}

}  // namespace

GuardedPages::GuardedPages(size_t bytes) : m_page(static_cast<size_t>(sysconf(_SC_PAGESIZE))) {
    m_size = ((bytes > kLeastBytes ? bytes : kLeastBytes) + m_page - 1) / m_page * m_page;
    void* mapping = mmap(nullptr, m_size + 2 * m_page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED) throw std::bad_alloc();
    m_mapping = static_cast<uint8_t*>(mapping);
    m_begin = m_mapping + m_page;
    if (mprotect(m_begin, m_size, PROT_READ | PROT_WRITE) != 0) throw std::bad_alloc();
}

GuardedPages::~GuardedPages() { munmap(m_mapping, m_size + 2 * m_page); }

uint8_t* KernelRun::Take(size_t bytes, bool writable, size_t alignment) {
    GuardedPages& pages = PagesFor(m_buffers.size(), bytes + 128);
    const size_t room = pages.Size() - bytes;
    size_t offset = 0;
    if (m_place == Place::AtEnd) offset = room / alignment * alignment;
    if (m_place == Place::Anywhere) offset = (64 + static_cast<size_t>(random.Int(0, 63))) / alignment * alignment;
    // Only the bytes near the buffer are worth filling.
    uint8_t* data = pages.Begin() + offset;
    const uint64_t pattern = random.Bits();
    std::memset(pages.Begin(), static_cast<int>(pattern & 0xFF), pages.Size());
    for (size_t i = 0; i < bytes; i += 8) {
        const uint64_t word = random.Bits();
        std::memcpy(data + i, &word, bytes - i < 8 ? bytes - i : 8);
    }
    m_buffers.push_back({&pages, data, bytes, writable, {}});
    m_buffers.back().before.assign(pages.Begin(), pages.Begin() + pages.Size());
    return data;
}

KernelRun::Pair KernelRun::OutAndMaybeSameIn(size_t bytes) {
    uint8_t* dst = Out(bytes);
    return {dst, random.Chance(50) ? dst : In(bytes)};
}

void KernelRun::Filled() {
    for (Buffer& b : m_buffers) b.before.assign(b.pages->Begin(), b.pages->Begin() + b.pages->Size());
}

void KernelRun::Append(const void* bytes, size_t size) {
    const uint8_t* p = static_cast<const uint8_t*>(bytes);
    m_outcome.insert(m_outcome.end(), p, p + size);
}

std::vector<uint8_t> KernelRun::Outcome(bool& unchanged) {
    unchanged = true;
    for (const Buffer& b : m_buffers) {
        const uint8_t* begin = b.pages->Begin();
        const size_t offset = static_cast<size_t>(b.data - begin), after = offset + b.size;
        unchanged &= std::memcmp(begin, b.before.data(), offset) == 0;
        unchanged &= std::memcmp(begin + after, b.before.data() + after, b.before.size() - after) == 0;
        if (b.writable) {
            Append(b.data, b.size);
        } else {
            unchanged &= b.size == 0 || std::memcmp(b.data, b.before.data() + offset, b.size) == 0;
        }
    }
    return m_outcome;
}

namespace {

// Whether this case fails; says how.
bool Differs(const KernelCall& plain, const KernelCall& levelled, uint64_t seed, size_t count, Place place) {
    bool plainClean = true, levelledClean = true;
    std::vector<uint8_t> expected, actual;
    {
        KernelRun run(seed, count, place);
        plain(run);
        expected = run.Outcome(plainClean);
    }
    {
        KernelRun run(seed, count, place);
        levelled(run);
        actual = run.Outcome(levelledClean);
    }
    if (!plainClean) ADD_FAILURE() << "The plain kernel wrote outside its destination.";
    if (!levelledClean) ADD_FAILURE() << "The kernel wrote outside its destination.";
    if (expected == actual) return !plainClean || !levelledClean;
    size_t at = 0;
    while (at < expected.size() && at < actual.size() && expected[at] == actual[at]) ++at;
    ADD_FAILURE() << "Byte " << at << " of " << expected.size() << " differs: plain "
                  << (at < expected.size() ? expected[at] : -1) << ", here " << (at < actual.size() ? actual[at] : -1);
    return true;
}

}  // namespace

void CheckKernel(const char* name, const char* level, const KernelCall& plain, const KernelCall& levelled) {
    struct sigaction action = {}, old = {};
    action.sa_handler = OnFault;
    sigaction(SIGSEGV, &action, &old);
    std::vector<size_t> counts(std::begin(kWidths), std::end(kWidths));
    for (size_t i = 0; i <= kAllWidthsTo; ++i) counts.push_back(i);
    Random seeds(0x5EED);
    bool failed = false;
    for (const size_t count : counts) {
        for (const Place place : {Place::AtEnd, Place::AtBegin, Place::Anywhere, Place::Anywhere, Place::Anywhere}) {
            const uint64_t seed = seeds.Bits();
            std::snprintf(g_running, sizeof g_running, "%s at level %s, count %zu, placement %d, seed %llu\n", name,
                          level, count, static_cast<int>(place), static_cast<unsigned long long>(seed));
            SCOPED_TRACE(g_running);
            failed = failed || Differs(plain, levelled, seed, count, place);
            if (failed) break;
        }
        if (failed) break;
    }
    sigaction(SIGSEGV, &old, nullptr);
}

namespace {

class KernelTest : public testing::Test {
public:
    KernelTest(std::string name, std::string level, KernelCall plain, KernelCall levelled)
        : m_name(std::move(name)),
          m_level(std::move(level)),
          m_plain(std::move(plain)),
          m_levelled(std::move(levelled)) {}
    void TestBody() override {
        if (!m_plain) {
            FAIL() << "There is no VEL_CHECK for " << m_name << ".";
        }
        if (!MachineHasLevel(m_level.c_str())) GTEST_SKIP() << "This machine has no " << m_level << ".";
        CheckKernel(m_name.c_str(), m_level.c_str(), m_plain, m_levelled);
    }

private:
    std::string m_name, m_level;
    KernelCall m_plain, m_levelled;
};

}  // namespace

void RegisterKernelTest(const char* family, const char* name, const char* level, const KernelCall& plain,
                        const KernelCall& levelled) {
    const std::string suite = std::string("Kernels") + family, test = std::string(name) + "_" + level;
    const std::string full = std::string(family) + "." + name, levelName = level;
    testing::RegisterTest(suite.c_str(), test.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                          [=]() -> testing::Test* { return new KernelTest(full, levelName, plain, levelled); });
}

std::vector<std::string>& CheckedFamilies() {
    static std::vector<std::string> families;
    return families;
}

}  // namespace test
