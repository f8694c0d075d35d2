#include "VXPrincipalClass.h"

// As a later version may look: all but the first field is unknown.
struct LaterInfo
{
    int interfaceVersion = VXInterfaceVersion + 1;
    int unknown = 0x5a5a5a5a;
};

extern "C" [[gnu::visibility("default")]] const VXPrincipalClassInfo *VXBundlePrincipalClass();

const VXPrincipalClassInfo *VXBundlePrincipalClass()
{
    static const LaterInfo info;
    return reinterpret_cast<const VXPrincipalClassInfo *>(&info);
}
