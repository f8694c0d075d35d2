#include "VXMetaDataCheck.h"

#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXFileLock.h"
#include "VXFolders.h"
#include "VXGuard.h"
#include "VXMetaDataNames.h"
#include "VXMetaDataOrigin.h"
#include "VXMetaDataSource.h"
#include "VXMetaDataSync.h"
#include "VXMetaDataWalk.h"
#include "VXMethodLog.h"
#include "VXNumberSet.h"

#include <QtCore/QFile>
#include <QtCore/QScopeGuard>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

using Kind = VXMetaDataFinding::Kind;

namespace {

constexpr std::chrono::milliseconds longestTurn = 60s; // to wait for another process that makes a pass

}

/** One comparison of all objects with all files. */
class VXMetaDataSync::Check
{
public:
    /** `isOutdated`: a pass is due because of files that an earlier generation of the program wrote. */
    Check(VXMetaDataSync &sync, const VXEntityDescription &entity, bool repairs, bool isOutdated)
        : _mirror(sync._mirror), _entity(entity), _relationships(sync._relationships), _repairs(repairs),
          _isOutdated(isOutdated), _context(sync._persistentStoreCoordinator)
    {
    }

    std::optional<VXMetaDataReport> run(VXError *error)
    {
        const auto look = [this](const VXManagedObjectPtr &object) {
            ++_report.objectCount;
            compare(*object);
            return true;
        };
        if (!VXMetaDataWalk(_context, _entity, _relationships).forEach(look, error))
            return std::nullopt;
        _mirror.folder().forEachEntry([this](const char *name) { lookForOrphan(name); });
        return _report;
    }

private:
    void compare(const VXManagedObject &object)
    {
        const QString name = metaDataFilename(object.objectID());
        std::optional<QVariantMap> expected;
        try {
            expected = _mirror.valuesOf(object);
        } catch (...) {
            VXLogMethod(VXLogError, "checkMetaDataFiles", name + ": "_L1 + VXDescribeThrown().description);
            _numbers.insert(object.objectID().number()); // its file may be right or wrong, but is no orphan
            return;
        }
        if (!expected)
            return; // if it has a file, that is an orphan
        _numbers.insert(object.objectID().number());
        if (const std::optional<Kind> kind = _mirror.folder().compare(name, *expected))
            note(*kind == Kind::Outdated && !_isOutdated ? Kind::Stale : *kind, name,
                 [&] { return _mirror.writeFile(name, object) && !_mirror.folder().compare(name, *expected); });
        else
            _mirror.indexer().compare(name, *expected);
    }

    void lookForOrphan(const char *entry)
    {
        ++_report.fileCount;
        const std::optional<qint64> number = _names.numberIn(entry);
        if (number && _numbers.contains(*number))
            return;
        note(Kind::Orphaned, QFile::decodeName(entry), [&] {
            const QString name = _mirror.folder().readableName(entry);
            _mirror.removeOrphan(name);
            return !VXExistsAtPath(_mirror.folder().pathOf(name));
        });
    }

    template <class Repair>
    void note(Kind kind, const QString &name, const Repair &repair)
    {
        _report.findings.append({.kind = kind, .name = name});
        if (!_repairs)
            return;
        if (!repair())
            ++_report.unrepaired;
    }

    VXMetaDataMirror &_mirror;
    const VXEntityDescription &_entity;
    const QStringList _relationships;
    const VXMetaDataNames _names{_entity};
    const bool _repairs;
    const bool _isOutdated;
    VXManagedObjectContext _context;
    VXNumberSet _numbers; // of the objects that should have files
    VXMetaDataReport _report;
};

std::optional<VXMetaDataReport> VXMetaDataSync::checkMetaDataFiles(bool repairs, VXError *error)
{
    const VXEntityDescription *const entity = _persistentStoreCoordinator->model().entityForName(_entityName);
    VXAssert(entity != nullptr, "there is no entity "_L1 + _entityName);
    const VXError problem = _mirror.folder().open();
    const VXFileLock waiting(_mirror.folder().waitingPath(), 0ms, VXFileLock::Mode::Shared);
    const VXFileLock turn(_mirror.folder().lockPath(), longestTurn);
    if (problem || !turn.isHeld()) {
        VXSetError(error,
                   problem ? problem
                           : VXMakeError(turn.isTimedOut() ? u"another process works on the folder"_s : turn.reason()));
        return std::nullopt;
    }
    const VXMetaDataMirror::Use use(_mirror);
    VXMetaDataIndexer &indexer = _mirror.indexer();
    const QByteArray origin = _mirror.folder().origin();
    const bool isNew = !indexer.wasComplete() && origin.isEmpty();
    const bool isOfOtherStore = !origin.isEmpty() && origin != VXMarkOfStores(*_persistentStoreCoordinator);
    const QVariantMap settings = _settings.present();
    const bool isOutdated = !origin.isEmpty() && !_settings.isGenerationNoted();
    const bool wasDue = isOutdated || !_settings.areNoted(settings) || _debt.isAny();
    std::optional<VXMetaDataReport> report = Check(*this, *entity, repairs, isOutdated).run(error);
    const bool isDue = !isNew && (isOfOtherStore || wasDue || _debt.isAny());
    if (report && (isNew || isDue) && !repairs) {
        report->isTakenIn = false;
        report->findings.removeIf([isDue](const VXMetaDataFinding &finding) {
            return finding.kind == Kind::Missing || (isDue && finding.kind != Kind::Damaged);
        });
        return report;
    }
    if (!report || !checkIndex(repairs, &*report, error))
        return std::nullopt;
    // the index may have been of another version, and be empty now
    report->isIndexWhole = report->isIndexWhole || isOutdated;
    if (repairs && report->unrepaired == 0) {
        static_cast<void>(_mirror.folder().setOrigin(VXMarkOfStores(*_persistentStoreCoordinator)));
        static_cast<void>(_settings.note(settings)); // else a pass looks at all once more
        _state.noteStores(*_persistentStoreCoordinator);
    }
    return report;
}

bool VXMetaDataSync::checkIndex(bool repairs, VXMetaDataReport *report, VXError *error)
{
    VXMetaDataIndexer &indexer = _mirror.indexer();
    VXError hindrance;
    report->isIndexWhole = indexer.isSound(&hindrance) && indexer.isInStep(_mirror.folder().fileCount());
    VXSetError(error, hindrance);
    if (repairs && !report->isIndexWhole && !hindrance)
        report->isIndexRepaired =
            indexer.settle(_mirror.folder().fileCount()) && indexer.isInStep(_mirror.folder().fileCount());
    return !hindrance;
}
