#include "VXMessagesSection.h"

#include "MessageDataConstants.h"
#include "VXApplication.h"
#include "VXComposer.h"
#include "VXContactRecord.h"
#include "VXConversationKey.h"
#include "VXConversationList.h"
#include "VXConversationView.h"
#include "VXDesktopText.h"
#include "VXDesktopWork.h"
#include "VXDeviceTransformer.h"
#include "VXEmptyState.h"
#include "VXListPane.h"
#include "VXMessageImport.h"
#include "VXMessageText.h"
#include "VXNoticeBar.h"
#include "VXOutbox.h"
#include "VXOutgoingMessage.h"
#include "VXPhonebookManager.h"
#include "VXPhonebookRecord.h"
#include "VXRecordsExport.h"
#include "VXRowDelegate.h"
#include "VXSearchField.h"
#include "VXStoreListModel.h"
#include "VXStoreWatch.h"
#include "VXStoreWorkLock.h"

#include <QtCore/QFileInfo>
#include <QtCore/QScopedValueRollback>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QComboBox>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype askedFrom = 10; // from this number of recipients on, the user is asked

QString shownTitle(const QString &title)
{
    static const QHash<QString, const char *> known{{VXInboxFolder, "Inbox"},
                                                    {VXSentFolder, "Sent"},
                                                    {VXDraftsFolder, "Drafts"},
                                                    {VXTrashFolder, "Trash"},
                                                    {VXUserRootFolder, "Kept here"}};
    if (known.contains(title))
        return VXText(known.value(title));
    const QString phone = VXDeviceNameAtURL().transformedValue(QUrl(title)).toString();
    return phone.isEmpty() ? title : phone;
}

// The conversations of all numbers and addresses of the party's contact, the party's own first.
QStringList conversationsWith(const QString &party)
{
    QStringList keys{VXConversationKey(party)};
    const auto person = VXContactForPhonebookStrings(party).value<VXManagedObjectPtr>();
    if (person && person->entity().name() == "VXPerson"_L1) {
        const VXContactRecord contact(QVariant::fromValue(person));
        for (const VXContactRecord::Address &each : contact.numbers + contact.emails)
            keys.append(VXConversationKeysOf(each.value));
    }
    keys.removeDuplicates();
    return keys;
}

} // namespace

VXSection::Info VXMessagesSection::info()
{
    return {.key = u"messages"_s, .title = VXText("Messages"), .icon = u"message"_s};
}

