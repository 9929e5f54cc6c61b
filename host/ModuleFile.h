// A framework module's library file: loading it and asking it for factories.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "Interface.h"

namespace velhost {

// The file name suffix of modules.
inline constexpr const char* kModuleSuffix = ".so";

// The folder of the program or shared library that holds this code; empty when the system does not tell.
std::filesystem::path OwnFolder();

// A loaded module. Null handle: loading failed, and `error` says why. Not closed by itself.
struct ModuleFile {
    void* handle = nullptr;
    bool wasLoaded = false;  // somebody in this process had loaded it before
    std::string error;

    static ModuleFile Open(const std::filesystem::path& path);
    // Hands the collection to the module by its entry point's decorated name, or by the plain one; nothing happens
    // when it has neither.
    void Initialise(IComponentCollection* collection) const;
    // The factory of the object with that name; null when the module does not know it.
    FactoryFunction Factory(std::wstring_view object) const;
    void Close();
};

}  // namespace velhost
