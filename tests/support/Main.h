// The main function that all test executables share.
#pragma once

namespace test {

// Names that CTest filters the suites of this executable by, separated by blanks.
extern const char* const kSuiteNames;

// Whether this machine runs the kernels of that level.
bool MachineHasLevel(const char* level);

}  // namespace test
