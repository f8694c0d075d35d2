#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariantMap>

// Options of reactors as users give them: typed from an editor, as text from a command line.

/** Returns the fallback if the option is missing or invalid. The texts "false", "no", "0" and "" mean false. */
bool VXBooleanOption(const QVariantMap &options, const QString &key, bool fallback);

/** Returns a list as it is; of a text, the parts between commas without surrounding blanks. */
QStringList VXListOption(const QVariantMap &options, const QString &key);
