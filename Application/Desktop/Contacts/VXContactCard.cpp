#include "VXContactCard.h"

#include "VXApplication.h"
#include "VXAvatar.h"
#include "VXContactFields.h"
#include "VXDesktopText.h"
#include "VXPhonebookString.h"
#include "VXPhoneNumberFormat.h"
#include "VXSymbol.h"
#include "VXTextLabel.h"

#include <QtCore/QLocale>
#include <QtCore/QUrl>
#include <QtGui/QClipboard>
#include <QtWidgets/QApplication>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QFrame>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QToolButton>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int widestCard = 620;
constexpr qsizetype firstShown = 50; // of a list
constexpr qsizetype nextShown = 200; // with each press
constexpr qsizetype longestText = 4096;

QFrame *makeCard(QVBoxLayout *&rows)
{
    auto *const card = new QFrame;
    card->setProperty("vxSurface", u"card"_s);
    rows = new QVBoxLayout(card);
    rows->setContentsMargins(18, 8, 10, 8);
    rows->setSpacing(2);
    return card;
}

QToolButton *makeButton(const QString &icon, const QString &name, const std::function<void()> &perform)
{
    auto *const button = new QToolButton;
    button->setIcon(VXSymbol::named(icon, VXSymbol::Tone::Accent));
    button->setIconSize({20, 20});
    button->setToolTip(name);
    button->setAccessibleName(name);
    QObject::connect(button, &QToolButton::clicked, button, perform);
    return button;
}

/** A value below its title. */
QWidget *makeValue(const QString &title, const QString &value, const QList<QToolButton *> &buttons = {})
{
    auto *const widget = new QWidget;
    auto *const row = new QHBoxLayout(widget);
    row->setContentsMargins(0, 5, 0, 5);
    auto *const column = new QVBoxLayout;
    column->setSpacing(1);
    column->addWidget(new VXTextLabel(VXContactShownText(title), VXTextLabel::Role::Caption));
    auto *const text = new VXTextLabel(VXContactShownText(value, longestText), VXTextLabel::Role::Body);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    column->addWidget(text);
    row->addLayout(column, 1);
    for (QToolButton *const button : buttons)
        row->addWidget(button);
    return widget;
}

/** Adds the rows [from, end) of `count`, and a button for the next ones: thousands at once would stop the window. */
void addRows(QVBoxLayout *rows, qsizetype from, qsizetype end, qsizetype count,
             const std::function<QWidget *(qsizetype)> &make)
{
    for (qsizetype i = from; i < std::min(end, count); ++i)
        rows->addWidget(make(i));
    if (end >= count)
        return;
    auto *const more = new QPushButton(VXText("Show more (%1 not shown)").arg(QLocale().toString(count - end)));
    rows->addWidget(more, 0, Qt::AlignLeading);
    QObject::connect(more, &QPushButton::clicked, more, [rows, end, count, make, more] {
        more->hide();
        more->deleteLater();
        addRows(rows, end, end + nextShown, count, make);
    });
}

QString postalText(const VXContactRecord::PostalAddress &address)
{
    QStringList town{address.zip, address.city};
    town.removeAll(QString());
    town.removeAll(u""_s);
    QStringList lines = address.street.split(u'\n') + address.text.split(u'\n');
    lines << town.join(u' ') << address.state << address.country;
    lines.removeAll(QString());
    lines.removeAll(u""_s);
    return lines.join(u'\n');
}

} // namespace

VXContactCard::VXContactCard(QWidget *parent) : QScrollArea(parent)
{
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setAccessibleName(VXText("Contact"));
}

void VXContactCard::setContact(const VXContactRecord &contact)
{
    auto *const page = new QWidget;
    auto *const sides = new QHBoxLayout(page);
    auto *const middle = new QWidget;
    middle->setMaximumWidth(widestCard);
    auto *const column = new QVBoxLayout(middle);
    column->setContentsMargins(12, 20, 12, 24);
    column->setSpacing(14);
    column->addWidget(makeHead(contact));
    for (QWidget *const card : {makeAddresses(contact, contact.numbers, true),
                                makeAddresses(contact, contact.emails, false), makeTexts(contact)}) {
        if (card != nullptr)
            column->addWidget(card);
    }
    column->addStretch();
    sides->addStretch(1);
    sides->addWidget(middle, 100);
    sides->addStretch(1);
    setWidget(page);
}

