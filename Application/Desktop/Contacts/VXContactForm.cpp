#include "VXContactForm.h"

#include "VXApplication.h"
#include "VXAvatar.h"
#include "VXContactFields.h"
#include "VXDesktopText.h"
#include "VXEmailAddress.h"
#include "VXPhoneNumber.h"
#include "VXSymbol.h"
#include "VXTabOrder.h"
#include "VXTextLabel.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QLocale>
#include <QtGui/QImageReader>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QCompleter>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QFrame>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QStyle>
#include <QtWidgets/QToolButton>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int widestForm = 620;
constexpr qsizetype mostRows = 200;     // of a list
constexpr qsizetype longestLine = 4096; // that is edited
constexpr qsizetype longestNote = 64 << 10;
constexpr qint64 largestPicture = 64 << 20; // bytes

/** For one line. A text that is too long for it is shown cut and cannot be changed. */
QLineEdit *makeEdit(const QString &text)
{
    const bool isLong = text.size() > longestLine;
    auto *const edit = new QLineEdit(isLong ? VXContactShownText(text) : text);
    edit->setReadOnly(isLong);
    return edit;
}

void setBad(QLineEdit *edit, bool isBad)
{
    edit->setProperty("vxTone", isBad ? QVariant(u"bad"_s) : QVariant());
    edit->style()->unpolish(edit);
    edit->style()->polish(edit);
}

QDate dateFrom(const QString &text)
{
    for (const QDate &date : {QLocale().toDate(text, QLocale::ShortFormat), QLocale().toDate(text, QLocale::LongFormat),
                              QDate::fromString(text, Qt::ISODate)}) {
        if (date.isValid())
            return date;
    }
    return {};
}

QStringList groupsFrom(const QString &text)
{
    QStringList groups;
    for (const QString &each : text.split(u',')) {
        if (!each.trimmed().isEmpty() && !groups.contains(each.trimmed()))
            groups.append(each.trimmed());
    }
    return groups;
}

} // namespace

VXContactForm::VXContactForm(QWidget *parent) : QScrollArea(parent)
{
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setAccessibleName(VXText("Edit contact"));
}

void VXContactForm::setContact(const VXTypedContact &typed, const QStringList &groups)
{
    const VXContactRecord &contact = typed.contact;
    _contact = contact;
    _lists.clear();
    _texts.clear();
    auto *const page = new QWidget;
    auto *const sides = new QHBoxLayout(page);
    auto *const middle = new QWidget;
    middle->setMaximumWidth(widestForm);
    auto *const column = new QVBoxLayout(middle);
    column->setContentsMargins(12, 20, 12, 24);
    column->setSpacing(14);
    addHead(column);

    addAddresses(column, VXText("Phone numbers"), VXText("Add number"), &VXContactRecord::numbers);
    addAddresses(column, VXText("E-mail"), VXText("Add address"), &VXContactRecord::emails);
    addAddresses(column, VXText("Web pages"), VXText("Add page"), &VXContactRecord::urls);

    auto *const rest = new QFormLayout;
    rest->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    _birthday = new QLineEdit(contact.birthday.isValid() ? QLocale().toString(contact.birthday, QLocale::ShortFormat)
                                                         : typed.birthday);
    _birthday->setPlaceholderText(QLocale().dateFormat(QLocale::ShortFormat));
    _groups = makeEdit(contact.groups.join(", "_L1));
    _groups->setPlaceholderText(VXText("Family, Friends"));
    if (contact.groups.isEmpty())
        _groups->setCompleter(new QCompleter(groups, _groups));
    _note = new QPlainTextEdit(VXContactShownText(contact.note, longestNote));
    _note->setReadOnly(contact.note.size() > longestNote);
    _note->setTabChangesFocus(true);
    _note->setFixedHeight(fontMetrics().height() * 5);
    connect(_birthday, &QLineEdit::textEdited, this, &VXContactForm::didChange);
    connect(_groups, &QLineEdit::textEdited, this, &VXContactForm::didChange);
    connect(_note, &QPlainTextEdit::textChanged, this, &VXContactForm::didChange);
    rest->addRow(VXText("Birthday"), _birthday);
    rest->addRow(VXText("Groups"), _groups);
    rest->addRow(VXText("Note"), _note);
    column->addLayout(rest);

    _problem = new VXTextLabel({}, VXTextLabel::Role::Body);
    _problem->setProperty("vxTone", u"bad"_s);
    _problem->hide();
    column->addWidget(_problem);
    auto *const buttons = new QHBoxLayout;
    auto *const remove = new QPushButton(VXText("Delete"));
    remove->setProperty("vxRole", u"danger"_s);
    auto *const cancel = new QPushButton(VXText("Discard changes"));
    auto *const save = new QPushButton(VXText("Done"));
    save->setDefault(true);
    remove->setVisible(!contact.uid.isEmpty());
    buttons->addWidget(remove);
    buttons->addStretch();
    buttons->addWidget(cancel);
    buttons->addWidget(save);
    column->addLayout(buttons);
    column->addStretch();
    connect(save, &QPushButton::clicked, this, &VXContactForm::done);
    connect(cancel, &QPushButton::clicked, this, &VXContactForm::cancelled);
    connect(remove, &QPushButton::clicked, this, &VXContactForm::wantsRemoval);

    sides->addStretch(1);
    sides->addWidget(middle, 100);
    sides->addStretch(1);
    setWidget(page);
    VXKeepTabOrder(*page);
    _texts.front()->setFocus();
}

