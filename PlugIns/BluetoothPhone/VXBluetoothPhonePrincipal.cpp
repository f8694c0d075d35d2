#include "VXBluetoothPhone.h"
#include "VXPrincipalClass.h"

VX_PRINCIPAL_CLASS(VXBluetoothPhone)
