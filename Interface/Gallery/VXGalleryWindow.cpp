#include "VXGalleryWindow.h"

#include "VXGalleryPage.h"
#include "VXSplitView.h"
#include "VXSymbol.h"
#include "VXTextLabel.h"
#include "VXThemeManager.h"
#include "VXWindowMemory.h"

#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QScrollArea>

using namespace Qt::StringLiterals;

VXGalleryWindow::VXGalleryWindow() : _list(new QListWidget), _place(new QScrollArea)
{
    setWindowTitle(VXGalleryString(u"Interface gallery"_s));
    auto *const side = new QWidget;
    side->setAttribute(Qt::WA_StyledBackground);
    side->setProperty("vxSurface", u"sidebar"_s);
    auto *const theme = new QComboBox;
    theme->setAccessibleName(VXGalleryString(u"Theme"_s));
    theme->addItems({VXGalleryString(u"As the desktop"_s), VXGalleryString(u"Light"_s), VXGalleryString(u"Dark"_s)});
    theme->setCurrentIndex(int(VXThemeManager::sharedThemeManager().choice()));
    connect(theme, &QComboBox::activated, this,
            [](int index) { VXThemeManager::sharedThemeManager().setChoice(VXThemeChoice(index)); });
    _list->setProperty("vxSurface", u"sidebar"_s);
    _list->setAccessibleName(VXGalleryString(u"Pages"_s));
    _list->setIconSize({18, 18});
    for (const VXGalleryPage &page : VXGalleryPages())
        _list->addItem(new QListWidgetItem(VXSymbol::named(page.symbol), VXGalleryString(page.title)));
    connect(_list, &QListWidget::currentRowChanged, this, &VXGalleryWindow::showPage);
    auto *const column = new QVBoxLayout(side);
    column->setContentsMargins(12, 16, 12, 12);
    column->addWidget(new VXTextLabel(windowTitle(), VXTextLabel::Role::Title));
    column->addWidget(_list, 1);
    column->addWidget(theme);

    _place->setWidgetResizable(true);
    _place->setFrameShape(QFrame::NoFrame);
    auto *const panes = new VXSplitView;
    panes->addWidget(side);
    panes->addWidget(_place);
    panes->setStretchFactor(1, 1);
    panes->setSizes({230, 800});
    panes->setAutosaveName(u"gallery"_s);
    auto *const all = new QHBoxLayout(this);
    all->setContentsMargins(0, 0, 0, 0);
    all->addWidget(panes);
    VXRememberWindow(*this, u"gallery"_s, {1040, 720});
    _list->setCurrentRow(0);
}

VXGalleryWindow::~VXGalleryWindow() = default;

void VXGalleryWindow::showPage(int index)
{
    if (_list->currentRow() != index)
        return _list->setCurrentRow(index);
    _place->setWidget(VXGalleryPages().at(index).make());
}
