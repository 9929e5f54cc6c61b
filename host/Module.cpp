#include "Module.h"

#include <algorithm>
#include <mutex>

namespace velhost {

namespace {

constexpr std::wstring_view kModuleName = L"VELMaths";
constexpr const char* kModuleFile = "VELMaths.so";
constexpr std::wstring_view kObjects[] = {L"VELColorTransform", L"VELFilterTransform", L"VELDeform", L"VELTransform",
                                          L"VELMaths"};

// Modules alive in this process. Those of one file share its global collection: it is the newest one's.
std::mutex gAliveMutex;
std::vector<const Module*> gAlive;

std::filesystem::path FirstThatExists() {
    std::string tried;
    for (const auto& path : Module::SearchPaths()) {
        std::error_code error;
        if (std::filesystem::exists(path, error)) return path;
        tried += (tried.empty() ? "" : ", ") + path.string();
    }
    throw Error(ErrorKind::Module, "VELMaths.so not found; looked for " + tried);
}

}  // namespace

std::vector<std::filesystem::path> Module::SearchPaths() {
    std::vector<std::filesystem::path> paths;
    const auto own = OwnFolder();
    if (!own.empty()) {
        paths.push_back((own / ".." / "_binMAC" / kModuleFile).lexically_normal());
        paths.push_back(own / "_binMAC" / kModuleFile);
        // An installed program and an installed library, wherever the prefix was moved to.
        paths.push_back((own / ".." / VEL_INSTALL_LIBDIR / "velmaths/_binMAC" / kModuleFile).lexically_normal());
        paths.push_back(own / "velmaths/_binMAC" / kModuleFile);
    }
#ifdef VEL_INSTALLED_MODULE_DIR
    paths.push_back(std::filesystem::path(VEL_INSTALLED_MODULE_DIR) / kModuleFile);
#endif
    paths.push_back(std::filesystem::path("./_binMAC") / kModuleFile);
    return paths;
}

Module::Module(const std::filesystem::path& path, SmartPtr<Collection> collection)
    : m_path(path.empty() ? FirstThatExists() : path), m_collection(std::move(collection)) {
    if (!m_collection.Get()) m_collection = Collection::Make();
    m_file = ModuleFile::Open(m_path);
    if (!m_file.handle) throw Error(ErrorKind::Module, "cannot load " + m_path.string() + ": " + m_file.error);
    try {
        const std::lock_guard lock(gAliveMutex);
        gAlive.push_back(this);
        m_file.Initialise(m_collection.Get());
        Make(m_color, L"VELColorTransform", "IVELColorTransform");
        Make(m_filter, L"VELFilterTransform", "IVELFilterTransform");
        Make(m_deform, L"VELDeform", "IVELDeform");
        Make(m_transform, L"VELTransform", "IVELTransform");
        Make(m_maths, L"VELMaths", "IVELMaths");
        m_filter->QueryInterface(IID_IUnknown, m_filterTable.Receive());
        m_transform->QueryInterface(IID_IUnknown, m_transformTable.Receive());
        for (const std::wstring_view object : kObjects) {
            m_collection->Register(kModuleName, object, m_file.Factory(object));
        }
    } catch (...) {
        ReleaseAll();
        throw;
    }
}

Module::~Module() { ReleaseAll(); }

template <class T>
void Module::Make(SmartPtr<T>& component, std::wstring_view object, const char* interfaceName) {
    const FactoryFunction factory = m_file.Factory(object);
    const IID iid = MakeInterfaceId(interfaceName);
    if (factory) factory(nullptr, &iid, component.Receive());
    if (!component.Get()) {
        throw Error(ErrorKind::Module, m_path.string() + " offers no " + std::string(interfaceName));
    }
}

void Module::ReleaseAll() {
    m_transformTable.Clear();
    m_filterTable.Clear();
    m_maths.Clear();
    m_transform.Clear();
    m_deform.Clear();
    m_filter.Clear();
    m_color.Clear();
    for (const std::wstring_view object : kObjects) m_collection->Register(kModuleName, object, nullptr);
    const std::lock_guard lock(gAliveMutex);
    gAlive.erase(std::remove(gAlive.begin(), gAlive.end(), this), gAlive.end());
    const auto newest = std::find_if(gAlive.rbegin(), gAlive.rend(),
                                     [this](const Module* other) { return other->m_file.handle == m_file.handle; });
    m_file.Initialise(newest != gAlive.rend() ? (*newest)->m_collection.Get() : nullptr);
    m_file.Close();
}

}  // namespace velhost
