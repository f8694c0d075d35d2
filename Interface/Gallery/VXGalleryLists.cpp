// Pages of lists and activities.

#include "VXGalleryPage.h"

#include "VXActivityList.h"
#include "VXActivityManager.h"
#include "VXActivityView.h"
#include "VXDevicePopupButton.h"
#include "VXOnlineMark.h"
#include "VXSearchField.h"
#include "VXSplitView.h"
#include "VXStatusBar.h"
#include "VXTableHeader.h"
#include "VXTextLabel.h"

#include <QtGui/QStandardItemModel>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QListView>
#include <QtWidgets/QTreeView>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

/** An activity's delegate that can be stopped. */
class Stoppable : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;
    Q_INVOKABLE void cancel(QObject *) {}
};

/** A page with activities that run while it exists: they end before the views that show them. */
class BusyPage : public QWidget
{
public:
    ~BusyPage() override
    {
        for (const VXActivity::Ptr &activity : std::as_const(_activities))
            VXActivityManager::sharedActivityManager().removeActivity(activity);
    }

    VXActivity::Ptr addActivity(const QString &title, const QString &subtitle, double value, double maximum)
    {
        VXActivityManager &manager = VXActivityManager::sharedActivityManager();
        const VXActivity::Ptr activity = manager.addActivityWithTitle(VXGalleryString(title));
        activity->setSubtitle(VXGalleryString(subtitle));
        activity->setDoubleValue(value);
        activity->setMaxValue(maximum);
        activity->setDelegate(&_stoppable);
        _activities.append(activity);
        return activity;
    }

private:
    Stoppable _stoppable;
    QList<VXActivity::Ptr> _activities;
};

QStandardItemModel *callsModel(QObject *parent)
{
    auto *const model = new QStandardItemModel(parent);
    model->setHorizontalHeaderLabels({VXGalleryString(u"Caller"_s), VXGalleryString(u"Number"_s),
                                      VXGalleryString(u"Time"_s), VXGalleryString(u"Duration"_s)});
    const QList<QStringList> rows{
        {u"Jane Doe"_s, u"+44 20 7946 0000"_s, u"09:12"_s, u"1 min 5 s"_s},
        {u"Joe Hill"_s, u"+1 555 0123"_s, u"08:40"_s, u"12 s"_s},
        {u"Janet Miller"_s, u"+49 30 901820"_s, VXGalleryString(u"yesterday"_s), u"2 h 3 min"_s}};
    for (const QStringList &row : rows) {
        QList<QStandardItem *> items;
        for (const QString &text : row)
            items.append(new QStandardItem(text));
        model->appendRow(items);
    }
    return model;
}

} // namespace

QWidget *VXMakeActivitiesPage()
{
    QVBoxLayout *column = nullptr;
    auto *const page = new BusyPage;
    VXMakePage(u"Status bar"_s, u"What runs stands below the window, each with its stop button."_s, &column, page);
    auto *const bar = new VXStatusBar;
    bar->activityList().setDelay(0);
    const VXActivity::Ptr reading = page->addActivity(u"Nokia"_s, u"messages 340 of 1200"_s, 340, 1200);
    page->addActivity(u"Backup"_s, u"contacts"_s, 0, 0);
    const VXActivity::Ptr loading = page->addActivity(u"Downloading a plugin"_s, u"1.2 of 3.4 MB"_s, 1.2, 3.4);
    bar->setText(VXGalleryString(u"1,204 contacts, 2 phones"_s));
    VXAddSection(*column, u"Running"_s, bar);
    auto *const blocks = new QWidget;
    blocks->setAttribute(Qt::WA_StyledBackground);
    blocks->setProperty("vxSurface", u"card"_s);
    auto *const list = new QVBoxLayout(blocks);
    list->setContentsMargins(16, 14, 16, 14);
    list->setSpacing(14);
    list->addWidget(new VXActivityView(reading, VXActivityView::Shape::Block));
    list->addWidget(new VXActivityView(loading, VXActivityView::Shape::Block));
    VXAddSection(*column, u"All of them"_s, blocks);
    auto *const idle = new VXStatusBar;
    idle->activityList().setDelay(1'000'000);
    idle->setText(VXGalleryString(u"1,204 contacts, 2 phones"_s));
    VXAddSection(*column, u"Nothing runs"_s, idle);
    column->addStretch();
    return page;
}

