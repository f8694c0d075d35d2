#include "VXMobileModem.h"
#include "VXPrincipalClass.h"

VX_PRINCIPAL_CLASS(VXMobileModem)
