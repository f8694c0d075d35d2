#include "VXContactsSection.h"

#include "VXApplication.h"
#include "VXCardFile.h"
#include "VXContactCard.h"
#include "VXContactFields.h"
#include "VXContactFiles.h"
#include "VXContactMergeEdit.h"
#include "VXContactMergeView.h"
#include "VXContactRow.h"
#include "VXContactsRemoval.h"
#include "VXContactWriter.h"
#include "VXDataManager.h"
#include "VXDesktopText.h"
#include "VXEmailAddress.h"
#include "VXEmptyState.h"
#include "VXErrorDomain.h"
#include "VXListPane.h"
#include "VXManagedObjectContext.h"
#include "VXNoticeBar.h"
#include "VXPhonebookManager.h"
#include "VXPhonebookString.h"
#include "VXRecordsExport.h"
#include "VXRowDelegate.h"
#include "VXSearchField.h"
#include "VXSheet.h"
#include "VXStoreListModel.h"
#include "VXStoreWatch.h"

#include <QtCore/QLocale>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QStackedWidget>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype askedFrom = 20;   // more contacts than a list shows at a time
constexpr qsizetype mostMerged = 100; // the time it takes grows with the square of this

} // namespace

VXSection::Info VXContactsSection::info()
{
    return {.key = u"contacts"_s, .title = VXText("Contacts"), .icon = u"people"_s};
}

VXContactsSection::VXContactsSection(QWidget *parent)
    : VXSection(info(), parent),
      _coordinator(VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(u"phonebook"_s)),
      _model(new VXStoreListModel(this)), _pane(new VXListPane(VXText("Search contacts"), VXText("Contacts"), this)),
      _group(new QComboBox(this)), _detail(new QStackedWidget(this)), _card(new VXContactCard(this)),
      _nothing(new VXEmptyState(this))
{
    _group->setAccessibleName(VXText("Group"));
    _pane->secondRow()->addWidget(_group, 1);
    _pane->setModel(_model);
    _pane->list()->setSelectionMode(QListView::ExtendedSelection); // for merging
    _nothing->setContents(u"person"_s, VXText("No contact chosen"),
                          VXText("Choose one from the list, or make a new one."));
    _detail->addWidget(_card); // first, and thereby shown: most often it is what comes
    _detail->addWidget(_nothing);
    if (!_coordinator)
        _detail->setCurrentWidget(_nothing);
    showBeside(_pane, _detail);

    connect(_pane, &VXListPane::searchDidChange, this, &VXContactsSection::showList);
    connect(_pane, &VXListPane::chosen, this, [this](int row) {
        _shownRow = std::max(0, row);
        if (row >= 0 && !(_edited && _model->isFollowing())) // a row that vanishes ends no editing
            show(_model->objectIDAt(row));
    });
    connect(_pane, &VXListPane::activated, this, &VXContactsSection::edit);
    connect(_pane->placeholder(), &VXEmptyState::actionWanted, this, &VXContactsSection::importItems);
    connect(_pane->placeholder(), &VXEmptyState::secondActionWanted, this, &VXContactsSection::makeNew);
    connect(_group, &QComboBox::activated, this, &VXContactsSection::showList);
    connect(_model, &VXStoreListModel::didFail, this,
            [this](const VXError &error) { notices().showProblem(error.localizedDescription()); });
    connect(_model, &VXStoreListModel::didRead, this, &VXContactsSection::listWasRead);
    connect(_model, &VXStoreListModel::dataChanged, this, [this] {
        if (_shown.isNull() && !_edited && _pane->list()->currentIndex().isValid())
            show(_model->objectIDAt(_pane->list()->currentIndex().row()));
    });
    connect(_card, &VXContactCard::wantsEdit, this, &VXContactsSection::edit);
    connect(_card, &VXContactCard::wantsCall, this, &VXSection::wantsCall);
    connect(_card, &VXContactCard::wantsMessage, this, [this](const QString &party) { Q_EMIT wantsMessage({party}); });
    if (!_coordinator)
        return;
    _watch = std::make_unique<VXStoreWatch>(_coordinator);
    connect(_watch.get(), &VXStoreWatch::didChange, this, [this] {
        _groups.read();
        if (!_edited)
            showCard();
    });
    _groups.set([coordinator = _coordinator] { return VXReadContactGroups(coordinator); },
                [this](const VXContactGroups &groups) { takeGroups(groups); });
    takeGroups(VXReadContactGroups(_coordinator)); // few, and the list would jump when they come late
    showList();
    restoreDraft();
}

