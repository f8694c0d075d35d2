#include "VXConversationView.h"

#include "VXAvatar.h"
#include "VXBubbleDelegate.h"
#include "VXComposer.h"
#include "VXConversationKey.h"
#include "VXConversationModel.h"
#include "VXDesktopText.h"
#include "VXDevicePlugin.h"
#include "VXDevicePopupButton.h"
#include "VXDeviceURL.h"
#include "VXEmptyState.h"
#include "VXMessageDraft.h"
#include "VXOutgoingMessage.h"
#include "VXPhonebookList.h"
#include "VXPhonebookManager.h"
#include "VXPhonebookString.h"
#include "VXPhonebookTokenField.h"
#include "VXPhoneNumberFormat.h"
#include "VXSection.h"
#include "VXSymbol.h"
#include "VXTabOrder.h"
#include "VXTextLabel.h"
#include "VXUserDefaults.h"

#include <QtGui/QClipboard>
#include <QtWidgets/QApplication>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QListView>
#include <QtWidgets/QMenu>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QStackedWidget>
#include <QtWidgets/QToolButton>

#include <utility>

using namespace Qt::StringLiterals;

VXConversationView::VXConversationView(const VXMessageStore &store, QWidget *parent)
    : QWidget(parent), _model(new VXConversationModel(store, this)), _stack(new QStackedWidget(this)),
      _head(new QWidget(this)), _avatar(new VXAvatar(40, this)),
      _name(new VXTextLabel({}, VXTextLabel::Role::Title, this)),
      _about(new VXTextLabel({}, VXTextLabel::Role::Caption, this)), _newHead(new QWidget(this)),
      _to(new VXPhonebookTokenField(this)), _list(new QListView(this)), _bubbles(new VXBubbleDelegate(_list)),
      _composer(new VXComposer(this)), _nothing(new VXEmptyState(this))
{
    auto *const headRow = new QHBoxLayout(_head);
    headRow->setContentsMargins(16, 10, 12, 10);
    headRow->setSpacing(12);
    auto *const names = new QVBoxLayout;
    names->setSpacing(0);
    names->addWidget(_name);
    names->addWidget(_about);
    auto *const call = new QToolButton(_head);
    call->setIcon(VXSymbol::named(u"call"_s, VXSymbol::Tone::Accent));
    call->setToolTip(VXText("Call"));
    call->setAccessibleName(VXText("Call"));
    auto *const contact = new QToolButton(_head);
    contact->setIcon(VXSymbol::named(u"person"_s, VXSymbol::Tone::Accent));
    contact->setToolTip(VXText("Show contact"));
    contact->setAccessibleName(VXText("Show contact"));
    for (QToolButton *const button : {call, contact})
        button->setIconSize({20, 20});
    headRow->addWidget(_avatar);
    headRow->addLayout(names, 1);
    headRow->addWidget(call);
    headRow->addWidget(contact);

    auto *const newRow = new QHBoxLayout(_newHead);
    newRow->setContentsMargins(16, 10, 16, 10);
    auto *const label = new VXTextLabel(VXText("To"), VXTextLabel::Role::Secondary);
    newRow->addWidget(label, 0, Qt::AlignVCenter);
    newRow->addWidget(_to, 1);
    _to->setAccessibleName(VXText("To"));

    _list->setModel(_model);
    _list->setItemDelegate(_bubbles);
    _list->setAccessibleName(VXText("Messages"));
    _list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    _list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    _list->setResizeMode(QListView::Adjust);
    _list->setFrameShape(QFrame::NoFrame);
    _list->setContextMenuPolicy(Qt::CustomContextMenu);
    _nothing->setContents(u"message"_s, VXText("No conversation chosen"),
                          VXText("Choose one from the list, or write a new message."));

    auto *const page = new QWidget(this);
    auto *const column = new QVBoxLayout(page);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(_head);
    column->addWidget(_newHead);
    column->addWidget(VXMakeLine(Qt::Horizontal));
    column->addWidget(_list, 1);
    column->addWidget(_composer);
    _stack->addWidget(_nothing);
    _stack->addWidget(page);
    auto *const whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(_stack);

    connect(_model, &VXConversationModel::didRead, this, &VXConversationView::wasRead);
    connect(_list->verticalScrollBar(), &QScrollBar::valueChanged, this, &VXConversationView::watchTop);
    connect(_list->verticalScrollBar(), &QScrollBar::rangeChanged, this, [this] {
        if (_isAtEnd) // as when the view was laid out after its messages had come
            _list->scrollToBottom();
    });
    connect(_list, &QListView::customContextMenuRequested, this,
            [this](const QPoint &at) { showMenu(_list->indexAt(at)); });
    connect(_bubbles, &VXBubbleDelegate::stateClicked, this, &VXConversationView::showMenu);
    connect(_composer, &VXComposer::wantsSend, this,
            [this](const QString &text) { Q_EMIT wantsSend(receivers(), text, _composer->phone().selectedURL()); });
    connect(&_composer->phone(), &QComboBox::activated, this, [this] {
        VXUserDefaults::standardUserDefaults().setObject(VXAbsoluteString(_composer->phone().selectedURL()),
                                                         phoneKey());
    });
    connect(_composer, &VXComposer::textDidChange, this, &VXConversationView::keepDraft);
    connect(_to, &VXPhonebookTokenField::tokensDidChange, this, &VXConversationView::receiversDidChange);
    connect(_to, &VXPhonebookTokenField::typedTextDidChange, this, &VXConversationView::keepReceivers);
    connect(_to, &VXPhonebookTokenField::addToContactsWanted, this, &VXConversationView::wantsContact);
    connect(call, &QToolButton::clicked, this, [this] {
        if (const QString number = VXDialledNumber(VXUnpackPhonebookStrings(_party, true).value(0)); !number.isEmpty())
            Q_EMIT wantsCall(number);
    });
    connect(contact, &QToolButton::clicked, this, [this] { Q_EMIT wantsContact(_party); });
    // The registry posts these under its lock, on any thread.
    for (const VXNotificationName &name :
         {VXDevicePluginDidAddDeviceNotification, VXDevicePluginDidRemoveDeviceNotification})
        VXNotificationCenter::defaultCenter().addObserver(this, name, [this](const VXNotification &) {
            QMetaObject::invokeMethod(this, &VXConversationView::phonesDidChange, Qt::QueuedConnection);
        });
    VXKeepTabOrder(*page);
    setNone();
}

