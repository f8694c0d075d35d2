#include "VXManagedObjectID.h"

#include "VXMutex.h"

#include <QtCore/QHash>

#include <atomic>

using namespace Qt::StringLiterals;

const VXStoreIdentity &VXStoreIdentity::withIdentifier(const QString &identifier)
{
    static VXMutex lock;
    static auto &identities = *new QHash<QString, const VXStoreIdentity *>; // never freed, as are its values

    const QString normal = identifier.toLower();
    const VXMutexLocker locker(lock);
    const VXStoreIdentity *&identity = identities[normal];
    if (identity == nullptr)
        identity = new VXStoreIdentity(normal);
    return *identity;
}

VXManagedObjectID VXManagedObjectID::temporary(const VXEntityDescription &entity)
{
    static std::atomic<qint64> lastNumber = 0;
    VXManagedObjectID made;
    made._entity = &entity;
    made._number = ++lastNumber;
    return made;
}

QUrl VXManagedObjectID::uriRepresentation() const
{
    if (isNull())
        return {};
    const QString host = isTemporary() ? QString() : _store->identifier();
    return QUrl(u"x-coredata://%1/%2/%3%4"_s.arg(host, _entity->name(), isTemporary() ? u"t"_s : u"p"_s).arg(_number));
}
