#include "VXSection.h"

#include "VXManagedObjectContext.h"
#include "VXNoticeBar.h"
#include "VXSplitView.h"
#include "VXThemeManager.h"

#include <QtGui/QPainter>
#include <QtWidgets/QBoxLayout>

using namespace Qt::StringLiterals;

VXSection::VXSection(const Info &info, QWidget *parent) : QWidget(parent), _info(info)
{
    setObjectName(info.key);
    setAccessibleName(info.title);
}

VXNoticeBar &VXSection::notices()
{
    if (_notices == nullptr)
        _notices = new VXNoticeBar(this);
    return *_notices;
}

void VXSection::setBadge(int count)
{
    if (std::exchange(_badge, count) != count)
        Q_EMIT badgeDidChange();
}

void VXSection::showBeside(QWidget *list, QWidget *detail)
{
    auto *const split = new VXSplitView(Qt::Horizontal, this);
    split->setChildrenCollapsible(false);
    split->addWidget(list);
    split->addWidget(detail);
    split->setStretchFactor(1, 1);
    split->setSizes({320, 640});
    split->setAutosaveName(key());
    auto *const column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(split);
}

VXManagedObjectID VXSection::objectAtURI(const VXPersistentStoreCoordinator::Ptr &coordinator, const QUrl &uri,
                                         QStringView entity)
{
    if (!coordinator || uri.path().section(u'/', 1, 1) != entity)
        return {};
    const VXManagedObjectID objectID = coordinator->objectIDForURIRepresentation(uri);
    if (objectID.isNull())
        return {};
    VXManagedObjectContext context(coordinator);
    return context.existingObjectWithID(objectID) ? objectID : VXManagedObjectID();
}

namespace {

class Line : public QWidget
{
public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter(this).fillRect(rect(), VXThemeManager::sharedThemeManager().colors().line);
    }
};

} // namespace

QWidget *VXMakeLine(Qt::Orientation orientation, QWidget *parent)
{
    auto *const line = new Line(parent);
    if (orientation == Qt::Horizontal)
        line->setFixedHeight(1);
    else
        line->setFixedWidth(1);
    return line;
}
