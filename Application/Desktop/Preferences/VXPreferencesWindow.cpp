#include "VXPreferencesWindow.h"

#include "VXDesktopText.h"
#include "VXPreferencePages.h"
#include "VXSection.h"
#include "VXSidebar.h"

#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QScrollArea>
#include <QtWidgets/QStackedWidget>

using namespace Qt::StringLiterals;

VXPreferencesWindow::VXPreferencesWindow(QWidget *parent)
    : QDialog(parent), _list(new VXSidebar(this)), _pages(new QStackedWidget(this))
{
    setWindowTitle(VXText("Preferences"));
    resize(780, 560);
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
    _list->addPage(title, icon);
    auto *const scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidget(page);
    for (QPushButton *const button : page->findChildren<QPushButton *>())
        button->setAutoDefault(false); // each choice is applied at once, so there is no default button
    scroll->setObjectName(key);
    scroll->setAccessibleName(title);
    _pages->addWidget(scroll);
}

void VXPreferencesWindow::showPage(const QString &key)
{
    for (int row = 0; row < _list->count(); ++row) {
        if (_pages->widget(row)->objectName() == key)
            _list->setCurrentRow(row);
    }
}
