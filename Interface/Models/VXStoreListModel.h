#pragma once

#include "VXError.h"
#include "VXInterfaceExport.h"
#include "VXListQuery.h"

#include <QtCore/QAbstractListModel>
#include <QtCore/QCache>
#include <QtCore/QHash>
#include <QtCore/QItemSelectionModel>
#include <QtCore/QPointer>
#include <QtCore/QSet>
#include <QtCore/QThread>

#include <atomic>
#include <memory>

class VXListReader;
class VXStoreWatch;

/**
 * A list of stored objects of any length: it counts them, and reads those that are shown, 200 at a time, on a thread of
 * its own; the 64 pages shown last are cached. It follows saves of other threads and processes: a selected row remains
 * selected, wherever it has moved, if it is then among the rows shown or the first 20,000; otherwise it leaves the
 * selection. While a selection has rows that are not read, the order of all is read, and kept for them, so that they
 * follow, too; those that change before it is read leave the selection. Main thread.
 */
class VX_INTERFACE_EXPORT VXStoreListModel : public QAbstractListModel
{
    Q_OBJECT

public:
    enum Role {
        ValueRole = Qt::UserRole, // VXListRow::value; invalid until it is read
        ObjectIDRole,             // VXManagedObjectID
    };

    explicit VXStoreListModel(QObject *parent = nullptr);
    ~VXStoreListModel() override;

    /** Shows another query. Late results of the former one are dropped. A query without a coordinator is empty;
     *  one with it and without request or makeRow fails an assertion. */
    void setQuery(const VXListQuery &query);

    /** The selection of the view that shows the list: what it has remains selected as said above. */
    void followSelection(QItemSelectionModel *selection);

    /** True until the number of rows is known. */
    bool isReading() const { return _isReading; }
    /** True while rows change since others have saved: nobody has chosen what becomes current then. */
    bool isFollowing() const { return _isFollowing; }
    /** The row's ID; null while it is not read. */
    VXManagedObjectID objectIDAt(int row) const;
    /** The IDs of rows, read at once where they are not known. None when that fails, with an error, or when the store has
     *  changed since the list was read, without. */
    std::optional<QList<VXManagedObjectID>> objectIDsOf(const QModelIndexList &rows, VXError *error = nullptr) const;
    /** The row of an object among those cached; -1 for none. */
    int rowOfObject(const VXManagedObjectID &objectID) const;
    /** The number of cached pages. */
    qsizetype keptPageCount() const { return _pages.size(); }

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    void multiData(const QModelIndex &index, QModelRoleDataSpan roles) const override;

Q_SIGNALS:
    /** The number of rows and the first rows were read, or read again. */
    void didRead();
    void didFail(const VXError &error);

private:
    using Page = QList<VXListRow>;
    struct Refresh;
    struct Known;

    const VXListRow *rowAt(int row) const;
    Known knownNow() const;
    bool isOrderOfRows(const QList<VXManagedObjectID> &order) const;
    void noteSelected();
    bool holdSelected();
    void readOrder();
    void takePages(const Refresh &refresh);
    void moveHeld(const Refresh &refresh);
    bool isInPlace(const Refresh &refresh) const;
    QVariant value(const VXListRow *row, int role) const;
    void askForPage(qsizetype index) const;
    void takePage(qsizetype index, const Page &rows);
    void refresh();
    void takeRefresh(const Refresh &refresh);
    void dropReader();
    template <class Work, class Take>
    void read(Work work, Take take) const;

    QThread _thread;
    VXListQuery _query;
    VXListReader *_reader = nullptr; // lives, and is deleted, on _thread
    std::unique_ptr<VXStoreWatch> _watch;
    // counts queries
    const std::shared_ptr<std::atomic<quint64>> _generation = std::make_shared<std::atomic<quint64>>(0);
    qsizetype _count = 0;
    QPointer<QItemSelectionModel> _selection;
    QHash<int, VXManagedObjectID> _held; // objects of rows that are selected, as far as they were read
    QList<VXManagedObjectID> _order;     // of all rows, while some that are selected are not read
    bool _isReadingOrder = false;
    bool _isTakingRows = false;
    bool _isReading = false;
    bool _isFollowing = false;
    bool _isRefreshing = false;
    bool _isRefreshDue = false;
    // Modified while data is requested.
    mutable QCache<qsizetype, Page> _pages;
    mutable QSet<qsizetype> _askedFor;
    mutable qsizetype _lastShown = 0; // the last page shown
};
