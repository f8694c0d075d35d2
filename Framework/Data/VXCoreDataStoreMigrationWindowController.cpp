#include "VXCoreDataStoreMigrationWindowController.h"

#include "VXApplication.h"
#include "VXCoreDataSaveError.h"
#include "VXDataPlugin.h"
#include "VXDiagnostics.h"
#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXGuard.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXMutex.h"
#include "VXStoreVerification.h"
#include "VXUserDefaults.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>

#include <utility>

using namespace Qt::StringLiterals;

using Controller = VXCoreDataStoreMigrationWindowController;

namespace {

using namespace std::chrono_literals;

constexpr auto untilBegin = 100ms; // the window has appeared by then
constexpr auto untilShown = 100ms; // interval of progress updates

VXError cancelledError()
{
    return {VXErrorDomain, VXErrorCancelled};
}

QString textOf(const QVariantMap &userInfo)
{
    QStringList texts;
    for (auto each = userInfo.cbegin(); each != userInfo.cend(); ++each)
        texts.append(u"%1 = %2"_s.arg(each.key(), each->toString()));
    return u"{"_s + texts.join("; "_L1) + u"}"_s;
}

QString titleFor(const QString &format, VXDataPlugin &plugin)
{
    return VXLocalizedString(format).arg(plugin.dataStoreName());
}

} // namespace

/** Lets the copying thread wait for the main thread, as long as the main thread still wants its results. */
class Controller::Handover
{
public:
    enum class State { Waiting, Done, Given };

    // On the copying thread. False when the results are no longer wanted.
    bool perform(const std::shared_ptr<Handover> &self, const std::function<void()> &work)
    {
        {
            const VXMutexLocker locker(_lock);
            if (_isGivenUp)
                return false;
            _isDone = false;
        }
        // By reference is safe: while this waits, both exist; afterwards nothing is run.
        if (!VXMainThread::perform([self, &work] { self->run(work); }))
            return false;
        const VXMutexLocker locker(_lock);
        _condition.wait(_lock, [this]() VX_REQUIRES(_lock) { return _isDone || _isGivenUp; });
        return _isDone;
    }

    void giveUp()
    {
        const VXMutexLocker locker(_lock);
        _isGivenUp = true;
        _condition.notifyAll();
    }

private:
    // Both this and giveUp run on the main thread.
    void run(const std::function<void()> &work)
    {
        {
            const VXMutexLocker locker(_lock);
            if (_isGivenUp)
                return;
        }
        VXGuard([] { return u"saving a copied store"_s; }, work);
        const VXMutexLocker locker(_lock);
        _isDone = true;
        _condition.notifyAll();
    }

    VXMutex _lock;
    VXCondition _condition;
    bool _isDone VX_GUARDED_BY(_lock) = false;
    bool _isGivenUp VX_GUARDED_BY(_lock) = false;
};

Controller::VXCoreDataStoreMigrationWindowController(const QString &title, VXDataPlugin &plugin)
    : _dataPlugin(plugin), _window(VXApplication::sharedApplication().userInterface().makeProgressWindow(title)),
      _handover(std::make_shared<Handover>())
{
    _window->setCancelHandler([this] { cancel(); });
    _migration.setIntoNewStore(true);
}

Controller::~VXCoreDataStoreMigrationWindowController()
{
    waitForThread();
}

std::unique_ptr<Controller> Controller::importStore(const StorePtr &source, const StorePtr &destination,
                                                    VXDataPlugin &plugin)
{
    std::unique_ptr<Controller> controller(new Controller(titleFor(u"Importing %1 data file..."_s, plugin), plugin));
    controller->setStores(source, destination);
    // by the time of a failure part of it may be saved, which cannot be undone
    controller->_migration.setIntoNewStore(false);
    controller->_migration.setMerge(true);
    return controller;
}

std::unique_ptr<Controller> Controller::exportStore(const StorePtr &source, const StorePtr &destination,
                                                    VXDataPlugin &plugin)
{
    std::unique_ptr<Controller> controller(new Controller(titleFor(u"Exporting %1 data file..."_s, plugin), plugin));
    controller->setStores(source, destination);
    return controller;
}

std::unique_ptr<Controller> Controller::rehearse(const StorePtr &source, const StorePtr &destination,
                                                 VXDataPlugin &plugin, bool isMerge)
{
    std::unique_ptr<Controller> controller(
        new Controller(titleFor(u"Trying to copy %1 data file..."_s, plugin), plugin));
    controller->setStores(source, destination);
    controller->_migration.setIntoNewStore(false);
    controller->_migration.setMerge(isMerge);
    return controller;
}

void Controller::setStores(const StorePtr &source, const StorePtr &destination)
{
    _srcStore = source;
    _srcStore->usePlainObjects(); // the present classes expect the present properties
    _dstStore = destination;
}

void Controller::closeStores()
{
    _migration.forgetNewObjects();
    for (const StorePtr &each : {_srcStore, _dstStore}) {
        const VXPersistentStoreCoordinator::Ptr coordinator = each ? each->persistentStoreCoordinator() : nullptr;
        if (!coordinator)
            continue;
        for (const auto &store : coordinator->persistentStores()) // others may hold the coordinator, too
            coordinator->removePersistentStore(store);
    }
    _srcStore = nullptr;
    _dstStore = nullptr;
}

// -- The run

