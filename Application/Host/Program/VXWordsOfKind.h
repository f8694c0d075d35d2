#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

class VXPluginManager;

/**
 * What there is of a kind, for the completion of a shell: "plugins", "enabled-plugins", "disabled-plugins", "devices", "actions" (of the
 * device `of`), "contacts", "triggers", "reactors", "exporters", "options" (of the reactor `of`: "KEY=", or with the key `typed` its
 * choices as "KEY=CHOICE"), "events", "stores", "entities" (of the store `of`), "message-folders", "messages" (the newest). Empty for
 * other kinds. The manager has found its plugins; those that are needed for the kind are loaded, and no others.
 */
[[nodiscard]] QStringList VXWordsOfKind(const VXPluginManager &manager, const QString &kind, const QString &of,
                                        const QString &typed);
