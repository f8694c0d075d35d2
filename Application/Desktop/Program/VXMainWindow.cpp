#include "VXMainWindow.h"

#include "VXApplication.h"
#include "VXAssistant.h"
#include "VXAutomationsSection.h"
#include "VXCallsSection.h"
#include "VXContactsSection.h"
#include "VXDataManager.h"
#include "VXDesktopText.h"
#include "VXDeviceAction.h"
#include "VXFindWindow.h"
#include "VXListPane.h"
#include "VXLogWindow.h"
#include "VXManagedObjectContext.h"
#include "VXMessagesSection.h"
#include "VXMessageStore.h"
#include "VXNoticeBar.h"
#include "VXPhonesSection.h"
#include "VXPluginGuard.h"
#include "VXPreferencesWindow.h"
#include "VXSearchField.h"
#include "VXSidebar.h"
#include "VXStatusBar.h"
#include "VXSymbol.h"
#include "VXTray.h"
#include "VXUserDefaults.h"
#include "VXWindowMemory.h"

#include <QtCore/QFileInfo>
#include <QtCore/QMimeData>
#include <QtCore/QTimer>
#include <QtGui/QCloseEvent>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QMenuBar>
#include <QtWidgets/QStackedWidget>

using namespace Qt::StringLiterals;

namespace {

const QString sectionKey = u"desktop.section"_s; // the last section shown

// Whatever the sections have read so far.
bool isStoreEmpty(const QString &store, const QString &entity)
{
    const auto coordinator = VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(store);
    if (!coordinator)
        return true;
    VXFetchRequest request(*coordinator->model().entityForName(entity));
    request.limit = 1;
    return VXManagedObjectContext(coordinator).countForFetchRequest(request).value_or(0) == 0;
}

void showWindow(QWidget &window)
{
    window.show();
    window.raise();
    window.activateWindow();
}

} // namespace

VXMainWindow::VXMainWindow() : _sidebar(new VXSidebar(this)), _pages(new QStackedWidget(this))
{
    setWindowTitle(u"Vornix"_s);
    setMinimumSize(760, 480);
    setAcceptDrops(true);
    auto *const status = new VXStatusBar(this);
    status->setObjectName(u"status"_s);
    auto *const middle = new QWidget(this);
    auto *const row = new QHBoxLayout;
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    row->addWidget(_sidebar);
    row->addWidget(VXMakeLine(Qt::Vertical));
    row->addWidget(_pages, 1);
    auto *const column = new QVBoxLayout(middle);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addLayout(row, 1);
    column->addWidget(status);
    setCentralWidget(middle);
    addPlaces();
    makeMenus();
    VXRememberWindow(*this, u"main"_s, {1080, 720});
    connect(_sidebar, &QListWidget::currentRowChanged, this, &VXMainWindow::showSectionAt);
    const QString last = VXUserDefaults::standardUserDefaults().stringForKey(sectionKey);
    const auto isLast = [&last](const Place &place) { return place.info.key == last; };
    showSection(std::ranges::any_of(_places, isLast) ? last : u"contacts"_s);
}

VXMainWindow::~VXMainWindow() = default;

void VXMainWindow::addPlaces()
{
    addPlace<VXPhonesSection>();
    addPlace<VXContactsSection>();
    addPlace<VXMessagesSection>();
    addPlace<VXCallsSection>();
    addPlace<VXAutomationsSection>();
}

template <class Section>
void VXMainWindow::addPlace()
{
    const VXSection::Info info = Section::info();
    _places.push_back({info, [this] { return new Section(_pages); }});
    _sidebar->addPage(info.title, info.icon);
}

// -- Sections

QList<VXSection *> VXMainWindow::sections() const
{
    QList<VXSection *> sections;
    for (const Place &place : _places) {
        if (place.section != nullptr)
            sections.append(place.section);
    }
    return sections;
}

VXSection *VXMainWindow::section(const QString &key)
{
    const auto found = std::ranges::find(_places, key, [](const Place &place) { return place.info.key; });
    return found == _places.end() ? nullptr : &make(*found);
}

template <class Section>
Section &VXMainWindow::made()
{
    return static_cast<Section &>(*section(Section::info().key));
}

