#include "VXException.h"

using namespace Qt::StringLiterals;

VXException::VXException(const QString &name, const QString &reason)
    : _name(name), _reason(reason), _what(reason.toUtf8())
{
}

// Out of line, so that the type's identity is in this library only, and catching works across libraries.
VXException::~VXException() = default;

VXAssertionException::VXAssertionException(const QString &reason) : VXException(u"VXAssertionException"_s, reason) {}

VXAssertionException::~VXAssertionException() = default;

void VXFailAssertion(const QString &reason)
{
    throw VXAssertionException(reason);
}
