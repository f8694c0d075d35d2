#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/**
 * A real plugin bundle to be written for a test. Its code is a copy of one of the libraries of Fixtures/; what that does
 * is told by keys of its Info.plist, as Fixtures/RecordingPlugin.cpp describes.
 */
struct VXPluginFixture
{
    QString identifier; // null: Info.plist has none
    QString version = QStringLiteral("2000");
    QString name = QStringLiteral("Fixture"); // null: Info.plist has no "VXPluginName"
    QString kind = QStringLiteral("VXReactorPlugin");
    QStringList dependencies = {};
    QVariantMap info = {};                               // further keys, which go before the above
    QString code = QStringLiteral("RecordingPlugin.so"); // in Fixtures, or its variant for the kind; null: no code

    /** Writes "<file name>.vxplugin" into the folder; the identifier unless a file name is given. @return its path. */
    QString write(const QString &folder, const QString &fileName = {}) const;
};

/** What the plugins of RecordingPlugin.so did, as "IDENTIFIER EVENT", in order. */
QStringList VXPluginEvents();
/** The identifiers of the plugins that entered that operation, in order. */
QStringList VXPluginEvents(const QString &operation);
void VXClearPluginEvents();

/** Lets deferred deletions, as those of unloaded instances, happen now. */
void VXFlushDeferredDeletions();
