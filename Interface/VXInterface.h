#pragma once

#include "VXBundle.h"
#include "VXInterfaceExport.h"

#include <QtCore/QString>

/** The interface kit's own bundle, found beside libVornixInterface. Never null. Any thread. */
VX_INTERFACE_EXPORT VXBundle::Ptr VXInterfaceBundle();

/**
 * A text of the kit in the user's language, from a table of its bundle ("Localizable" if null); the key itself if there
 * is none.
 */
VX_INTERFACE_EXPORT QString VXInterfaceString(const QString &key, const QString &table = {});

/**
 * Prepares the kit in a program with windows: the named value transformers, Qt's own texts in the user's language, the
 * theme, the user interface of VXApplication in windows, export sheets, interface files of plugins. To be called on the
 * main thread when the QApplication and the framework are ready, before the first window; further calls do nothing.
 */
VX_INTERFACE_EXPORT void VXInitializeInterfaceKit();
