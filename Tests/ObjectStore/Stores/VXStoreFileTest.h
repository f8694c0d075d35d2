#pragma once

#include "VXPersistentStoreCoordinator.h"
#include "VXRowSaver.h"
#include "VXTesting.h"

#include <QtCore/QDir>

using namespace Qt::StringLiterals;

/** A store of items in a file, opened as often as a test likes. */
class VXStoreFileTest : public VXHomeTest, public testing::WithParamInterface<VXStoreType>
{
protected:
    using Code = VXObjectStoreErrorCode;
    using Coordinator = VXPersistentStoreCoordinator;

    /** In a coordinator of its own, as another process has it. */
    Coordinator::StorePtr open(const QString &name, const VXStoreOptions &options = {})
    {
        error = {};
        const auto coordinator = Coordinator::coordinatorWithModel(model);
        return coordinator->addPersistentStore(GetParam(), path(name), options, &error);
    }
    static VXFetchRequest items(VXPersistentStore &store)
    {
        return VXFetchRequest(*store.model().entityForName(u"Item"_s));
    }
    static QVariantList texts(VXPersistentStore &store) { return VXFetchValues(store, items(store), u"text"_s); }
    static qsizetype count(VXPersistentStore &store) { return texts(store).size(); }
    static void addItem(VXPersistentStore &store)
    {
        VXRowSaver saver(store);
        saver.add(u"Item"_s, {{u"text"_s, u"x"_s}});
        ASSERT_TRUE(saver.saveAndCommit()) << saver.error.description().toStdString();
    }
    QStringList files() const { return QDir(path()).entryList(QDir::Files | QDir::Hidden); }

    const VXManagedObjectModel::Ptr model = VXModelOf(VXItemSource);
    VXError error;
};