VXError Controller::runModal()
{
    QTimer begin;
    QTimer progress;
    begin.setSingleShot(true);
    QObject::connect(&begin, &QTimer::timeout, [this] {
        if (!VXGuard([] { return u"beginning to copy a store"_s; }, [this] { performMigration(); }))
            cancel();
    });
    QObject::connect(&progress, &QTimer::timeout, [this] { showProgress(); });
    begin.start(untilBegin);
    progress.start(untilShown);
    _window->setIndeterminate(true);
    const VXProgressWindow::Result result = _window->runModal();
    progress.stop();
    begin.stop();
    if (result == VXProgressWindow::Result::Cancelled && !_error) // the application is terminating
        _error = cancelledError();
    waitForThread();
    _migration.forgetNewObjects();
    if (!_error)
        _error = finish();
    return _error;
}

VXError Controller::finish()
{
    if (_migration.isIntoNewStore()) // its files are whole only when it is closed
        closeStores();
    return {};
}

void Controller::performMigration()
{
    _migration.setVerifies(VXUserDefaults::standardUserDefaults().boolForKey(u"migration.verify"_s));
    _hasThreadEnded = false;
    _thread = std::thread([this] { performMigrationThreaded(); });
}

void Controller::showProgress()
{
    const qint64 total = _migration.total();
    _window->setMessage(_migration.phaseText());
    _window->setIndeterminate(total == 0);
    if (total > 0) {
        _window->setMaxValue(double(total));
        _window->setDoubleValue(double(std::min(_migration.done(), total)));
    }
}

// Lets the hooks finish what they are doing; they may need the main thread for that.
void Controller::waitForThread()
{
    if (!_thread.joinable())
        return;
    _migration.cancel();
    _handover->giveUp();
    while (!_hasThreadEnded)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    _thread.join();
}

void Controller::cancel()
{
    if (std::exchange(_isComplete, true))
        return;
    setError(cancelledError());
    _window->cancel();
}

// -- On the copying thread

bool Controller::performOnMainThread(const std::function<void()> &work)
{
    return _handover->perform(_handover, work);
}

void Controller::performMigrationThreaded()
{
    // Foreign code may throw what migrateStore() does not catch; that must not terminate the process.
    try {
        const VXStoreMigration::Scope scope(_migration);
        migrate();
    } catch (...) {
        const QString thrown = VXDescribeThrown().description;
        VXLogMethod(VXLogError, "performMigrationThreaded:", "migrate: "_L1 + thrown);
        const VXError error =
            VXMakeError(VXLocalizedString(u"The data could not be copied"_s), "%s", qUtf8Printable(thrown));
        performOnMainThread([&] { migrationDidComplete(error); });
    }
    _hasThreadEnded = true;
    VXMainThread::perform([] {}); // wakes the event loop that waits for the end
}

void Controller::migrate()
{
    VXError error;
    const std::unique_ptr<VXManagedObjectContext> context = _dataPlugin.migrateStore(*_srcStore, *_dstStore, &error);
    if (!context && error) {
        VXLogMethod(VXLogError, "performMigrationThreaded:", "migrate: "_L1 + error.description());
        performOnMainThread([&] { migrationDidComplete(error); });
        return;
    }
    VXStoreVerification verification(_migration);
    const bool compares = _migration.verifies() && _migration.isIntoNewStore();
    if (context) {
        if (compares)
            verification.noteObjects(*context);
        if (!performOnMainThread([&] { contextDidMigrate(*context, !compares); }))
            return;
        error = _saveError;
        if (!error && compares)
            error = verification.compare(*_dstStore);
    } else {
        VXLogMethod(VXLogError, "performMigrationThreaded:", u"migrate: (null)"_s);
        tellOfNothing();
    }
    if (error)
        VXLogMethod(VXLogError, "performMigrationThreaded:", "migrate: "_L1 + error.description());
    performOnMainThread([&] { migrationDidComplete(error); });
}

// The hooks want nothing saved, which counts as success. Logs the reason, for those who miss their data.
void Controller::tellOfNothing()
{
    QString text = u"nothing is saved"_s;
    const QList<VXEntityMigration> entities = _migration.entities();
    for (const VXEntityMigration &entity : entities) {
        if (entity.ignored > 0)
            text += u"; %1 of \"%2\" have no new object"_s.arg(entity.ignored).arg(entity.entity);
    }
    _migration.noteNothingSaved();
    VXLogMethod(VXLogWarning, "performMigrationThreaded:", text);
}

// -- Back on the main thread

// After the last save nothing can be cancelled any more.
void Controller::contextDidMigrate(VXManagedObjectContext &context, bool isLast)
{
    _saveError = cancelledError();
    if (_isComplete)
        return;
    _migration.begin(VXStoreMigration::Phase::Saving);
    showProgress();
    // in case the plugin's classes throw
    _saveError = VXMakeError(VXLocalizedString(u"The data could not be copied"_s));
    if (context.save(&_saveError)) {
        _saveError = {};
        if (isLast)
            migrationDidComplete({});
        return;
    }
    VXLogMethod(VXLogError,
                "contextDidMigrate:", u"%1: %2"_s.arg(_saveError.description(), textOf(_saveError.userInfo())));
    VXLogCoreDataSaveError(_saveError);
}

void Controller::migrationDidComplete(const VXError &error)
{
    if (std::exchange(_isComplete, true)) // the user has cancelled first
        return;
    setError(error);
    if (error)
        _window->cancel();
    else
        _window->ok();
}
