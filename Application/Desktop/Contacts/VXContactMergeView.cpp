#include "VXContactMergeView.h"

#include "VXAvatar.h"
#include "VXContactFields.h"
#include "VXDesktopText.h"
#include "VXPhoneNumberFormat.h"
#include "VXSheet.h"
#include "VXTextLabel.h"

#include <QtCore/QLocale>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QFrame>
#include <QtWidgets/QPushButton>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int textWidth = 420;
// Of each list; all of thousands would be higher than any window.
constexpr qsizetype mostNames = 12;
constexpr qsizetype mostAddresses = 8;

QString restOf(qsizetype omitted)
{
    return VXText("and %1 more").arg(QLocale().toString(omitted));
}

// One line for each thing that the contact would have.
QStringList linesOf(const VXContactRecord &contact)
{
    QStringList lines;
    const auto add = [&lines](const QString &title, const QString &value) {
        if (!value.isEmpty())
            lines.append(u"%1: %2"_s.arg(title, VXContactShownText(value)));
    };
    const auto addAll = [&](const QList<VXContactRecord::Address> &list, const auto &addOne) {
        std::ranges::for_each(list.first(std::min(mostAddresses, list.size())), addOne);
        if (list.size() > mostAddresses)
            lines.append(restOf(list.size() - mostAddresses));
    };
    addAll(contact.numbers,
           [&](const auto &each) { add(VXContactTypeTitle(each.type), VXFormatPhoneNumber(each.value)); });
    addAll(contact.emails, [&](const auto &each) { add(VXText("E-mail"), each.value); });
    add(VXText("Nickname"), contact.nickname);
    add(VXText("Company"), contact.company);
    add(VXText("Job title"), contact.jobTitle);
    if (!contact.groups.isEmpty())
        add(VXText("Groups"), contact.groups.join(", "_L1));
    add(VXText("Note"), contact.note);
    return lines;
}

} // namespace

VXContactMergeView::VXContactMergeView(const VXDuplicateContacts &duplicates)
{
    auto *const title = new VXTextLabel(VXText("Make one contact of these?"), VXTextLabel::Role::Title);
    QStringList names;
    for (const VXContactRecord &each : duplicates.contacts.first(std::min(mostNames, duplicates.contacts.size())))
        names.append(VXContactShownText(each.shownName()));
    if (duplicates.contacts.size() > mostNames)
        names.append(restOf(duplicates.contacts.size() - mostNames));
    auto *const from = new VXTextLabel(names.join(u", "_s), VXTextLabel::Role::Secondary);
    from->setTextWidth(textWidth);

    auto *const card = new QFrame;
    card->setProperty("vxSurface", u"card"_s);
    auto *const avatar = new VXAvatar(56);
    avatar->setPerson(VXContactShownText(duplicates.merged.shownName()), duplicates.merged.image);
    auto *const name = new VXTextLabel(VXContactShownText(duplicates.merged.shownName()), VXTextLabel::Role::Title);
    auto *const text = new VXTextLabel(linesOf(duplicates.merged).join(u'\n'), VXTextLabel::Role::Body);
    text->setTextWidth(textWidth - 130);
    auto *const column = new QVBoxLayout;
    column->addWidget(name);
    column->addWidget(text);
    auto *const row = new QHBoxLayout(card);
    row->setContentsMargins(18, 14, 18, 14);
    row->setSpacing(14);
    row->addWidget(avatar, 0, Qt::AlignTop);
    row->addLayout(column, 1);

    auto *const cancel = new QPushButton(VXText("Cancel"));
    auto *const merge = new QPushButton(VXText("Merge"));
    merge->setDefault(true);
    connect(cancel, &QPushButton::clicked, this, [this] { Q_EMIT done(VXSheet::Cancelled); });
    connect(merge, &QPushButton::clicked, this, [this] { Q_EMIT done(VXSheet::Ok); });
    auto *const buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cancel);
    buttons->addWidget(merge);

    auto *const all = new QVBoxLayout(this);
    all->setContentsMargins(24, 20, 24, 18);
    all->setSpacing(12);
    all->addWidget(title);
    all->addWidget(from);
    all->addWidget(card);
    all->addLayout(buttons);
    setFocusProxy(merge);
}

// In a sheet, Return presses no button by default.
void VXContactMergeView::keyPressEvent(QKeyEvent *event)
{
    auto *const button = qobject_cast<QPushButton *>(focusWidget());
    if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) && button != nullptr)
        button->click();
    else
        QWidget::keyPressEvent(event);
}
