// Rows that the next call of a kernel will read.
#pragma once

#include "Level.h"

namespace vel {

// A kernel that makes some rows asks for the cache lines of these meanwhile, as it gets to each of its columns: then
// they come while it computes, and not all at once. `count` is 0 where there are none.
struct NextRows {
    const uint8_t* first;
    ptrdiff_t stride;
    int count;
};

}  // namespace vel
