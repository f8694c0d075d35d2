#pragma once

#include <QtCore/QtGlobal>

#if defined(VornixServices_EXPORTS)
#define VX_SERVICES_EXPORT Q_DECL_EXPORT
#else
#define VX_SERVICES_EXPORT Q_DECL_IMPORT
#endif