void VXContactForm::addHead(QVBoxLayout *column)
{
    auto *const row = new QHBoxLayout;
    row->setSpacing(18);
    auto *const picture = new QVBoxLayout;
    _avatar = new VXAvatar(88);
    _avatar->setPerson(VXContactShownText(_contact.displayName()), _contact.image);
    auto *const change = new QPushButton(VXText("Picture…"));
    connect(change, &QPushButton::clicked, this, &VXContactForm::choosePicture);
    picture->addWidget(_avatar, 0, Qt::AlignHCenter);
    picture->addWidget(change);
    picture->addStretch();
    row->addLayout(picture);
    auto *const form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    for (const VXContactField &field : VXContactTextFields()) {
        auto *const edit = makeEdit(_contact.*field.field);
        form->addRow(VXText(field.title), edit);
        connect(edit, &QLineEdit::textEdited, this, [this] {
            _avatar->setPerson(VXContactShownText(this->contact().displayName()), _contact.image);
            Q_EMIT didChange();
        });
        connect(edit, &QLineEdit::returnPressed, this, &VXContactForm::done);
        _texts.push_back(edit);
    }
    row->addLayout(form, 1);
    column->addLayout(row);
}

void VXContactForm::addAddresses(QVBoxLayout *column, const QString &title, const QString &add,
                                 Addresses VXContactRecord::*field)
{
    column->addWidget(new VXTextLabel(title, VXTextLabel::Role::Title));
    auto *const rows = new QVBoxLayout;
    column->addLayout(rows);
    _lists.push_back(std::make_unique<AddressList>(AddressList{field, rows}));
    AddressList &list = *_lists.back();
    for (const VXContactRecord::Address &address :
         (_contact.*field).first(std::min(mostRows, (_contact.*field).size())))
        addRow(list, address);
    list.rest = (_contact.*field).mid(mostRows);
    if (!list.rest.isEmpty())
        column->addWidget(new VXTextLabel(VXText("%1 more is not shown here and stays as it is.",
                                                 "%1 more are not shown here and stay as they are.", list.rest.size()),
                                          VXTextLabel::Role::Secondary));
    if (field == &VXContactRecord::numbers && (_contact.*field).isEmpty())
        addRow(list, {{}, VXContactAddressTypes(field).front(), {}});
    auto *const button = new QToolButton;
    button->setIcon(VXSymbol::named(u"plus"_s, VXSymbol::Tone::Accent));
    button->setText(add);
    button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    column->addWidget(button);
    connect(button, &QToolButton::clicked, this, [this, &list] {
        addRow(list, {{}, VXContactAddressTypes(list.field).front(), {}});
        list.edits.back().value->setFocus();
    });
}

void VXContactForm::addRow(AddressList &list, const VXContactRecord::Address &address)
{
    auto *const widget = new QWidget;
    auto *const row = new QHBoxLayout(widget);
    row->setContentsMargins(0, 0, 0, 0);
    auto *const type = new QComboBox;
    type->setAccessibleName(VXText("Kind"));
    for (const unsigned each : VXContactAddressTypes(list.field))
        type->addItem(VXContactTypeTitle(each), each);
    if (type->findData(address.type) < 0)
        type->addItem(address.label.isEmpty() ? VXContactTypeTitle(address.type) : address.label, address.type);
    type->setCurrentIndex(type->findData(address.type));
    type->setMinimumWidth(fontMetrics().averageCharWidth() * 20);
    auto *const value = makeEdit(address.value);
    // Each has a name of its own, so that users who cannot see its position hear which one it is.
    value->setAccessibleName(u"%1 %2"_s
                                 .arg(list.field == &VXContactRecord::numbers  ? VXText("Number")
                                      : list.field == &VXContactRecord::emails ? VXText("Address")
                                                                               : VXText("Page"))
                                 .arg(list.edits.size() + 1));
    auto *const remove = new QToolButton;
    remove->setIcon(VXSymbol::named(u"minus"_s, VXSymbol::Tone::Quiet));
    remove->setAccessibleName(VXText("Remove “%1”").arg(value->accessibleName()));
    remove->setToolTip(VXText("Remove"));
    row->addWidget(type);
    row->addWidget(value, 1);
    row->addWidget(remove);
    list.rows->addWidget(widget);
    list.edits.push_back({widget, value, type, address});
    connect(value, &QLineEdit::returnPressed, this, &VXContactForm::done);
    connect(value, &QLineEdit::textEdited, this, &VXContactForm::didChange);
    connect(type, &QComboBox::activated, this, &VXContactForm::didChange);
    connect(remove, &QToolButton::clicked, this, [this, &list, widget] {
        std::erase_if(list.edits, [widget](const AddressRow &each) { return each.widget == widget; });
        widget->deleteLater();
        Q_EMIT didChange();
    });
}

