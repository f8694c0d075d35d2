#include "VXPhonebookCards.h"

#include "VXPhoneText.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QTimeZone>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 portionSize = 500;

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

VXPhonebookCards VXPhonebookFile::contacts()
{
    return next(&VXPhonebookFile::takeContact);
}

VXPhonebookCards VXPhonebookFile::calls()
{
    return next(&VXPhonebookFile::takeCall);
}

VXPhonebookCards VXPhonebookFile::next(void (VXPhonebookFile::*take)(const VXCard &card, VXPhonebookCards &cards))
{
    if (!_isOpen)
        return {.problems = {_file.errorString()}, .isLast = true};
    VXPhonebookCards cards;
    for (qint64 left = portionSize; left > 0; --left) {
        const std::optional<VXCard> card = _reader.next();
        if (!card) {
            cards.isLast = true;
            for (const VXCardProblem &problem : _reader.problems())
                cards.problems.append(problem.text);
            break;
        }
        (this->*take)(*card, cards);
        ++_cardCount;
    }
    return cards;
}

void VXPhonebookFile::takeContact(const VXCard &card, VXPhonebookCards &cards)
{
    if (_cardCount == 0) {
        cards.ownNumber = firstNumber(card.contact);
        return;
    }
    for (const VXCardProblem &problem : card.problems)
        cards.problems.append(problem.text);
    if (!card.isContact)
        return;
    QVariantMap contact = card.contact.map();
    contact.insert(u"memory"_s, u"ME"_s);
    contact.insert(u"location"_s, _cardCount);
    cards.items.append(contact);
}

void VXPhonebookFile::takeCall(const VXCard &card, VXPhonebookCards &cards)
{
    static const QHash<QString, QString> memories{
        {u"MISSED"_s, u"MC"_s}, {u"RECEIVED"_s, u"RC"_s}, {u"DIALED"_s, u"DC"_s}};
    const CallStamp stamp = stampOf(card.contact.properties);
    const QString memory = memories.value(stamp.kind);
    if (memory.isNull())
        return cards.problems.append(u"line %1: no call"_s.arg(card.line));
    QVariantMap call{{u"isMissed"_s, memory == "MC"_L1}, {u"memory"_s, memory}, {u"location"_s, ++_counts[memory]}};
    VXInsertParty(call, memory != "DC"_L1, firstNumber(card.contact));
    if (stamp.date.isValid())
        call.insert(u"date"_s, stamp.date);
    if (const QString name = card.contact.displayName(); !name.isEmpty() && name != call.value(u"number"_s))
        call.insert(u"name"_s, name);
    cards.items.append(call);
}
