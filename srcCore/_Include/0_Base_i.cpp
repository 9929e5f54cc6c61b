#include "0_Base_i.h"

extern const IID IID_IUnknown = {{0x00000000u, 0x00000000u, 0x000000C0u, 0x46000000u}};

#define VEL_DEFINE_IID(name) IID IID_##name;
VEL_INTERFACES(VEL_DEFINE_IID)
#undef VEL_DEFINE_IID

void InitialiseInterfaceIds() {
#define VEL_FILL_IID(name) IID_##name = MakeInterfaceId(#name);
    VEL_INTERFACES(VEL_FILL_IID)
#undef VEL_FILL_IID
}
