// Pages of basic components.

#include "VXGalleryPage.h"

#include "VXEmptyState.h"
#include "VXSearchField.h"
#include "VXSymbol.h"
#include "VXTextLabel.h"
#include "VXTextTransformers.h"
#include "VXThemeManager.h"

#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QGridLayout>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QRadioButton>
#include <QtWidgets/QSlider>
#include <QtWidgets/QSpinBox>
#include <QtWidgets/QTabWidget>
#include <QtWidgets/QToolButton>

using namespace Qt::StringLiterals;

namespace {

QWidget *rowOf(const QList<QWidget *> &widgets)
{
    auto *const view = new QWidget;
    auto *const row = new QHBoxLayout(view);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(10);
    for (QWidget *const widget : widgets)
        row->addWidget(widget);
    row->addStretch();
    return view;
}

QPushButton *button(const QString &title, bool isEnabled = true)
{
    auto *const view = new QPushButton(VXGalleryString(title));
    view->setEnabled(isEnabled);
    view->setAutoDefault(false);
    return view;
}

QWidget *makeButtons()
{
    auto *const main = button(u"Send"_s);
    main->setDefault(true);
    auto *const danger = button(u"Delete"_s);
    danger->setProperty("vxRole", u"danger"_s);
    auto *const tool = new QToolButton;
    tool->setIcon(VXSymbol::named(u"sync"_s));
    tool->setText(VXGalleryString(u"Sync now"_s));
    tool->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    return rowOf({main, button(u"Edit"_s), danger, button(u"Not now"_s, false), tool});
}

QWidget *makeFields()
{
    auto *const name = new QLineEdit(u"Jane Doe"_s);
    auto *const empty = new QLineEdit;
    empty->setPlaceholderText(VXGalleryString(u"Number"_s));
    auto *const wrong = new QLineEdit(u"12"_s);
    wrong->setProperty("vxTone", u"bad"_s);
    auto *const kinds = new QComboBox;
    kinds->addItems({VXGalleryString(u"mobile"_s), VXGalleryString(u"home"_s), VXGalleryString(u"work"_s)});
    auto *const days = new QSpinBox;
    days->setValue(90);
    auto *const off = new QLineEdit(VXGalleryString(u"Not now"_s));
    off->setEnabled(false);
    const auto call = [](QWidget *field, const QString &title) { field->setAccessibleName(VXGalleryString(title)); };
    call(name, u"Name"_s);
    call(empty, u"Number"_s);
    call(wrong, u"Number"_s);
    call(kinds, u"Kind of number"_s);
    call(days, u"Days"_s);
    return rowOf({name, empty, wrong, kinds, days, off});
}

QWidget *makeChoices()
{
    auto *const on = new QCheckBox(VXGalleryString(u"Contacts"_s));
    on->setChecked(true);
    auto *const off = new QCheckBox(VXGalleryString(u"Texts"_s));
    auto *const part = new QCheckBox(VXGalleryString(u"Some calls"_s));
    part->setCheckState(Qt::PartiallyChecked);
    auto *const disabled = new QCheckBox(VXGalleryString(u"Not now"_s));
    disabled->setChecked(true);
    disabled->setEnabled(false);
    auto *const first = new QRadioButton(VXGalleryString(u"Light"_s));
    first->setChecked(true);
    return rowOf({on, off, part, disabled, first, new QRadioButton(VXGalleryString(u"Dark"_s))});
}

QWidget *makeTexts()
{
    auto *const view = new QWidget;
    auto *const column = new QVBoxLayout(view);
    column->setContentsMargins(0, 0, 0, 0);
    const QString text = VXGalleryString(u"What is read first, what explains it, and what stands beside it."_s);
    for (const auto role :
         {VXTextLabel::Role::Title, VXTextLabel::Role::Body, VXTextLabel::Role::Secondary, VXTextLabel::Role::Caption})
        column->addWidget(new VXTextLabel(text, role));
    for (const auto &tone : {u"good"_s, u"warning"_s, u"bad"_s}) {
        auto *const label = new VXTextLabel(VXGalleryString("State "_L1 + tone));
        label->setProperty("vxTone", tone);
        column->addWidget(label);
    }
    return view;
}

} // namespace

