// vel_bench: every operation through the binary interface, its peer's nearest call and a memory copy on the same
// pixels, in one process and one thread. Google Benchmark runs the repetitions in random order, so that the machine's
// drift meets all of them alike; scripts/bench turns its JSON into tables and the plot.
//
// usage: vel_bench --module=FILE [--sizes=full|all|growth|family|kernels] [--host=pooled|reference] [Google Benchmark's
// own flags] A benchmark is named case/depth/size/who, who being ours, peer, floor, copy or reference. --host=reference
// lets the reference host make the destinations, as it does for everyone else: fresh pages, cleared.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include "Cases.h"

namespace bench {

std::vector<Case>& AllCases() {
    static std::vector<Case> cases;
    return cases;
}

namespace {

constexpr Size kFull{1920, 1080}, kSmall{512, 512}, kLarge{4096, 4096};
// The reference is slow, so it runs on a part; its figure is a pixel's all the same.
constexpr Size kReference{240, 135};

// Prepared pixels live while benchmarks of the same case and size follow each other in the run.
class Prepared {
public:
    Prepared(const Case& c, Size size) : m_case(c), m_size(size) {}
    Calls& Get() {
        if (!m_ready) {
            m_calls = m_case.prepare(m_size);
            m_ready = true;
        }
        return m_calls;
    }

private:
    const Case& m_case;
    Size m_size;
    bool m_ready = false;
    Calls m_calls;
};

void Time(benchmark::State& state, const std::function<void()>& call, double pixels) {
    call();  // caches and pools are warm from here on
    for (auto _ : state) call();
    state.counters["pixels"] = pixels;
}

void Register(const Case& c, Size size) {
    const auto prepared = std::make_shared<Prepared>(c, size);
    const std::string base = c.name + "/" + std::to_string(c.bitsPerPixel) + "/" + size.Name() + "/";
    const double pixels = size.Pixels() * c.pixelRatio;
    const auto add = [&](const std::string& who, std::function<std::function<void()>()> call, double count) {
        benchmark::RegisterBenchmark((base + who).c_str(), [=](benchmark::State& state) {
            Time(state, call(), count);
        })->Unit(benchmark::kMicrosecond);
    };
    add(
        "ours", [=] { return prepared->Get().ours; }, pixels);
    if (!c.peerCall.empty())
        add(
            "peer", [=] { return prepared->Get().peer; }, pixels);
    if (c.boundByCalls)
        add(
            "floor", [=] { return prepared->Get().floor; }, pixels);
    if (c.reference && size.width == kFull.width) {
        add(
            "reference", [reference = c.reference] { return reference(kReference); },
            kReference.Pixels() * c.pixelRatio);
    }
}

void RegisterCopies(Size size) {
    for (const uint32_t bpp : {8u, 24u, 32u}) {
        const std::string name = "memcpy/" + std::to_string(bpp) + "/" + size.Name() + "/copy";
        benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
            const SmartPtr<Picture> from = Photo(size, bpp, FormatOf(bpp)), to = Photo(size, bpp, FormatOf(bpp), 2);
            Time(
                state, [&] { std::memcpy(to->Bits(), from->Bits(), from->ByteCount()); }, size.Pixels());
        })->Unit(benchmark::kMicrosecond);
    }
}

// One case of each family stands for it at the other sizes.
bool StandsForFamily(const Case& c) {
    static std::map<std::string, std::string> chosen = {
        {"colour", "Negative"},     {"convolution", "Filter5"}, {"morphology", "Erode5"},    {"rank", "Median3"},
        {"deformation", "Circle0"}, {"turn", "Rot90"},          {"sampling", "Rotate30.m4"}, {"resize", "Shrink2.m4"},
        {"depth", "Bpp24>32"},      {"arithmetic", "AddScale"}};
    const auto found = chosen.find(c.family);
    return found != chosen.end() && found->second == c.name && c.bitsPerPixel == 24;
}

// What the table of cases shows; windows beyond it appear along the growth of cost only.
bool InTable(const Case& c) {
    if (c.name.rfind("FlatFilter", 0) == 0) return false;
    return c.growth <= (c.family == "morphology" ? 31 : c.family == "rank" ? 9 : 15);
}

bool Chosen(const Case& c, const std::string& sizes) {
    if (sizes == "kernels") return false;
    if (sizes == "growth") return c.growth > 0;
    return sizes == "family" ? StandsForFamily(c) : InTable(c);
}

void WriteCatalogue() {
    for (const Case& c : AllCases()) {
        std::printf("%s\t%u\t%s\t%s\t%s\t%d\t%d\t%d\n", c.name.c_str(), c.bitsPerPixel, c.family.c_str(),
                    c.relation.empty() ? "-" : c.relation.c_str(), c.peerCall.empty() ? "-" : c.peerCall.c_str(),
                    c.boundByCalls ? 1 : 0, InTable(c) ? 1 : 0, c.growth);
    }
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    using namespace bench;
    // Freed stores stay with the process, on both sides.
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    mallopt(M_TRIM_THRESHOLD, 2000 << 20);
    cv::setNumThreads(1);

    std::string module, sizes = "full", host = "pooled";
    bool catalogue = false;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument.rfind("--module=", 0) == 0) module = argument.substr(9);
        if (argument.rfind("--sizes=", 0) == 0) sizes = argument.substr(8);
        if (argument.rfind("--host=", 0) == 0) host = argument.substr(7);
        if (argument == "--catalogue") catalogue = true;
    }
    AddColourCases();
    AddFilterCases();
    AddGeometryCases();
    AddArithmeticCases();
    if (catalogue) {
        WriteCatalogue();
        return 0;
    }
    if (module.empty()) {
        std::fprintf(stderr, "vel_bench: --module=FILE is missing: the VELMaths.so to measure\n");
        return 2;
    }
    LoadModule(module, host == "reference");
    if (sizes == "kernels") AddKernelBenchmarks();
    for (const Case& c : AllCases()) {
        if (Chosen(c, sizes)) Register(c, kFull);
        if (sizes == "all" && StandsForFamily(c)) {
            Register(c, kSmall);
            Register(c, kLarge);
        }
    }
    RegisterCopies(kFull);
    if (sizes == "all") {
        RegisterCopies(kSmall);
        RegisterCopies(kLarge);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
