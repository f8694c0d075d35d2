#pragma once

#include "VXContactRecord.h"
#include "VXFrameworkExport.h"

#include <QtCore/QIODevice>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>
#include <optional>

class VXCardLines;

/** Something that could not be read, or only in part. */
struct VXCardProblem
{
    qint64 line; // of the file, from 1
    QString text;
};

/** A vCard. */
struct VXCard
{
    VXContactRecord contact = {};
    qint64 line = 0;    // where it begins
    qsizetype size = 0; // octets of its lines; it needs about that much memory
    QList<VXCardProblem> problems = {};
    /** Whether the card has an end, and a name, number or address: otherwise it is no contact. */
    bool isContact = false;
    /** For a group, which is no contact and whose name is in `contact`: the UIDs of its members, which may be contacts
     *  or groups. */
    std::optional<QStringList> members = {};
};

/**
 * Reads contacts from vCards of the versions 2.1, 3.0 and 4.0 one after the other, so that the size of the file does
 * not matter; the size of a card is limited. Properties that have no place in a contact are kept as content lines; what
 * cannot be read is reported with its line, and the rest is read nevertheless. Used on one thread at a time.
 */
class VX_EXPORT VXCardReader
{
public:
    /** The device must be open, and outlive this object. */
    explicit VXCardReader(QIODevice &device);
    ~VXCardReader();
    VXCardReader(const VXCardReader &) = delete;
    VXCardReader &operator=(const VXCardReader &) = delete;

    /** None at the end, and when reading failed; the device knows which. */
    std::optional<VXCard> next();
    /** Lines outside of cards; complete when next() has returned none. */
    const QList<VXCardProblem> &problems() const { return _problems; }

    static constexpr qsizetype largestImage = 8 * 1024 * 1024; // octets
    static constexpr qsizetype mostProperties = 10'000;        // per card
    static constexpr qsizetype largestUnknown = 1024 * 1024;   // characters per card, in total
    static constexpr qsizetype mostProblems = 100;             // reported per card

private:
    bool findBegin();

    std::unique_ptr<VXCardLines> _lines;
    qint64 _begin = 0; // the line of a card whose BEGIN was already read; 0: none
    QList<VXCardProblem> _problems;
};