void VXConversationView::setNone()
{
    finishTyping();
    _party.clear();
    _sought = {};
    _isNew = false;
    _model->setConversations({});
    _stack->setCurrentIndex(0);
}

// The unfinished text is there again, wherever the user has been meanwhile.
void VXConversationView::keepDraft()
{
    if (_draftKey.isNull())
        return;
    VXMessageDraft draft{.text = _composer->text()};
    if (!_isOfParty) {
        draft.receivers = VXPackPhonebookStrings(_to->tokenStrings());
        draft.typed = _to->typedText();
    }
    draft.keep(_draftKey);
}

// Of the same one the steps of undo stay.
void VXConversationView::showDraft(const QString &key, const QString &text)
{
    if (std::exchange(_draftKey, key) != key || _composer->text() != text)
        _composer->setText(text);
}

void VXConversationView::receiversDidChange()
{
    if (!_isNew)
        return;
    updateObstacle();
    QString key;
    if (const QList<VXPhonebookToken> to = _to->phonebookTokens(); to.size() == 1)
        key = VXConversationKey(to.constFirst().string);
    _model->setConversations(key.isNull() ? QStringList() : QStringList{key});
    keepReceivers();
}

void VXConversationView::keepReceivers()
{
    if (!_isNew || _draftKey.isNull())
        return;
    if (_isOfParty) { // it is to others from now on
        VXMessageDraft().keep(_draftKey);
        _draftKey = VXMessageDraft::unusedKey();
        _isOfParty = false;
    }
    keepDraft();
}

