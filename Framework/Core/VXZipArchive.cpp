#include "VXZipArchive.h"

#include "VXFramework.h"

#include <QtCore/QFile>
#include <QtCore/QSet>
#include <QtCore/QStringDecoder>
#include <QtCore/QtNumeric>

#include <algorithm>
#include <climits>
#include <limits>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr auto zipinfo = "/usr/bin/zipinfo"_L1;
constexpr auto unzip = "/usr/bin/unzip"_L1;
constexpr qsizetype maximumListing = qsizetype{1} << 30;
constexpr qsizetype longestLinkTarget = PATH_MAX - 1;
constexpr qsizetype maximumArgumentBytes = 262'144; // per call, far below the kernel's limit

// A pattern that matches only this text. unzip treats a backslash as an escape reliably only within brackets.
QByteArray literalPattern(const QByteArray &text)
{
    QByteArray pattern;
    for (qsizetype index = 0; index < text.size(); ++index) {
        const char character = text[index];
        const bool wouldBeOption = character == '-' && index == 0;
        if (wouldBeOption || QByteArrayView("[*?\\").contains(character))
            pattern.append("[\\").append(character).append(']');
        else
            pattern.append(character);
    }
    return pattern;
}

QList<QByteArray> lines(const QByteArray &text)
{
    QList<QByteArray> result = text.split('\n');
    result.removeLast(); // after the last line feed
    return result;
}

// Status 1 is only a warning if entries were listed.
bool isRead(int status, const QByteArray &list)
{
    return status == 0 || (status == VXZipArchive::warned && !list.isEmpty());
}

QList<QByteArray> components(const QByteArray &path)
{
    QList<QByteArray> result = path.split('/');
    result.removeIf([](const QByteArray &component) { return component.isEmpty() || component == "."; });
    return result;
}

bool isUtf8(const QByteArray &text)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString decoded = decoder(text);
    return !decoder.hasError() && !decoded.isNull();
}

// ".." is allowed only at the start, and up to the top of the unpacked folder: after a component, which may be a link,
// its meaning is unknown.
bool targetLeadsOutside(const QByteArray &target, qsizetype depth)
{
    if (target.isEmpty() || target.startsWith('/') || target.contains('\0'))
        return true;
    qsizetype ups = 0;
    bool isBelow = false;
    for (const QByteArray &component : components(target)) {
        if (component != "..")
            isBelow = true;
        else if (isBelow || ++ups > depth)
            return true;
    }
    return false;
}

} // namespace

VXZipArchive::VXZipArchive(QString path, Runner run) : _path(std::move(path)), _run(std::move(run)) {}

QByteArray VXZipArchive::pathArgument() const
{
    // Wildcards work only in the last component, but a wildcard anywhere makes that component a pattern.
    const qsizetype name = _path.lastIndexOf(u'/') + 1;
    const QByteArray folder = QFile::encodeName(_path.left(name));
    return (folder.startsWith('-') ? "./" : "") + folder + literalPattern(QFile::encodeName(_path.mid(name)));
}

int VXZipArchive::read()
{
    QByteArray names;
    QByteArray details;
    int status = _run(zipinfo, {"-1", pathArgument()}, &names, maximumListing);
    if (isRead(status, names)) // with a pattern, only entries are listed
        status = _run(zipinfo, {"-s", pathArgument(), "*"}, &details, maximumListing);
    if (!isRead(status, details))
        return status;

    const QList<QByteArray> nameLines = lines(names);
    const QList<QByteArray> detailLines = lines(details);
    _entries.resize(nameLines.size());
    _isUnderstood = nameLines.size() == detailLines.size();
    for (qsizetype index = 0; index < nameLines.size(); ++index) {
        _entries[index].name = nameLines[index];
        _isUnderstood = _isUnderstood && readEntry(nameLines[index], detailLines[index], &_entries[index]);
    }
    return _isUnderstood ? 0 : status; // the status of a warning instead of a list
}

qint64 VXZipArchive::totalSize() const
{
    qint64 total = 0;
    for (const Entry &entry : _entries) {
        if (qAddOverflow<qint64>(total, entry.size, &total))
            return std::numeric_limits<qint64>::max();
    }
    return total;
}

qint64 VXZipArchive::largestSize() const
{
    qint64 largest = 0;
    for (const Entry &entry : _entries)
        largest = std::max<qint64>(largest, entry.size);
    return largest;
}

