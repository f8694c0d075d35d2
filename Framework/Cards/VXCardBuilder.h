#pragma once

#include "VXCardLine.h"
#include "VXCardReader.h"

#include <QtCore/QHash>

#include <optional>

/**
 * Builds a card from its properties, one by one: each goes to its place in the contact, or, if there is none, into the
 * contact's content lines. One thread at a time.
 */
class VXCardBuilder
{
public:
    /** For a card that begins at that line of the file. */
    explicit VXCardBuilder(qint64 line) { _card.line = line; }
    VXCardBuilder(const VXCardBuilder &) = delete;
    VXCardBuilder &operator=(const VXCardBuilder &) = delete;

    void add(const VXRawCardLine &raw);
    /** Adds a problem, up to the most that a card reports. */
    void tell(qint64 line, const QString &text);
    /** To be called once, last. A card that is not whole has no end and becomes no contact. */
    VXCard finished(bool isWhole);

private:
    // Takes a property; false if it is to be kept as a content line.
    using Taker = bool (VXCardBuilder::*)(const VXCardLine &);

    void take(const VXCardLine &line, qint64 number);
    void takeData(const VXCardLine &line, qint64 number);
    void takeImage(const QByteArray &image, qint64 number);
    void keepParameters(const VXCardLine &line, qint64 number);
    void keepUnknown(const VXCardLine &line, qint64 number);

    bool takePhotoURI(const VXCardLine &line);
    bool takeFullName(const VXCardLine &line);
    bool takeName(const VXCardLine &line);
    bool takeText(const VXCardLine &line);
    bool takeBirthday(const VXCardLine &line);
    bool takeAddress(const VXCardLine &line);
    bool takePostalAddress(const VXCardLine &line);
    bool takeList(const VXCardLine &line);
    bool takeLabel(const VXCardLine &line);
    bool takeKind(const VXCardLine &line);
    bool takeMember(const VXCardLine &line);

    VXCard finishedGroup(bool isWhole);
    void finishNames();
    void finishLabels();

    struct Labelled
    {
        QString group;
        QList<VXContactRecord::Address> *list;
        qsizetype index;
    };

    VXCard _card;
    QHash<QString, VXCardLine> _labels; // by group
    QList<Labelled> _labelled;
    QStringList _unknownGroups; // of properties that are kept unchanged
    QList<VXCardLine> _members; // if the card is a group
    std::optional<VXCardLine> _fullName;
    bool _isGroup = false;
    bool _hasName = false;
    qsizetype _propertyCount = 0;
    qsizetype _unknownSize = 0;
    qint64 _number = 0; // of the property being taken
    // what was taken of the property that distinguishes it from others of its name; null if nothing is to be kept
    QString _kept;
};
