#pragma once

#include "VXMessageStore.h"
#include "VXMessageText.h"

#include <QtCore/QAbstractListModel>

#include <atomic>
#include <memory>

class VXStoreWatch;

/** The messages with one other party, oldest first: the newest 200, and 200 more above each time the top is reached, up to 5,000;
 *  or as many as it takes to have one that is sought. Read on another thread. Main thread. */
class VXConversationModel : public QAbstractListModel
{
    Q_OBJECT

public:
    static constexpr qsizetype portion = 200;
    static constexpr qsizetype mostRows = 5000;

    VXConversationModel(const VXMessageStore &store, QObject *parent);
    ~VXConversationModel() override;

    /** Of somebody with several addresses all of them, in any order. Empty shows nothing. `sought`: a message that is to be among
     *  what is read; null for none. */
    void setConversations(const QStringList &keys, const VXManagedObjectID &sought = {});
    const QStringList &conversations() const { return _keys; }
    const VXShownMessage &messageAt(int row) const { return _rows.at(row).shown; }
    VXManagedObjectID objectIDAt(int row) const { return _rows.at(row).objectID; }
    /** -1 for none. */
    int rowOfObject(const VXManagedObjectID &objectID) const;
    bool hasOlder() const { return !_isAll && _wanted < mostRows; }
    void readOlder();

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;

Q_SIGNALS:
    /** The conversation has changed, or the result of a reading has arrived. `added`: new rows at the end. */
    void didRead(bool isOther, int added);

private:
    struct Row
    {
        VXManagedObjectID objectID;
        VXShownMessage shown;
    };
    using Rows = QList<Row>;
    struct Found
    {
        Rows rows;
        qsizetype readCount = 0; // with those in the trash, which are not shown
    };

    void read();
    void take(const Found &found, qsizetype wanted);
    /** `kept` is shown even if it is in the trash. */
    static Found find(const VXMessageStore &store, const QStringList &keys, qsizetype wanted,
                      const VXManagedObjectID &kept);
    static qsizetype wantedFor(const VXMessageStore &store, const QStringList &keys, const VXManagedObjectID &sought);

    const VXMessageStore _store;
    std::unique_ptr<VXStoreWatch> _watch;
    std::unique_ptr<VXStoreWatch> _outboxWatch;
    QStringList _keys; // sorted
    VXManagedObjectID _sought;
    VXManagedObjectID _kept; // what was sought last
    Rows _rows;
    qsizetype _wanted = portion;
    qsizetype _readCount = 0;
    quint64 _asked = 0;
    bool _isAll = false;
    bool _isOther = false;
    std::shared_ptr<std::atomic<bool>> _isGone = std::make_shared<std::atomic<bool>>(false);
};
