#include "VXGalleryPage.h"

#include "VXInterface.h"
#include "VXTextLabel.h"

#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QWidget>

using namespace Qt::StringLiterals;

QString VXGalleryString(const QString &key)
{
    return VXInterfaceString(key, u"Gallery"_s);
}

QWidget *VXMakePage(const QString &title, const QString &text, QVBoxLayout **column, QWidget *page)
{
    if (page == nullptr)
        page = new QWidget;
    *column = new QVBoxLayout(page);
    (*column)->setContentsMargins(32, 26, 32, 26);
    (*column)->setSpacing(8);
    (*column)->addWidget(new VXTextLabel(VXGalleryString(title), VXTextLabel::Role::Headline));
    (*column)->addWidget(new VXTextLabel(VXGalleryString(text), VXTextLabel::Role::Secondary));
    return page;
}

void VXAddSection(QVBoxLayout &column, const QString &title, QWidget *content)
{
    column.addSpacing(14);
    if (!title.isEmpty())
        column.addWidget(new VXTextLabel(VXGalleryString(title), VXTextLabel::Role::Title));
    const bool isButton = qobject_cast<QAbstractButton *>(content) != nullptr;
    column.addWidget(content, 0, isButton ? Qt::AlignLeft : Qt::Alignment());
}

QList<VXGalleryPage> VXGalleryPages()
{
    return {
        {u"controls"_s, u"sun"_s, u"Theme and controls"_s, VXMakeControlsPage},
        {u"alerts"_s, u"info"_s, u"Alerts"_s, VXMakeAlertsPage},
        {u"progress"_s, u"clock"_s, u"Progress"_s, VXMakeProgressPage},
        {u"activities"_s, u"sync"_s, u"Status bar"_s, VXMakeActivitiesPage},
        {u"sheet"_s, u"export"_s, u"Sheets"_s, VXMakeSheetPage},
        {u"bezel"_s, u"call"_s, u"Bezel"_s, VXMakeBezelPage},
        {u"tokens"_s, u"person"_s, u"Recipients"_s, VXMakeTokensPage},
        {u"templates"_s, u"edit"_s, u"Texts with fields"_s, VXMakeTemplatesPage},
        {u"filters"_s, u"filter"_s, u"Filters"_s, VXMakeFiltersPage},
        {u"tables"_s, u"list"_s, u"Panes, tables, search"_s, VXMakeTablesPage},
        {u"devices"_s, u"phone"_s, u"Phones"_s, VXMakeDevicesPage},
        {u"hotkeys"_s, u"keyboard"_s, u"Hot keys"_s, VXMakeHotKeysPage},
        {u"transformers"_s, u"tag"_s, u"Dates and numbers"_s, VXMakeTransformersPage},
        {u"empty"_s, u"inbox"_s, u"Empty places"_s, VXMakeEmptyPage},
        {u"symbols"_s, u"window"_s, u"Symbols"_s, VXMakeSymbolsPage},
    };
}
