// The main function that all test executables share.
#pragma once

namespace test {

// Names that CTest filters the suites of this executable by, separated by blanks.
extern const char* const kSuiteNames;

}  // namespace test
