#pragma once

#include <QtCore/QObject>

#include <type_traits>

/**
 * The version of the interface between host and plugins. Increased by each change after which older code cannot run: a
 * bundle built for another version is refused when its principal class is requested.
 */
inline constexpr int VXInterfaceVersion = 3;

/**
 * What a bundle's code says about itself. The version must always remain first, so that it can be read from any code.
 */
struct VXPrincipalClassInfo
{
    int interfaceVersion;
    const QMetaObject *metaObject;
};

/** The type and name of a bundle's single entry point, which VX_PRINCIPAL_CLASS defines. */
using VXPrincipalClassFunction = const VXPrincipalClassInfo *();
inline constexpr const char *VXPrincipalClassSymbol = "VXBundlePrincipalClass";

/**
 * Declares the principal class of the bundle that contains this code: once, in one source file, outside any namespace.
 * The class derives from QObject, has Q_OBJECT, and is made by a constructor marked Q_INVOKABLE.
 */
#define VX_PRINCIPAL_CLASS(Class)                                                                                      \
    static_assert(std::is_base_of_v<QObject, Class>, "a principal class derives from QObject");                        \
    extern "C" [[gnu::visibility("default")]] const VXPrincipalClassInfo *VXBundlePrincipalClass();                    \
    const VXPrincipalClassInfo *VXBundlePrincipalClass()                                                               \
    {                                                                                                                  \
        static const VXPrincipalClassInfo info{VXInterfaceVersion, &Class::staticMetaObject};                          \
        return &info;                                                                                                  \
    }
