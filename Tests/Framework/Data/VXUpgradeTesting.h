#pragma once

#include "VXDataPlugin.h"
#include "VXDataPluginTesting.h"

#include <limits>

/** A test of stores that are copied: notes with tags, authors and notes that they belong to, as an old model had them. */
class VXUpgradeHomeTest : public VXDataPluginHomeTest
{
protected:
    static QByteArray oldSource()
    {
        return "entity Note { attribute text: string = \"new\"; attribute mood: string optional;"
               " attribute pages: integer32 = 0; relationship tags: Tag[] optional inverse notes;"
               " relationship author: Author optional inverse notes; relationship parent: Note optional inverse "
               "children;"
               " relationship children: Note[] optional inverse parent; relationship gone: Tag optional inverse back; }"
               "entity Letter: Note { attribute to: string optional; }"
               "entity Tag { attribute name: string; relationship notes: Note[] optional inverse tags;"
               " relationship back: Note[] optional inverse gone; }"
               "entity Author { attribute name: string; attribute born: date optional; attribute face: binary optional;"
               " attribute rate: double optional; attribute rates: property-list optional;"
               " relationship notes: Note[] optional inverse author; }";
    }
    /** Without "mood" and "gone"; notes have "added" too. */
    static QByteArray newSource()
    {
        return oldSource()
            .replace(" attribute mood: string optional;", " attribute added: string = \"here\";")
            .replace(" relationship gone: Tag optional inverse back;", "")
            .replace(" relationship back: Note[] optional inverse gone;", "");
    }

    void writeNotesPlugin(const QString &migration = {}, QVariantMap info = {},
                          const QByteArray &source = newSource()) const
    {
        if (!migration.isNull())
            info.insert(u"FixtureMigration"_s, migration);
        writePlugin(u"notes"_s, u"sqlite"_s, info, {}, source);
    }

    /** A store of the old model with some notes; null values are left out. */
    void writeOldStore(const QString &folder, int count = 10, const QString &version = u"1.1"_s,
                       const QString &owner = u"org.example.notes"_s, const QByteArray &source = oldSource()) const
    {
        ASSERT_TRUE(QDir().mkpath(folder));
        ASSERT_TRUE(modelOf(source)->writeToFile(folder + u"/notes.mom"_s));
        VXCoreDataStore made(folder, u"notes.sqlite"_s);
        made.usePlainObjects();
        const auto store = made.persistentStoreCoordinator();
        ASSERT_TRUE(store);
        note(version, owner, store);
        VXManagedObjectContext context(store);
        const auto set = [](const VXManagedObjectPtr &object, const char *key, const QVariant &value) {
            object->setValueForKey(value, QString::fromLatin1(key));
        };
        const auto author = context.insertNewObject(u"Author"_s);
        set(author, "name", u"Jane"_s);
        set(author, "born", QDateTime(QDate(1970, 1, 2), QTime(3, 4, 5, 678), Qt::UTC));
        set(author, "face", QByteArray("\0\1\2", 3));
        set(author, "rate", std::numeric_limits<double>::quiet_NaN());
        set(author, "rates", QVariantList{std::numeric_limits<double>::quiet_NaN(), 1});
        QVariantList tags;
        for (const char *const name : {"red", "green"}) {
            tags.append(QVariant::fromValue(context.insertNewObject(u"Tag"_s)));
            set(tags.constLast().value<VXManagedObjectPtr>(), "name", QString::fromLatin1(name));
        }
        VXManagedObjectPtr parent;
        for (int each = 0; each < count; ++each) {
            const auto note = context.insertNewObject(each % 3 == 2 ? u"Letter"_s : u"Note"_s);
            set(note, "text", u"note %1"_s.arg(each));
            set(note, "pages", each);
            if (note->entity().attributeForName(u"mood"_s) != nullptr)
                set(note, "mood", u"good"_s);
            set(note, "author", QVariant::fromValue(author));
            set(note, "tags", each % 2 == 0 ? tags : QVariantList{tags.first()});
            if (parent)
                set(note, "parent", QVariant::fromValue(parent));
            parent = note;
        }
        ASSERT_TRUE(context.save());
    }

    VXDataPlugin &notesPlugin() const
    {
        return plugin(u"org.example.notes"_s)->as<VXDataPlugin>("persistentStoreCoordinator");
    }

    /** All that the store of a folder holds of these entities, as text, whatever IDs its objects have; "?" when it cannot be
     * read, null when there is none. Properties of one model only are left out. */
    static QString contentsOfStore(const QString &folder)
    {
        if (!QFileInfo::exists(folder))
            return {};
        const auto found = VXCoreDataStore::storeClass().storeWithPath(folder);
        if (!found)
            return u"?"_s;
        found->usePlainObjects();
        found->openReadOnly();
        const auto store = found->persistentStoreCoordinator();
        return store ? contentsOfStore(store) : u"?"_s;
    }

    static QString contentsOfStore(const VXPersistentStoreCoordinator::Ptr &store)
    {
        static const QStringList left{u"mood"_s, u"gone"_s, u"back"_s, u"added"_s};
        VXManagedObjectContext context(store);
        QStringList lines;
        for (const VXEntityDescription *const entity : store->model().entities()) {
            VXFetchRequest request(*entity);
            request.includesSubentities = false;
            const auto objects = context.executeFetchRequest(request);
            if (!objects)
                return u"?"_s;
            for (const VXManagedObjectPtr &object : *objects) {
                QStringList values{entity->name()};
                for (const VXPropertyDescription *const property : entity->properties()) {
                    if (!left.contains(property->name()))
                        values.append(property->name() + u'=' + textOf(*object, *property));
                }
                lines.append(values.join(u' '));
            }
        }
        lines.sort();
        return lines.join(u'\n');
    }

private:
    static QString titleOf(const VXManagedObjectPtr &object)
    {
        const QString key = object->entity().propertyForName(u"text"_s) != nullptr ? u"text"_s : u"name"_s;
        return object->valueForKey(key).toString();
    }
    static QString textOf(const VXManagedObject &object, const VXPropertyDescription &property)
    {
        const VXRelationshipDescription *const relationship = property.asRelationship();
        if (relationship == nullptr) {
            const QVariant value = object.attribute(property.index());
            if (value.typeId() == QMetaType::QVariantList)
                return value.toStringList().join(u',');
            return value.typeId() == QMetaType::QByteArray  ? QString::fromLatin1(value.toByteArray().toHex())
                   : value.typeId() == QMetaType::QDateTime ? value.toDateTime().toString(Qt::ISODateWithMs)
                                                            : value.toString();
        }
        if (!relationship->isToMany()) {
            const VXManagedObjectPtr related = object.related(property.index());
            return related ? titleOf(related) : QString();
        }
        QStringList titles;
        for (const VXManagedObjectPtr &related : object.relatedObjects(property.index()))
            titles.append(titleOf(related));
        titles.sort();
        return u'(' + titles.join(u',') + u')';
    }
};
