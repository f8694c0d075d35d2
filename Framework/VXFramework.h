#pragma once

#include "VXBundle.h"
#include "VXFrameworkExport.h"

#include <QtCore/QString>

/**
 * Operating-system version in binary-coded form: 0x1050 stands for 10.5. Linux reads as 10.5, so that the current
 * behaviour is the one taken where a rule depends on it. Set once at start-up.
 */
VX_EXPORT extern int VX_OSX_VERSION;

/** "com.halvern.VNX2.framework" */
VX_EXPORT extern const QString VXFrameworkIdentifier;

/** The framework's own bundle, found beside libVornix. Never null. Any thread. */
VX_EXPORT VXBundle::Ptr VXFrameworkBundle();

/** The framework's text in the user's language, from its table "Localizable"; the key when there is none. */
VX_EXPORT QString VXLocalizedString(const QString &key);

/** A text of the application's table "Global": the titles of buttons. */
VX_EXPORT QString VXGlobalString(const QString &key);

/** The framework's version, as "2.0.0". */
VX_EXPORT QString VXFrameworkVersion();

/** Registers the default preferences in the bundle's resource "defaults.plist", if it has one. Any thread. */
VX_EXPORT void VXRegisterDefaultsOfBundle(const VXBundle &bundle);

/**
 * Makes the framework ready in a program: problems of the platform layer go to the log, the framework's default
 * preferences and the transformers that make texts of values are registered. Call it on the main thread, once the application object is there; again does nothing.
 */
VX_EXPORT void VXInitializeFramework();
