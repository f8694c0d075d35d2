#include "VXAndroidPhone.h"
#include "VXPrincipalClass.h"

VX_PRINCIPAL_CLASS(VXAndroidPhone)
