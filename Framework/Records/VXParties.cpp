#include "VXParties.h"

#include "VXPhonebookString.h"
#include "VXRecordReader.h"

using namespace Qt::StringLiterals;

namespace {

const QString directionKey = u"direction"_s;
const QString fromKey = u"from"_s;
const QString toKey = u"to"_s;
const QString deviceKey = u"device_url"_s;

} // namespace

VXParties::VXParties(const VXRecordReader &reader)
    : from(reader.text(fromKey)), to(reader.text(toKey)), deviceURL(reader.text(deviceKey))
{
    const std::optional<double> number = reader.number(directionKey);
    const QString word = reader.text(directionKey);
    const bool isGuessed = !number && word != "incoming"_L1 && word != "outgoing"_L1;
    const bool cameIn = isGuessed ? to.isNull() : (number ? *number != 0 : word == "incoming"_L1);
    direction = cameIn ? VXRecordDirection::Incoming : VXRecordDirection::Outgoing;
}

void VXParties::setOtherParty(const QString &name, const QString &number)
{
    const bool isKnown = !name.isEmpty() || !number.isEmpty();
    setOtherParty(!isKnown         ? QString()
                  : name.isEmpty() ? number
                                   : VXPhonebookStringJoin(name, number.isEmpty() ? QString() : number, 0));
}

void VXParties::insertInto(QVariantMap &map) const
{
    map.insert(directionKey, int(direction));
    VXInsertIntoRecord(map, fromKey, from);
    VXInsertIntoRecord(map, toKey, to);
    VXInsertIntoRecord(map, deviceKey, deviceURL);
}
