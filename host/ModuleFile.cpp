#include "ModuleFile.h"

#include <dlfcn.h>

namespace velhost {

std::filesystem::path OwnFolder() {
    Dl_info info{};
    if (!dladdr(reinterpret_cast<void*>(&OwnFolder), &info) || !info.dli_fname) return {};
    std::error_code error;
    // For code in the program itself the name is how it was called, which need not be a path.
    auto file = std::filesystem::canonical(info.dli_fname, error);
    if (error || !std::filesystem::is_regular_file(file, error)) {
        file = std::filesystem::read_symlink("/proc/self/exe", error);
        if (error) return {};
    }
    return file.parent_path();
}

ModuleFile ModuleFile::Open(const std::filesystem::path& path) {
    ModuleFile file;
    if (void* earlier = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD)) {
        file.handle = earlier;
        file.wasLoaded = true;
        return file;
    }
    file.handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!file.handle) {
        const char* text = dlerror();
        file.error = text ? text : "unknown error";
    }
    return file;
}

void ModuleFile::Initialise(IComponentCollection* collection) const {
    using InitializeModuleType = HRESULT (*)(void*, IComponentCollection*);
    void* symbol = dlsym(handle, "_Z16InitializeModulePvP20IComponentCollection");
    if (!symbol) symbol = dlsym(handle, "InitializeModule");
    if (symbol) reinterpret_cast<InitializeModuleType>(symbol)(nullptr, collection);
}

FactoryFunction ModuleFile::Factory(std::wstring_view object) const {
    using CreateFunctionType = HRESULT (*)(tagREFString, void**);
    const auto create = reinterpret_cast<CreateFunctionType>(dlsym(handle, "CreateFunction"));
    void* factory = nullptr;
    if (!create || Failed(create({static_cast<int32_t>(object.size()), object.data()}, &factory))) return nullptr;
    return reinterpret_cast<FactoryFunction>(factory);
}

void ModuleFile::Close() {
    if (handle) dlclose(handle);
    handle = nullptr;
}

}  // namespace velhost
