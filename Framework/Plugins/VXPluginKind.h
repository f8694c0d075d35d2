#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

/** The kinds of plugins, as "VXPluginClass" of their bundles names them: the base class that each extends. */
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

/** "data" for "VXDataPlugin": what people write; an unknown kind as it is. */
VX_EXPORT QString shortName(const QString &kind);
/** Null when no kind has that short name. */
VX_EXPORT QString kindForShortName(const QString &name);

/** The name of the class that plugins of the kind derive from; null for an unknown kind. */
VX_EXPORT QString baseClass(const QString &kind);

/** Devices and conduits have instances made on demand; every other kind has one, made when it loads. */
VX_EXPORT bool createsSingletonInstance(const QString &kind);

} // namespace VXPluginKind