VXMessagesSection::VXMessagesSection(QWidget *parent)
    : VXSection(info(), parent), _store(VXMessageStore::sharedStore()),
      _pane(new VXListPane(VXText("Search messages"), VXText("Conversations"), this)), _folder(new QComboBox(this)),
      _messages(new VXStoreListModel(this))
{
    if (!_store) {
        _pane->hide();
        auto *const column = new QVBoxLayout(this);
        column->setContentsMargins(0, 0, 0, 0);
        auto *const nothing = new VXEmptyState(this);
        nothing->setContents(u"warning"_s, VXText("The messages cannot be read"),
                             VXText("The log tells why their store could not be opened."));
        column->addWidget(nothing);
        return;
    }
    _conversations = new VXConversationList(*_store, this);
    _view = new VXConversationView(*_store, this);
    _folder->setAccessibleName(VXText("Folder"));
    _pane->secondRow()->addWidget(_folder, 1);
    showBeside(_pane, _view);

    connect(_pane, &VXListPane::searchDidChange, this, &VXMessagesSection::showFolder);
    connect(_pane, &VXListPane::chosen, this, [this](int row) {
        if (!_pane->isChosenByRemoval() || !_view->isTyping())
            return showRow(row);
        QMetaObject::invokeMethod( // what is typed on would go to somebody else
            this, [this] { _pane->list()->setCurrentIndex({}); }, Qt::QueuedConnection);
    });
    connect(_pane, &VXListPane::activated, this, [this] {
        look();
        _view->focusText();
    });
    connect(_pane->list(), &QListView::clicked, this, &VXMessagesSection::look);
    connect(_pane->placeholder(), &VXEmptyState::actionWanted, this, &VXMessagesSection::makeNew);
    connect(_pane->placeholder(), &VXEmptyState::secondActionWanted, this, &VXMessagesSection::importItems);
    connect(_folder, &QComboBox::activated, this, &VXMessagesSection::showFolder);
    connect(_conversations, &VXConversationList::didRead, this, [this] {
        if (shownModel() == _conversations)
            listWasRead(_conversations->rowCount());
    });
    connect(_messages, &VXStoreListModel::didFail, this,
            [this](const VXError &error) { notices().showProblem(error.localizedDescription()); });
    connect(_messages, &VXStoreListModel::didRead, this, [this] {
        if (shownModel() == _messages)
            listWasRead(_messages->rowCount());
    });
    connect(_view, &VXConversationView::wantsSend, this, &VXMessagesSection::send);
    connect(_view, &VXConversationView::wantsCall, this, &VXSection::wantsCall);
    connect(_view, &VXConversationView::wantsContact, this, &VXSection::wantsContact);
    connect(_view, &VXConversationView::wantsRemoval, this, &VXMessagesSection::trash);
    connect(_view, &VXConversationView::wantsRetry, this, [this](qint64 number) {
        const auto outbox = VXOutbox::sharedOutbox();
        VXError error;
        if (!outbox || !outbox->retry(number, &error))
            notices().showProblem(VXText("The message could not be tried again."));
    });
    connect(_view, &VXConversationView::wantsDrop, this, [this](qint64 number, const VXManagedObjectID &message) {
        const auto outbox = VXOutbox::sharedOutbox();
        if (outbox && outbox->drop(number))
            trash(message);
    });
    _watch = std::make_unique<VXStoreWatch>(_store->coordinator());
    connect(_watch.get(), &VXStoreWatch::didChange, this, [this] { _overview.read(); });
    _overview.set([store = *_store] { return VXReadMessagesOverview(store); },
                  [this](const VXMessagesOverview &overview) { take(overview); });
    _folder->addItem(VXText("Conversations"));
    _overview.read();
    showFolder();
}

VXMessagesSection::~VXMessagesSection() = default;

// -- Folders and lists

void VXMessagesSection::take(const VXMessagesOverview &overview)
{
    setBadge(overview.unread);
    QList<std::pair<QString, QVariant>> items{{VXText("Conversations"), QVariant()}};
    for (const auto &[title, folder] : overview.folders)
        items.append({shownTitle(title), QVariant::fromValue(folder)});
    bool isSame = _folder->count() == items.size();
    for (int i = 0; isSame && i < _folder->count(); ++i)
        isSame = _folder->itemText(i) == items[i].first &&
                 _folder->itemData(i).value<VXManagedObjectID>() == items[i].second.value<VXManagedObjectID>();
    if (isSame) // or a list that is open would close
        return;
    const auto chosen = _folder->currentData().value<VXManagedObjectID>();
    _folder->clear();
    for (const auto &[title, folder] : std::as_const(items)) {
        _folder->addItem(title, folder);
        if (!chosen.isNull() && folder.value<VXManagedObjectID>() == chosen)
            _folder->setCurrentIndex(_folder->count() - 1);
    }
    if (!chosen.isNull() && _folder->currentIndex() == 0) // the folder is gone
        showFolder();
}

QAbstractItemModel *VXMessagesSection::shownModel() const
{
    const bool isOfFolder = _folder->currentIndex() > 0 && _pane->search()->searchText().isEmpty();
    return isOfFolder ? static_cast<QAbstractItemModel *>(_messages) : _conversations;
}

void VXMessagesSection::showFolder()
{
    const QString search = _pane->search()->searchText();
    if (_pane->list()->model() != shownModel())
        _pane->setModel(shownModel());
    const auto folderID = _folder->currentData().value<VXManagedObjectID>();
    if (shownModel() == _conversations) {
        _conversations->setSearch(search, folderID);
        listWasRead(_conversations->rowCount());
        return;
    }
    VXManagedObjectContext context(_store->coordinator());
    const auto request = _store->messagesOfFolder(context.objectWithID(folderID));
    if (!request)
        return;
    VXListQuery query{.coordinator = _store->coordinator(), .request = request, .makeRow = VXRowOfMessage};
    query.first = [store = *_store, folderID](VXManagedObjectContext &messages, qsizetype limit, VXError *error) {
        return store.newestOfFolder(messages.objectWithID(folderID), limit, error);
    };
    _messages->setQuery(query);
}

