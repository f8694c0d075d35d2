#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <exception>

/**
 * The framework's exception: a name for its kind, and a readable reason. Only programming errors (VXAssertionException)
 * leave a public function; plugin code may throw its own.
 */
class VX_PLATFORM_EXPORT VXException : public std::exception
{
public:
    VXException(const QString &name, const QString &reason);
    ~VXException() override;
    VXException(const VXException &) = default;
    VXException &operator=(const VXException &) = default;

    QString name() const { return _name; }
    QString reason() const { return _reason; }
    /** The reason in UTF-8, valid as long as the exception. */
    const char *what() const noexcept override { return _what.constData(); }

private:
    QString _name;
    QString _reason;
    QByteArray _what;
};

/** A violated precondition: the reason is the fixed text in the operation's contract. */
class VX_PLATFORM_EXPORT VXAssertionException : public VXException
{
public:
    explicit VXAssertionException(const QString &reason);
    ~VXAssertionException() override;
};

/** Throws VXAssertionException with the reason; kept out of line so that a VXAssert costs a branch. */
[[noreturn]] VX_PLATFORM_EXPORT void VXFailAssertion(const QString &reason);

/** Checks a precondition in every build. The reason is made only when the check fails. */
#define VXAssert(condition, reason)                                                                                    \
    do {                                                                                                               \
        if (Q_UNLIKELY(!(condition)))                                                                                  \
            VXFailAssertion(reason);                                                                                   \
    } while (false)
