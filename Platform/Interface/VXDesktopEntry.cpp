#include "VXDesktopEntry.h"

#include "VXRegularFile.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

using namespace Qt::StringLiterals;

namespace {

QString unescaped(const QString &text)
{
    QString result;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] != u'\\' || i + 1 == text.size()) {
            result += text[i];
            continue;
        }
        switch (text[++i].unicode()) {
        case u's':
            result += u' ';
            break;
        case u'n':
            result += u'\n';
            break;
        case u't':
            result += u'\t';
            break;
        case u'r':
            result += u'\r';
            break;
        default:
            result += text[i];
        }
    }
    return result;
}

} // namespace

std::optional<VXDesktopEntry> VXDesktopEntry::fromFile(const QString &path)
{
    QString reason;
    QFile file(path);
    if (!VXRegularFile::open(file, &reason))
        return {};
    VXDesktopEntry entry;
    bool found = false;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.startsWith(u'[')) {
            if (found)
                break; // the next group, such as actions
            found = line == "[Desktop Entry]"_L1;
            continue;
        }
        const qsizetype equals = line.indexOf(u'=');
        if (!found || line.startsWith(u'#') || equals < 0)
            continue;
        entry._values.insert(line.first(equals).trimmed(), unescaped(line.sliced(equals + 1).trimmed()));
    }
    return found ? std::optional(entry) : std::nullopt;
}

VXIcon VXDesktopEntry::icon() const
{
    const QString name = value(u"Icon"_s);
    if (name.isEmpty())
        return {};
    return QDir::isAbsolutePath(name) ? VXIcon{{}, {}, name} : VXIcon{name, {}, {}};
}
