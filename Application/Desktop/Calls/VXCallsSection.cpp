#include "VXCallsSection.h"

#include "VXApplication.h"
#include "VXAvatar.h"
#include "VXCallImport.h"
#include "VXCallRecord.h"
#include "VXCallRow.h"
#include "VXCallStore.h"
#include "VXDataManager.h"
#include "VXDateText.h"
#include "VXDesktopText.h"
#include "VXDesktopWork.h"
#include "VXDeviceTransformer.h"
#include "VXEmptyState.h"
#include "VXListPane.h"
#include "VXManagedObjectContext.h"
#include "VXMessageText.h"
#include "VXNoticeBar.h"
#include "VXPartySearch.h"
#include "VXPhonebookManager.h"
#include "VXPhonebookRecord.h"
#include "VXPhonebookString.h"
#include "VXPhoneNumberFormat.h"
#include "VXRecordsExport.h"
#include "VXRowDelegate.h"
#include "VXSearchField.h"
#include "VXStoreListModel.h"
#include "VXStoreWatch.h"
#include "VXSymbol.h"
#include "VXTextLabel.h"
#include "VXUserDefaults.h"

#include <QtCore/QFileInfo>
#include <QtGui/QShortcut>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QButtonGroup>
#include <QtWidgets/QFrame>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QStackedWidget>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

const QString seenKey = u"desktop.calls.seen"_s; // the date of the newest call that was seen

struct ShownCall
{
    VXCallRecord call = {};
    QString who = {};
};

VXFoundCall::Way wayOf(const VXCallRecord &call)
{
    using Way = VXFoundCall::Way;
    return call.isMissed ? Way::Missed : call.isIncoming() ? Way::In : Way::Out;
}

VXListRow rowOf(const VXManagedObjectPtr &object)
{
    const VXCallRecord call(QVariant::fromValue(object));
    const bool isMissed = call.isIncoming() && call.duration.value_or(0) <= 0;
    ShownCall shown{call, VXNamesOf(VXDisplayStringForContacts(call.otherParty()))};
    shown.call.isMissed = isMissed;
    if (shown.who.isEmpty())
        shown.who = VXText("Unknown number");
    VXRowContents contents;
    contents.title = shown.who;
    VXShowCall({wayOf(shown.call), std::llround(call.duration.value_or(0))}, &contents);
    contents.when = VXTextOfDate(call.start(), VXDateStyle::Short);
    contents.data = QVariant::fromValue(shown);
    return {.text = QStringList{shown.who, contents.detail, VXTextOfDate(call.start())}.join(", "_L1),
            .value = QVariant::fromValue(contents)};
}

QDateTime seenDate()
{
    return VXUserDefaults::standardUserDefaults().objectForKey(seenKey).toDateTime();
}

// Since the list was looked at.
int missedCount(const VXPersistentStoreCoordinator::Ptr &coordinator)
{
    const QDateTime seen = seenDate();
    VXManagedObjectContext context(coordinator);
    VXFetchRequest request(*coordinator->model().entityForName(VXCallStore::entityName));
    request.predicate =
        *VXPredicate::predicateWithFormat(u"direction == 1 AND duration <= 0 AND state == \"ended\" AND date > %@"_s,
                                          {seen.isValid() ? seen : QDateTime::fromSecsSinceEpoch(0)});
    return static_cast<int>(context.countForFetchRequest(request).value_or(0));
}

} // namespace
Q_DECLARE_METATYPE(ShownCall)