void VXMessagesSection::listWasRead(int count)
{
    const bool isSearched = !_pane->search()->searchText().isEmpty();
    const bool isReading = shownModel() == _conversations && _conversations->isReading();
    if (isSearched && isReading)
        _pane->placeholder()->setContents(u"search"_s, VXText("Searching…"), {});
    else if (isSearched)
        _pane->placeholder()->setContents(u"search"_s, VXText("Nothing found"), VXText("No message has that in it."));
    else if (_folder->currentIndex() <= 0)
        _pane->placeholder()->setContents(u"message"_s, VXText("No messages yet"),
                                          VXText("Sync a phone, import a backup, or write the first one."),
                                          VXText("Write the first"), VXText("Import…"));
    else
        _pane->placeholder()->setContents(u"inbox"_s, VXText("This folder is empty"), {});
    _pane->setIsEmpty(count == 0 && (isSearched || !isReading));
    if (count == 0 && !_view->isNew() && !_view->isTyping())
        _view->setNone();
    _wasSearched = _wasSearched || isSearched;
    if (count == 0 || _view->isNew())
        return;
    const bool wasSearched = std::exchange(_wasSearched, isSearched);
    if (const QModelIndex now = _pane->list()->currentIndex(); now.isValid()) {
        if (isSearched && !(messageInRow(now.row()) == _shownMessage)) // another one of the same conversation
            showRow(now.row());
        return;
    }
    const int row = shownModel() == _conversations ? _conversations->rowOfConversation(_shownConversation) : 0;
    if (_view->isTyping() && (row < 0 || shownModel() != _conversations))
        return; // its conversation or message has been removed
    const QScopedValueRollback afterSearch(_isAfterSearch, wasSearched && !isSearched);
    _pane->choose(std::max(0, row));
}

void VXMessagesSection::showRow(int row)
{
    const QVariant value = shownModel()->index(row, 0).data(VXStoreListModel::ValueRole);
    if (!value.isValid())
        return;
    const VXShownMessage shown = value.value<VXRowContents>().data.value<VXShownMessage>();
    const QString party = shown.message.otherParty();
    _shownConversation = shown.conversation;
    showConversation(party, conversationsWith(party), messageInRow(row));
}

// The one that the row stands for; null where it stands for a whole conversation.
VXManagedObjectID VXMessagesSection::messageInRow(int row) const
{
    const bool isOfMessage = shownModel() != _conversations || !_pane->search()->searchText().isEmpty();
    return isOfMessage ? shownModel()->index(row, 0).data(VXStoreListModel::ObjectIDRole).value<VXManagedObjectID>()
                       : VXManagedObjectID();
}

// Once more at the chosen one, after one has scrolled elsewhere.
void VXMessagesSection::look()
{
    showRow(_pane->list()->currentIndex().row());
    markAsRead(_shownKeys);
}

void VXMessagesSection::showConversation(const QString &party, const QStringList &keys,
                                         const VXManagedObjectID &message)
{
    _shownKeys = keys;
    _shownMessage = message;
    _view->setParty(party, keys, message);
    const bool isTyping = _pane->search()->hasFocus() && !_pane->search()->text().isEmpty();
    if (isVisible() && !isTyping && !_isAfterSearch) // what a word happened to find does not count as read
        markAsRead(keys);
}

// In the list of all; false if it is not among those that were read.
bool VXMessagesSection::chooseConversation(const QStringList &keys)
{
    for (const QString &key : keys) {
        if (const int row = _conversations->rowOfConversation(key); row >= 0) {
            _folder->setCurrentIndex(0);
            showFolder();
            _pane->choose(row);
            return true;
        }
    }
    return false;
}

