#include <cstdio>
#include <cstdlib>

#include "fuzz/Draws.h"

void fuzz::Fail(const std::string& what) {
    std::fprintf(stderr, "fuzz: %s\n", what.c_str());
    std::abort();
}
