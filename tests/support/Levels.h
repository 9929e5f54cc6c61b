#pragma once

namespace test {

// Whether this machine runs the kernels of that level.
bool MachineHasLevel(const char* level);

}  // namespace test
