#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

class VXPluginManager;

/**
 * The words of a kind, for a shell's completion: "plugins", "enabled-plugins", "disabled-plugins", "devices", "actions"
 * (of the device `of`), "contacts", "triggers", "reactors", "exporters", "options" (of the reactor `of`: "KEY=", or, if
 * the key is `typed`, its choices as "KEY=CHOICE"), "events", "stores", "entities" (of the store `of`),
 * "message-folders", "messages" (the newest). Empty for other kinds. The manager must have found its plugins; those
 * needed for the kind are loaded, and no others.
 */
[[nodiscard]] QStringList VXWordsOfKind(const VXPluginManager &manager, const QString &kind, const QString &of,
                                        const QString &typed);
