#include "VXMessageRecord.h"

#include "VXRecordReader.h"

#include <QtCore/QStringList>

using namespace Qt::StringLiterals;

namespace {

const QString textKey = u"text"_s;
const QString dateKey = u"date"_s;
const QString eventDateKey = u"event_date"_s;
const QString stateKey = u"state"_s;
const QString urlKey = u"url"_s;

// Without a state, a message is unread or sent, depending on its direction.
VXMessageRecord::State stateFrom(const VXRecordReader &reader, bool isIncoming)
{
    using State = VXMessageRecord::State;
    static const QStringList words{u"unsent"_s, u"unread"_s, u"sent"_s, u"read"_s}; // in the order of the enumerators
    const qsizetype word = words.indexOf(reader.text(stateKey));
    const std::optional<double> number = word < 0 ? reader.number(stateKey) : std::nullopt;
    const qsizetype state = number ? qsizetype(*number) : word;
    if (state >= 0 && state < words.size())
        return State(state);
    return isIncoming ? State::Unread : State::Sent;
}

} // namespace

VXMessageRecord::VXMessageRecord(const QVariant &object) : VXParties(VXRecordReader(object))
{
    const VXRecordReader reader(object);
    text = reader.value(textKey).toString();
    date = reader.date(dateKey);
    if (!date.isValid())
        date = reader.date(eventDateKey);
    state = stateFrom(reader, isIncoming());
    url = reader.text(urlKey);
}

bool VXMessageRecord::isMessage(const QVariant &object)
{
    return VXRecordReader(object).value(textKey).isValid();
}

QVariantMap VXMessageRecord::map() const
{
    QVariantMap map;
    insertInto(map);
    if (!text.isNull())
        map.insert(textKey, text);
    VXInsertIntoRecord(map, dateKey, date);
    map.insert(stateKey, int(state));
    VXInsertIntoRecord(map, urlKey, url);
    return map;
}