/** What is known about the selected call and the other party. */
class VXCallsSection::Detail : public QWidget
{
public:
    explicit Detail(VXCallsSection &section)
        : QWidget(&section), _section(section), _avatar(new VXAvatar(88)),
          _name(new VXTextLabel({}, VXTextLabel::Role::Headline)),
          _number(new VXTextLabel({}, VXTextLabel::Role::Secondary)),
          _facts(new VXTextLabel({}, VXTextLabel::Role::Body))
    {
        auto *const call = new QPushButton(VXSymbol::named(u"call"_s), VXText("Call"));
        auto *const message = new QPushButton(VXSymbol::named(u"message"_s), VXText("Message"));
        _contact = new QPushButton(VXSymbol::named(u"person-plus"_s), VXText("Add to contacts"));
        _buttons = QList<QPushButton *>{call, message, _contact};
        connect(call, &QPushButton::clicked, this, [this] { Q_EMIT _section.wantsCall(_section.chosenNumber()); });
        connect(message, &QPushButton::clicked, this,
                [this] { Q_EMIT _section.wantsMessage({_section.chosenParty()}); });
        connect(_contact, &QPushButton::clicked, this,
                [this] { Q_EMIT _section.wantsContact(_section.chosenParty()); });

        auto *const card = new QFrame;
        card->setProperty("vxSurface", u"card"_s);
        auto *const facts = new QVBoxLayout(card);
        facts->setContentsMargins(18, 14, 18, 14);
        facts->addWidget(_facts);
        auto *const names = new QVBoxLayout;
        names->setSpacing(4);
        names->addStretch();
        names->addWidget(_name);
        names->addWidget(_number);
        auto *const buttons = new QHBoxLayout;
        for (QPushButton *const button : _buttons)
            buttons->addWidget(button);
        buttons->addStretch();
        names->addSpacing(4);
        names->addLayout(buttons);
        names->addStretch();
        auto *const top = new QWidget;
        top->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
        auto *const head = new QHBoxLayout(top);
        head->setContentsMargins(0, 0, 0, 0);
        head->setSpacing(18);
        head->addWidget(_avatar);
        head->addLayout(names, 1);
        auto *const middle = new QWidget;
        middle->setMaximumWidth(620);
        auto *const column = new QVBoxLayout(middle);
        column->setContentsMargins(16, 20, 16, 24);
        column->setSpacing(16);
        column->addWidget(top);
        column->addWidget(card);
        column->addStretch();
        auto *const sides = new QHBoxLayout(this);
        sides->addStretch(1);
        sides->addWidget(middle, 100);
        sides->addStretch(1);
    }

    void show(const ShownCall &shown)
    {
        const VXCallRecord &call = shown.call;
        QString address;
        const bool hasAddress =
            VXPhonebookStringSplit(VXPhonebookStringWithoutExtension(call.otherParty()), nullptr, &address);
        const bool isKnown = VXContactForPhonebookStrings(call.otherParty()).value<VXManagedObjectPtr>() != nullptr;
        _avatar->setPerson(shown.who,
                           VXPhonebookManager::sharedPhonebookManager().imageForPhonebookString(call.otherParty()));
        _name->setText(shown.who);
        const QString formatted = VXFormatPhoneNumber(address);
        _number->setText(formatted);
        _number->setVisible(hasAddress && formatted != shown.who);
        _contact->setText(isKnown ? VXText("Show contact") : VXText("Add to contacts"));
        _contact->setIcon(VXSymbol::named(isKnown ? u"person"_s : u"person-plus"_s));
        for (QPushButton *const button : _buttons)
            button->setEnabled(!VXDialledNumber(call.otherParty()).isEmpty());
        QStringList facts{VXFoundCall{wayOf(call)}.text(), VXTextOfDate(call.start())};
        if (call.duration.value_or(0) > 0)
            facts << VXText("Talked for %1").arg(VXTextOfDuration(*call.duration));
        const QString phone = VXDeviceNameAtURL().transformedValue(QUrl(call.deviceURL)).toString();
        if (!phone.isEmpty() && !call.deviceURL.isEmpty())
            facts << VXText("On %1").arg(phone);
        _facts->setText(facts.join(u'\n'));
    }

private:
    VXCallsSection &_section;
    VXAvatar *_avatar;
    VXTextLabel *_name;
    VXTextLabel *_number;
    VXTextLabel *_facts;
    QPushButton *_contact;
    QList<QPushButton *> _buttons;
};

VXSection::Info VXCallsSection::info()
{
    return {.key = u"calls"_s, .title = VXText("Calls"), .icon = u"call"_s};
}

