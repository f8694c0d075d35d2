#include "VXPhoneText.h"

#include "VXBusText.h"
#include "VXPhonebookString.h"

#include <algorithm>

using namespace Qt::StringLiterals;

void VXInsertParty(QVariantMap &record, bool isIncoming, const QString &number)
{
    record.insert(u"direction"_s, isIncoming ? 1 : 0);
    if (number.isEmpty())
        return;
    record.insert(u"number"_s, number);
    record.insert(isIncoming ? u"from"_s : u"to"_s, number);
}

QString VXNumberToDial(const QVariant &object, VXError *error)
{
    const QString asked =
        object.typeId() == QMetaType::QVariantMap ? object.toMap().value(u"number"_s).toString() : object.toString();
    const QString number = VXDialableNumber(asked);
    if (number.isNull())
        VXSetError(error, VXBusError(VXBusText(u"\"%1\" is no phone number."_s).arg(asked)));
    return number;
}

VXTextToSend VXTextToSend::ofObject(const QVariant &object)
{
    const QVariantMap message = object.toMap();
    VXTextToSend sent;
    sent.text = message.value(u"text"_s).toString();
    QString asked = message.value(u"number"_s).toString();
    if (!message.contains(u"number"_s)) {
        const QString to = message.value(u"to"_s).toString();
        asked = VXDialledNumber(to);
        if (asked.isNull())
            asked = to;
    }
    sent.number = VXDialableNumber(asked);
    const auto isForbidden = [](QChar letter) {
        return letter.category() == QChar::Other_Control && letter != u'\n' && letter != u'\r' && letter != u'\t';
    };
    if (sent.number.isNull())
        sent.error = VXBusError(VXBusText(u"\"%1\" is no phone number."_s).arg(asked));
    else if (sent.text.isEmpty())
        sent.error = VXBusError(VXBusText(u"The message has no text."_s));
    else if (std::ranges::any_of(sent.text, isForbidden))
        sent.error = VXBusError(VXBusText(u"The message has a character that no message can have."_s));
    return sent;
}