void VXConversationView::finishTyping()
{
    if (_isNew)
        _to->commit();
}

void VXConversationView::wasSent(const QStringList &failed)
{
    if (failed.isEmpty()) {
        VXMessageDraft().keep(_draftKey);
        _composer->setText({});
    } else if (_isNew && failed != receivers()) {
        _to->setPhonebookStrings(VXPackPhonebookStrings(failed));
    }
}

void VXConversationView::setParty(const QString &party, const QStringList &conversations,
                                  const VXManagedObjectID &message)
{
    finishTyping();
    _party = party;
    _isNew = false;
    _isOfParty = true;
    if (!message.isNull())
        _sought = message;
    _list->setFocusPolicy(Qt::StrongFocus);
    _head->show();
    _newHead->hide();
    const QString names = VXWhoOf(party);
    _name->setText(names);
    _avatar->setPerson(names, VXPhonebookManager::sharedPhonebookManager().imageForPhonebookString(party));
    QString number;
    const bool hasNumber = VXPhonebookStringSplit(
        VXPhonebookStringWithoutExtension(VXUnpackPhonebookStrings(party, true).value(0)), nullptr, &number);
    const QString shown = VXFormatPhoneNumber(number);
    _about->setText(shown == names ? QString() : shown);
    _about->setVisible(hasNumber && shown != names);
    _model->setConversations(conversations, message);
    const QString key = VXMessageDraft::keyForParty(party);
    showDraft(key, VXMessageDraft::read(key).text);
    choosePhone();
    updateObstacle();
    _stack->setCurrentIndex(1);
    if (!message.isNull())
        showSought();
}

void VXConversationView::startNew(const QStringList &phonebookStrings)
{
    finishTyping();
    _isOfParty = phonebookStrings.size() == 1;
    const QString given = VXPackPhonebookStrings(phonebookStrings);
    const QString key = _isOfParty ? VXMessageDraft::keyForParty(given) : VXMessageDraft::keyForNew(given);
    const VXMessageDraft draft = VXMessageDraft::read(key);
    _party.clear();
    _sought = {};
    _isNew = true;
    _list->setFocusPolicy(Qt::ClickFocus); // from the recipients to the text
    _head->hide();
    _newHead->show();
    _model->setConversations({});
    const QString before = std::exchange(_draftKey, QString());
    _to->setPhonebookStrings(given.isEmpty() ? draft.receivers : given);
    _to->setTypedText(draft.typed);
    _draftKey = before;
    showDraft(key, draft.text);
    choosePhone();
    updateObstacle();
    _stack->setCurrentIndex(1);
    if (!draft.typed.isEmpty() || (phonebookStrings.isEmpty() && draft.receivers.isEmpty()))
        _to->setFocus();
    else
        _composer->focusText();
}

QStringList VXConversationView::receivers() const
{
    return _isNew ? VXUnpackPhonebookStrings(_to->phonebookStrings(), true) : QStringList{_party};
}

bool VXConversationView::isTyping() const
{
    return !_composer->text().isEmpty() && _composer->isAncestorOf(QApplication::focusWidget());
}

void VXConversationView::focusText()
{
    _composer->focusText();
}

void VXConversationView::updateObstacle()
{
    QString reason;
    const QList<QUrl> phones = VXDevicePlugin::deviceURLs().value_or(QList<QUrl>());
    if (phones.isEmpty())
        reason = VXText("There is no phone to send by. Add one under Phones.");
    else if (_isNew && !_to->invalidTokens().isEmpty())
        reason = VXText("“%1” is no number.").arg(_to->invalidTokens().constFirst().label());
    else if (!_isNew && VXDialledNumber(_party).isEmpty())
        reason = VXText("“%1” has no number.").arg(_name->text());
    _composer->setObstacle(reason);
}

