#pragma once

// Shared by both readers of property lists.

#include <QtCore/QByteArrayView>
#include <QtCore/QString>

#include <stdexcept>

/** The maximum nesting of arrays and dictionaries, so that recursion over a value never exhausts a stack. */
inline constexpr int VXPropertyListMaximumDepth = 512;

/** A problem in a property list. Never leaves VXPropertyList, which converts it to a VXError. */
class VXPropertyListFault : public std::runtime_error
{
public:
    explicit VXPropertyListFault(const QString &reason) : std::runtime_error(reason.toStdString()) {}
    QString reason() const { return QString::fromUtf8(what()); }
};

/** The text of valid UTF-8, never null. QString::fromUtf8 alone would remove a leading byte order mark. */
inline QString VXPropertyListText(QByteArrayView utf8)
{
    if (utf8.startsWith("\xef\xbb\xbf"))
        return QString::fromUtf8('-' + utf8.toByteArray()).sliced(1);
    return QString::fromUtf8(utf8);
}
