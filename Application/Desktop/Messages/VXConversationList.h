#pragma once

#include "VXConversationReader.h"

#include <QtCore/QAbstractListModel>

#include <atomic>
#include <memory>

class VXStoreWatch;

/**
 * The conversations, each represented by its newest message, newest first; a hundred more are read whenever the end is
 * reached. Or what a search has found in a folder. Looked up on another thread, and shown as it is found; follows saves
 * of all threads and processes. Main thread.
 */
class VXConversationList : public QAbstractListModel
{
    Q_OBJECT

public:
    VXConversationList(const VXMessageStore &store, QObject *parent);
    ~VXConversationList() override;

    /** Shows only conversations with a message whose text or party contains this; empty for all. With a folder, shows
     *  such messages in it, each in a row of its own. */
    void setSearch(const QString &text, const VXManagedObjectID &folder = {});
    /** True while more may arrive without being requested. */
    bool isReading() const { return _isReading; }
    /** -1 for none. */
    int rowOfConversation(const QString &conversation) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    bool canFetchMore(const QModelIndex &parent) const override;
    void fetchMore(const QModelIndex &parent) override;

Q_SIGNALS:
    /** More has been read, or everything that was to be read. */
    void didRead();

private:
    using Rows = QList<VXListRow>;

    void read();
    void didEnd();
    void take(const VXConversationReader::Answer &answer);
    int rowLike(const VXListRow &row) const;

    std::unique_ptr<VXStoreWatch> _watch;
    const std::shared_ptr<VXConversationReader> _reader;
    VXConversationReader::Wanted _wanted;
    Rows _rows;
    bool _isAll = false;
    bool _isReading = false;
    bool _isAtWork = false; // the reader is working
    bool _isReadDue = false;
    const std::shared_ptr<std::atomic<quint64>> _turn =
        std::make_shared<std::atomic<quint64>>(0); // incrementing it ends a reading
};