VXSection &VXMainWindow::make(Place &place)
{
    if (place.section != nullptr)
        return *place.section;
    VXSection *const section = place.section = place.make();
    const int row = static_cast<int>(&place - _places.data());
    _pages->addWidget(section);
    _undo.addStack(&section->undoStack());
    connect(section, &VXSection::badgeDidChange, this, [this, section, row] {
        _sidebar->setBadge(row, section->badge());
        Q_EMIT badgeDidChange();
    });
    connect(section, &VXSection::wantsCall, this, &VXMainWindow::call);
    connect(section, &VXSection::wantsMessage, this, [this](const QStringList &parties) { writeMessage(parties); });
    connect(section, &VXSection::wantsContact, this, &VXMainWindow::showContact);
    connect(section, &VXSection::wantsSync, this, [this] {
        showSection(u"phones"_s);
        sync();
    });
    connect(section, &VXSection::wantsPhone, this, &VXMainWindow::addPhone);
    return *section;
}

// One at a time: what the user does comes between.
void VXMainWindow::makeRest()
{
    const auto next = std::ranges::find_if(_places, [](const Place &place) { return place.section == nullptr; });
    if (next == _places.end() || VXApplication::sharedApplication().isTerminating())
        return;
    make(*next);
    QTimer::singleShot(0, this, &VXMainWindow::makeRest);
}

void VXMainWindow::addPhone()
{
    showSection(u"phones"_s);
    made<VXPhonesSection>().makeNew();
}

VXSection *VXMainWindow::current() const
{
    return qobject_cast<VXSection *>(_pages->currentWidget());
}

void VXMainWindow::showSection(const QString &key)
{
    const auto found = std::ranges::find(_places, key, [](const Place &place) { return place.info.key; });
    if (found != _places.end())
        _sidebar->setCurrentRow(static_cast<int>(found - _places.begin()));
}

void VXMainWindow::showSectionAt(int index)
{
    if (index < 0)
        return;
    if (VXSection *const before = current())
        before->commit();
    VXSection &now = make(_places[size_t(index)]);
    _pages->setCurrentWidget(&now);
    _undo.setActiveStack(&now.undoStack());
    for (const auto &[action, task] : _tasks)
        action->setEnabled((now.tasks() & task) != 0);
    VXUserDefaults::standardUserDefaults().setObject(now.key(), sectionKey);
}

// So that keyboard users can go on there.
void VXMainWindow::focusList()
{
    auto *const pane = current()->findChild<VXListPane *>();
    if (pane == nullptr)
        _sidebar->setFocus();
    else if (pane->list()->isVisible())
        pane->list()->setFocus();
    else
        pane->search()->setFocus();
}

// From what is edited, else from a search, else to the list.
void VXMainWindow::goBack()
{
    VXSection *const section = current();
    if (section == nullptr || section->leave())
        return;
    if (auto *const pane = section->findChild<VXListPane *>())
        pane->search()->clear();
    focusList();
}

// -- Menus

QAction *VXMainWindow::addAction(QMenu *menu, const QString &title, const QKeySequence &keys,
                                 const std::function<void()> &perform)
{
    QAction *const action = menu->addAction(title);
    action->setShortcut(keys);
    connect(action, &QAction::triggered, this, perform);
    return action;
}

