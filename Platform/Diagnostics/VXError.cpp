#include "VXError.h"

#include <QtCore/QUrl>

using namespace Qt::StringLiterals;

const QString VXPlatformErrorDomain = u"VXPlatformErrorDomain"_s;
const QString VXURLErrorDomain = u"VXURLErrorDomain"_s;
const QString VXLocalizedDescriptionKey = u"VXLocalizedDescription"_s;
const QString VXLocalizedRecoverySuggestionKey = u"VXLocalizedRecoverySuggestion"_s;
const QString VXFilePathErrorKey = u"VXFilePath"_s;
const QString VXFailingURLErrorKey = u"VXFailingURL"_s;
const QString VXUnderlyingErrorKey = u"VXUnderlyingError"_s;

struct VXError::Data
{
    QString domain;
    int code;
    QVariantMap userInfo;
};

VXError::VXError(const QString &domain, int code, const QVariantMap &userInfo)
    : _data(std::make_shared<const Data>(Data{domain, code, userInfo}))
{
}

VXError VXError::platformError(VXPlatformErrorCode code, const QString &description, const QString &suggestion,
                               const QString &path)
{
    QVariantMap userInfo{{VXLocalizedDescriptionKey, description}};
    if (!suggestion.isNull())
        userInfo.insert(VXLocalizedRecoverySuggestionKey, suggestion);
    if (!path.isNull())
        userInfo.insert(VXFilePathErrorKey, path);
    return {VXPlatformErrorDomain, static_cast<int>(code), userInfo};
}

QString VXError::domain() const
{
    return _data ? _data->domain : QString();
}

int VXError::code() const
{
    return _data ? _data->code : 0;
}

QVariantMap VXError::userInfo() const
{
    return _data ? _data->userInfo : QVariantMap();
}

QString VXError::localizedDescription() const
{
    if (!_data)
        return {};
    const QVariant text = _data->userInfo.value(VXLocalizedDescriptionKey);
    if (text.isValid())
        return text.toString();
    return u"The operation could not be completed. (%1 error %2.)"_s.arg(_data->domain).arg(_data->code);
}

QString VXError::localizedRecoverySuggestion() const
{
    return _data ? _data->userInfo.value(VXLocalizedRecoverySuggestionKey).toString() : QString();
}

QString VXError::localizedText() const
{
    const QString suggestion = localizedRecoverySuggestion();
    return suggestion.isEmpty() ? localizedDescription() : localizedDescription() + u' ' + suggestion;
}

QString VXError::filePath() const
{
    if (!_data)
        return {};
    const QString path = _data->userInfo.value(VXFilePathErrorKey).toString();
    if (!path.isNull())
        return path;
    const QUrl url = _data->userInfo.value(VXFailingURLErrorKey).toUrl(); // some errors name the file this way
    return url.isLocalFile() ? url.toLocalFile() : QString();
}

QString VXError::description() const
{
    if (!_data)
        return u"no error"_s;
    QString text = localizedDescription();
    if (const QString suggestion = localizedRecoverySuggestion(); !suggestion.isEmpty())
        text += u' ' + suggestion;
    if (const QString path = filePath(); !path.isEmpty())
        text += u" \""_s + path + u'"';
    return text + u" (%1, %2)"_s.arg(_data->domain).arg(_data->code);
}
