// Versions, errors and the module of the process.
#include <cstdlib>
#include <filesystem>
#include <mutex>

#include "../Module.h"
#include "Internal.h"

namespace velcapi {

ThreadState& State() {
    thread_local ThreadState state;
    return state;
}

vel_result Fail(vel_result result, const char* message) noexcept {
    try {
        State().error = message;
    } catch (const std::bad_alloc&) {
        State().error.clear();
    }
    return result;
}

vel_result ResultOf(velhost::ErrorKind kind) {
    using velhost::ErrorKind;
    switch (kind) {
        case ErrorKind::NotFound: return VEL_ERROR_NOT_FOUND;
        case ErrorKind::Access: return VEL_ERROR_ACCESS;
        case ErrorKind::Exists: return VEL_ERROR_EXISTS;
        case ErrorKind::Unsupported: return VEL_ERROR_UNSUPPORTED;
        case ErrorKind::Damaged: return VEL_ERROR_DAMAGED;
        case ErrorKind::Limit: return VEL_ERROR_LIMIT;
        case ErrorKind::Argument: return VEL_ERROR_ARGUMENT;
        case ErrorKind::Memory: return VEL_ERROR_MEMORY;
        case ErrorKind::Module: return VEL_ERROR_MODULE;
    }
    return VEL_ERROR_INTERNAL;
}

velhost::Module& TheModule(const char* path) {
    static std::mutex mutex;
    // Never unloaded: images and threads may outlive static objects.
    static velhost::Module* module = nullptr;
    const std::lock_guard lock(mutex);
    if (!module) {
        module = new velhost::Module(path ? path : std::filesystem::path());
    } else if (std::error_code ignored; path && !std::filesystem::equivalent(path, module->Path(), ignored)) {
        Refuse("another module is loaded: " + module->Path().string());
    }
    return *module;
}

}  // namespace velcapi

using namespace velcapi;

uint32_t vel_abi_version(void) { return VEL_ABI_VERSION; }

const char* vel_version(void) { return VEL_VERSION; }

const char* vel_result_name(vel_result result) {
    static constexpr const char* kNames[] = {"VEL_OK",
                                             "VEL_ERROR_NOT_FOUND",
                                             "VEL_ERROR_ACCESS",
                                             "VEL_ERROR_EXISTS",
                                             "VEL_ERROR_UNSUPPORTED",
                                             "VEL_ERROR_DAMAGED",
                                             "VEL_ERROR_LIMIT",
                                             "VEL_ERROR_ARGUMENT",
                                             "VEL_ERROR_MEMORY",
                                             "VEL_ERROR_MODULE",
                                             "VEL_ERROR_OPERATION",
                                             "VEL_ERROR_CALLBACK",
                                             "VEL_ERROR_INTERNAL"};
    static_assert(std::size(kNames) == 1 - VEL_ERROR_INTERNAL);
    return result <= 0 && result >= VEL_ERROR_INTERNAL ? kNames[-result] : "unknown";
}

const char* vel_last_error(void) { return State().error.c_str(); }

int32_t vel_last_code(void) { return State().code; }

const char* vel_last_notes(void) { return State().notes.c_str(); }

vel_result vel_open(const char* path) {
    return Guard([&] {
        TheModule(path);
        return VEL_OK;
    });
}

void vel_free(void* memory) { std::free(memory); }
