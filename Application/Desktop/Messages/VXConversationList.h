#pragma once

#include "VXListQuery.h"
#include "VXMessageStore.h"

#include <QtCore/QAbstractListModel>

#include <atomic>
#include <memory>

class VXStoreWatch;

/** The conversations, the newest message of each as its row, newest first: a hundred more whenever the end is reached. Looked up on
 *  another thread; follows saves of all threads and processes. Main thread. */
class VXConversationList : public QAbstractListModel
{
    Q_OBJECT

public:
    VXConversationList(const VXMessageStore &store, QObject *parent);
    ~VXConversationList() override;

    /** Only conversations with a message whose text or party has this in it; empty for all. */
    void setSearch(const QString &text);
    bool isReading() const { return _isReading; }
    /** -1 for none. */
    int rowOfConversation(const QString &conversation) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    bool canFetchMore(const QModelIndex &parent) const override;
    void fetchMore(const QModelIndex &parent) override;

Q_SIGNALS:
    void didRead();

private:
    using Rows = QList<VXListRow>;

    void read();
    void take(const Rows &rows, bool isAll);

    const VXMessageStore _store;
    std::unique_ptr<VXStoreWatch> _watch;
    QString _search;
    Rows _rows;
    qsizetype _wanted = 100;
    bool _isAll = false;
    bool _isReading = false;
    bool _isReadDue = false;
    std::shared_ptr<std::atomic<bool>> _isGone = std::make_shared<std::atomic<bool>>(false);
};