VXContactsSection::~VXContactsSection() = default;

bool VXContactsSection::isEmpty() const
{
    return !_model->isReading() && _model->rowCount() == 0 && _pane->search()->searchText().isEmpty();
}

// -- The list

void VXContactsSection::takeGroups(const VXContactGroups &groups)
{
    const auto chosen = _group->currentData().value<VXManagedObjectID>();
    _group->clear();
    _group->addItem(VXText("All contacts"));
    for (const auto &[name, group] : groups) {
        _group->addItem(name, QVariant::fromValue(group));
        if (!chosen.isNull() && group == chosen)
            _group->setCurrentIndex(_group->count() - 1);
    }
    _group->setVisible(_group->count() > 1);
}

void VXContactsSection::showList()
{
    if (_coordinator)
        _model->setQuery(VXContactsQuery(_coordinator, _group->currentData().value<VXManagedObjectID>(),
                                         _pane->search()->searchText()));
}

void VXContactsSection::listWasRead()
{
    const int count = _model->rowCount();
    const bool isSearched = !_pane->search()->searchText().isEmpty();
    if (count == 0 && isSearched)
        _pane->placeholder()->setContents(u"search"_s, VXText("Nobody found"),
                                          VXText("No contact has a name, number or address that begins so."));
    else if (count == 0)
        _pane->placeholder()->setContents(u"people"_s, VXText("No contacts yet"),
                                          VXText("Import a vCard file, sync a phone, or make the first one."),
                                          VXText("Import…"), VXText("New contact"));
    _pane->setIsEmpty(count == 0);
    _pane->search()->setResultCount(isSearched ? std::optional<qint64>(count) : std::nullopt);
    if (count == 0 && !_edited) {
        _shown = {};
        showCard();
    } else if (!_edited && !showSelected()) {
        const int row = _shown.isNull() ? -1 : _model->rowOfObject(_shown);
        const bool isKept = row >= 0 || (_model->isFollowing() && read(_shown)); // perhaps far away
        if (row >= 0 || !(isKept || _pane->list()->currentIndex().isValid()))
            _pane->choose(row >= 0 ? row : _model->isFollowing() ? std::min(_shownRow, count - 1) : 0);
    }
}

// Where others removed the row that was shown, its neighbour is not chosen while more rows are. @return whether one of those is shown
bool VXContactsSection::showSelected()
{
    const QModelIndexList rows = _pane->list()->selectionModel()->selectedRows();
    if (!_model->isFollowing() || rows.isEmpty())
        return false;
    if (std::ranges::none_of(rows, [this](const auto &each) { return _model->objectIDAt(each.row()) == _shown; }))
        show(_model->objectIDAt(rows.constFirst().row()));
    return true;
}

// -- The chosen one

std::optional<VXContactRecord> VXContactsSection::read(const VXManagedObjectID &person) const
{
    if (person.isNull() || !_coordinator)
        return std::nullopt;
    VXManagedObjectContext context(_coordinator);
    const VXManagedObjectPtr found = context.existingObjectWithID(person);
    return found ? std::optional(VXContactRecord(QVariant::fromValue(found))) : std::nullopt;
}

