#pragma once

#include <QtCore/QString>

/** The plugin's text in the user's language, or the key itself if there is none. */
QString VXPhonebookPluginString(const QString &key);
