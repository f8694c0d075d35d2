#pragma once

#include "VXBundle.h"
#include "VXFrameworkExport.h"

#include <QtCore/QString>

/**
 * The operating-system version in hexadecimal: 0x1050 means 10.5. Linux counts as 10.5, so that rules that depend on
 * the version choose the present behaviour. Set once at start-up.
 */
VX_EXPORT extern int VX_OSX_VERSION;

/** "com.halvern.VNX2.framework" */
VX_EXPORT extern const QString VXFrameworkIdentifier;

/** The framework's own bundle, found beside libVornix. Never null. Any thread. */
VX_EXPORT VXBundle::Ptr VXFrameworkBundle();

/** The framework's text in the user's language, from its table "Localizable"; the key itself if there is none. */
VX_EXPORT QString VXLocalizedString(const QString &key);

/** A text from the application's table "Global": the titles of buttons. */
VX_EXPORT QString VXGlobalString(const QString &key);

/** The framework's version, such as "2.0.0". */
VX_EXPORT QString VXFrameworkVersion();

/** Registers the default preferences in the bundle's resource "defaults.plist", if it has one. Any thread. */
VX_EXPORT void VXRegisterDefaultsOfBundle(const VXBundle &bundle);

/**
 * Prepares the framework in a program: directs problems of the platform layer to the log, and registers the framework's
 * default preferences and the transformers that convert values to text. To be called on the main thread after the
 * application object was made; further calls do nothing.
 */
VX_EXPORT void VXInitializeFramework();
