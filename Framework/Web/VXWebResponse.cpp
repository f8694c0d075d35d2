#include "VXWebResponse.h"

#include "VXFramework.h"

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype longestName = 200; // bytes: file systems allow 255, and a number may be appended

struct Status
{
    int code;
    const char *text;
};

// The registered status codes that users may see, in ascending order.
constexpr std::array statuses{Status{200, "no error"},
                              Status{201, "created"},
                              Status{202, "accepted"},
                              Status{204, "no content"},
                              Status{206, "partial content"},
                              Status{301, "moved permanently"},
                              Status{302, "found"},
                              Status{303, "see other"},
                              Status{304, "not modified"},
                              Status{307, "temporary redirect"},
                              Status{308, "permanent redirect"},
                              Status{400, "bad request"},
                              Status{401, "unauthorized"},
                              Status{402, "payment required"},
                              Status{403, "forbidden"},
                              Status{404, "not found"},
                              Status{405, "method not allowed"},
                              Status{406, "unacceptable"},
                              Status{407, "proxy authentication required"},
                              Status{408, "request timed out"},
                              Status{409, "conflict"},
                              Status{410, "no longer exists"},
                              Status{411, "length required"},
                              Status{413, "request too large"},
                              Status{414, "requested URL too long"},
                              Status{415, "unsupported media type"},
                              Status{422, "unprocessable content"},
                              Status{429, "too many requests"},
                              Status{500, "internal server error"},
                              Status{501, "unimplemented"},
                              Status{502, "bad gateway"},
                              Status{503, "service unavailable"},
                              Status{504, "gateway timed out"},
                              Status{505, "unsupported version"}};

// The texts for whole classes of codes.
const char *textOfClass(int code)
{
    switch (code / 100) {
    case 1:
        return "informational";
    case 2:
        return "success";
    case 3:
        return "redirected";
    case 4:
        return "client error";
    case 5:
        return "server error";
    default:
        return "unknown status";
    }
}

// Takes the text up to the next ";", leaving quoted strings (RFC 9110) whole.
QByteArray takeParameter(QByteArray &rest)
{
    bool isQuoted = false;
    for (qsizetype i = 0; i < rest.size(); ++i) {
        if (isQuoted && rest[i] == '\\')
            ++i;
        else if (rest[i] == '"')
            isQuoted = !isQuoted;
        else if (rest[i] == ';' && !isQuoted) {
            const QByteArray parameter = rest.left(i).trimmed();
            rest.remove(0, i + 1);
            return parameter;
        }
    }
    return std::exchange(rest, {}).trimmed();
}

QByteArray unquoted(const QByteArray &value)
{
    if (value.size() < 2 || !value.startsWith('"') || !value.endsWith('"'))
        return value;
    QByteArray text;
    for (qsizetype i = 1; i < value.size() - 1; ++i) {
        if (value[i] == '\\' && i + 1 < value.size() - 1)
            ++i;
        text += value[i];
    }
    return text;
}

// Decodes "UTF-8'en'name%20with" (RFC 8187); null when the value has another form.
QString extendedValue(const QByteArray &value)
{
    const QList<QByteArray> parts = value.split('\'');
    if (parts.size() != 3)
        return {};
    const QByteArray bytes = QByteArray::fromPercentEncoding(parts[2]);
    return parts[0].compare("utf-8", Qt::CaseInsensitive) == 0 ? QString::fromUtf8(bytes) : QString::fromLatin1(bytes);
}

// Null when the server suggests no name.
QString nameFromDisposition(QByteArray disposition)
{
    QString plain;
    QString extended;
    takeParameter(disposition); // "attachment"
    while (!disposition.isEmpty()) {
        const QByteArray parameter = takeParameter(disposition);
        const qsizetype equals = parameter.indexOf('=');
        const QByteArray name = parameter.left(equals).trimmed().toLower();
        const QByteArray value = parameter.mid(equals + 1).trimmed();
        if (equals > 0 && name == "filename*")
            extended = extendedValue(value);
        else if (equals > 0 && name == "filename")
            plain = QString::fromUtf8(unquoted(value));
    }
    return extended.isEmpty() ? plain : extended;
}

// Includes characters that change the order in which text is shown, so that "gnp.exe" could look like "exe.png".
bool isHidden(QChar c)
{
    const QChar::Direction direction = c.direction();
    return c.category() == QChar::Other_Control || c == QChar::LineSeparator || c == QChar::ParagraphSeparator ||
           (c.category() == QChar::Other_Format && direction != QChar::DirBN);
}

// The part of a name that may become a file name; empty when there is none.
QString plainName(QString name)
{
    name.replace(u'\\', u'/');
    name = name.section(u'/', -1);
    name.removeIf(isHidden);
    name = name.trimmed();
    QString seen = name;
    seen.removeIf([](QChar c) { return c.category() == QChar::Other_Format; });
    return seen == "."_L1 || seen == ".."_L1 ? QString() : name;
}

// Keeps the extension, if there is one.
QString shortened(const QString &name)
{
    if (name.toUtf8().size() <= longestName)
        return name;
    const qsizetype dot = name.lastIndexOf(u'.');
    const QString extension = dot > 0 && name.size() - dot <= 16 ? name.mid(dot) : QString();
    QString stem = name.left(name.size() - extension.size());
    const qsizetype room = longestName - extension.toUtf8().size();
    stem.truncate(room);
    while (stem.toUtf8().size() > room)
        stem.chop(1);
    if (stem.back().isHighSurrogate())
        stem.chop(1);
    return stem + extension;
}

} // namespace

QString VXWebResponse::statusText() const
{
    const auto found = std::ranges::find(statuses, statusCode, &Status::code);
    const char *const text = found != statuses.end() ? found->text : textOfClass(statusCode);
    return VXLocalizedString(QString::fromLatin1(text));
}

QString VXWebResponse::suggestedFilename() const
{
    for (const QString &candidate :
         {nameFromDisposition(contentDisposition), url.fileName(QUrl::FullyDecoded), url.host()}) {
        const QString name = plainName(candidate);
        if (!name.isEmpty())
            return shortened(name);
    }
    return u"download"_s;
}
