#include "VXOwnTexts.h"

#include "VXBundle.h"
#include "VXEventManager.h"
#include "VXFramework.h"
#include "VXPluginManager.h"
#include "VXStringsTable.h"

#include <QtCore/QDirIterator>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>

#include <algorithm>
#include <cstring>
#include <elf.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype shortestPhrase = 10; // with at least two words: anything shorter may be anybody's
constexpr qsizetype beginning = 6;
constexpr int lastSystemError = 133;

template <class Header>
const Header *headerAt(QByteArrayView file, quint64 offset)
{
    return offset <= quint64(file.size()) && sizeof(Header) <= quint64(file.size()) - offset
               ? reinterpret_cast<const Header *>(file.data() + offset)
               : nullptr;
}

// The sections with constants. Empty if it is not such a file.
QList<QByteArrayView> constantsOf(QByteArrayView file)
{
    const auto *const elf = headerAt<Elf64_Ehdr>(file, 0);
    if (elf == nullptr || std::memcmp(elf->e_ident, ELFMAG, SELFMAG) != 0 || elf->e_ident[EI_CLASS] != ELFCLASS64)
        return {};
    QList<QByteArrayView> constants;
    for (quint64 at = 0; at < elf->e_shnum; ++at) {
        const auto *const section = headerAt<Elf64_Shdr>(file, elf->e_shoff + at * sizeof(Elf64_Shdr));
        const bool isConstant = section != nullptr && section->sh_type == SHT_PROGBITS &&
                                (section->sh_flags & SHF_ALLOC) != 0 && (section->sh_flags & SHF_WRITE) == 0 &&
                                (section->sh_flags & SHF_EXECINSTR) == 0;
        if (isConstant && section->sh_offset <= quint64(file.size()) &&
            section->sh_size <= quint64(file.size()) - section->sh_offset)
            constants.append(file.sliced(qsizetype(section->sh_offset), qsizetype(section->sh_size)));
    }
    return constants;
}

constexpr bool isPrintable(char16_t unit)
{
    return (unit >= u' ' && unit < 0x7f) || unit == u'\n' || unit == u'\t';
}

// Calls the function with each run of printable units that is terminated by zero.
template <class Unit, class Function>
void forEachText(QByteArrayView bytes, Function function)
{
    const auto *const units = reinterpret_cast<const Unit *>(bytes.data());
    const qsizetype count = bytes.size() / qsizetype(sizeof(Unit));
    QString text;
    for (qsizetype at = 0; at < count; ++at) {
        Unit unit;
        std::memcpy(&unit, units + at, sizeof unit);
        const char16_t character = sizeof(Unit) == 1 ? char16_t(uchar(unit)) : char16_t(unit);
        if (isPrintable(character)) {
            text += character;
            continue;
        }
        if (unit == 0 && text.size() > 1)
            function(text);
        text.clear();
    }
}

bool isWordUnit(QChar unit)
{
    return unit.isLetterOrNumber() || unit == u'_';
}

QStringList codeOfThisProcess()
{
    QFile maps(u"/proc/self/maps"_s);
    QStringList files{QFileInfo(u"/proc/self/exe"_s).canonicalFilePath()};
    if (maps.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : maps.readAll().split('\n')) {
            const QString path = QFile::decodeName(line.mid(line.indexOf('/')));
            if (QFileInfo(path).fileName().startsWith("libVornix"_L1) && !files.contains(path))
                files.append(path);
        }
    }
    return files;
}

// Keys of records and of the history. The linker may keep them only as ends of longer texts.
const QStringList &keysOfRecords()
{
    static const QStringList keys =
        u"id date process event subtype milliseconds object objectURI objectClass who problem "
        "triggers omittedTriggers trigger outcome name filter reactions reactor problems "
        "direction from to device_url contact connectedDate duration isMissed call_id "
        "event_date text state url isComplete partCount partNumber reference kind number "
        "serviceCentre folder isInbox memory locations location isDecodable "
        "numbers emails urls addresses address type label groups $date $data"_s.split(u' ');
    return keys;
}

} // namespace

