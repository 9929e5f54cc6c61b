// The built files themselves: what the module exports and needs, and what the objects of kernel levels define.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/Module.h"

namespace {

std::vector<std::string> LinesOf(std::istream& in) {
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line[0] != '#') lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> LinesOfFile(const std::string& path) {
    std::ifstream file(path);
    EXPECT_TRUE(file) << path;
    return LinesOf(file);
}

std::vector<std::string> OutputOf(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    EXPECT_NE(pipe, nullptr) << command;
    if (!pipe) return {};
    std::string text;
    char buffer[4096];
    while (const size_t n = fread(buffer, 1, sizeof buffer, pipe)) text.append(buffer, n);
    EXPECT_EQ(pclose(pipe), 0) << command;
    std::istringstream in(text);
    return LinesOf(in);
}

struct Symbol {
    char type;
    std::string name;
};

std::vector<Symbol> SymbolsOf(const std::string& options, const std::string& file) {
    std::vector<Symbol> symbols;
    for (const std::string& line : OutputOf(VEL_TEST_NM " " + options + " '" + file + "'")) {
        std::istringstream words(line);
        std::string name, type;
        words >> name >> type;  // portable format: name, type, value, size
        if (type.size() == 1) symbols.push_back({type[0], name.substr(0, name.find('@'))});
    }
    EXPECT_FALSE(symbols.empty()) << file;
    return symbols;
}

TEST(BuildProducts, TheModuleExportsWhatIsListed) {
    std::set<std::string> exported;
    for (const Symbol& symbol : SymbolsOf("-D -P --defined-only", test::Module::File())) exported.insert(symbol.name);
    const std::vector<std::string> listed = LinesOfFile(VEL_TEST_SOURCE "/module/ExportedSymbols.txt");
    EXPECT_EQ(exported, std::set<std::string>(listed.begin(), listed.end()));
}

TEST(BuildProducts, TheModuleNeedsOnlyTheLanguagesLibraries) {
    const std::vector<std::string> listed = LinesOfFile(VEL_TEST_SOURCE "/module/NeededLibraries.txt");
    const std::set<std::string> allowed(listed.begin(), listed.end());
    int needed = 0;
    for (const std::string& line : OutputOf(VEL_TEST_READELF " -d -W '" + test::Module::File() + "'")) {
        if (line.find("(NEEDED)") == std::string::npos) continue;
        const size_t open = line.find('['), close = line.find(']');
        ASSERT_NE(close, std::string::npos) << line;
        const std::string library = line.substr(open + 1, close - open - 1);
        EXPECT_TRUE(allowed.count(library)) << library;
        ++needed;
    }
    EXPECT_GT(needed, 0);
}

// A weak symbol of one level could be taken for all of them by the linker, and then crash a machine without that level.
TEST(BuildProducts, AnObjectOfAKernelLevelDefinesItsTableAndNothingElse) {
#if defined(VEL_TEST_SANITIZED)
    GTEST_SKIP() << "The sanitizers add symbols of their own.";
#endif
    int objects = 0;
    for (const std::string& line : LinesOfFile(VEL_TEST_LEVEL_OBJECTS)) {
        const size_t blank = line.find(' ');
        const std::string level = line.substr(0, blank), file = line.substr(blank + 1);
        SCOPED_TRACE(file);
        std::vector<std::string> external;
        for (const Symbol& symbol : SymbolsOf("-P", file)) {
            EXPECT_EQ(std::string("wWvVu").find(symbol.type), std::string::npos) << symbol.type << " " << symbol.name;
            if (symbol.type == 'U') {
                // Only C functions: what C++ would bring along is decorated.
                EXPECT_NE(symbol.name.substr(0, 2), "_Z") << symbol.name;
            } else if (symbol.type >= 'A' && symbol.type <= 'Z') {
                external.push_back(symbol.name);
            }
        }
        ASSERT_EQ(external.size(), 1u) << testing::PrintToString(external);
        const std::string ending = "Kernels_" + level + "E";
        ASSERT_GE(external[0].size(), ending.size());
        EXPECT_EQ(external[0].substr(external[0].size() - ending.size()), ending);
        EXPECT_EQ(external[0].substr(0, 7), "_ZN3vel");
        ++objects;
    }
    EXPECT_GT(objects, 0);
}

// A compiler may take a function that only asks for cache lines for one without effect and drop its calls. Nothing but
// time tells then.
TEST(BuildProducts, KernelsOfWindowsAskForTheNextRows) {
#if !defined(__x86_64__)
    GTEST_SKIP() << "Looks for an instruction of another processor.";
#endif
    int objects = 0;
    for (const std::string& line : LinesOfFile(VEL_TEST_LEVEL_OBJECTS)) {
        const std::string file = line.substr(line.find(' ') + 1);
        const auto is = [&](const char* source) { return file.find(source) != std::string::npos; };
        if (!is("/Convolution.cpp") && !is("/Morphology.cpp") && !is("/Rank.cpp")) continue;
        int requests = 0;
        for (const std::string& code : OutputOf(VEL_TEST_OBJDUMP " -d --no-show-raw-insn '" + file + "'")) {
            requests += code.find("prefetcht1") != std::string::npos;
        }
        EXPECT_GT(requests, 0) << file;
        ++objects;
    }
    EXPECT_GE(objects, 3);
}

}  // namespace
