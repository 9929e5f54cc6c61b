// Runs a fuzz target without a fuzzer: the given files, then inputs made of them (or of nothing) by chance.
//     fuzz_NAME [--runs N] [--seed S] [file or folder...]
// The input under which the program ends is left in fuzz_NAME.failing.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "fuzz/Draws.h"

extern "C" void __sanitizer_set_death_callback(void (*callback)()) __attribute__((weak));

namespace {

using Input = std::vector<uint8_t>;

Input current;
std::string failingName = "fuzz.failing";

void LeaveInput() {
    std::FILE* file = std::fopen(failingName.c_str(), "wb");
    if (!file) return;
    std::fwrite(current.data(), 1, current.size(), file);
    std::fclose(file);
    std::fprintf(stderr, "fuzz: the input is in %s\n", failingName.c_str());
}

void OnSignal(int number) {
    LeaveInput();
    std::signal(number, SIG_DFL);
    std::raise(number);
}

Input ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void RunInput(Input input) {
    current = std::move(input);
    LLVMFuzzerTestOneInput(current.data(), current.size());
}

class Mutator {
public:
    Mutator(uint64_t seed, const std::vector<Input>& seeds) : m_engine(seed), m_seeds(seeds) {}

    Input Next() {
        if (m_seeds.empty() || Below(4) == 0) {
            Input input(Below(600));
            for (uint8_t& byte : input) byte = static_cast<uint8_t>(m_engine() >> 56);
            return input;
        }
        Input input = m_seeds[Below(m_seeds.size())];
        for (size_t changes = Below(8); changes-- > 0 && !input.empty();) Change(input);
        return input;
    }

private:
    size_t Below(size_t bound) { return static_cast<size_t>(m_engine() % bound); }
    void Change(Input& input) {
        const size_t at = Below(input.size());
        const auto place = input.begin() + static_cast<ptrdiff_t>(at);
        switch (Below(5)) {
            case 0: input[at] = static_cast<uint8_t>(m_engine() >> 56); break;
            case 1: input[at] ^= static_cast<uint8_t>(1u << Below(8)); break;
            case 2: input[at] = Below(2) ? 0xFF : 0; break;
            case 3: input.resize(at); break;
            default: input.insert(place, 1 + Below(4), static_cast<uint8_t>(m_engine() >> 56)); break;
        }
    }

    std::mt19937_64 m_engine;
    const std::vector<Input>& m_seeds;
};

}  // namespace

int main(int count, char** arguments) {
    uint64_t runs = 1000, seed = 1;
    std::vector<Input> seeds;
    failingName = std::filesystem::path(arguments[0]).filename().string() + ".failing";
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        if ((argument == "--runs" || argument == "--seed") && i + 1 < count) {
            (argument == "--runs" ? runs : seed) = std::strtoull(arguments[++i], nullptr, 10);
        } else if (std::filesystem::is_directory(argument)) {
            for (const auto& entry : std::filesystem::directory_iterator(argument)) {
                seeds.push_back(ReadFile(entry.path()));
            }
        } else {
            seeds.push_back(ReadFile(argument));
        }
    }
    if (__sanitizer_set_death_callback) __sanitizer_set_death_callback(LeaveInput);
    for (const int number : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL}) std::signal(number, OnSignal);
    for (const Input& input : seeds) RunInput(input);
    Mutator mutator(seed, seeds);
    for (uint64_t i = 0; i < runs; ++i) RunInput(mutator.Next());
    std::printf("%zu files and %llu made inputs, seed %llu\n", seeds.size(), static_cast<unsigned long long>(runs),
                static_cast<unsigned long long>(seed));
    return 0;
}