VXCallsSection::VXCallsSection(QWidget *parent)
    : VXSection(info(), parent),
      _coordinator(VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(VXCallStore::storeName)),
      _model(new VXStoreListModel(this)), _pane(new VXListPane(VXText("Search calls"), VXText("Calls"), this)),
      _chips(new QButtonGroup(this)), _detail(new Detail(*this))
{
    makeChips();
    _pane->setModel(_model);
    showBeside(_pane, _detail);
    _detail->hide();

    connect(_pane, &VXListPane::searchDidChange, this, &VXCallsSection::showList);
    connect(_pane, &VXListPane::chosen, this, &VXCallsSection::showCall);
    connect(_pane, &VXListPane::activated, this, [this] { Q_EMIT wantsCall(chosenNumber()); });
    connect(_pane->placeholder(), &VXEmptyState::actionWanted, this, &VXSection::wantsSync);
    connect(_pane->placeholder(), &VXEmptyState::secondActionWanted, this, &VXCallsSection::importItems);
    connect(_model, &VXStoreListModel::didFail, this,
            [this](const VXError &error) { notices().showProblem(error.localizedDescription()); });
    connect(_model, &VXStoreListModel::didRead, this, &VXCallsSection::listWasRead);
    connect(_model, &VXStoreListModel::dataChanged, this, [this] { showCall(_pane->list()->currentIndex().row()); });
    const auto onKeys = [this](const QKeySequence &keys, const std::function<void()> &perform) {
        auto *const shortcut = new QShortcut(keys, this);
        shortcut->setContext(Qt::WidgetWithChildrenShortcut);
        connect(shortcut, &QShortcut::activated, this, perform);
    };
    onKeys(Qt::CTRL | Qt::Key_T, [this] { Q_EMIT wantsMessage({chosenParty()}); });
    onKeys(Qt::CTRL | Qt::Key_D, [this] { Q_EMIT wantsContact(chosenParty()); });
    if (!_coordinator)
        return;
    _watch = std::make_unique<VXStoreWatch>(_coordinator);
    connect(_watch.get(), &VXStoreWatch::didChange, this, [this] { _missed.read(); });
    _missed.set([coordinator = _coordinator] { return missedCount(coordinator); },
                [this](int count) { setBadge(count); });
    showList();
    _missed.read();
}

VXCallsSection::~VXCallsSection() = default;

void VXCallsSection::makeChips()
{
    const std::pair<Kind, const char *> kinds[] = {
        {Kind::All, "All"}, {Kind::In, "Incoming"}, {Kind::Out, "Outgoing"}, {Kind::Missed, "Missed"}};
    for (const auto &[kind, title] : kinds) {
        auto *const chip = new QPushButton(VXText(title));
        chip->setCheckable(true);
        chip->setChecked(kind == Kind::All);
        _chips->addButton(chip, int(kind));
        _pane->secondRow()->addWidget(chip);
    }
    _pane->secondRow()->addStretch();
    connect(_chips, &QButtonGroup::idClicked, this, [this] { showList(); });
}

void VXCallsSection::showList()
{
    if (!_coordinator)
        return;
    static const QString conditions[] = {u"TRUEPREDICATE"_s, u"direction == 1 AND duration > 0"_s, u"direction == 0"_s,
                                         u"direction == 1 AND duration <= 0"_s};
    VXFetchRequest request(*_coordinator->model().entityForName(VXCallStore::entityName));
    request.predicate = *VXPredicate::predicateWithFormat(conditions[_chips->checkedId()]);
    if (const QString search = _pane->search()->searchText(); !search.isEmpty())
        request.predicate = VXPredicate::allOf({request.predicate, VXHasOtherParty(search, VXPartiesMeantBy(search))});
    request.sortDescriptors = {{.key = u"date"_s, .isAscending = false}};
    _model->setQuery({.coordinator = _coordinator, .request = request, .makeRow = rowOf});
}

bool VXCallsSection::showsAll() const
{
    return _chips->checkedId() == int(Kind::All) && _pane->search()->searchText().isEmpty();
}

void VXCallsSection::listWasRead()
{
    const bool isEmpty = _model->rowCount() == 0;
    if (showsAll())
        _pane->placeholder()->setContents(u"call"_s, VXText("No calls yet"),
                                          VXText("Sync a phone to see its calls here, or import a table."),
                                          VXText("Sync a phone"), VXText("Import…"));
    else
        _pane->placeholder()->setContents(u"search"_s, VXText("No such calls"), {});
    _pane->setIsEmpty(isEmpty);
    _detail->setVisible(!isEmpty);
    const int wanted = std::exchange(_wantedRow, -1);
    if (!isEmpty && (wanted >= 0 || !_pane->list()->currentIndex().isValid()))
        _pane->choose(std::clamp(wanted, 0, _model->rowCount() - 1));
}

