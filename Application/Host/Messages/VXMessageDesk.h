#pragma once

#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXMessageStore.h"

#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QString>

/** What the verbs of "vornix messages" need. */
struct VXMessageDesk
{
    VXHostContext &host;
    const VXMessageStore &store;
    VXManagedObjectContext &context;

    QString operand(qsizetype index) const { return host.options.operand(index); }
    int fail(const QString &text) const { return host.output.fail(text); }
    int fail(const VXError &error) const { return fail(error.localizedDescription()); }

    /** The folder with that name or URI, or that of a phone by its name; null, with a message to the user, if there is
     *  none. */
    VXManagedObjectPtr folderNamed(const QString &text) const;
    /** The message with that ID, as "list" shows it, or that URI; null, with a message to the user, if there is none.
     *  For one that was moved off its phone, the copy, which is also reported. */
    VXManagedObjectPtr messageNamed(const QString &text) const;
    /** All of them; empty, with a message to the user, if one of them does not exist. */
    QList<VXManagedObjectPtr> messagesNamed(const QStringList &texts) const;
    /** Saves the changes, and answers; otherwise says why that was impossible. */
    int saveAndAnswer(const QString &text, const QJsonObject &json) const;
};

/** "x-coredata://..." */
[[nodiscard]] QString VXURIOfObject(const VXManagedObjectPtr &object);

// The verbs about folders, and those that remove messages. Each returns an exit status.
int VXShowMessageFolders(const VXMessageDesk &desk);
int VXAddMessageFolder(const VXMessageDesk &desk);
int VXRenameMessageFolder(const VXMessageDesk &desk);
int VXRemoveMessageFolder(const VXMessageDesk &desk);
int VXDeleteMessages(const VXMessageDesk &desk);
int VXEmptyMessageTrash(const VXMessageDesk &desk);