void VXContactsSection::show(const VXManagedObjectID &person)
{
    if (_edited && (person == _edited->person || !endEditing()))
        return; // the form stays, or shows what is wrong
    _shown = person;
    showCard();
}

void VXContactsSection::showCard()
{
    const std::optional<VXContactRecord> contact = read(_shown);
    if (contact && !(_onCard == _shown && VXIsSameContact(_cardContact, *contact))) {
        _onCard = _shown;
        _cardContact = *contact;
        _card->setContact(*contact);
    }
    _detail->setCurrentWidget(contact ? static_cast<QWidget *>(_card) : _nothing);
    if (isEmpty())
        _nothing->setContents(u"person"_s, VXText("Your phonebook is empty"), {});
    else
        _nothing->setContents(u"person"_s, VXText("No contact chosen"),
                              VXText("Choose one from the list, or make a new one."));
}

void VXContactsSection::find()
{
    _pane->search()->setFocus();
    _pane->search()->selectAll();
}

void VXContactsSection::remove()
{
    if (_edited)
        return removeEdited();
    const auto persons = chosen();
    if (persons && persons->size() > 1)
        removeAll(*persons);
    else if (persons) // what is highlighted, which need not be what is shown
        remove(persons->isEmpty() ? _shown : persons->constFirst());
}

// What was typed in it and could not be saved is typed in it again when that is undone.
void VXContactsSection::remove(const VXManagedObjectID &person, const std::optional<VXTypedContact> &unsaved)
{
    const auto contact = read(person);
    if (contact && push(person, contact, std::nullopt, unsaved))
        notices().showDone(VXText("“%1” was deleted.").arg(VXContactTitle(*contact)), VXText("Undo"),
                           [this] { undoStack().undo(); });
}

void VXContactsSection::removeAll(const QList<VXManagedObjectID> &persons)
{
    if (persons.size() > askedFrom) {
        VXAlert alert;
        alert.message = VXText("Delete %1 contacts?").arg(QLocale().toString(persons.size()));
        alert.informativeText = VXText("They can be brought back until Vornix is closed.");
        alert.defaultButton = VXText("Delete");
        alert.alternateButton = VXText("Cancel");
        if (VXApplication::sharedApplication().userInterface().runAlert(alert).button != VXAlertButton::Default)
            return;
    }
    auto *const removal = new VXContactsRemoval(_coordinator, persons, [this](const VXError &error) {
        if (error.code() == VXErrorCancelled && error.domain() == VXErrorDomain)
            return notices().hide();
        if (!error.isNull())
            return notices().showProblem(
                VXText("The contact could not be saved: %1").arg(error.localizedDescription()));
        notices().hide();
        showOutcome({});
    });
    undoStack().push(removal);
    if (undoStack().index() > 0 && undoStack().command(undoStack().index() - 1) == removal) // it was written
        notices().showDone(VXText("%1 contact was deleted.", "%1 contacts were deleted.", removal->count()),
                           VXText("Undo"), [this] { undoStack().undo(); });
}

// None, with a message to the user, if it cannot be told what stands in the selected rows.
std::optional<QList<VXManagedObjectID>> VXContactsSection::chosen()
{
    VXError error;
    auto persons = _model->objectIDsOf(_pane->list()->selectionModel()->selectedRows(), &error);
    if (!persons)
        notices().showProblem(error.isNull() ? VXText("The list has just changed. Please try again.")
                                             : error.localizedDescription());
    return persons;
}

