#pragma once

#include "VXCoreDataStore.h"
#include "VXDataManager.h"
#include "VXManagedObjectContext.h"
#include "VXModelParser.h"
#include "VXPluginManagerTesting.h"

#include <QtCore/QDir>
#include <QtCore/QMap>

using namespace Qt::StringLiterals;

/** A test of data plugins: bundles of the fixture StorePlugin, with real store folders. */
class VXDataPluginHomeTest : public VXPluginManagerHomeTest
{
protected:
    static VXManagedObjectModel::Ptr modelOf(const QByteArray &source)
    {
        VXError error;
        QList<VXModelProblem> problems;
        const auto model = VXManagedObjectModel::modelWithDefinition(VXParseModel(source, &problems), &error);
        EXPECT_TRUE(model && problems.isEmpty()) << error.description().toStdString();
        return model;
    }

    static constexpr const char *noteSource = "entity Note { attribute text: string = \"new\"; }";

    /** Writes the plugin "org.example.STORE" with that model of its store. */
    void writePlugin(const QString &store, const QString &type = u"sqlite"_s, QVariantMap info = {},
                     const QString &identifier = {}, const QByteArray &source = noteSource) const
    {
        info.insert(u"VXDataStoreName"_s, store);
        info.insert(u"VXDataStoreType"_s, type);
        if (!info.contains(u"VXDataStoreVersion"_s))
            info.insert(u"VXDataStoreVersion"_s, u"1.2"_s);
        const VXPluginFixture fixture{.identifier = identifier.isNull() ? u"org.example."_s + store : identifier,
                                      .name = {}, // built in: enabled from the start
                                      .kind = u"VXDataPlugin"_s,
                                      .info = info,
                                      .code = u"StorePlugin.so"_s};
        const QString bundle = fixture.write(shared());
        ASSERT_TRUE(modelOf(source)->writeToFile(bundle + u"/Contents/Resources/%1.mom"_s.arg(store)));
    }

    static QString data(const QString &name = {}) { return VXDataManager::sharedDataFolderPath() + u'/' + name; }
    static QString waiting(const QString &name) { return VXDataManager::sharedDataInstallPath() + u'/' + name; }

    /** A store folder as a plugin would have left it, with a note of that text; null values are left out. */
    void writeStore(const QString &folder, const QString &text, const QString &version = u"1.2"_s,
                    const QString &owner = u"org.example.notes"_s, const QString &type = u"sqlite"_s) const
    {
        ASSERT_TRUE(QDir().mkpath(folder));
        ASSERT_TRUE(modelOf(noteSource)->writeToFile(folder + u"/notes.mom"_s));
        const auto store =
            VXCoreDataStore::storeClass().makeStore(folder, u"notes."_s + type)->persistentStoreCoordinator();
        ASSERT_TRUE(store);
        note(version, owner, store);
        VXManagedObjectContext context(store);
        context.insertNewObject(u"Note"_s)->setValueForKey(text, u"text"_s);
        ASSERT_TRUE(context.save());
    }

    static void note(const QString &version, const QString &owner, const VXPersistentStoreCoordinator::Ptr &store)
    {
        QVariantMap metadata;
        if (!version.isNull())
            metadata.insert(VXStoreVersionKey, version);
        if (!owner.isNull())
            metadata.insert(VXStoreOwnerIdentifierKey, owner);
        store->persistentStores().constFirst()->setMetadata(metadata);
    }

    /** The texts of all notes in a store; "?" when it cannot be read. */
    static QStringList textsIn(const VXPersistentStoreCoordinator::Ptr &store)
    {
        if (!store)
            return {u"?"_s};
        VXManagedObjectContext context(store);
        const auto found = context.executeFetchRequest(VXFetchRequest(*store->model().entities().constFirst()));
        QStringList texts;
        for (const VXManagedObjectPtr &note : *found)
            texts.append(note->valueForKey(u"text"_s).toString());
        return texts;
    }

    /** What the files of a folder hold, by name. */
    static QMap<QString, QByteArray> contentsOf(const QString &folder)
    {
        QMap<QString, QByteArray> contents;
        for (const QString &name : QDir(folder).entryList(QDir::Files | QDir::Hidden))
            contents.insert(name, readFile(folder + u'/' + name));
        return contents;
    }
};
