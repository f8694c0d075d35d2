#pragma once

#include <QtCore/QString>

/** The plugin's text in the user's language; the key itself when there is none. */
QString VXPhonebookPluginString(const QString &key);
