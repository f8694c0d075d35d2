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
struct VXCardLine;
struct VXRawCardLine;

/** What could not be read, or only in part. */
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
    qsizetype size = 0; // octets of its lines: what it takes of memory is of that order
    QList<VXCardProblem> problems = {};
    /** Whether it has an end, and a name, number or address: only then it is a contact. */
    bool isContact = false;
    /** Of a group, which is no contact and whose name is that of `contact`: the UIDs of its members, contacts or groups. */
    std::optional<QStringList> members = {};
};

/**
 * Reads contacts from vCards of the versions 2.1, 3.0 and 4.0, one after the other, so that the size of the file does not
 * matter: what a card may hold is bounded. Properties that have no place in a contact are kept as content lines; what cannot be read
 * is told with its line, and the rest is read all the same. Used on one thread at a time.
 */
class VX_EXPORT VXCardReader
{
public:
    /** The device is open, and outlives this. */
    explicit VXCardReader(QIODevice &device);
    ~VXCardReader();
    VXCardReader(const VXCardReader &) = delete;
    VXCardReader &operator=(const VXCardReader &) = delete;

    /** None at the end, and when reading failed, which the device tells. */
    std::optional<VXCard> next();
    /** What lies outside of cards and is none: told once next() has answered none. */
    const QList<VXCardProblem> &problems() const { return _problems; }

    static constexpr qsizetype largestImage = 8 * 1024 * 1024; // octets
    static constexpr qsizetype mostProperties = 10'000;        // of a card
    static constexpr qsizetype largestUnknown = 1024 * 1024;   // characters, of all that a card has
    static constexpr qsizetype mostProblems = 100;             // told of a card

private:
    class Building;

    bool findBegin();

    std::unique_ptr<VXCardLines> _lines;
    qint64 _begin = 0; // the line of a card whose BEGIN was read already; 0: none
    QList<VXCardProblem> _problems;
};
