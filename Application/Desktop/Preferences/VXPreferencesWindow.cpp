#include "VXPreferencesWindow.h"

#include "VXDesktopText.h"
#include "VXPreferencePages.h"
#include "VXSection.h"
#include "VXSymbol.h"

#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QScrollArea>
#include <QtWidgets/QStackedWidget>

using namespace Qt::StringLiterals;

VXPreferencesWindow::VXPreferencesWindow(QWidget *parent)
    : QDialog(parent), _list(new QListWidget(this)), _pages(new QStackedWidget(this))
{
    setWindowTitle(VXText("Preferences"));
    resize(780, 560);
    _list->setFixedWidth(180);
    _list->setFrameShape(QFrame::NoFrame);
    _list->setProperty("vxSurface", u"sidebar"_s);
    _list->setAccessibleName(VXText("Pages"));
    auto *const row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    row->addWidget(_list);
    row->addWidget(VXMakeLine(Qt::Vertical));
    row->addWidget(_pages, 1);
    add(u"general"_s, VXText("General"), u"gear"_s, VXMakeGeneralPage());
    add(u"phones"_s, VXText("Phones"), u"phone"_s, VXMakePhonesPage());
    add(u"plugins"_s, VXText("Plugins"), u"window"_s, VXMakePluginsPage());
    add(u"keys"_s, VXText("Hot keys"), u"keyboard"_s, VXMakeHotKeysPage());
    add(u"data"_s, VXText("Data"), u"folder"_s, VXMakeDataPage());
    add(u"privacy"_s, VXText("Privacy"), u"person"_s, VXMakePrivacyPage());
    connect(_list, &QListWidget::currentRowChanged, _pages, &QStackedWidget::setCurrentIndex);
    _list->setCurrentRow(0);
}

void VXPreferencesWindow::add(const QString &key, const QString &title, const QString &icon, QWidget *page)
{
    auto *const item = new QListWidgetItem(VXSymbol::named(icon), title, _list);
    item->setData(Qt::UserRole, key);
    item->setSizeHint({0, fontMetrics().height() + 20});
    auto *const scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidget(page);
    _pages->addWidget(scroll);
}

void VXPreferencesWindow::showPage(const QString &key)
{
    for (int row = 0; row < _list->count(); ++row) {
        if (_list->item(row)->data(Qt::UserRole).toString() == key)
            _list->setCurrentRow(row);
    }
}
