#include "VXStoreMigration.h"

#include "VXFramework.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

thread_local VXStoreMigration *ofThread = nullptr;

} // namespace

VXStoreMigration::Scope::Scope(VXStoreMigration &migration) : _before(std::exchange(ofThread, &migration)) {}

VXStoreMigration::Scope::~Scope()
{
    ofThread = _before;
}

VXStoreMigration *VXStoreMigration::current()
{
    return ofThread;
}

void VXStoreMigration::begin(Phase phase, qint64 total)
{
    _done = 0;
    _total = total;
    _phase = phase;
}

QString VXStoreMigration::phaseText() const
{
    switch (_phase.load()) {
    case Phase::Starting:
        return VXLocalizedString(u"Opening the data..."_s);
    case Phase::Attributes:
        return VXLocalizedString(u"Copying objects..."_s);
    case Phase::Relationships:
        return VXLocalizedString(u"Connecting objects..."_s);
    case Phase::Checking:
        return VXLocalizedString(u"Checking the copy..."_s);
    case Phase::Saving:
        return VXLocalizedString(u"Saving the copy..."_s);
    case Phase::Verifying:
        return VXLocalizedString(u"Comparing the copy with what was saved..."_s);
    }
    return {};
}

VXEntityMigration &VXStoreMigration::entity(const QString &name)
{
    const auto found = std::ranges::find(_entities, name, &VXEntityMigration::entity);
    return found != _entities.end() ? *found : _entities.emplaceBack(VXEntityMigration{.entity = name});
}

void VXStoreMigration::noteCopied(const QString &name, qint64 count)
{
    VXEntityMigration &counts = entity(name);
    counts.copied = count;
    counts.ignored = counts.found - count;
}