bool VXMessagesSection::showObject(const QUrl &uri)
{
    const VXManagedObjectID message =
        objectAtURI(_store ? _store->coordinator() : nullptr, uri, VXMessageStore::entityName);
    if (message.isNull())
        return false;
    VXManagedObjectContext context(_store->coordinator());
    const QString party = VXMessageRecord(QVariant::fromValue(context.objectWithID(message))).otherParty();
    const QStringList keys = conversationsWith(party);
    _pane->search()->clear();
    if (!chooseConversation(keys)) {
        _shownConversation = keys.constFirst(); // will be selected once the list has got that far
        _pane->list()->setCurrentIndex({});
    }
    showConversation(party, keys, message);
    return true;
}

void VXMessagesSection::showEvent(QShowEvent *event)
{
    VXSection::showEvent(event);
    const QScopedValueRollback found(_isAfterSearch, !_pane->search()->searchText().isEmpty());
    if (const QModelIndex index = _pane->list()->currentIndex(); index.isValid() && !_view->isNew())
        showRow(index.row());
}

bool VXMessagesSection::change(const std::function<void(VXManagedObjectContext &)> &work)
{
    VXError error;
    const VXStoreWorkLock saving(*_store->coordinator(), VXStoreWorkLock::savingName);
    VXManagedObjectContext context(_store->coordinator());
    if (saving.isHeld(&error))
        work(context);
    if (error.isNull() && (!context.hasChanges() || context.save(&error)))
        return true;
    notices().showProblem(error.localizedDescription());
    return false;
}

void VXMessagesSection::markAsRead(const QStringList &conversations)
{
    if (conversations.isEmpty())
        return;
    change([&](VXManagedObjectContext &context) {
        VXFetchRequest request = _store->messagesOfConversations(conversations);
        request.predicate = VXPredicate::allOf({request.predicate, *VXPredicate::predicateWithFormat(u"state == 1"_s)});
        if (const auto unread = context.executeFetchRequest(request)) {
            for (const VXManagedObjectPtr &message : *unread)
                VXMarkMessageAsRead(message);
        }
    });
}

// -- What the user does

void VXMessagesSection::find()
{
    _pane->search()->setFocus();
    _pane->search()->selectAll();
}

void VXMessagesSection::makeNew()
{
    write({});
}

void VXMessagesSection::write(const QStringList &phonebookStrings, const QString &text)
{
    if (!_store)
        return;
    if (phonebookStrings.size() == 1 && chooseConversation(conversationsWith(phonebookStrings.constFirst()))) {
        _view->focusText();
    } else {
        _pane->list()->setCurrentIndex({});
        _view->startNew(phonebookStrings);
    }
    if (!text.isEmpty())
        _view->composer().addText(text);
}

bool VXMessagesSection::commit()
{
    if (_view != nullptr)
        _view->finishTyping();
    return true;
}

void VXMessagesSection::send(const QStringList &receivers, const QString &text, const QUrl &device)
{
    const std::optional<VXOutbox> outbox = VXOutbox::sharedOutbox();
    if (device.isEmpty() || !outbox) {
        notices().showProblem(device.isEmpty() ? VXText("There is no phone to send by. Add one under Phones.")
                                               : VXText("There is no outbox; the log tells why."));
        return;
    }
    if (receivers.size() > askedFrom) {
        VXAlert alert;
        alert.message = VXText("Send this to %1 people?").arg(receivers.size());
        alert.informativeText = VXText("Each gets a message of their own, which your provider may charge for.");
        alert.defaultButton = VXText("Send");
        alert.alternateButton = VXText("Cancel");
        if (VXApplication::sharedApplication().userInterface().runAlert(alert).button != VXAlertButton::Default)
            return;
    }
    if (receivers.isEmpty()) {
        notices().showProblem(VXText("Say who it goes to."));
        return;
    }
    QStringList failed;
    QString reason;
    for (const QString &receiver : receivers) {
        VXError error;
        if (!VXOutgoingMessage::send(receiver, text, device, *_store, *outbox, &error)) {
            failed.append(receiver);
            reason = error.localizedDescription();
        }
    }
    _view->wasSent(failed);
    if (!failed.isEmpty()) {
        notices().showProblem(VXText("Not sent to %1: %2").arg(VXWhoOf(failed.join(", "_L1)), reason));
        return;
    }
    if (_view->isNew()) {
        _shownConversation = VXConversationKey(receivers.constFirst());
        _view->setParty(receivers.constFirst(), conversationsWith(receivers.constFirst()));
    }
    _view->focusText();
}

