#include "VXCardText.h"

#include <QtCore/QStringConverter>

#include <iconv.h>

#include <memory>
#include <type_traits>

using namespace Qt::StringLiterals;

namespace {

struct CloseConverter
{
    using pointer = iconv_t;
    void operator()(iconv_t converter) const { iconv_close(converter); }
};

int hexDigit(char character)
{
    if (character >= '0' && character <= '9')
        return character - '0';
    const char upper = static_cast<char>(character & ~0x20);
    return upper >= 'A' && upper <= 'F' ? upper - 'A' + 10 : -1;
}

} // namespace

QString VXDecodedText(const QByteArray &octets, const QByteArray &charset)
{
    const QByteArray name = charset.trimmed().toUpper();
    if (name.isEmpty() || name == "UTF-8" || name == "UTF8") {
        QStringDecoder decoder(QStringDecoder::Utf8);
        QString text = decoder(octets);
        return decoder.hasError() ? QString() : (text.isNull() ? u""_s : text);
    }
    const iconv_t opened = iconv_open("UTF-16LE", name.constData());
    if (opened == iconv_t(-1)) // the result that iconv_open() specifies
        return {};
    const std::unique_ptr<std::remove_pointer_t<iconv_t>, CloseConverter> converter(opened);
    QByteArray from = octets;
    QByteArray to(octets.size() * 4 + 8, Qt::Uninitialized); // in no character set are there more units than octets
    char *in = from.data();
    char *out = to.data();
    auto inLeft = size_t(from.size());
    auto outLeft = size_t(to.size());
    if (iconv(opened, &in, &inLeft, &out, &outLeft) == size_t(-1) || inLeft > 0)
        return {};
    return QString::fromUtf16(reinterpret_cast<const char16_t *>(to.constData()), (to.size() - qsizetype(outLeft)) / 2);
}

QByteArray VXDecodedQuotedPrintable(const QByteArray &octets)
{
    QByteArray decoded;
    decoded.reserve(octets.size());
    for (qsizetype index = 0; index < octets.size(); ++index) {
        const bool isEscape = octets[index] == '=' && index + 2 < octets.size();
        const int high = isEscape ? hexDigit(octets[index + 1]) : -1;
        const int low = isEscape ? hexDigit(octets[index + 2]) : -1;
        if (high >= 0 && low >= 0) {
            decoded.append(static_cast<char>(high * 16 + low));
            index += 2;
        } else {
            decoded.append(octets[index]);
        }
    }
    return decoded;
}

QString VXUnescapedCardText(QStringView value)
{
    QString text;
    text.reserve(value.size());
    for (qsizetype index = 0; index < value.size(); ++index) {
        QChar character = value[index];
        if (character == u'\\' && index + 1 < value.size()) {
            character = value[++index];
            if (character == u'n' || character == u'N')
                character = u'\n';
        }
        text += character;
    }
    return text;
}

QStringList VXCardValueParts(QStringView value, QChar separator)
{
    QStringList parts;
    qsizetype start = 0;
    for (qsizetype index = 0; index < value.size(); ++index) {
        if (value[index] == u'\\') {
            ++index; // skips what it escapes
        } else if (value[index] == separator) {
            parts.append(VXUnescapedCardText(value.sliced(start, index - start)).trimmed());
            start = index + 1;
        }
    }
    parts.append(VXUnescapedCardText(value.sliced(start)).trimmed());
    return parts;
}