QWidget *VXMakeControlsPage()
{
    QVBoxLayout *column = nullptr;
    QWidget *const page = VXMakePage(u"Theme and controls"_s,
                                     u"Light, dark, or as the desktop is; changed while windows are open."_s, &column);
    VXAddSection(*column, u"Buttons"_s, makeButtons());
    VXAddSection(*column, u"Fields"_s, makeFields());
    VXAddSection(*column, u"Choices"_s, makeChoices());
    auto *const bar = new QProgressBar;
    bar->setValue(62);
    bar->setTextVisible(false);
    auto *const slider = new QSlider(Qt::Horizontal);
    slider->setValue(40);
    slider->setAccessibleName(VXGalleryString(u"Values"_s));
    auto *const tabs = new QTabWidget;
    tabs->addTab(new QWidget, VXGalleryString(u"Contacts"_s));
    tabs->addTab(new QWidget, VXGalleryString(u"Texts"_s));
    tabs->setMaximumHeight(48);
    VXAddSection(*column, u"Values"_s, bar);
    column->addWidget(slider);
    column->addWidget(tabs);
    VXAddSection(*column, u"Texts on screen"_s, makeTexts());
    column->addStretch();
    return page;
}

QWidget *VXMakeSymbolsPage()
{
    QVBoxLayout *column = nullptr;
    QWidget *const page = VXMakePage(u"Symbols"_s, u"Drawn in one colour, which is that of the theme."_s, &column);
    auto *const view = new QWidget;
    auto *const grid = new QGridLayout(view);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setSpacing(10);
    constexpr int columns = 8;
    const QStringList names = VXSymbol::names();
    for (int i = 0; i < names.size(); ++i) {
        auto *const cell = new QToolButton;
        cell->setIcon(VXSymbol::named(names.at(i)));
        cell->setIconSize({24, 24});
        cell->setText(names.at(i));
        cell->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
        cell->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
        grid->addWidget(cell, i / columns, i % columns);
    }
    VXAddSection(*column, {}, view);
    column->addStretch();
    return page;
}

QWidget *VXMakeEmptyPage()
{
    QVBoxLayout *column = nullptr;
    QWidget *const page = VXMakePage(
        u"Empty places"_s, u"A list without anything says what belongs there, and has the first step."_s, &column);
    auto *const view = new QWidget;
    auto *const row = new QHBoxLayout(view);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(16);
    struct Place
    {
        QString symbol;
        QString title;
        QString text;
        QString action;
    };
    const Place places[] = {
        {u"phone-plus"_s, u"No phone yet"_s, u"Add one to bring its contacts and messages here."_s, u"Add a Phone"_s},
        {u"search"_s, u"Nothing found"_s, u"No contact has \"xyz\" in its name or numbers."_s, {}},
    };
    for (const Place &place : places) {
        auto *const empty = new VXEmptyState(place.symbol, VXGalleryString(place.title), VXGalleryString(place.text));
        if (!place.action.isEmpty())
            empty->setActionTitle(VXGalleryString(place.action));
        empty->setAttribute(Qt::WA_StyledBackground);
        empty->setProperty("vxSurface", u"card"_s);
        empty->setMinimumHeight(360);
        row->addWidget(empty, 1);
    }
    VXAddSection(*column, {}, view);
    column->addStretch();
    return page;
}

QWidget *VXMakeTransformersPage()
{
    QVBoxLayout *column = nullptr;
    QWidget *const page = VXMakePage(u"Dates and numbers"_s,
                                     u"Values as people say them, in the user's language, zone and format."_s, &column);
    auto *const view = new QWidget;
    auto *const grid = new QGridLayout(view);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(28);
    grid->setVerticalSpacing(7);
    const QDateTime now(QDate::currentDate(), QTime(9, 12));
    const QList<QPair<QString, QVariant>> values{
        {u"VXDateTransformer"_s, now},
        {u"VXDateTransformer"_s, now.addDays(-1)},
        {u"VXDateTransformer"_s, now.addDays(-4)},
        {u"VXDateTransformer"_s, now.addDays(-40)},
        {u"VXDateTransformer"_s, now.addDays(-900)},
        {u"VXShortDateTransformer"_s, now},
        {u"VXShortDateTransformer"_s, now.addDays(-900)},
        {u"VXDayTransformer"_s, now.addDays(1)},
        {u"VXDurationTransformer"_s, 65},
        {u"VXDurationTransformer"_s, 7384},
        {u"VXNumberTransformer"_s, 1234567},
        {u"VXNumberTransformer"_s, 3.14159},
        {u"VXByteCountTransformer"_s, 1536000},
    };
    int row = 0;
    for (const auto &[name, value] : values) {
        grid->addWidget(new VXTextLabel(name, VXTextLabel::Role::Secondary), row, 0);
        auto *const raw = new VXTextLabel(value.toString(), VXTextLabel::Role::Secondary);
        raw->setWordWrap(false);
        grid->addWidget(raw, row, 1);
        const auto transformer = VXValueTransformer::valueTransformerForName(name);
        grid->addWidget(new VXTextLabel(transformer ? transformer->transformedValue(value).toString() : u"?"_s), row,
                        2);
        ++row;
    }
    grid->setColumnStretch(2, 1);
    VXAddSection(*column, {}, view);
    column->addStretch();
    return page;
}
