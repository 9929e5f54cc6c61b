#include "support/Main.h"

namespace test {
const char* const kSuiteNames = VEL_SUITE_NAMES;
}
