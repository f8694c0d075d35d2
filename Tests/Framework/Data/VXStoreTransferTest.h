#pragma once

#include "VXFramework.h"
#include "VXUpgradeTesting.h"

#include <QtCore/QFileInfo>

/** A plugin with a store of its own, and another store to import, or a place to export to. */
class VXStoreTransferTest : public VXUpgradeHomeTest
{
protected:
    // Starts a plugin that has a store with one author and two tags, and no notes.
    void start(const QString &migration = {}, const QVariantMap &info = {{u"FixtureDescription"_s, u"Some notes"_s}})
    {
        writeOldStore(live, 0, u"1.2"_s, u"org.example.notes"_s, newSource());
        writeNotesPlugin(migration, info);
        startWith({});
    }
    VXPersistentStoreCoordinator::Ptr store() const { return notesPlugin().persistentStoreCoordinator(); }
    void expectFailure(const QString &text) const
    {
        ASSERT_FALSE(user->alerts().empty());
        EXPECT_EQ(user->alerts().back().message, u"Unable to import data."_s);
        EXPECT_EQ(user->alerts().back().informativeText, text);
        EXPECT_EQ(user->alerts().back().defaultButton, u"OK"_s);
    }

    const QString live = data(u"notes.vxdatastore"_s);
    const QString staged = waiting(u"notes.vxdatastore"_s);
    const QString file = path(u"others.vxdatastore"_s);
};