QWidget *VXMakeTablesPage()
{
    QVBoxLayout *column = nullptr;
    QWidget *const page =
        VXMakePage(u"Panes, tables, search"_s, u"Widths, order, columns and panes stay as they were left."_s, &column);
    auto *const search = new VXSearchField;
    search->setText(u"jan"_s);
    search->setResultCount(3);
    auto *const nothing = new VXSearchField;
    nothing->setPlace(VXGalleryString(u"Search calls"_s));
    VXAddSection(*column, u"Search"_s, search);
    column->addWidget(nothing);

    auto *const folders = new QListView;
    folders->setModel([&] {
        auto *const model = new QStandardItemModel(folders);
        for (const auto &name : {u"All calls"_s, u"Missed"_s, u"Outgoing"_s})
            model->appendRow(new QStandardItem(VXGalleryString(name)));
        return model;
    }());
    folders->setCurrentIndex(folders->model()->index(0, 0));
    folders->setEditTriggers(QAbstractItemView::NoEditTriggers);
    folders->setAccessibleName(VXGalleryString(u"Folders"_s));
    auto *const table = new QTreeView;
    table->setAccessibleName(VXGalleryString(u"All calls"_s));
    table->setRootIsDecorated(false);
    table->setUniformRowHeights(true);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    auto *const header = new VXTableHeader;
    table->setHeader(header);
    table->setModel(callsModel(table));
    header->resizeSection(0, 180);
    header->resizeSection(1, 180);
    header->setAutosaveName(u"gallery"_s);
    table->setCurrentIndex(table->model()->index(1, 0));
    auto *const panes = new VXSplitView;
    panes->addWidget(folders);
    panes->addWidget(table);
    panes->setSizes({180, 600});
    panes->setAutosaveName(u"gallery.tables"_s);
    panes->setMinimumHeight(240);
    VXAddSection(*column, u"Panes and a table"_s, panes);
    column->addStretch();
    return page;
}

QWidget *VXMakeDevicesPage()
{
    QVBoxLayout *column = nullptr;
    QWidget *const page = VXMakePage(
        u"Phones"_s, u"Which phone, and whether it can be reached: by form, not by colour alone."_s, &column);
    auto *const popup = new VXDevicePopupButton;
    auto *const row = new QWidget;
    auto *const line = new QHBoxLayout(row);
    line->setContentsMargins(0, 0, 0, 0);
    line->addWidget(popup);
    line->addStretch();
    VXAddSection(*column, u"No phone yet"_s, row);

    constexpr int onlineRole = Qt::UserRole + 1;
    auto *const list = new QListView;
    auto *const model = new QStandardItemModel(list);
    const QList<QPair<QString, bool>> phones{{u"Nokia"_s, true}, {u"Pixel"_s, false}};
    for (const auto &[name, isOnline] : phones) {
        auto *const item = new QStandardItem(u"vxdevice://localhost/org.example.phones/"_s + name);
        item->setData(isOnline, onlineRole);
        item->setData(name + ", "_L1 + VXOnlineText(isOnline), Qt::AccessibleTextRole);
        model->appendRow(item);
    }
    list->setModel(model);
    auto *const delegate = new VXTransformerDelegate(u"VXDeviceNameAtURL"_s, list);
    delegate->setOnlineRole(onlineRole);
    list->setItemDelegate(delegate);
    list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list->setAccessibleName(VXGalleryString(u"Phones"_s));
    list->setMaximumHeight(90);
    list->setProperty("vxFramed", true);
    VXAddSection(*column, u"Marks in a list"_s, list);
    column->addStretch();
    return page;
}

#include "VXGalleryLists.moc"
