#pragma once

#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXUpgradeTesting.h"

#include <QtCore/QFileInfo>

/** A plugin's store of yesterday in its place, and a user who answers. */
class VXStoreUpgradeTest : public VXUpgradeHomeTest
{
protected:
    // The alert at the end: whether to keep a backup.
    void answerBackup(bool keeps) const { user->answerAlert(VXAlertButton::Default, keeps); }

    QString metadataOf(const QString &folder, const QString &key) const
    {
        VXError error;
        return VXPersistentStoreCoordinator::metadataForPersistentStore(
                   VXStoreType::SQLite, folder + QStringLiteral("/notes.sqlite"), &error)
            .value(key)
            .toString();
    }

    const QString live = data(QStringLiteral("notes.vxdatastore"));
    const QString upgrading = data(QStringLiteral("notes.vxdatastore.upgrading"));
};
