#include "VXPropertyList.h"

#include "VXPropertyListBinaryReader.h"
#include "VXPropertyListFault.h"
#include "VXPropertyListXMLReader.h"
#include "VXRegularFile.h"

#include <QtCore/QFile>
#include <QtCore/QStringConverter>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

VXError corrupt(const QString &reason)
{
    return VXError::platformError(VXPlatformErrorCode::FileCorrupt, u"Not a property list: %1."_s.arg(reason));
}

// The encoding in the XML declaration; UTF-8 if there is none.
QByteArray declaredEncoding(const QByteArray &data)
{
    const qsizetype end = data.startsWith("<?xml") ? data.indexOf("?>") : -1;
    const QByteArray declaration = data.left(std::max(end, qsizetype(0)));
    const qsizetype name = declaration.indexOf("encoding");
    const qsizetype equals = name < 0 ? -1 : declaration.indexOf('=', name);
    if (equals < 0)
        return "UTF-8";
    const QByteArray quoted = declaration.mid(equals + 1).trimmed();
    const qsizetype close = quoted.isEmpty() ? -1 : quoted.indexOf(quoted.front(), 1);
    return quoted.mid(1, close - 1);
}

// The document in UTF-8 without byte order mark; most are in that form.
QByteArray utf8FromXML(const QByteArray &data)
{
    if (data.startsWith("\xef\xbb\xbf"))
        return data.mid(3);
    const auto mark = QStringConverter::encodingForData(data);
    if (mark && *mark != QStringConverter::Utf8) {
        QStringDecoder decode(*mark, QStringConverter::Flag::Stateless);
        const QString text = decode(data);
        if (decode.hasError() || !text.isValidUtf16())
            throw VXPropertyListFault(
                u"the text is not valid %1"_s.arg(QString::fromLatin1(QStringConverter::nameForEncoding(*mark))));
        return text.toUtf8();
    }
    const QByteArray encoding = declaredEncoding(data).toUpper();
    if (encoding == "UTF-8" || encoding == "UTF8" || encoding == "US-ASCII" || encoding == "ASCII")
        return data;
    if (encoding == "ISO-8859-1")
        return QString::fromLatin1(data).toUtf8();
    throw VXPropertyListFault(u"line 1: unknown encoding \"%1\""_s.arg(QString::fromUtf8(encoding.left(40))));
}

bool looksLikeXML(const QByteArray &utf8)
{
    const auto isSpace = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    const auto first = std::find_if_not(utf8.begin(), utf8.end(), isSpace);
    return first != utf8.end() && *first == '<';
}

QVariant read(const QByteArray &data, VXPropertyList::Format &format)
{
    if (data.isEmpty())
        throw VXPropertyListFault(u"it is empty"_s);
    if (data.startsWith("bplist")) {
        format = VXPropertyList::Format::Binary;
        return VXPropertyListBinaryReader(data).read();
    }
    format = VXPropertyList::Format::XML;
    const QByteArray text = utf8FromXML(data);
    if (!looksLikeXML(text))
        throw VXPropertyListFault(u"line 1: neither XML nor the binary form"_s);
    return VXPropertyListXMLReader(text).read();
}

} // namespace

QVariant VXPropertyList::fromData(const QByteArray &data, VXError *error, Format *format)
{
    try {
        Format found = Format::XML;
        QVariant value = read(data, found);
        if (format != nullptr)
            *format = found;
        return value;
    } catch (const VXPropertyListFault &fault) {
        VXSetError(error, corrupt(fault.reason()));
        return {};
    }
}

QVariant VXPropertyList::fromFile(const QString &path, VXError *error, Format *format, VXFileStamp *stamp)
{
    QString problem;
    const QByteArray data = VXRegularFile::read(path, &problem, VXRegularFile::generousLimit, stamp);
    if (data.isNull()) {
        VXSetError(error, VXError::platformError(VXPlatformErrorCode::FileRead, u"Unable to read property list."_s,
                                                 problem, path));
        return {};
    }
    VXError reason;
    QVariant value = fromData(data, &reason, format);
    if (reason)
        VXSetError(error,
                   VXError::platformError(VXPlatformErrorCode::FileCorrupt, reason.localizedDescription(), {}, path));
    return value;
}
