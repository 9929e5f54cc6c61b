// The few calls of the operating system that modules need: loading another module.
#pragma once

#include <dlfcn.h>

namespace OS {

constexpr const char* kModuleFolder = "./_binMAC/";  // relative to the process's current directory
constexpr const char* kModuleSuffix = ".so";

inline void* OpenLibrary(const char* path) { return dlopen(path, RTLD_NOW | RTLD_LOCAL); }
inline void* FindSymbol(void* library, const char* name) { return dlsym(library, name); }
inline const char* LastError() { return dlerror(); }

}  // namespace OS
