#pragma once

#include "VXListQuery.h"
#include "VXMessageScan.h"
#include "VXMessageStore.h"

#include <functional>

/** Reads the content of a list of conversations, newest first. One thread at a time. */
class VXConversationReader
{
public:
    struct Wanted
    {
        QString text = {};             // which messages or their party contain; empty for all conversations
        VXManagedObjectID folder = {}; // whose messages with the text are wanted, each as a row; null for conversations
        qsizetype count = 0;           // of rows
        bool isForChanged = false;     // messages have changed since last time
    };
    struct Answer
    {
        QList<VXListRow> rows = {};
        bool isAll = false;  // there are no more
        bool isLast = false; // last result of this reading
    };

    explicit VXConversationReader(const VXMessageStore &store) : _store(store) {}

    /** Reports what it has found whenever there is more, and at the end; stops as soon as `isWanted` returns false. */
    void read(const Wanted &wanted, const std::function<bool()> &isWanted,
              const std::function<void(const Answer &)> &tell);

    static QString conversationOf(const VXListRow &row);

private:
    using Messages = QList<VXManagedObjectPtr>;

    Answer newest(qsizetype count, VXManagedObjectContext &context) const;
    bool addFolder(const VXManagedObjectPtr &folder, qsizetype count, VXManagedObjectContext &context,
                   Messages *found) const;
    QList<VXPredicate> conditionsFor(const Wanted &wanted, VXManagedObjectContext &context) const;
    Messages foldersOfConversations(VXManagedObjectContext &context) const;
    QList<VXListRow> withUnread(QList<VXListRow> rows, VXManagedObjectContext &context) const;

    const VXMessageStore _store;
    VXMessageScan _scan;
    VXManagedObjectID _scanned; // the folder
};
