#include "VXAtomicFile.h"
#include "VXCardReader.h"
#include "VXCardWriter.h"
#include "VXContactHistory.h"
#include "VXContactImport.h"
#include "VXContactsOpen.h"
#include "VXContactVerbs.h"
#include "VXHostHelp.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXInputFile.h"
#include "VXManagedObjectContext.h"
#include "VXRegularFile.h"
#include "VXShownDate.h"
#include "VXSignalWatcher.h"
#include "VXStoresAtPath.h"
#include "VXTextTable.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <csignal>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

using Outcome = VXImportedContact::Outcome;

constexpr qsizetype batchSize = 200;
constexpr qsizetype mostShown = 50; // contacts and problems shown to people

QString outcomeName(Outcome outcome)
{
    static const QStringList names{u"added"_s, u"changed"_s, u"same"_s, u"left out"_s};
    return names.value(qsizetype(outcome));
}

QJsonObject jsonOf(const VXContactImportReport &report)
{
    QJsonArray contacts;
    for (const VXImportedContact &each : report.contacts)
        contacts.append(QJsonObject{{u"outcome"_s, outcomeName(each.outcome)},
                                    {u"name"_s, each.name},
                                    {u"line"_s, each.line},
                                    {u"replaced"_s, QJsonArray::fromStringList(each.replaced)}});
    QJsonArray problems;
    for (const VXCardProblem &each : report.problems)
        problems.append(QJsonObject{{u"line"_s, each.line}, {u"problem"_s, each.text}});
    return {{u"added"_s, report.added},     {u"changed"_s, report.changed}, {u"same"_s, report.same},
            {u"leftOut"_s, report.leftOut}, {u"contacts"_s, contacts},      {u"problems"_s, problems}};
}

QString textOf(const VXContactImportReport &report, bool isDryRun)
{
    // After an import, only those that had another value before.
    QList<VXImportedContact> told = report.contacts;
    told.removeIf([&](const VXImportedContact &each) { return !isDryRun && each.replaced.isEmpty(); });
    QList<QStringList> rows;
    for (const VXImportedContact &each : told.mid(0, mostShown))
        rows.append({outcomeName(each.outcome), each.name, u"line %1"_s.arg(each.line), each.replaced.join("; "_L1)});
    QString text = rows.isEmpty() ? QString() : VXTextTable(rows);
    if (told.size() > mostShown)
        text += u"and %1 more\n"_s.arg(told.size() - mostShown);
    return text + u"%1: %2 added, %3 changed, %4 there already, %5 left out\n"_s
                      .arg(isDryRun ? u"Would be imported"_s : u"Imported"_s)
                      .arg(report.added)
                      .arg(report.changed)
                      .arg(report.same)
                      .arg(report.leftOut);
}

// For an import that was broken off: what has been imported by then, and what to do.
QString textOfPart(const VXContactImportReport &report)
{
    if (report.added + report.changed == 0)
        return u"; no contact was changed"_s;
    return u"; %1 contacts were added and %2 changed before: import the file again, which brings the rest, or take "
           "these back with \"vornix phonebook undo-import\""_s.arg(report.added)
               .arg(report.changed);
}

void noteProblems(VXHostContext &context, const QString &path, const QList<VXCardProblem> &problems)
{
    for (const VXCardProblem &each : problems.mid(0, mostShown))
        context.output.note(u"%1:%2: %3"_s.arg(path).arg(each.line).arg(each.text));
    if (problems.size() > mostShown)
        context.output.note(u"%1: %2 more problems"_s.arg(path).arg(problems.size() - mostShown));
}

// Writes the cards one by one; false if writing failed.
bool writeCards(const VXFetchResult &persons, VXCardWriter::Version version, QIODevice &device, qsizetype *count)
{
    for (const VXManagedObjectPtr &person : persons) {
        const QByteArray card = VXCardWriter::card(QVariant::fromValue(person), version);
        if (card.isNull())
            continue; // not a contact: without a name, number or address
        ++*count;
        if (device.write(card) != card.size())
            return false;
    }
    return true;
}

// Why an export must not replace the file: it is not an export.
QString whyNotReplaced(const QString &path)
{
    QFile file(path);
    QString reason;
    if (!QFileInfo::exists(path) || !VXRegularFile::open(file, &reason) || file.size() == 0)
        return {};
    const QByteArray mark = "BEGIN:VCARD";
    return file.read(mark.size()).toUpper() == mark ? QString()
                                                    : u"%1 is there and holds no vCards; it stays as it is"_s.arg(path);
}

// Standard output gets nothing but the cards.
int exportToOutput(VXHostContext &context, const VXFetchResult &persons, VXCardWriter::Version version)
{
    if (context.output.isJSON())
        return context.output.failUsage(u"vCards are no JSON: --json does not go with export -"_s,
                                        VXHostUsage(context.options));
    QFile file;
    qsizetype count = 0;
    if (!file.open(stdout, QIODevice::WriteOnly) || !writeCards(persons, version, file, &count) || !file.flush())
        return context.output.fail(u"standard output cannot be written: %1"_s.arg(file.errorString()));
    return VXHostOutput::Done;
}

} // namespace