QString VXConversationView::phoneKey() const
{
    return u"desktop.phone."_s + (_isNew ? u"new"_s : VXConversationKey(_party));
}

// The one selected here before, else the one that received or sent the last message.
void VXConversationView::choosePhone()
{
    VXDevicePopup &phones = _composer->phone().popup();
    const int last = _model->rowCount() - 1;
    phones.setSelectedURL(VXOutgoingMessage::preferredDevice());
    if (last >= 0)
        phones.setSelectedURL(QUrl(_model->messageAt(last).message.deviceURL));
    phones.setSelectedURL(QUrl(VXUserDefaults::standardUserDefaults().stringForKey(phoneKey())));
}

void VXConversationView::phonesDidChange()
{
    _composer->updatePhones();
    if (_stack->currentIndex() == 0)
        return;
    choosePhone();
    updateObstacle();
}

void VXConversationView::wasRead(bool isOther, int added)
{
    if (isOther)
        choosePhone();
    if (showSought())
        return;
    _sought = {}; // it is not there any more
    if (!isOther && !_isAtEnd && added == 0)
        return;
    _list->scrollToBottom();
    _isAtEnd = true;
}

// False when it is not read yet, or there is none.
bool VXConversationView::showSought()
{
    const int row = _sought.isNull() ? -1 : _model->rowOfObject(_sought);
    if (row < 0)
        return false;
    _sought = {};
    const QModelIndex index = _model->index(row);
    _list->setCurrentIndex(index);
    _isAtEnd = false;
    _list->scrollTo(index, QAbstractItemView::PositionAtCenter);
    _bubbles->mark(index);
    return true;
}

// Threads grow upward: what comes above leaves what is looked at where it is.
void VXConversationView::watchTop()
{
    QScrollBar &bar = *_list->verticalScrollBar();
    _isAtEnd = bar.value() >= bar.maximum() - 4;
    if (bar.value() > 0 || bar.maximum() == 0 || !_model->hasOlder())
        return;
    const QPersistentModelIndex top = _list->indexAt({_list->width() / 2, 4});
    _model->readOlder();
    connect(
        _model, &VXConversationModel::rowsInserted, _list,
        [this, top] {
            QMetaObject::invokeMethod(
                _list, [this, top] { _list->scrollTo(top, QAbstractItemView::PositionAtTop); }, Qt::QueuedConnection);
        },
        Qt::SingleShotConnection);
}

void VXConversationView::showMenu(const QModelIndex &index)
{
    if (!index.isValid())
        return;
    const VXShownMessage shown = _model->messageAt(index.row());
    const VXManagedObjectID objectID = _model->objectIDAt(index.row());
    QMenu menu(this);
    if (shown.outboxNumber != 0) {
        if (!shown.problem.isEmpty()) {
            menu.addAction(shown.problem)->setEnabled(false);
            menu.addSeparator();
        }
        menu.addAction(VXSymbol::named(u"sync"_s), VXText("Try again now"), this,
                       [this, shown] { Q_EMIT wantsRetry(shown.outboxNumber); });
        menu.addAction(VXSymbol::named(u"close"_s), VXText("Do not send"), this,
                       [this, shown, objectID] { Q_EMIT wantsDrop(shown.outboxNumber, objectID); });
        menu.addSeparator();
    }
    menu.addAction(VXSymbol::named(u"copy"_s), VXText("Copy text"), this,
                   [text = shown.message.text] { QApplication::clipboard()->setText(text); });
    if (shown.outboxNumber == 0)
        menu.addAction(VXSymbol::named(u"trash"_s), VXText("Move to trash"), this,
                       [this, objectID] { Q_EMIT wantsRemoval(objectID); });
    menu.exec(_list->viewport()->mapToGlobal(_list->visualRect(index).center()));
}