VXContactRecord VXContactForm::contact() const
{
    VXContactRecord contact = _contact;
    for (size_t i = 0; i < _texts.size(); ++i)
        if (!_texts[i]->isReadOnly())
            contact.*VXContactTextFields()[i].field = _texts[i]->text().trimmed();
    for (const auto &list : _lists) {
        Addresses addresses;
        for (const AddressRow &row : list->edits) {
            const QString value = row.value->isReadOnly() ? row.before.value : row.value->text().trimmed();
            const unsigned type = row.type->currentData().toUInt();
            if (!value.isEmpty()) // its own label names the kind that was there before
                addresses.append({value, type, type == row.before.type ? row.before.label : QString()});
        }
        contact.*list->field = addresses + list->rest;
    }
    if (_birthday != nullptr) {
        contact.birthday = dateFrom(_birthday->text().trimmed());
        if (!_groups->isReadOnly())
            contact.groups = groupsFrom(_groups->text());
        if (!_note->isReadOnly())
            contact.note = _note->toPlainText().trimmed();
    }
    return contact;
}

VXTypedContact VXContactForm::typed() const
{
    const VXContactRecord contact = this->contact();
    return {contact, contact.birthday.isValid() ? QString() : _birthday->text()};
}

QString VXContactForm::problem()
{
    QString problem;
    const auto check = [&](QLineEdit *edit, bool isGood, const QString &text) {
        setBad(edit, !isGood);
        if (!isGood && problem.isNull())
            problem = text;
    };
    for (const auto &list : _lists) {
        for (const AddressRow &row : list->edits) {
            if (row.value->isReadOnly())
                continue;
            const QString value = row.value->text().trimmed();
            if (list->field == &VXContactRecord::numbers)
                check(row.value, value.isEmpty() || VXIsNumberAsWritten(value),
                      VXText("“%1” is no phone number.").arg(value));
            else if (list->field == &VXContactRecord::emails)
                check(row.value, value.isEmpty() || VXIsValidEmailAddress(value),
                      VXText("“%1” is no e-mail address.").arg(value));
        }
    }
    const QString birthday = _birthday->text().trimmed();
    check(_birthday, birthday.isEmpty() || dateFrom(birthday).isValid(), VXText("“%1” is no date.").arg(birthday));
    _problem->setText(problem);
    _problem->setVisible(!problem.isNull());
    return problem;
}

void VXContactForm::choosePicture()
{
    VXOpenPanel panel;
    panel.message = VXText("Choose a picture");
    panel.shouldShowFilename = [](const QString &path) {
        return QImageReader::supportedImageFormats().contains(QFileInfo(path).suffix().toLower().toLatin1());
    };
    const VXPanelResult chosen = VXApplication::sharedApplication().userInterface().runOpenPanel(panel);
    if (chosen.path.isNull())
        return;
    QFile file(chosen.path);
    const bool isRead = file.open(QFile::ReadOnly) && file.size() <= largestPicture;
    const QByteArray bytes = isRead ? VXStorablePicture(file.readAll()) : QByteArray();
    if (bytes.isEmpty()) {
        _problem->setText(VXText("“%1” is no picture that can be used.").arg(chosen.path));
        _problem->show();
        return;
    }
    _contact.image = bytes;
    _avatar->setPerson(VXContactShownText(contact().displayName()), bytes);
    Q_EMIT didChange();
}

// The key is for what is typed; on a button or a list of kinds it must not delete the contact.
bool VXContactForm::event(QEvent *event)
{
    if (event->type() == QEvent::ShortcutOverride && static_cast<QKeyEvent *>(event)->key() == Qt::Key_Delete) {
        event->accept();
        return true;
    }
    return QScrollArea::event(event);
}

void VXContactForm::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape)
        Q_EMIT done();
    else
        QScrollArea::keyPressEvent(event);
}