void VXMainWindow::makeMenus()
{
    const auto onSection = [this](void (VXSection::*perform)()) {
        return [this, perform] {
            if (VXSection *const section = current())
                (section->*perform)();
        };
    };
    QMenu *const file = menuBar()->addMenu(VXText("&File"));
    _tasks.emplace_back(addAction(file, VXText("&New"), QKeySequence::New, onSection(&VXSection::makeNew)),
                        VXSection::New);
    addAction(file, VXText("New &message"), Qt::CTRL | Qt::SHIFT | Qt::Key_N, [this] { writeMessage({}); });
    addAction(file, VXText("New &contact"), {}, [this] {
        showSection(u"contacts"_s);
        made<VXContactsSection>().makeNew();
    });
    addAction(file, VXText("Add a &phone…"), {}, [this] { addPhone(); });
    file->addSeparator();
    addAction(file, VXText("&Sync phones"), Qt::Key_F5, [this] { sync(); });
    file->addSeparator();
    _tasks.emplace_back(addAction(file, VXText("&Import…"), QKeySequence::Open, onSection(&VXSection::importItems)),
                        VXSection::Import);
    _tasks.emplace_back(addAction(file, VXText("&Export…"), Qt::CTRL | Qt::Key_E, onSection(&VXSection::exportItems)),
                        VXSection::Export);
    file->addSeparator();
    addAction(file, VXText("&Close window"), QKeySequence::Close, [this] { close(); });
    addAction(file, VXText("&Quit"), QKeySequence::Quit, [this] { quit(); });

    QMenu *const edit = menuBar()->addMenu(VXText("&Edit"));
    QAction *const undo = _undo.createUndoAction(this, VXText("&Undo"));
    undo->setShortcut(QKeySequence::Undo);
    QAction *const redo = _undo.createRedoAction(this, VXText("&Redo"));
    redo->setShortcut(Qt::CTRL | Qt::SHIFT | Qt::Key_Z);
    edit->addActions({undo, redo});
    edit->addSeparator();
    _tasks.emplace_back(addAction(edit, VXText("&Edit"), Qt::Key_F2, onSection(&VXSection::edit)), VXSection::Edit);
    _tasks.emplace_back(
        addAction(edit, VXText("&Delete"), QKeySequence(QKeySequence::Delete), onSection(&VXSection::remove)),
        VXSection::Remove);
    _tasks.emplace_back(addAction(edit, VXText("&Merge…"), Qt::CTRL | Qt::Key_M, onSection(&VXSection::merge)),
                        VXSection::Merge);
    edit->addSeparator();
    _tasks.emplace_back(addAction(edit, VXText("&Find"), QKeySequence::Find, onSection(&VXSection::find)),
                        VXSection::Find);
    addAction(edit, VXText("Find every&where…"), Qt::CTRL | Qt::SHIFT | Qt::Key_F, [this] { findEverywhere(); });
    addAction(edit, VXText("&Preferences…"), Qt::CTRL | Qt::Key_Comma, [this] { openPreferences(); });

    QMenu *const view = menuBar()->addMenu(VXText("&View"));
    int number = 0;
    for (const Place &place : _places) {
        const QKeySequence keys(Qt::CTRL | Qt::Key(Qt::Key_1 + number++));
        addAction(view, place.info.title, keys, [this, key = place.info.key] {
            showSection(key);
            focusList();
        });
    }
    view->addSeparator();
    auto *const status = findChild<VXStatusBar *>(u"status"_s);
    status->addAction(addAction(view, VXText("&Activities"), Qt::Key_F9, [status] { status->toggleActivities(); }));
    addAction(view, VXText("&Log"), Qt::Key_F12, [this] { openLog(); });

    QMenu *const help = menuBar()->addMenu(VXText("&Help"));
    addAction(help, VXText("First steps…"), {}, [this] { assist(); });
    auto *const back = new QAction(this);
    back->setShortcut(Qt::Key_Escape);
    back->setShortcutContext(Qt::WindowShortcut);
    connect(back, &QAction::triggered, this, &VXMainWindow::goBack);
    QWidget::addAction(back);
}

// -- What is asked for

// With the phone for calls, else the one added last.
void VXMainWindow::call(const QString &number)
{
    if (number.isEmpty())
        return;
    const VXDevicePlugin::Ptr device = VXDevicePlugin::defaultDeviceForKey(u"calls.device"_s);
    VXNoticeBar &notices = current()->notices();
    if (!device)
        return notices.showProblem(VXText("There is no phone to call with."), VXText("Add a phone…"),
                                   [this] { addPhone(); });
    if (!device->actionNames().contains(u"dial"_s))
        return notices.showProblem(VXText("“%1” cannot dial.").arg(device->localizedDescription()));
    notices.showDone(VXText("Calling %1 with “%2”…").arg(number, device->localizedDescription()));
    execute(u"dial"_s, number, device, VXText("%1 could not be called: %2").arg(number, u"%1"_s),
            [this, number] { call(number); });
}

void VXMainWindow::execute(const QString &actionName, const QVariant &object, const VXDevicePlugin::Ptr &phone,
                           const QString &failure, const std::function<void()> &tryAgain)
{
    const auto action = VXDeviceAction::actionWithName(actionName);
    action->setObject(object);
    const auto done = [action, self = QPointer(this), failure, tryAgain](VXDeviceAction *) {
        if (const VXError error = action->error(); self && !error.isNull())
            self->current()->notices().showProblem(failure.arg(error.localizedDescription()),
                                                   tryAgain ? VXText("Try again") : QString(), tryAgain);
    };
    VXCallPlugin(*phone, "executeWithDevice", [&] { action->executeWithDevice(phone, done); });
}

void VXMainWindow::sync()
{
    made<VXPhonesSection>().sync();
}

void VXMainWindow::tellDone(const QString &text)
{
    current()->notices().showDone(text);
}

void VXMainWindow::tellOfCrash(const QString &plugin)
{
    if (plugin.isEmpty())
        return current()->notices().showProblem(VXText("Vornix ended suddenly the last time."), VXText("Log"),
                                                [this] { openLog(); });
    const QString name = QFileInfo(plugin).completeBaseName();
    current()->notices().showProblem(VXText("The plugin “%1” crashed the last time, and Vornix with it.").arg(name),
                                     VXText("Plugins"), [this] { openPreferences(u"plugins"_s); });
}

