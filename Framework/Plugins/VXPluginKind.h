#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

/** The kinds of plugins, as named by "VXPluginClass" in their bundles: the base class that each kind derives from. */
namespace VXPluginKind {

VX_EXPORT extern const QString Data;      // "VXDataPlugin"
VX_EXPORT extern const QString Exporter;  // "VXExporterPlugin"
VX_EXPORT extern const QString Reactor;   // "VXReactorPlugin"
VX_EXPORT extern const QString Interface; // "VXInterfacePlugin"
VX_EXPORT extern const QString Phonebook; // "VXPhonebookPlugin"
VX_EXPORT extern const QString Device;    // "VXDevicePlugin"
VX_EXPORT extern const QString Conduit;   // "VXConduitPlugin"

/** All of the above. */
VX_EXPORT QStringList all();

/** The name that people use, such as "data" for "VXDataPlugin"; an unknown kind is returned unchanged. */
VX_EXPORT QString shortName(const QString &kind);
/** Null when no kind has that short name. */
VX_EXPORT QString kindForShortName(const QString &name);

/** The name of the class that plugins of the kind derive from; null for an unknown kind. */
VX_EXPORT QString baseClass(const QString &kind);

/**
 * False for devices and conduits, whose instances are made on demand; every other kind has one instance, made when it
 * is loaded.
 */
VX_EXPORT bool createsSingletonInstance(const QString &kind);

} // namespace VXPluginKind
