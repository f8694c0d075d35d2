#pragma once

#include "VXError.h"
#include "VXInterfaceExport.h"
#include "VXListQuery.h"

#include <QtCore/QAbstractListModel>
#include <QtCore/QCache>
#include <QtCore/QSet>
#include <QtCore/QThread>

#include <atomic>
#include <memory>

class VXListReader;
class VXStoreWatch;

/**
 * A list of stored objects of any length: it knows how many there are, and reads those that are shown, 200 at a time, on a
 * thread of its own; the 64 pages that were shown last are kept. It follows saves of other threads and processes: a row that is
 * selected stays selected where it is among the rows then read, wherever it has moved. Main thread.
 */
class VX_INTERFACE_EXPORT VXStoreListModel : public QAbstractListModel
{
    Q_OBJECT

public:
    enum Role {
        ValueRole = Qt::UserRole, // what the query made of the row; invalid until it is read
        ObjectIDRole,             // VXManagedObjectID
    };

    explicit VXStoreListModel(QObject *parent = nullptr);
    ~VXStoreListModel() override;

    /** Shows something else. What was asked for before and arrives late is dropped. A query without a coordinator is empty. */
    void setQuery(const VXListQuery &query);

    /** True until the number of rows is known. */
    bool isReading() const { return _isReading; }
    /** The row's ID; a null one while it is not read. */
    VXManagedObjectID objectIDAt(int row) const;
    /** Among the rows that are kept; -1 for none. */
    int rowOfObject(const VXManagedObjectID &objectID) const;
    /** How many pages are kept. */
    qsizetype keptPageCount() const { return _pages.size(); }

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    void multiData(const QModelIndex &index, QModelRoleDataSpan roles) const override;

Q_SIGNALS:
    /** The number of rows, and the first of them, are there, for the first time or anew. */
    void didRead();
    void didFail(const VXError &error);

private:
    using Page = QList<VXListRow>;
    struct Refresh;

    const VXListRow *rowAt(int row) const;
    QVariant value(const VXListRow *row, int role) const;
    void askForPage(qsizetype index) const;
    void takePage(qsizetype index, const Page &rows);
    void refresh();
    void takeRefresh(const Refresh &refresh);
    void dropReader();
    template <class Work, class Take>
    void read(Work work, Take take) const;

    QThread _thread;
    VXListReader *_reader = nullptr; // lives, and is deleted, on that thread
    std::unique_ptr<VXStoreWatch> _watch;
    const std::shared_ptr<std::atomic<quint64>> _generation = std::make_shared<std::atomic<quint64>>(0); // of queries
    qsizetype _count = 0;
    bool _isReading = false;
    bool _isRefreshing = false;
    bool _isRefreshDue = false;
    // Looked at while data are asked for.
    mutable QCache<qsizetype, Page> _pages;
    mutable QSet<qsizetype> _askedFor;
    mutable qsizetype _lastShown = 0; // page
};