void VXMainWindow::activate()
{
    setWindowState(windowState() & ~Qt::WindowMinimized);
    showWindow(*this);
}

void VXMainWindow::findEverywhere(const QString &words)
{
    auto *window = findChild<VXFindWindow *>();
    if (window == nullptr) {
        window = new VXFindWindow(this);
        connect(window, &VXFindWindow::chosen, this, [this](const QUrl &uri) {
            if (!showObject(uri))
                current()->notices().showProblem(VXText("It is not there any more."));
        });
    }
    showWindow(*window);
    window->begin(words);
}

bool VXMainWindow::showObject(const QUrl &uri)
{
    const auto found = std::ranges::find_if(_places, [&](Place &each) { return make(each).showObject(uri); });
    if (found != _places.end())
        showSection(found->info.key);
    return found != _places.end();
}

void VXMainWindow::writeMessage(const QStringList &phonebookStrings, const QString &text)
{
    showSection(u"messages"_s);
    made<VXMessagesSection>().write(phonebookStrings, text);
}

void VXMainWindow::showContact(const QString &phonebookString)
{
    showSection(u"contacts"_s);
    made<VXContactsSection>().showContact(phonebookString);
}

void VXMainWindow::importContacts(const QStringList &paths)
{
    showSection(u"contacts"_s);
    made<VXContactsSection>().importFiles(paths);
}

void VXMainWindow::openPreferences(const QString &page)
{
    auto *window = findChild<VXPreferencesWindow *>();
    if (window == nullptr)
        window = new VXPreferencesWindow(this);
    window->showPage(page);
    showWindow(*window);
}

void VXMainWindow::openLog()
{
    auto *window = findChild<VXLogWindow *>();
    if (window == nullptr)
        window = new VXLogWindow(this);
    showWindow(*window);
}

bool VXMainWindow::hasNothing()
{
    return made<VXPhonesSection>().isEmpty() && isStoreEmpty(u"phonebook"_s, u"VXPerson"_s) &&
           isStoreEmpty(VXMessageStore::storeName, VXMessageStore::entityName);
}

void VXMainWindow::assist()
{
    auto *const assistant = new VXAssistant(this);
    assistant->setAttribute(Qt::WA_DeleteOnClose);
    connect(assistant, &VXAssistant::wantsPhone, this, &VXMainWindow::addPhone);
    connect(assistant, &VXAssistant::wantsContacts, this, [this] {
        showSection(u"contacts"_s);
        made<VXContactsSection>().importItems();
    });
    connect(assistant, &VXAssistant::wantsMessages, this, [this] {
        showSection(u"messages"_s);
        made<VXMessagesSection>().importItems();
    });
    assistant->open();
}

// -- The window

// False if something that is being edited cannot be stored, and the user would rather not lose it.
bool VXMainWindow::commit()
{
    const QList<VXSection *> all = sections();
    const auto unsaved = std::ranges::find_if_not(all, &VXSection::commit);
    if (unsaved == all.end())
        return true;
    showSection((*unsaved)->key());
    activate();
    VXAlert alert;
    alert.message = VXText("What you are editing is not saved yet.");
    alert.informativeText = VXText("It stays here for you to look at. If you quit now, it is lost.");
    alert.defaultButton = VXText("Stay");
    alert.alternateButton = VXText("Quit");
    return VXApplication::sharedApplication().userInterface().runAlert(alert).button == VXAlertButton::Alternate;
}

void VXMainWindow::quit()
{
    VXApplication &application = VXApplication::sharedApplication();
    if (!application.isTerminating() && commit())
        application.terminate(); // asks the plugins first
}

void VXMainWindow::closeEvent(QCloseEvent *event)
{
    if (VXTray::keepsRunning()) {
        std::ranges::for_each(sections(), &VXSection::commit);
        return QMainWindow::closeEvent(event);
    }
    event->ignore(); // the application will close the window
    quit();
}

void VXMainWindow::dragEnterEvent(QDragEnterEvent *event)
{
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void VXMainWindow::dropEvent(QDropEvent *event)
{
    QStringList uris;
    for (const QUrl &url : event->mimeData()->urls())
        uris.append(url.toString());
    Q_EMIT wantsOpen(uris);
}

void VXMainWindow::paintEvent(QPaintEvent *event)
{
    QMainWindow::paintEvent(event);
    if (std::exchange(_hasPainted, true))
        return;
    QTimer::singleShot(0, this, [this] {
        Q_EMIT didShow();
        makeRest();
    });
}
