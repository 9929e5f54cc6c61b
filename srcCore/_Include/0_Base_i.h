// Interface identifiers: the rule that derives one from an interface's name, and the identifiers themselves.
#pragma once

#include "Interface.h"

#define VEL_EXPORT __attribute__((visibility("default")))

// Identifier of the interface `name` (ASCII, as spelled): the first 25 characters as 5-bit codes, laid as a
// little-endian bit stream into 16 bytes. Case does not matter; a code of 32 ('4') spills into its neighbour's field.
constexpr IID MakeInterfaceId(const char* name) {
    IID iid{};
    for (int i = 0; i < 25 && name[i] != '\0'; ++i) {
        const char c = name[i];
        uint32_t code = 27;
        if (c >= 'A' && c <= 'Z') code = static_cast<uint32_t>(c - 64);
        if (c >= 'a' && c <= 'z') code = static_cast<uint32_t>(c - 96);
        if (c >= '0' && c <= '4') code = static_cast<uint32_t>(c - 20);
        const int bit = 5 * i;
        const uint64_t field = static_cast<uint64_t>(code) << (bit % 32);
        iid.word[bit / 32] |= static_cast<uint32_t>(field);
        if (bit / 32 < 3) iid.word[bit / 32 + 1] |= static_cast<uint32_t>(field >> 32);
    }
    return iid;
}

// {00000000-0000-0000-C000-000000000046}: the one identifier that no name derives.
VEL_EXPORT extern const IID IID_IUnknown;

// Every other interface of the framework that a module or its host names; IID_<interface> is filled at load.
#define VEL_INTERFACES(X)   \
    X(IComponentCollection) \
    X(IComponentString)     \
    X(ICreatableString)     \
    X(IObjectInfo)          \
    X(IString)              \
    X(ITransform)           \
    X(IVEL)                 \
    X(IVELImage)            \
    X(IVELImageDIB)         \
    X(IVELImagePalette)     \
    X(IVELColorTransform)   \
    X(IVELFilterTransform)  \
    X(IVELDeform)           \
    X(IVELTransform)        \
    X(IVELMaths)

#define VEL_DECLARE_IID(name) VEL_EXPORT extern IID IID_##name;
VEL_INTERFACES(VEL_DECLARE_IID)
#undef VEL_DECLARE_IID

// Computes every IID_<interface>. Each module and host runs it once, before anything else of its own.
void InitialiseInterfaceIds();
