#pragma once

#include "VXContactHistory.h"
#include "VXContactImport.h"
#include "VXPhonebookTest.h"

#include <QtCore/QBuffer>

/** Imports cards into a fresh store of contacts, and tells in short what came of it. */
class VXContactImportTest : public VXPhonebookTest
{
protected:
    VXContactImportTest()
    {
        if (!IsSkipped())
            start();
    }

    static QByteArray card(const QByteArray &name, const QByteArray &lines)
    {
        return "BEGIN:VCARD\r\nVERSION:3.0\r\nFN:" + name + "\r\nN:" + name.split(' ').value(1) + ';' +
               name.split(' ').value(0) + "\r\n" + lines + "END:VCARD\r\n";
    }

    /** "ADDED CHANGED SAME LEFT-OUT" */
    QString import(QByteArray cards, bool isDryRun = false)
    {
        QBuffer buffer(&cards);
        buffer.open(QIODevice::ReadOnly);
        VXCardReader reader(buffer);
        VXContactImport import(store, QStringLiteral("a.vcf"));
        import.setDryRun(isDryRun);
        VXError error;
        const auto report = import.run(reader, &error);
        EXPECT_TRUE(report) << error.description().toStdString();
        replaced.clear();
        for (const VXImportedContact &each : report->contacts)
            replaced += each.replaced;
        return QStringLiteral("%1 %2 %3 %4")
            .arg(report->added)
            .arg(report->changed)
            .arg(report->same)
            .arg(report->leftOut);
    }
    /** A dry run says the same as the import after it. */
    void expectImport(const QByteArray &cards, const QString &counts)
    {
        EXPECT_EQ(import(cards, true), counts) << cards.toStdString();
        EXPECT_EQ(import(cards), counts) << cards.toStdString() << replaced.join(u'\n').toStdString();
    }

    QString undo(bool isDryRun = false) const
    {
        VXError error;
        const auto undone = VXContactHistory(store).undoLast(isDryRun, &error);
        return undone ? QStringLiteral("%1 %2 %3 %4")
                            .arg(undone->removed)
                            .arg(undone->restored)
                            .arg(undone->broughtBack)
                            .arg(undone->left.join(u','))
                      : error.localizedDescription();
    }

    /** Of each contact name, numbers, addresses and groups, sorted. */
    QStringList contacts() const
    {
        VXManagedObjectContext context(store);
        QStringList lines;
        for (const VXManagedObjectPtr &person : all(context)) {
            const VXContactRecord contact(QVariant::fromValue(person));
            QStringList values{contact.displayName(), contact.company};
            for (const auto &list : {contact.numbers, contact.emails}) {
                for (const auto &each : list)
                    values.append(each.value);
            }
            values += contact.groups;
            lines.append(values.join(u'|'));
        }
        lines.sort();
        return lines;
    }

    VXFetchResult all(VXManagedObjectContext &context, const QString &entity = QStringLiteral("VXPerson")) const
    {
        return *context.executeFetchRequest(VXFetchRequest(*store->model().entityForName(entity)));
    }
    VXManagedObjectPtr personNamed(const QString &firstName, VXManagedObjectContext &context) const
    {
        VXFetchRequest request(*store->model().entityForName(QStringLiteral("VXPerson")));
        request.predicate = *VXPredicate::predicateWithFormat(QStringLiteral("firstName == %@"), {firstName});
        return context.executeFetchRequest(request)->first();
    }
    qsizetype countOf(const QString &entity) const
    {
        VXManagedObjectContext context(store);
        return context.countForFetchRequest(VXFetchRequest(*store->model().entityForName(entity))).value_or(-1);
    }

    QStringList replaced; // by the last import
    const QByteArray jane =
        card("Jane Doe", "UID:1\r\nTEL:555 0100\r\nEMAIL:jane@example.org\r\nCATEGORIES:Family\r\n");
    const QByteArray bob = card("Bob Hill", "TEL;TYPE=cell:+44 20 7946 0123\r\nX-MOOD:good\r\n");
    const QByteArray alone = card("Zoe Alone", "NOTE:no number\r\n");
};