void VXMessagesSection::remove()
{
    const QModelIndex index = _pane->list()->currentIndex();
    if (_folder->currentIndex() > 0 && index.isValid())
        trash(index.data(VXStoreListModel::ObjectIDRole).value<VXManagedObjectID>());
}

void VXMessagesSection::trash(const VXManagedObjectID &message)
{
    QVariantMap info;
    QUrl folder;
    QUrl moved;
    const bool isDone = change([&](VXManagedObjectContext &context) {
        const VXManagedObjectPtr found = context.existingObjectWithID(message);
        if (!found)
            return;
        VXMoveMessageToFolder(found, VXFetchRootFolder(VXTrashFolder, &context), false, &info);
        if (const auto before = info.value(u"folder"_s).value<VXManagedObjectPtr>())
            folder = before->objectID().uriRepresentation();
        if (!context.save())
            return;
        if (const auto now = info.value(u"message"_s).value<VXManagedObjectPtr>())
            moved = now->objectID().uriRepresentation();
        info.clear();
    });
    if (!isDone || moved.isEmpty())
        return;
    notices().showDone(VXText("The message was moved to the trash."), VXText("Undo"), [this, folder, moved] {
        change([&](VXManagedObjectContext &context) {
            const auto back = _store->folderForText(folder.toString(), context);
            const auto found = context.existingObjectWithID(_store->coordinator()->objectIDForURIRepresentation(moved));
            if (back && found)
                VXMoveMessageToFolder(found, back, false);
        });
    });
}

void VXMessagesSection::exportItems()
{
    if (!_store || _shownConversation.isEmpty())
        return;
    const auto recordOf = [](const VXManagedObjectPtr &message) {
        return VXMessageRecord(QVariant::fromValue(message)).map();
    };
    VXExportRecords(this, _store->coordinator(), _store->messagesOfConversation(_shownConversation), recordOf,
                    VXText("messages"));
}

void VXMessagesSection::importItems()
{
    VXOpenPanel panel;
    panel.message = VXText("Import messages from a backup of gammu (.smsbackup) or Android (.xml)");
    panel.shouldShowFilename = [](const QString &path) {
        return QStringList{u"smsbackup"_s, u"xml"_s}.contains(QFileInfo(path).suffix().toLower());
    };
    const VXPanelResult chosen = VXApplication::sharedApplication().userInterface().runOpenPanel(panel);
    if (chosen.path.isNull())
        return;
    struct Outcome
    {
        bool isDone = false;
        qsizetype added = 0;
        qsizetype known = 0;
        qsizetype unread = 0;
        VXError error = {};
    };
    const QString name = QFileInfo(chosen.path).fileName();
    VXWorkInBackground<Outcome>(
        this, VXText("Importing %1").arg(name),
        [store = *_store, path = chosen.path] {
            VXMessageImport import(store);
            Outcome outcome;
            outcome.isDone = import.run(path, &outcome.error);
            outcome.added = import.addedCount();
            outcome.known = import.knownCount();
            outcome.unread = import.problems().size();
            return outcome;
        },
        [this, name](const Outcome &outcome) {
            if (!outcome.isDone)
                return notices().showProblem(
                    VXText("%1 could not be imported: %2").arg(name, outcome.error.localizedDescription()));
            QStringList parts{VXText("%1 new message", "%1 new messages", outcome.added)};
            if (outcome.known > 0)
                parts << VXText("%1 already there", "%1 already there", outcome.known);
            if (outcome.unread > 0)
                parts << VXText("%1 could not be read", "%1 could not be read", outcome.unread);
            notices().showDone(parts.join(", "_L1) + u'.');
        });
}
