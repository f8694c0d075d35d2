#include "VXSearchCheck.h"

#include "VXErrorText.h"
#include "VXHostCommand.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXMetaDataSync.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <utility>

using namespace Qt::StringLiterals;

using Kind = VXMetaDataFinding::Kind;

namespace {

constexpr qsizetype mostNames = 20; // shown to people for each kind

const std::pair<Kind, QString> kinds[] = {{Kind::Stale, u"stale"_s},
                                          {Kind::Missing, u"missing"_s},
                                          {Kind::Orphaned, u"orphaned"_s},
                                          {Kind::Damaged, u"damaged"_s},
                                          {Kind::Outdated, u"outdated"_s}};

QStringList namesOfKind(const VXMetaDataReport &report, Kind kind)
{
    QStringList names;
    for (const VXMetaDataFinding &finding : report.findings) {
        if (finding.kind == kind)
            names.append(finding.name);
    }
    return names;
}

QJsonObject jsonOf(const VXMetaDataSync &sync, const VXMetaDataReport &report)
{
    QJsonObject json{{u"identifier"_s, sync.identifier()},    {u"entity"_s, sync.entityName()},
                     {u"objects"_s, report.objectCount},      {u"files"_s, report.fileCount},
                     {u"index_whole"_s, report.isIndexWhole}, {u"unrepaired"_s, report.unrepaired},
                     {u"taken_in"_s, report.isTakenIn}};
    for (const auto &[kind, word] : kinds)
        json.insert(word, QJsonArray::fromStringList(namesOfKind(report, kind)));
    return json;
}

QString textOf(const VXMetaDataSync &sync, const VXMetaDataReport &report, bool isRepaired)
{
    QString text = u"%1: objects %2, files %3"_s.arg(sync.entityName()).arg(report.objectCount).arg(report.fileCount);
    if (!report.isTakenIn)
        text += u", not taken in yet"_s;
    else if (report.findings.isEmpty() && report.isClean())
        text += u", all in step"_s;
    else if (report.isClean())
        text += u", written anew %1 of an earlier program"_s.arg(report.findings.size());
    if (report.isClean())
        return text + u'\n';
    if (isRepaired)
        text += report.isRepaired()
                    ? u"; what differed was put right"_s
                    : u"; not put right: %1"_s.arg(report.unrepaired + (report.isIndexRepaired ? 0 : 1));
    text += u'\n';
    for (const auto &[kind, word] : kinds) {
        const QStringList names = namesOfKind(report, kind);
        for (const QString &name : names.first(std::min(names.size(), mostNames)))
            text += u"  %1  %2\n"_s.arg(word, -8).arg(name);
        if (names.size() > mostNames)
            text += u"  %1  and %2 more\n"_s.arg(word, -8).arg(names.size() - mostNames);
    }
    return report.isIndexWhole ? text : text + u"  the index did not hold all files as they are\n"_s;
}

} // namespace

int VXCheckSearch(VXHostContext &context)
{
    const bool repairs = context.options.isSet(u"repair"_s);
    QString text;
    QJsonArray folders;
    bool isClean = true;
    bool isTakenIn = true;
    bool isChecked = true;
    for (const VXMetaDataSync::Ptr &sync : VXMetaDataSync::launchedSyncs()) {
        VXError error;
        const std::optional<VXMetaDataReport> report = sync->checkMetaDataFiles(repairs, &error);
        if (!report) { // the others are checked nevertheless
            isChecked = false;
            context.output.fail(u"%1: %2"_s.arg(sync->entityName(), VXErrorText(error)));
            folders.append(QJsonObject{{u"identifier"_s, sync->identifier()},
                                       {u"entity"_s, sync->entityName()},
                                       {u"error"_s, VXErrorText(error)}});
            continue;
        }
        isClean = isClean && (repairs ? report->isRepaired() : report->isClean());
        isTakenIn = isTakenIn && report->isTakenIn;
        text += textOf(*sync, *report, repairs);
        folders.append(jsonOf(*sync, *report));
    }
    if (folders.isEmpty())
        return context.output.fail(u"nothing is searched: no data plugin is loaded that wants it"_s);
    if (!isClean)
        context.output.note(repairs ? u"\"vornix log\" may tell what was in the way"_s
                                    : u"\"vornix search check --repair\" puts it right"_s);
    isClean = isClean && isChecked;
    if (!isTakenIn)
        context.output.note(u"the next search takes in what is not taken in yet; so does \"vornix search update\""_s);
    context.output.answer(text, QJsonObject{{u"clean"_s, isClean}, {u"repaired"_s, repairs}, {u"folders"_s, folders}});
    return isClean ? VXHostOutput::Done : VXHostOutput::Failed;
}
