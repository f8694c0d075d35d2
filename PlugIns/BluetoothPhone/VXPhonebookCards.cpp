#include "VXPhonebookCards.h"

#include "VXCardReader.h"
#include "VXPhoneText.h"

#include <QtCore/QFile>
#include <QtCore/QHash>
#include <QtCore/QRegularExpression>
#include <QtCore/QTimeZone>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

VXPhonebookCards readCards(const QString &path, const std::function<void(VXPhonebookCards &, const VXCard &)> &take)
{
    VXPhonebookCards cards;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        cards.problems.append(file.errorString());
        return cards;
    }
    VXCardReader reader(file);
    while (const std::optional<VXCard> card = reader.next())
        take(cards, *card);
    for (const VXCardProblem &problem : reader.problems())
        cards.problems.append(problem.text);
    return cards;
}

QString firstNumber(const VXContactRecord &contact)
{
    return contact.numbers.isEmpty() ? QString() : contact.numbers.first().value;
}

// "X-IRMC-CALL-DATETIME;MISSED:20261121T203000", or with "TYPE=" before it; the time is the phone's own, or has a Z.
struct CallStamp
{
    QString kind;
    QDateTime date;
};

CallStamp stampOf(const QStringList &properties)
{
    static const QRegularExpression pattern(uR"(\AX-IRMC-CALL-DATETIME((?:;[^:]*)*):(\d{8}T\d{6})?(Z?))"_s,
                                            QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression kind(u"MISSED|RECEIVED|DIALED"_s, QRegularExpression::CaseInsensitiveOption);
    for (const QString &property : properties) {
        const auto match = pattern.match(property);
        if (!match.hasMatch())
            continue;
        QDateTime date = QDateTime::fromString(match.captured(2), u"yyyyMMddThhmmss"_s);
        if (!match.captured(3).isEmpty())
            date.setTimeZone(QTimeZone::utc());
        return {.kind = kind.match(match.captured(1)).captured().toUpper(), .date = date};
    }
    return {};
}

} // namespace

VXPhonebookCards VXContactsFromCards(const QString &path)
{
    qint64 location = 0;
    return readCards(path, [&location](VXPhonebookCards &cards, const VXCard &card) {
        if (location++ == 0) {
            cards.ownNumber = firstNumber(card.contact);
            return;
        }
        for (const VXCardProblem &problem : card.problems)
            cards.problems.append(problem.text);
        if (!card.isContact)
            return;
        QVariantMap contact = card.contact.map();
        contact.insert(u"memory"_s, u"ME"_s);
        contact.insert(u"location"_s, location - 1);
        cards.items.append(contact);
    });
}

VXPhonebookCards VXCallsFromCards(const QString &path)
{
    static const QHash<QString, QString> memories{
        {u"MISSED"_s, u"MC"_s}, {u"RECEIVED"_s, u"RC"_s}, {u"DIALED"_s, u"DC"_s}};
    QHash<QString, int> counts; // of each memory's entries
    return readCards(path, [&counts](VXPhonebookCards &cards, const VXCard &card) {
        const CallStamp stamp = stampOf(card.contact.properties);
        const QString memory = memories.value(stamp.kind);
        if (memory.isNull())
            return cards.problems.append(u"line %1: no call"_s.arg(card.line));
        QVariantMap call{{u"isMissed"_s, memory == "MC"_L1}, {u"memory"_s, memory}, {u"location"_s, ++counts[memory]}};
        VXInsertParty(call, memory != "DC"_L1, firstNumber(card.contact));
        if (stamp.date.isValid())
            call.insert(u"date"_s, stamp.date);
        if (const QString name = card.contact.displayName(); !name.isEmpty() && name != call.value(u"number"_s))
            call.insert(u"name"_s, name);
        cards.items.append(call);
    });
}
