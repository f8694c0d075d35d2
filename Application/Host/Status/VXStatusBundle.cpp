#include "VXStatusBundle.h"

#include "VXEventHistory.h"
#include "VXFileManager.h"
#include "VXHostJSON.h"
#include "VXLineSplitter.h"
#include "VXLog.h"
#include "VXLogEntry.h"
#include "VXPackFolder.h"
#include "VXPluginManager.h"
#include "VXReportMask.h"
#include "VXStatusReport.h"
#include "VXUserDefaults.h"
#include "VXVersions.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QRandomGenerator>
#include <QtCore/QRegularExpression>
#include <QtCore/QSysInfo>
#include <QtCore/QTemporaryDir>

#include <algorithm>
#include <array>
#include <cstdio>
#include <pwd.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype shortestHidden = 3; // shorter names occur in too many words

constexpr char16_t readMe[] = uR"(A report of Vornix, made by "vornix status --bundle".

status.json     every service, phone and plugin with its state, the reason and what to do
versions.json   of the program and the system
log.txt         the log
history.jsonl   the events and what reacted to them, a line each

Numbers, names, addresses, paths and texts are replaced by marks such as <number:3f2a90c1d7>. The same value
has the same mark, also in later reports of the same user. What the program itself says is left, and
the names and versions of plugins and services.
)";

// -- What is masked

// With it, this user's marks stay the same, and nobody else can compute them from the values.
QByteArray keyOfMarks()
{
    VXUserDefaults &defaults = VXUserDefaults::standardUserDefaults();
    const QString key = u"status.mark-key"_s;
    constexpr qsizetype size = 32;
    QByteArray bytes = defaults.objectForKey(key).toByteArray();
    if (bytes.size() == size)
        return bytes;
    std::array<quint32, size / sizeof(quint32)> random{};
    QRandomGenerator::system()->fillRange(random.data(), random.size());
    bytes = QByteArray(reinterpret_cast<const char *>(random.data()), size);
    defaults.setObject(bytes, key);
    return bytes;
}

// Words that identify the user, if they occur in something that would otherwise be shown.
QStringList hiddenWords()
{
    QStringList words{QDir::homePath(), QFileInfo(QDir::homePath()).fileName(), qEnvironmentVariable("USER"),
                      qEnvironmentVariable("LOGNAME"), QSysInfo::machineHostName()};
    if (const passwd *const user = ::getpwuid(::getuid()); user != nullptr) {
        words << QFile::decodeName(user->pw_name) << QFile::decodeName(user->pw_dir);
        words += QString::fromLocal8Bit(user->pw_gecos).split(u',').value(0).split(u' ');
    }
    words.removeIf([](const QString &word) { return word.size() < shortestHidden; });
    words.removeDuplicates();
    std::ranges::sort(words, std::ranges::greater(), &QString::size);
    return words;
}

QJsonArray masked(const VXReportMask &mask, const QList<VXStatusItem> &items, const QString &identifierKey)
{
    const auto text = [](const QString &value) { return value.isNull() ? QJsonValue() : QJsonValue(value); };
    QJsonArray json;
    for (const VXStatusItem &item : items) {
        const bool isPhone = identifierKey == "url"_L1;
        json.append(QJsonObject{{identifierKey, isPhone ? mask.text(item.identifier) : mask.kept(item.identifier)},
                                {u"name"_s, text(isPhone ? mask.text(item.name) : mask.kept(item.name))},
                                {u"state"_s, mask.kept(item.state)},
                                {u"reason"_s, text(mask.text(item.reason))},
                                {u"remedy"_s, text(mask.text(item.remedy))},
                                {u"version"_s, text(item.version)},
                                {u"fault"_s, item.isAtFault}});
    }
    return json;
}

// -- What is packed

QByteArray statusFile(const VXReportMask &mask, const VXStatusReport &report)
{
    return VXJSONText(QJsonObject{{u"services"_s, masked(mask, report.services(), u"service"_s)},
                                  {u"phones"_s, masked(mask, report.phones(), u"url"_s)},
                                  {u"plugins"_s, masked(mask, report.plugins(), u"identifier"_s)}});
}

