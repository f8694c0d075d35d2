#pragma once

#include <QtCore/QObject>

#include <type_traits>

/**
 * The version of the interface between host and plugins. It grows with each change after which code built
 * before cannot run: a bundle built for another version is refused when its principal class is asked for.
 */
inline constexpr int VXInterfaceVersion = 3;

/** What a bundle's code tells about itself. The version comes first, for ever, so that it can always be read. */
struct VXPrincipalClassInfo
{
    int interfaceVersion;
    const QMetaObject *metaObject;
};

/** The type and the name of a bundle's one entry point, which VX_PRINCIPAL_CLASS writes. */
using VXPrincipalClassFunction = const VXPrincipalClassInfo *();
inline constexpr const char *VXPrincipalClassSymbol = "VXBundlePrincipalClass";

/**
 * Names the principal class of the bundle whose code this is: once, in one source file, outside of any
 * namespace. The class derives from QObject, has Q_OBJECT, and is made through a constructor marked Q_INVOKABLE.
 */
#define VX_PRINCIPAL_CLASS(Class)                                                                                      \
    static_assert(std::is_base_of_v<QObject, Class>, "a principal class derives from QObject");                        \
    extern "C" [[gnu::visibility("default")]] const VXPrincipalClassInfo *VXBundlePrincipalClass();                    \
    const VXPrincipalClassInfo *VXBundlePrincipalClass()                                                               \
    {                                                                                                                  \
        static const VXPrincipalClassInfo info{VXInterfaceVersion, &Class::staticMetaObject};                          \
        return &info;                                                                                                  \
    }
