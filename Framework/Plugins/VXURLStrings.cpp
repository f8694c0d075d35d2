#include "VXURLStrings.h"

#include <QtCore/QByteArray>

using namespace Qt::StringLiterals;

namespace {

// Characters allowed in a URL besides letters, digits and "-._~" that are no delimiters here.
constexpr auto unescapedPunctuation = "!$'()*+,/:@";

QString escaped(const QString &text)
{
    return QString::fromLatin1(QUrl::toPercentEncoding(text, unescapedPunctuation));
}

int hexValue(char digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    const char lower = static_cast<char>(digit | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// A "%" without two hex digits after it is kept.
QString unescaped(QStringView text)
{
    const QByteArray bytes = text.toUtf8();
    QByteArray result;
    result.reserve(bytes.size());
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const bool mayBeEscape = bytes[i] == '%' && i + 2 < bytes.size();
        const int high = mayBeEscape ? hexValue(bytes[i + 1]) : -1;
        const int low = mayBeEscape ? hexValue(bytes[i + 2]) : -1;
        if (high < 0 || low < 0) {
            result += bytes[i];
            continue;
        }
        result += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return QString::fromUtf8(result);
}

// A variant that holds a null text is not null itself.
bool hasValue(const QVariant &value)
{
    return !value.isNull() && (value.typeId() != QMetaType::QString || !value.toString().isNull());
}

QVariantMap messageParameters(const QString &body, const QString &device)
{
    QVariantMap parameters;
    if (!body.isNull())
        parameters.insert(u"body"_s, body);
    if (!device.isNull())
        parameters.insert(u"device"_s, device);
    return parameters;
}

} // namespace

QString VXMakeURLString(const QString &scheme, const QString &target, const QVariantMap &parameters)
{
    QString url = scheme + u':' + escaped(target);
    QChar separator = u'?';
    for (auto parameter = parameters.cbegin(); parameter != parameters.cend() && hasValue(*parameter); ++parameter) {
        url += separator + escaped(parameter.key()) + u'=' + escaped(parameter->toString());
        separator = u'&';
    }
    return url;
}

std::optional<QVariantMap> VXComponentsFromURLString(const QString &url)
{
    const qsizetype colon = url.indexOf(u':');
    if (colon < 0)
        return {};
    QVariantMap components{{u"scheme"_s, url.first(colon)}};
    const QStringView rest = QStringView(url).sliced(colon + 1);
    if (rest.isEmpty())
        return components;
    const qsizetype question = rest.indexOf(u'?');
    components.insert(u"host"_s, unescaped(question < 0 ? rest : rest.first(question)));
    if (question < 0)
        return components;
    for (const QStringView parameter : rest.sliced(question + 1).split(u'&')) {
        const qsizetype equals = parameter.indexOf(u'=');
        const QStringView key = equals < 0 ? parameter : parameter.first(equals);
        components.insert(unescaped(key), equals < 0 ? u""_s : unescaped(parameter.sliced(equals + 1)));
    }
    return components;
}

QString VXCalltoURLString(const QString &number, const QString &device)
{
    return VXMakeURLString(u"callto"_s, number, messageParameters({}, device));
}

QString VXChatURLString(const QString &target, const QString &body, const QString &device)
{
    return VXMakeURLString(u"vxchat"_s, target, messageParameters(body, device));
}

QString VXMessagetoURLString(const QString &target, const QString &body, const QString &device)
{
    return VXMakeURLString(u"messageto"_s, target, messageParameters(body, device));
}

QUrl VXMakePhonebookURL(const QString &host, const QString &firstPart, const QString &secondPart)
{
    QStringList parts;
    for (const QString &part : {firstPart, secondPart}) {
        if (!part.isNull())
            // escapes a "/", which would be a separator
            parts.append(QString::fromLatin1(QUrl::toPercentEncoding(part)));
    }
    QUrl url;
    url.setScheme(u"vxbook"_s);
    url.setHost(host.isNull() ? u"localhost"_s : host);
    if (url.host().isEmpty())
        return {};
    url.setPath(u'/' + parts.join(u'/'), QUrl::StrictMode);
    return url;
}