// "lrwxrwxrwx  3.0 unx        4 bx stor 24-Nov-21 06:59 name"
bool VXZipArchive::readEntry(const QByteArray &name, const QByteArray &details, Entry *entry)
{
    if (!details.endsWith(' ' + name))
        return false;
    const QList<QByteArray> fields = details.chopped(name.size()).simplified().split(' ');
    if (fields.size() < 7)
        return false;
    const QByteArray &host = fields[fields.size() - 6];
    bool isNumber = false;
    entry->size = fields[fields.size() - 5].toLongLong(&isNumber);
    // The list does not mark VMS links, but unzip creates them as links.
    entry->isLink = details.startsWith('l') || host == "vms";
    QByteArray path = name;
    if (host == "fat")
        path.replace('\\', '/'); // as unzip does
    entry->normalName = (path.startsWith('/') ? "/" : "") + components(path).join('/');
    return isNumber;
}

QString VXZipArchive::firstEntryName() const
{
    return _entries.isEmpty() ? QString() : QFile::decodeName(_entries.first().name).trimmed();
}

QString VXZipArchive::refusal() const
{
    const auto sentence = [](const QString &key, const Entry *entry) {
        return VXLocalizedString(key).arg(QFile::decodeName(entry->name));
    };
    if (!_isUnderstood)
        return VXLocalizedString(u"The list of the archive's entries cannot be read."_s);
    if (const Entry *const entry = entryThatLeadsOutside())
        return sentence(u"The entry \"%1\" leads outside the destination folder."_s, entry);
    if (const Entry *const entry = entryThroughLink())
        return sentence(u"The entry \"%1\" would be written through a link in the archive."_s, entry);
    if (const Entry *const entry = linkThatLeadsOutside())
        return sentence(u"The link \"%1\" leads outside the destination folder."_s, entry);
    return {};
}

const VXZipArchive::Entry *VXZipArchive::entryThatLeadsOutside() const
{
    const auto leadsOutside = [](const Entry &entry) {
        return entry.normalName.startsWith('/') || components(entry.normalName).contains("..");
    };
    const auto found = std::find_if(_entries.cbegin(), _entries.cend(), leadsOutside);
    return found == _entries.cend() ? nullptr : &*found;
}

const VXZipArchive::Entry *VXZipArchive::entryThroughLink() const
{
    QSet<QByteArray> links;
    for (const Entry &entry : _entries) {
        if (entry.isLink)
            links.insert(entry.normalName);
    }
    if (links.isEmpty())
        return nullptr;
    QSet<QByteArray> seenLinks;
    for (const Entry &entry : _entries) {
        const QByteArray &name = entry.normalName;
        // A second entry with the name of a link would replace the link or be written through it.
        if (links.contains(name) && (seenLinks.contains(name) || !entry.isLink))
            return &entry;
        if (entry.isLink)
            seenLinks.insert(name);
        for (qsizetype slash = name.indexOf('/'); slash >= 0; slash = name.indexOf('/', slash + 1)) {
            if (links.contains(name.left(slash)))
                return &entry;
        }
    }
    return nullptr;
}

const VXZipArchive::Entry *VXZipArchive::linkThatLeadsOutside() const
{
    QList<const Entry *> links;
    for (const Entry &entry : _entries) {
        if (!entry.isLink)
            continue;
        // The exact name is needed, since the link is read by it.
        if (entry.size > longestLinkTarget || !isUtf8(entry.name))
            return &entry;
        links.append(&entry);
    }
    qsizetype next = 0;
    while (next < links.size()) {
        const qsizetype first = next;
        QList<QByteArray> arguments{"-p", pathArgument()};
        qsizetype argumentBytes = 0;
        qsizetype expected = 0;
        for (; next < links.size() && argumentBytes < maximumArgumentBytes; ++next) {
            arguments.append(literalPattern(links[next]->name));
            argumentBytes += arguments.last().size();
            expected += links[next]->size;
        }
        // The targets are concatenated in the order of the archive.
        QByteArray targets;
        if (_run(unzip, arguments, &targets, expected) != 0 || targets.size() != expected)
            return links[first];
        qsizetype offset = 0;
        for (qsizetype index = first; index < next; ++index) {
            const Entry &link = *links[index];
            if (targetLeadsOutside(targets.mid(offset, link.size), link.normalName.count('/')))
                return &link;
            offset += link.size;
        }
    }
    return nullptr;
}