// Shown before it is done: the names do not tell what will remain of each contact.
void VXContactsSection::merge()
{
    if (!_coordinator || _sheet || (_edited && !endEditing()))
        return;
    if (const qsizetype count = _pane->list()->selectionModel()->selectedRows().size(); count > mostMerged)
        return notices().showProblem(VXText("%1 contacts are too many to be one. Choose at most %2.")
                                         .arg(QLocale().toString(count), QLocale().toString(mostMerged)));
    const auto selected = chosen();
    if (!selected)
        return;
    const QList<VXManagedObjectID> &persons = *selected;
    if (persons.size() < 2) {
        notices().showDone(VXText("Choose two contacts or more, with Ctrl or Shift, to make one of them."));
        return;
    }
    const VXDuplicateContacts duplicates = VXContactDuplicates(_coordinator).some({}, persons);
    auto *const view = new VXContactMergeView(duplicates);
    _sheet = new VXSheet(view);
    connect(view, &VXContactMergeView::done, _sheet, &VXSheet::end);
    connect(_sheet, &VXSheet::didEnd, this, [this, persons, name = duplicates.merged.shownName()](int code) {
        if (code == VXSheet::Ok)
            merge(persons, name);
    });
    _sheet->beginOnWindow(*this);
}

void VXContactsSection::merge(const QList<VXManagedObjectID> &persons, const QString &name)
{
    undoStack().push(new VXContactMergeEdit(
        _coordinator, persons, name, [this, name](const VXManagedObjectID &person, const VXError &error) {
            if (!error.isNull())
                return notices().showProblem(VXText("Not merged: %1").arg(error.localizedDescription()));
            showOutcome(person);
            if (person.isNull())
                return notices().showDone(VXText("The contacts are apart again."));
            notices().showDone(VXText("Merged into “%1”.").arg(name), VXText("Undo"), [this] { undoStack().undo(); });
        }));
}

bool VXContactsSection::commit()
{
    return endEditing();
}

bool VXContactsSection::leave()
{
    return _edited.has_value() && endEditing();
}

void VXContactsSection::showInList(const VXManagedObjectID &person)
{
    _pane->search()->clear();
    show(person);
    _pane->choose(_model->rowOfObject(_shown));
}

bool VXContactsSection::showObject(const QUrl &uri)
{
    const VXManagedObjectID person = objectAtURI(_coordinator, uri, u"VXPerson");
    if (!person.isNull())
        showInList(person);
    return !person.isNull();
}

void VXContactsSection::showContact(const QString &phonebookString)
{
    VXPhonebookManager &manager = VXPhonebookManager::sharedPhonebookManager();
    const VXManagedObjectPtr entry = manager.entryForAddress(phonebookString);
    if (entry) {
        const auto person = entry->entity().name() == "VXPerson"_L1
                                ? entry
                                : entry->valueForKey(u"person"_s).value<VXManagedObjectPtr>();
        if (person)
            return showInList(person->objectID());
    }
    if (!_coordinator || (_edited && !endEditing()))
        return;
    VXContactRecord contact;
    QString name;
    QString value;
    unsigned type = 0;
    if (VXPhonebookStringSplitAsWritten(phonebookString, &name, &value, &type))
        (VXIsValidEmailAddress(value) ? contact.emails : contact.numbers).append({value, type, {}});
    contact.firstName = name;
    startEditing({}, {contact});
}

// -- Files

void VXContactsSection::exportItems()
{
    if (!_coordinator)
        return;
    const VXListQuery shown =
        VXContactsQuery(_coordinator, _group->currentData().value<VXManagedObjectID>(), _pane->search()->searchText());
    const auto recordOf = [](const VXManagedObjectPtr &person) {
        return VXContactRecord(QVariant::fromValue(person)).map();
    };
    VXExportRecords(this, _coordinator, *shown.request, recordOf, VXText("contacts"));
}

void VXContactsSection::importItems()
{
    VXOpenPanel panel;
    panel.message = VXText("Import contacts from a vCard file");
    panel.shouldShowFilename = &VXIsCardFile;
    const VXPanelResult chosen = VXApplication::sharedApplication().userInterface().runOpenPanel(panel);
    if (!chosen.path.isNull())
        importFiles({chosen.path});
}

void VXContactsSection::importFiles(const QStringList &paths)
{
    for (const QString &path : paths)
        VXImportContacts(*this, _coordinator, path);
}
