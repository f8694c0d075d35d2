#include "VXEventPage.h"

#include "VXDateText.h"
#include "VXDesktopText.h"
#include "VXHistoryText.h"
#include "VXSymbol.h"
#include "VXTextLabel.h"

#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QFrame>
#include <QtWidgets/QPushButton>

using namespace Qt::StringLiterals;

VXEventPage::VXEventPage(QWidget *parent)
    : QScrollArea(parent), _title(new VXTextLabel({}, VXTextLabel::Role::Headline)),
      _date(new VXTextLabel({}, VXTextLabel::Role::Secondary)), _why(new VXTextLabel({}, VXTextLabel::Role::Body)),
      _again(new QPushButton(VXSymbol::named(u"play"_s), VXText("Run it again")))
{
    auto *const card = new QFrame;
    card->setProperty("vxSurface", u"card"_s);
    auto *const why = new QVBoxLayout(card);
    why->setContentsMargins(18, 14, 18, 14);
    why->addWidget(_why);
    _why->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto *const event = new QWidget;
    auto *const column = new QVBoxLayout(event);
    column->setContentsMargins(28, 20, 28, 24);
    column->setSpacing(10);
    column->addWidget(_title);
    column->addWidget(_date);
    column->addWidget(card);
    column->addWidget(_again, 0, Qt::AlignLeading);
    column->addStretch();
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setWidget(event);
    connect(_again, &QPushButton::clicked, this, &VXEventPage::wantsReplay);
}

void VXEventPage::setEvent(const VXEventRecord &event)
{
    _title->setText(VXTitleOfEvent(event));
    QStringList about{VXTextOfDate(event.date), event.who};
    about.removeAll(QString());
    _date->setText(about.join(u" · "_s));
    _why->setText(VXWhyOfEvent(event).join(u'\n'));
    _again->setVisible(!event.object.isEmpty());
}
