#include "VXGammuPhone.h"
#include "VXPrincipalClass.h"

VX_PRINCIPAL_CLASS(VXGammuPhone)
