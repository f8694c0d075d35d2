#include "VXMetaDataIndexer.h"

#include "VXErrorDomain.h"
#include "VXMetaDataSource.h"
#include "VXMethodLog.h"
#include "VXSearchIndexFile.h"

#include <QtCore/QStringList>

#include <system_error>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype batchSize = 2000; // a few MB

// Classes of others may tell nothing of it.
bool isOfEarlierProgram(const QVariantMap &values)
{
    const QVariant generation = values.value(VXMetaDataGenerationKey);
    return generation.isValid() && generation.toLongLong() < VXMetaDataGeneration;
}

} // namespace

void VXMetaDataIndexer::open()
{
    VXError error;
    _isOther = _foundOutdated = _isMarked = _wasComplete = _wasEmpty = _isOfMany = false;
    _left.reset();
    _index = VXSearchIndex::open(&error);
    if (_index) {
        _wasComplete = _index->isComplete(_identifier, &error) && !_debt.isIndexOwed() && _state.isIndexAsLeft(*_index);
        _wasEmpty = !_wasComplete && !error && _index->count(_identifier, &error) == 0;
    }
    if (error)
        giveUp(error);
}

void VXMetaDataIndexer::giveUp(const VXError &error)
{
    VXLogMethod(VXLogError, "open", "not indexed: "_L1 + error.description());
    _index.reset();
    _changes.clear();
    _debt.markIndex();
    VXSearchIndex::discardIfDamaged(error);
}

void VXMetaDataIndexer::willChange()
{
    VXError error;
    if (!_index || std::exchange(_isMarked, true))
        return;
    if (_wasComplete && !_index->beginChanges(_identifier, &error))
        giveUp(error);
}

void VXMetaDataIndexer::note(const VXSearchIndex::Change &change)
{
    if (!_index)
        return;
    _changes.append(change);
    if (_changes.size() >= batchSize)
        carryBeside();
}

void VXMetaDataIndexer::carryBeside()
{
    awaitCarrier();
    VXError problem;
    if (_index && !std::exchange(_isOfMany, true) && !_index->beginMany(&problem))
        giveUp(problem);
    if (!_index)
        return;
    try {
        _carrier = std::thread([this, changes = std::exchange(_changes, {})] {
            _isCarried = _index->apply(_identifier, changes, &_problem);
        });
    } catch (const std::system_error &error) {
        giveUp(VXMakeError(QString::fromLocal8Bit(error.what()))); // the changes are lost
    }
}

void VXMetaDataIndexer::awaitCarrier()
{
    if (!_carrier.joinable())
        return;
    _carrier.join();
    const VXError problem = std::exchange(_problem, {});
    if (!std::exchange(_isCarried, true))
        giveUp(problem);
}

void VXMetaDataIndexer::flush()
{
    VXError error;
    awaitCarrier();
    if (_index && !_changes.isEmpty() && !_index->apply(_identifier, std::exchange(_changes, {}), &error))
        giveUp(error);
}

bool VXMetaDataIndexer::isInStep(qint64 fileCount)
{
    flush();
    return _index && _wasComplete && _index->count(_identifier, nullptr) == fileCount;
}

void VXMetaDataIndexer::compare(const QString &name, const QVariantMap &values)
{
    awaitCarrier();
    if (!_index || !_wasComplete)
        return;
    VXError error;
    if (const std::optional<bool> isSaid = _index->says(_identifier, {name, values}, &error))
        _isOther = _isOther || !*isSaid;
    else
        giveUp(error);
}

bool VXMetaDataIndexer::isSound(VXError *hindrance)
{
    VXError error;
    if (_isOther || (_index && _index->hasStrays(&error)))
        error = VXSearchIndexFile::damage(u"The entries of the index are not those of the files."_s);
    if (_index && (error || !_index->isSound(&error))) {
        if (!VXSearchIndex::isDamage(error)) {
            VXSetError(hindrance, error);
            return false;
        }
        giveUp(error);
        _index = VXSearchIndex::open(&error);
        _wasComplete = _wasEmpty = _isOther = false;
    }
    return _index && _wasComplete;
}

bool VXMetaDataIndexer::settle(qint64 fileCount)
{
    if (isInStep(fileCount) || !_index)
        return true;
    if (!_wasEmpty || _index->count(_identifier, nullptr) != fileCount)
        return putAllIn();
    _isMarked = _wasComplete = true; // every file in it was written, and noted, since it was opened empty
    return true;
}

bool VXMetaDataIndexer::putAllIn()
{
    VXError error;
    if (!_index->removeFolder(_identifier, &error)) {
        giveUp(error);
        return true;
    }
    QStringList damaged;
    QList<qint64> outdated; // saved by an earlier program after the pass of this one
    const bool isListed = _folder.forEachName([&](const QString &name) {
        const std::optional<qint64> number = VXNumberInMetaDataFilename(name);
        if (!number)
            return;
        if (const std::optional<QVariantMap> values = _folder.read(name)) {
            didWrite(name, *values);
            if (isOfEarlierProgram(*values))
                outdated.append(*number);
        } else {
            damaged.append(name);
        }
    });
    _foundOutdated = !outdated.isEmpty();
    if (_foundOutdated)
        _debt.markPass(outdated);
    flush();
    _isMarked = _wasComplete = isListed;
    for (const QString &name : std::as_const(damaged))
        _folder.remove(name);
    return damaged.isEmpty();
}

void VXMetaDataIndexer::close()
{
    flush();
    VXError error;
    if (_index && _isOfMany && !_index->endMany(&error))
        giveUp(error);
    if (_index && _isMarked && _wasComplete) {
        if (_index->endChanges(_identifier, &error)) {
            _debt.settleIndex();
            _state.noteIndex(_index->stamp(_identifier, nullptr));
            _index->giveBackFree();
        } else {
            giveUp(error);
        }
    }
    if (_index && _wasComplete)
        _left = _index->fileMark();
    _index.reset();
}
