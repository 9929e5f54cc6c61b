// What the sources of the C interface share: results and texts of the calling thread, the module, handles.
#pragma once

#include <exception>
#include <new>
#include <string>

#include "../Error.h"
#include "../Image.h"
#include "vel.h"

namespace velhost {
class Module;
}

namespace velcapi {

// Texts and codes that a thread asks for after a call.
struct ThreadState {
    std::string error, notes, verdict;
    int32_t code = 0;
};
ThreadState& State();

// Keeps the text and gives the result back.
vel_result Fail(vel_result result, const char* message) noexcept;
vel_result ResultOf(velhost::ErrorKind kind);

// The process's module, loaded by the first call. Throws velhost::Error.
velhost::Module& TheModule(const char* path = nullptr);

// No exception passes into C.
template <class Function>
vel_result Guard(Function&& body) noexcept {
    try {
        return body();
    } catch (const velhost::Error& error) {
        return Fail(ResultOf(error.Kind()), error.what());
    } catch (const std::bad_alloc&) {
        return Fail(VEL_ERROR_MEMORY, "no memory");
    } catch (const std::exception& error) {
        return Fail(VEL_ERROR_INTERNAL, error.what());
    }
}

[[noreturn]] inline void Refuse(const std::string& message) {
    throw velhost::Error(velhost::ErrorKind::Argument, message);
}
template <class T>
T* Needed(T* pointer, const char* name) {
    if (!pointer) Refuse(std::string(name) + " is null");
    return pointer;
}

// A vel_image is an image of the host library under another name.
inline velhost::Image* Inner(vel_image* image) { return reinterpret_cast<velhost::Image*>(image); }
inline vel_image* Handle(velhost::Image* image) { return reinterpret_cast<vel_image*>(image); }
inline velhost::Image& Needed(vel_image* image) { return *Inner(Needed(image, "the image")); }

// Hands the reference to the caller.
inline vel_result Give(SmartPtr<velhost::Image> image, vel_image** handle) {
    *handle = Handle(image.Detach());
    return VEL_OK;
}

}  // namespace velcapi
