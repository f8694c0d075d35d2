#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <memory>

/** The domain of errors made by the platform layer itself. */
VX_PLATFORM_EXPORT extern const QString VXPlatformErrorDomain;
/** The domain of errors about loading or naming a URL. */
VX_PLATFORM_EXPORT extern const QString VXURLErrorDomain;

/** User-info keys, with the types of their values. */
VX_PLATFORM_EXPORT extern const QString VXLocalizedDescriptionKey;        // QString
VX_PLATFORM_EXPORT extern const QString VXLocalizedRecoverySuggestionKey; // QString
VX_PLATFORM_EXPORT extern const QString VXFilePathErrorKey;               // QString
VX_PLATFORM_EXPORT extern const QString VXFailingURLErrorKey;             // QUrl
VX_PLATFORM_EXPORT extern const QString VXUnderlyingErrorKey;             // VXError

/** Codes of VXPlatformErrorDomain. */
enum class VXPlatformErrorCode {
    FileRead = 256,
    FileCorrupt = 259,
    FileWrite = 512,
    InvalidValue = 1024,
    BundleLoad = 3584,
};

/**
 * What went wrong, as a value: a domain, a code within it, and a dictionary of details.
 * A default-made VXError means "no error". Copies share their contents; all operations are reentrant.
 */
class [[nodiscard]] VX_PLATFORM_EXPORT VXError
{
public:
    VXError() = default;
    VXError(const QString &domain, int code, const QVariantMap &userInfo = {});

    /** An error of VXPlatformErrorDomain about a file; a null suggestion or path is left out. */
    static VXError platformError(VXPlatformErrorCode code, const QString &description, const QString &suggestion = {},
                                 const QString &path = {});

    bool isNull() const { return !_data; }
    explicit operator bool() const { return !isNull(); }

    /** Null, 0 or empty when there is no error. */
    QString domain() const;
    int code() const;
    QVariantMap userInfo() const;

    /** The text for the user: the entry of VXLocalizedDescriptionKey, or a text with domain and code. */
    QString localizedDescription() const;
    /** What the user might do about it; null when nothing is suggested. */
    QString localizedRecoverySuggestion() const;
    /** Both for the user, as one text. */
    QString localizedText() const;
    /** The path of the file concerned; null for none. */
    QString filePath() const;

    /** One line for logs: description, suggestion, path, domain and code. */
    QString description() const;

    friend bool operator==(const VXError &a, const VXError &b)
    {
        return a.domain() == b.domain() && a.code() == b.code() && a.userInfo() == b.userInfo();
    }

private:
    struct Data;
    std::shared_ptr<const Data> _data;
};

/** Stores the error, unless the caller passed nullptr. */
inline void VXSetError(VXError *destination, const VXError &error)
{
    if (destination != nullptr)
        *destination = error;
}

Q_DECLARE_METATYPE(VXError)
