#pragma once

#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXMessageStore.h"

#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QString>

/** What the verbs of "vornix messages" work with. */
struct VXMessageDesk
{
    VXHostContext &host;
    const VXMessageStore &store;
    VXManagedObjectContext &context;

    QString operand(qsizetype index) const { return host.options.operand(index); }
    int fail(const QString &text) const { return host.output.fail(text); }
    int fail(const VXError &error) const { return fail(error.localizedDescription()); }

    /** The folder with that name or URI, also that of a phone by its name; null, told, for none. */
    VXManagedObjectPtr folderNamed(const QString &text) const;
    /** The message with that ID, as "list" shows it, or that URI; null, told, for none. */
    VXManagedObjectPtr messageNamed(const QString &text) const;
    /** All of them; empty, told, when there is one that is none. */
    QList<VXManagedObjectPtr> messagesNamed(const QStringList &texts) const;
    /** Saves what was changed, and answers; else tells why not. */
    int saveAndAnswer(const QString &text, const QJsonObject &json) const;
};

/** "x-coredata://..." */
[[nodiscard]] QString VXURIOfObject(const VXManagedObjectPtr &object);

// The verbs about folders, and those that remove messages. Each answers an exit status.
int VXShowMessageFolders(const VXMessageDesk &desk);
int VXAddMessageFolder(const VXMessageDesk &desk);
int VXRenameMessageFolder(const VXMessageDesk &desk);
int VXRemoveMessageFolder(const VXMessageDesk &desk);
int VXDeleteMessages(const VXMessageDesk &desk);
int VXEmptyMessageTrash(const VXMessageDesk &desk);