VXOwnTexts VXOwnTexts::ofThisProgram(const VXPluginManager &manager)
{
    VXOwnTexts texts;
    for (const QString &code : codeOfThisProcess())
        texts.addCode(code);
    const QStringList bundles{VXBundle::mainBundle()->bundlePath(), VXFrameworkBundle()->bundlePath()};
    for (const VXPluginProxy *const plugin : manager.allPlugins()) {
        const VXBundle::Ptr bundle = plugin->bundle();
        if (!bundle || !bundle->bundlePath().startsWith(bundles.first() + u'/'))
            continue; // somebody else's
        texts.addCode(bundle->executablePath());
        texts.addText(plugin->identifier());
        for (const QString &event : VXPostedEvents(*bundle).keys())
            texts.addText(event);
    }
    for (const QString &bundle : bundles) {
        QDirIterator tables(bundle, {u"*.strings"_s}, QDir::Files, QDirIterator::Subdirectories);
        while (tables.hasNext())
            texts.addTable(tables.next());
    }
    for (const QString &key : keysOfRecords())
        texts._words.insert(key);
    for (int error = 1; error <= lastSystemError; ++error)
        texts.addText(qt_error_string(error));
    for (QStringList &phrases : texts._phrases)
        std::ranges::sort(phrases, std::ranges::greater(), &QString::size);
    return texts;
}

void VXOwnTexts::addCode(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    const uchar *const mapped = file.map(0, file.size());
    if (mapped == nullptr)
        return;
    for (const QByteArrayView constants : constantsOf({reinterpret_cast<const char *>(mapped), file.size()})) {
        forEachText<char>(constants, [this](const QString &text) { addText(text); });
        forEachText<char16_t>(constants, [this](const QString &text) { addText(text); });
    }
}

void VXOwnTexts::addTable(const QString &path)
{
    const std::optional<VXStringsTable::Table> table = VXStringsTable::fromFile(path);
    if (!table)
        return;
    for (auto entry = table->cbegin(); entry != table->cend(); ++entry) {
        addText(entry.key());
        addText(*entry);
    }
}

void VXOwnTexts::addText(const QString &text)
{
    static const QRegularExpression typeName(
        uR"(\A\d+(VX\w+)\z)"_s); // as the compiler stores it, preceded by its length
    if (const auto match = typeName.match(text); match.hasMatch())
        _words.insert(match.captured(1));
    static const QRegularExpression word(uR"(\A[A-Za-z_$][\w:.-]*\z)"_s);
    static const QRegularExpression place(uR"(%(L?\d+|@|[sdun])|\n)"_s);
    if (word.match(text).hasMatch()) {
        _words.insert(text);
        return;
    }
    for (const QString &part : text.split(place))
        addPhrase(QStringView(part).trimmed());
}

// The linker keeps one copy of texts with the same end, so the end of a text may be a text of its own.
void VXOwnTexts::addPhrase(QStringView phrase)
{
    for (qsizetype at = 0; at + shortestPhrase <= phrase.size(); ++at) {
        const bool isStart = at == 0 || (!isWordUnit(phrase[at - 1]) && isWordUnit(phrase[at]));
        const QStringView end = phrase.sliced(at);
        if (!isStart || !end.contains(u' '))
            continue;
        QStringList &known = _phrases[end.first(beginning).toString()];
        if (!known.contains(end))
            known.append(end.toString());
    }
}

qsizetype VXOwnTexts::lengthAt(QStringView text, qsizetype position) const
{
    if (position > 0 && isWordUnit(text[position - 1]) && isWordUnit(text[position]))
        return 0;
    const QStringView rest = text.sliced(position);
    if (rest.size() < shortestPhrase)
        return 0;
    for (const QString &phrase : _phrases.value(rest.first(beginning).toString())) {
        const bool endsThere = rest.size() == phrase.size() || !isWordUnit(phrase.back()) ||
                               (rest.size() > phrase.size() && !isWordUnit(rest[phrase.size()]));
        if (endsThere && rest.startsWith(phrase))
            return phrase.size();
    }
    return 0;
}