QWidget *VXContactCard::makeHead(const VXContactRecord &contact)
{
    auto *const head = new QWidget;
    head->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
    auto *const row = new QHBoxLayout(head);
    row->setContentsMargins(4, 0, 4, 0);
    row->setSpacing(18);
    auto *const avatar = new VXAvatar(88);
    avatar->setPerson(VXContactShownText(contact.shownName()), contact.image);
    row->addWidget(avatar);
    auto *const column = new QVBoxLayout;
    column->setSpacing(4);
    column->addStretch();
    const QString name = contact.shownName();
    column->addWidget(
        new VXTextLabel(name.isEmpty() ? VXText("No name") : VXContactShownText(name), VXTextLabel::Role::Headline));
    QStringList about{contact.jobTitle, contact.company == name ? QString() : contact.company};
    about.removeIf([](const QString &text) { return text.isEmpty(); });
    if (!contact.nickname.isEmpty() && contact.nickname != name)
        about.prepend(u"“%1”"_s.arg(VXContactShownText(contact.nickname)));
    if (!about.isEmpty())
        column->addWidget(new VXTextLabel(VXContactShownText(about.join(u" · "_s)), VXTextLabel::Role::Secondary));
    auto *const buttons = new QHBoxLayout;
    if (!contact.numbers.isEmpty()) {
        const QString first = contact.numbers.constFirst().value;
        auto *const message = new QPushButton(VXSymbol::named(u"message"_s), VXText("Message"));
        auto *const call = new QPushButton(VXSymbol::named(u"call"_s), VXText("Call"));
        buttons->addWidget(message);
        buttons->addWidget(call);
        const QString party = VXPhonebookStringJoin(name, first, contact.numbers.constFirst().type);
        connect(message, &QPushButton::clicked, this, [this, party] { Q_EMIT wantsMessage(party); });
        connect(call, &QPushButton::clicked, this, [this, first] { Q_EMIT wantsCall(first); });
    }
    auto *const edit = new QPushButton(VXSymbol::named(u"edit"_s), VXText("Edit"));
    connect(edit, &QPushButton::clicked, this, &VXContactCard::wantsEdit);
    buttons->addWidget(edit);
    buttons->addStretch();
    column->addSpacing(4);
    column->addLayout(buttons);
    column->addStretch();
    row->addLayout(column, 1);
    return head;
}

QWidget *VXContactCard::makeAddresses(const VXContactRecord &contact, const QList<VXContactRecord::Address> &addresses,
                                      bool areNumbers)
{
    if (addresses.isEmpty())
        return nullptr;
    QVBoxLayout *rows = nullptr;
    QFrame *const card = makeCard(rows);
    addRows(rows, 0, firstShown, addresses.size(),
            [this, name = contact.shownName(), addresses, areNumbers](qsizetype i) {
                return makeAddress(name, addresses[i], areNumbers);
            });
    return card;
}

QWidget *VXContactCard::makeAddress(const QString &name, const VXContactRecord::Address &address, bool isNumber)
{
    const QString value = address.value;
    const QString shown = VXContactShownText(value);
    const QString title = address.label.isEmpty() ? VXContactTypeTitle(address.type) : address.label;
    QList<QToolButton *> buttons;
    if (isNumber) {
        buttons << makeButton(u"message"_s, VXText("Write to %1").arg(shown), [this, name, value, type = address.type] {
            Q_EMIT wantsMessage(VXPhonebookStringJoin(name, value, type));
        }) << makeButton(u"call"_s, VXText("Call %1").arg(shown), [this, value] { Q_EMIT wantsCall(value); });
    } else {
        buttons << makeButton(u"mail"_s, VXText("Write to %1").arg(shown), [value] {
            VXError error;
            if (!VXApplication::sharedApplication().workspace().openURL(QUrl(u"mailto:"_s + value), &error))
                VXApplication::sharedApplication().presentError(error);
        });
    }
    buttons << makeButton(u"copy"_s, VXText("Copy %1").arg(shown),
                          [value] { QApplication::clipboard()->setText(value); });
    return makeValue(title, isNumber && shown == value ? VXFormatPhoneNumber(value) : shown, buttons);
}

QWidget *VXContactCard::makeTexts(const VXContactRecord &contact)
{
    QList<std::pair<QString, QString>> texts;
    for (const VXContactRecord::PostalAddress &address : contact.addresses)
        texts.append(
            {address.type == 0 ? VXText("Address") : VXText("Address (%1)").arg(VXContactTypeTitle(address.type)),
             postalText(address)});
    for (const VXContactRecord::Address &url : contact.urls)
        texts.append({VXText("Web page"), url.value});
    if (contact.birthday.isValid())
        texts.append({VXText("Birthday"), QLocale().toString(contact.birthday, QLocale::LongFormat)});
    if (!contact.groups.isEmpty())
        texts.append({VXText("Groups"), contact.groups.join(", "_L1)});
    if (!contact.note.isEmpty())
        texts.append({VXText("Note"), contact.note});
    if (texts.isEmpty())
        return nullptr;
    QVBoxLayout *rows = nullptr;
    QFrame *const card = makeCard(rows);
    addRows(rows, 0, firstShown, texts.size(),
            [texts](qsizetype i) { return makeValue(texts[i].first, texts[i].second); });
    return card;
}
