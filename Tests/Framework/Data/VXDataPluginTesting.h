#pragma once

#include "VXCoreDataStore.h"
#include "VXDataManager.h"
#include "VXManagedObjectContext.h"
#include "VXModelParser.h"
#include "VXPluginManagerTesting.h"

#include <QtCore/QDir>
#include <QtCore/QMap>

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

    /** Writes the plugin "org.example.STORE" with the model of a store of notes. */
    void writePlugin(const QString &store, const QString &type = QStringLiteral("sqlite"), QVariantMap info = {},
                     const QString &identifier = {}) const
    {
        info.insert(QStringLiteral("VXDataStoreName"), store);
        info.insert(QStringLiteral("VXDataStoreType"), type);
        if (!info.contains(QStringLiteral("VXDataStoreVersion")))
            info.insert(QStringLiteral("VXDataStoreVersion"), QStringLiteral("1.2"));
        const VXPluginFixture fixture{.identifier =
                                          identifier.isNull() ? QStringLiteral("org.example.") + store : identifier,
                                      .name = {}, // built in: enabled from the start
                                      .kind = QStringLiteral("VXDataPlugin"),
                                      .info = info,
                                      .code = QStringLiteral("StorePlugin.so")};
        const QString bundle = fixture.write(shared());
        ASSERT_TRUE(notes()->writeToFile(bundle + QStringLiteral("/Contents/Resources/%1.mom").arg(store)));
    }
    static VXManagedObjectModel::Ptr notes() { return modelOf("entity Note { attribute text: string = \"new\"; }"); }

    static QString data(const QString &name = {}) { return VXDataManager::sharedDataFolderPath() + u'/' + name; }
    static QString waiting(const QString &name) { return VXDataManager::sharedDataInstallPath() + u'/' + name; }

    /** A store folder as a plugin would have left it, with a note of that text; null values are left out. */
    void writeStore(const QString &folder, const QString &text, const QString &version = QStringLiteral("1.2"),
                    const QString &owner = QStringLiteral("org.example.notes"),
                    const QString &type = QStringLiteral("sqlite")) const
    {
        ASSERT_TRUE(QDir().mkpath(folder));
        ASSERT_TRUE(notes()->writeToFile(folder + QStringLiteral("/notes.mom")));
        const auto store = VXCoreDataStore::storeClass()
                               .makeStore(folder, QStringLiteral("notes.") + type)
                               ->persistentStoreCoordinator();
        ASSERT_TRUE(store);
        QVariantMap metadata;
        if (!version.isNull())
            metadata.insert(VXStoreVersionKey, version);
        if (!owner.isNull())
            metadata.insert(VXStoreOwnerIdentifierKey, owner);
        store->persistentStores().constFirst()->setMetadata(metadata);
        VXManagedObjectContext context(store);
        context.insertNewObject(QStringLiteral("Note"))->setValueForKey(text, QStringLiteral("text"));
        ASSERT_TRUE(context.save());
    }

    /** The texts of all notes in a store; "?" when it cannot be read. */
    static QStringList textsIn(const VXPersistentStoreCoordinator::Ptr &store)
    {
        if (!store)
            return {QStringLiteral("?")};
        VXManagedObjectContext context(store);
        const auto found = context.executeFetchRequest(VXFetchRequest(*store->model().entities().constFirst()));
        QStringList texts;
        for (const VXManagedObjectPtr &note : *found)
            texts.append(note->valueForKey(QStringLiteral("text")).toString());
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