// In the list of all, newest first, those of one date by their numbers; it may lie on a page that nobody has read.
int VXCallsSection::countBefore(const VXManagedObjectID &call) const
{
    VXManagedObjectContext context(_coordinator);
    const QVariant date = context.objectWithID(call)->valueForKey(u"date"_s);
    const auto count = [&](const QString &format, qint64 afterNumber = 0) {
        VXFetchRequest request(*_coordinator->model().entityForName(VXCallStore::entityName));
        request.predicate = *VXPredicate::predicateWithFormat(format, {date});
        request.afterNumber = afterNumber;
        return context.countForFetchRequest(request).value_or(0);
    };
    const auto newer = count(date.isValid() ? u"date > %@"_s : u"date != %@"_s);
    return static_cast<int>(newer + count(u"date == %@"_s) - count(u"date == %@"_s, call.number() - 1));
}

bool VXCallsSection::showObject(const QUrl &uri)
{
    const VXManagedObjectID call = objectAtURI(_coordinator, uri, VXCallStore::entityName);
    if (call.isNull())
        return false;
    _pane->search()->clear();
    _chips->button(int(Kind::All))->setChecked(true);
    showList();
    _wantedRow = countBefore(call); // after the list was asked for, before it comes
    return true;
}

void VXCallsSection::showCall(int row)
{
    const QVariant value = row < 0 ? QVariant() : _model->index(row).data(VXStoreListModel::ValueRole);
    if (!value.isValid())
        return;
    _detail->show(value.value<VXRowContents>().data.value<ShownCall>());
    const QDateTime date = value.value<VXRowContents>().data.value<ShownCall>().call.date;
    // The first of some calls only is not the newest.
    if (row == 0 && isVisible() && showsAll() && date.isValid() && !(date < seenDate())) {
        VXUserDefaults::standardUserDefaults().setObject(date, seenKey);
        _missed.read();
    }
}

void VXCallsSection::showEvent(QShowEvent *event)
{
    VXSection::showEvent(event);
    showCall(_pane->list()->currentIndex().row());
}

QString VXCallsSection::chosenParty() const
{
    const QVariant value = _pane->list()->currentIndex().data(VXStoreListModel::ValueRole);
    return value.value<VXRowContents>().data.value<ShownCall>().call.otherParty();
}

QString VXCallsSection::chosenNumber() const
{
    return VXDialledNumber(chosenParty());
}

void VXCallsSection::find()
{
    _pane->search()->setFocus();
    _pane->search()->selectAll();
}

void VXCallsSection::exportItems()
{
    if (!_coordinator)
        return;
    VXFetchRequest request(*_coordinator->model().entityForName(VXCallStore::entityName));
    request.sortDescriptors = {{.key = u"date"_s}};
    const auto recordOf = [](const VXManagedObjectPtr &call) { return VXCallRecord(QVariant::fromValue(call)).map(); };
    VXExportRecords(this, _coordinator, request, recordOf, VXText("calls"));
}

void VXCallsSection::importItems()
{
    VXOpenPanel panel;
    panel.message = VXText("Import calls from a table (.csv)");
    panel.shouldShowFilename = [](const QString &path) {
        return QStringList{u"csv"_s, u"tsv"_s, u"txt"_s}.contains(QFileInfo(path).suffix().toLower());
    };
    const VXPanelResult chosen = VXApplication::sharedApplication().userInterface().runOpenPanel(panel);
    if (chosen.path.isNull())
        return;
    struct Outcome
    {
        bool isDone = false;
        qsizetype added = 0;
        QStringList problems = {};
        VXError error = {};
    };
    VXWorkInBackground<Outcome>(
        this, VXText("Importing %1").arg(QFileInfo(chosen.path).fileName()),
        [coordinator = _coordinator, path = chosen.path] {
            VXCallImport import(coordinator);
            Outcome outcome;
            outcome.isDone = import.run(path, &outcome.error);
            outcome.added = import.addedCount();
            outcome.problems = import.problems();
            return outcome;
        },
        [this](const Outcome &outcome) {
            if (!outcome.isDone)
                return notices().showProblem(outcome.error.localizedDescription());
            const QString added = VXText("%1 new call", "%1 new calls", outcome.added);
            if (outcome.problems.isEmpty())
                notices().showDone(added + u'.');
            else
                notices().showProblem(added + u", "_s + outcome.problems.constFirst());
        });
}
