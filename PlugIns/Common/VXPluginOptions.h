#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariantMap>

// Options of reactors as users give them: with their types from an editor, as texts from a command line.

/** The fallback when it is missing or none; of texts "false", "no", "0" and "" are false. */
bool VXBooleanOption(const QVariantMap &options, const QString &key, bool fallback);

/** A list as it is; the parts between commas of a text, without the blanks around them. */
QStringList VXListOption(const QVariantMap &options, const QString &key);