int VXImportContacts(VXHostContext &context)
{
    const QString path = context.options.operand(1);
    QFile file(path);
    QString reason;
    if (!VXOpenInputFile(file, &reason))
        return context.output.fail(u"%1 cannot be read: %2"_s.arg(path, reason));
    const VXPersistentStoreCoordinator::Ptr coordinator = VXOpenContacts(context);
    if (!coordinator)
        return VXHostOutput::Failed;
    const bool isDryRun = context.options.isSet(u"dry-run"_s);
    VXCardReader reader(file);
    VXContactImport import(coordinator, QFileInfo(path).fileName());
    import.setDryRun(isDryRun);
    // Reading standard input may block, so there an interrupt ends the program at once.
    bool isInterrupted = false;
    std::optional<VXSignalWatcher> interrupt;
    if (path != "-"_L1)
        interrupt.emplace(std::initializer_list<int>{SIGINT, SIGTERM}, [&](int) { isInterrupted = true; });
    import.setCancelCheck([&] {
        if (interrupt)
            interrupt->deliverPending();
    return isInterrupted;
});
VXError error;
const std::optional<VXContactImportReport> report = import.run(reader, &error);
if (!report)
    return context.output.fail((isInterrupted ? u"the import was interrupted"_s : VXErrorText(error)) +
                               (isDryRun ? QString() : textOfPart(import.reportSoFar())));
if (file.error() != QFile::NoError)
    return context.output.fail(u"%1 cannot be read: %2"_s.arg(path, file.errorString()));
if (!context.output.isJSON())
    noteProblems(context, path, report->problems);
const qsizetype read = report->added + report->changed + report->same;
if (read == 0 && report->leftOut == 0)
    return context.output.fail(u"%1 has no vCards"_s.arg(path));
context.output.answer(textOf(*report, isDryRun), jsonOf(*report));
return report->leftOut > 0 ? VXHostOutput::Failed : VXHostOutput::Done;
}

int VXExportContacts(VXHostContext &context)
{
    const QString path = context.options.operand(1);
    const VXPersistentStoreCoordinator::Ptr coordinator = VXOpenContacts(context);
    if (!coordinator)
        return VXHostOutput::Failed;
    const auto version =
        context.options.value(u"card-version"_s) == "3.0"_L1 ? VXCardWriter::Version::V3 : VXCardWriter::Version::V4;
    VXManagedObjectContext contacts(coordinator);
    VXFetchRequest request(*coordinator->model().entityForName(u"VXPerson"_s));
    request.sortDescriptors = {{.key = u"sort_name"_s}};
    request.batchSize = batchSize;
    request.prefetchedRelationships = {u"numbers"_s, u"emails"_s, u"urls"_s, u"addresses"_s, u"groups"_s};
    VXError error;
    const std::optional<VXFetchResult> persons = contacts.executeFetchRequest(request, &error);
    if (!persons)
        return context.output.fail(VXErrorText(error));
    if (path == "-"_L1)
        return exportToOutput(context, *persons, version);
    if (const QString problem = whyNotReplaced(path); !problem.isNull())
        return context.output.fail(problem);
    if (persons->isEmpty())
        return context.output.fail(u"there are no contacts to export"_s);
    const bool wasThere = QFileInfo::exists(path);
    VXAtomicFile file(path, VXFileAccess::Shared);
    qsizetype count = 0;
    if (!file.open() || !writeCards(*persons, version, file, &count) || !file.commit())
        return context.output.fail(u"%1 cannot be written: %2"_s.arg(path, file.errorString()));
    context.output.answer(
        u"Exported %1%2.\n"_s.arg(count).arg(wasThere ? u", in place of what the file held"_s : u""_s),
        QJsonObject{{u"exported"_s, count}});
    return VXHostOutput::Done;
}

int VXUndoContactImport(VXHostContext &context)
{
    const VXPersistentStoreCoordinator::Ptr coordinator = VXOpenContacts(context);
    if (!coordinator)
        return VXHostOutput::Failed;
    const bool isDryRun = context.options.isSet(u"dry-run"_s);
    VXError error;
    const std::optional<VXContactUndo> undo = VXContactHistory(coordinator).undoLast(isDryRun, &error);
    if (!undo)
        return context.output.fail(VXErrorText(error));
    const VXContactChangeSet &changeSet = undo->changeSet;
    const QString what =
        changeSet.title.isEmpty() ? changeSet.kind : u"%1 of %2"_s.arg(changeSet.kind, changeSet.title);
    const bool isNothing =
        undo->removed + undo->restored + undo->broughtBack == 0 && !(undo->left.isEmpty() && undo->kept.isEmpty());
    QString text = u"%1 the %2 (%3): %4 removed, %5 restored, %6 brought back\n"_s
                       .arg(isNothing  ? u"There is nothing left to undo of"_s
                            : isDryRun ? u"Would undo"_s
                                       : u"Undid"_s,
                            what, VXShownDate(changeSet.date))
                       .arg(undo->removed)
                       .arg(undo->restored)
                       .arg(undo->broughtBack);
    if (!undo->left.isEmpty())
        text += u"Left as they are, for they were changed since: %1\n"_s.arg(undo->left.join(", "_L1));
    if (!undo->kept.isEmpty())
        text += u"Kept, for they are on no phone any more: %1\n"_s.arg(undo->kept.join(", "_L1));
    context.output.answer(text, QJsonObject{{u"kind"_s, changeSet.kind},
                                            {u"title"_s, changeSet.title},
                                            {u"removed"_s, undo->removed},
                                            {u"restored"_s, undo->restored},
                                            {u"broughtBack"_s, undo->broughtBack},
                                            {u"left"_s, QJsonArray::fromStringList(undo->left)},
                                            {u"kept"_s, QJsonArray::fromStringList(undo->kept)}});
    return isNothing ? VXHostOutput::Failed : VXHostOutput::Done;
}