QByteArray versionsFile(const VXReportMask &mask)
{
    QJsonObject versions{{u"kernel"_s, QSysInfo::kernelVersion()}};
    for (const VXTitledValue &version : VXVersions())
        versions.insert(version.key, mask.kept(version.value));
    return VXJSONText(versions);
}

// A line that begins an entry keeps its date and level; a line that continues one is text.
QByteArray logLine(const VXReportMask &mask, const QByteArray &line)
{
    static const QRegularExpression date(uR"(\A[A-Z][a-z]{2} [ 0-9][0-9] )"_s);
    const std::optional<VXLogEntry> entry = VXLogEntry::fromLine(line);
    const QString text =
        entry && entry->level <= VXLogDebug && date.match(entry->date).hasMatch()
            ? u"%1 [%2:%3] <%4> "_s.arg(entry->date).arg(entry->process).arg(entry->thread).arg(entry->levelName) +
                  mask.logMessage(entry->message)
            : u'\t' + mask.text(QString::fromUtf8(line).trimmed());
    return text.toUtf8() + '\n';
}

QByteArray logFile(const VXReportMask &mask)
{
    const QString folder = VXFileManager::defaultManager().pathToUserVNXLogsFolder();
    QByteArray masked;
    for (const QString &name : {u"/error.log.1"_s, u"/error.log"_s}) {
        QFile file(folder + name);
        if (folder.isNull() || !file.open(QIODevice::ReadOnly))
            continue;
        VXLineSplitter lines([&](const QByteArray &line) { masked += logLine(mask, line); });
        lines.feed(file.readAll());
        lines.finish();
    }
    return masked;
}

QByteArray historyFile(const VXReportMask &mask)
{
    QByteArray lines;
    for (const VXEventRecord &record : VXEventHistory::sharedEventHistory().records()) {
        QJsonObject json = mask.value(record.json()).toObject();
        json.insert(u"id"_s, record.identifier); // this and the next come from the program
        json.insert(u"process"_s, record.process);
        lines += VXJSONText(json) + '\n';
    }
    return lines;
}

QString writeFile(const QString &path, const QByteArray &contents)
{
    QFile file(path);
    const bool isWritten = file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size() && file.flush();
    return isWritten ? QString() : u"%1: %2"_s.arg(path, file.errorString());
}

} // namespace

QString VXWriteStatusBundle(const VXPluginManager &manager, const VXStatusReport &report, QString &path)
{
    if (!path.endsWith(".zip"_L1, Qt::CaseInsensitive))
        path += ".zip"_L1;
    // Beside its destination, so that it can be moved there in one step.
    const QTemporaryDir making(QFileInfo(path).absolutePath() + "/.vornix-report.XXXXXX"_L1);
    const QString folder = making.filePath(u"vornix-report"_s);
    if (!making.isValid() || !QDir().mkpath(folder))
        return u"%1: %2"_s.arg(QFileInfo(path).absolutePath(), making.errorString());
    const VXReportMask mask(VXOwnTexts::ofThisProgram(manager), keyOfMarks(), hiddenWords());
    const std::pair<QString, QByteArray> files[] = {{u"README.txt"_s, QString::fromUtf16(readMe).toUtf8()},
                                                    {u"status.json"_s, statusFile(mask, report)},
                                                    {u"versions.json"_s, versionsFile(mask)},
                                                    {u"log.txt"_s, logFile(mask)},
                                                    {u"history.jsonl"_s, historyFile(mask)}};
    for (const auto &[name, contents] : files) {
        if (const QString problem = writeFile(folder + u'/' + name, contents); !problem.isNull())
            return problem;
    }
    const QString archive = making.filePath(u"report.zip"_s);
    if (const VXError error = VXPackFolder(folder, archive))
        return error.localizedDescription();
    QFile::setPermissions(archive, QFile::ReadOwner | QFile::WriteOwner); // until its owner has read it
    if (std::rename(QFile::encodeName(archive).constData(), QFile::encodeName(path).constData()) != 0)
        return u"%1: %2"_s.arg(path, qt_error_string());
    return {};
}
