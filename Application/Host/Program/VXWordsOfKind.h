#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

class VXPluginManager;

/**
 * What there is of a kind, for the completion of a shell: "plugins", "devices", "actions" (of the device `of`), "triggers", "reactors",
 * "exporters", "events", "stores", "entities" (of the store `of`), "message-folders", "messages" (the newest). Empty for other kinds. Among the plugins only.
 */
[[nodiscard]] QStringList VXWordsOfKind(const VXPluginManager &manager, const QString &kind, const QString &of);
