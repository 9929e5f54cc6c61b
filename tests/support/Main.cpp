#include "support/Main.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>

#include "support/Levels.h"

namespace test {

namespace {

constexpr int kSkipped = 77;

bool BeginsWithListedName(const std::string& suite) {
    std::istringstream names(kSuiteNames);
    for (std::string name; names >> name;) {
        if (suite.compare(0, name.size(), name) == 0) return true;
    }
    return false;
}

// A suite that no filter reaches, or a filter that reaches no test, would pass unseen.
bool EverySuiteIsListed() {
    const testing::UnitTest& all = *testing::UnitTest::GetInstance();
    bool fine = true;
    for (int i = 0; i < all.total_test_suite_count(); ++i) {
        const std::string suite = all.GetTestSuite(i)->name();
        if (BeginsWithListedName(suite)) continue;
        std::fprintf(stderr, "Suite %s does not begin with the name of its source file.\n", suite.c_str());
        fine = false;
    }
    return fine;
}

}  // namespace
}  // namespace test

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (const char* level = std::getenv("VELMATHS_LEVEL"); level && !test::MachineHasLevel(level)) {
        std::printf("This machine has no %s.\n", level);
        return test::kSkipped;
    }
    if (!test::EverySuiteIsListed()) return 1;
    const int result = RUN_ALL_TESTS();
    if (!testing::GTEST_FLAG(list_tests) && testing::UnitTest::GetInstance()->test_to_run_count() == 0) {
        std::fprintf(stderr, "No test matches the filter.\n");
        return 1;
    }
    return result;
}
