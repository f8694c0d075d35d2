#include "VXStoreModels.h"

#include "VXAtomicFile.h"
#include "VXManagedObjectModel.h"
#include "VXMethodLog.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QHash>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// None when one of the files cannot be read.
std::optional<QHash<QString, QByteArray>> contentsOf(const QStringList &paths)
{
    QHash<QString, QByteArray> contents;
    for (const QString &path : paths) {
        QFile file(path);
        if (!file.open(QFile::ReadOnly))
            return std::nullopt;
        contents.insert(QFileInfo(path).fileName(), file.readAll());
    }
    return contents;
}

QStringList copiesOf(const QStringList &models, const QString &folder)
{
    QStringList copies;
    for (const QString &model : models)
        copies.append(folder + u'/' + QFileInfo(model).fileName());
    return copies;
}

VXManagedObjectModel::Ptr modelOf(const QStringList &paths)
{
    QList<VXManagedObjectModel::Ptr> models;
    for (const QString &path : paths)
        models.append(VXManagedObjectModel::modelWithContentsOfFile(path));
    return models.contains(nullptr) ? nullptr : VXManagedObjectModel::modelByMergingModels(models);
}

bool areStoredAlike(const VXManagedObjectModel &a, const VXManagedObjectModel &b)
{
    return a.entityVersionHashes() == b.entityVersionHashes() &&
           std::ranges::all_of(a.entities(), [&b](const VXEntityDescription *entity) {
               return entity->managedObjectClassName() == b.entityForName(entity->name())->managedObjectClassName();
           });
}

} // namespace

bool VXHasStoreModels(const QStringList &models, const QString &folder)
{
    const auto own = contentsOf(models);
    return own && own == contentsOf(copiesOf(models, folder));
}

void VXRenewStoreModels(const QStringList &models, const QString &folder)
{
    const QStringList copies = copiesOf(models, folder);
    const auto own = contentsOf(models);
    const auto stored = contentsOf(copies);
    if (!own || !stored || *own == *stored)
        return;
    const VXManagedObjectModel::Ptr now = modelOf(models);
    const VXManagedObjectModel::Ptr then = modelOf(copies);
    if (!now || !then || !areStoredAlike(*now, *then))
        return;
    for (const QString &copy : std::as_const(copies)) {
        QString reason;
        if (!VXAtomicFile::replace(copy, own->value(QFileInfo(copy).fileName()), &reason))
            VXLogClassMethod(VXLogInfo, VXManagedObjectModel, "renewInStore", copy + ": "_L1 + reason);
    }
}
