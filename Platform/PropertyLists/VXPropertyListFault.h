#pragma once

// What both readers of property lists share.

#include <QtCore/QByteArrayView>
#include <QtCore/QString>

#include <stdexcept>

/** How deep arrays and dictionaries may lie in one another, so that walking a value never exhausts a stack. */
inline constexpr int VXPropertyListMaximumDepth = 512;

/** What is wrong with a property list. It stays inside VXPropertyList, which makes a VXError of it. */
class VXPropertyListFault : public std::runtime_error
{
public:
    explicit VXPropertyListFault(const QString &reason) : std::runtime_error(reason.toStdString()) {}
    QString reason() const { return QString::fromUtf8(what()); }
};

/** The text of valid UTF-8, never null. QString::fromUtf8 alone would take away a byte order mark in front. */
inline QString VXPropertyListText(QByteArrayView utf8)
{
    if (utf8.startsWith("\xef\xbb\xbf"))
        return QString::fromUtf8('-' + utf8.toByteArray()).sliced(1);
    return QString::fromUtf8(utf8);
}
