#include "VXCalendarEntry.h"

#include "VXContentLines.h"
#include "VXJSON.h"
#include "VXObjectValues.h"
#include "VXPhonebookList.h"
#include "VXPhonebookString.h"

#include <QtCore/QStringList>
#include <QtCore/QUuid>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

// So that an object always gets the same identifier (RFC 9562, version 5).
const QUuid entryNamespace(0x1f5a6c1e, 0x8d0b, 0x4b63, 0x9e, 0x57, 0x3a, 0x0c, 0x6e, 0x2d, 0x41, 0xb8);

QString dateText(const QDateTime &date)
{
    return date.toUTC().toString(u"yyyyMMdd'T'HHmmss'Z'");
}

QString durationText(qint64 seconds)
{
    return u"PT%1H%2M%3S"_s.arg(seconds / 3600).arg(seconds / 60 % 60).arg(seconds % 60);
}

} // namespace

VXCalendarEntry::VXCalendarEntry(const QVariant &object, const QDateTime &now, const Translate &translate)
    : _object(object), _now(now), _translate(translate), _isMessage(VXMessageRecord::isMessage(object)), _call(object),
      _message(object)
{
}

bool VXCalendarEntry::isKnown() const
{
    return _isMessage || !parties().from.isEmpty() || !parties().to.isEmpty() || start().isValid() || _call.duration;
}

QByteArray VXCalendarEntry::bytes(const QByteArray &identifier) const
{
    VXContentLines lines;
    lines.add(u"BEGIN"_s, u"VEVENT"_s);
    lines.addText(u"UID"_s, QString::fromLatin1(identifier));
    lines.add(u"DTSTAMP"_s, dateText(_now));
    lines.add(u"DTSTART"_s, dateText(start().isValid() ? start() : _now.addSecs(-duration())));
    if (duration() > 0)
        lines.add(u"DURATION"_s, durationText(duration()));
    lines.addText(u"SUMMARY"_s, summary());
    lines.addTextIfAny(u"DESCRIPTION"_s, description());
    lines.addText(u"CATEGORIES"_s, _translate(_isMessage ? u"Messages"_s : u"Calls"_s));
    lines.add(u"TRANSP"_s, u"TRANSPARENT"_s); // it does not make anybody busy
    lines.add(u"END"_s, u"VEVENT"_s);
    return lines.bytes();
}

const VXParties &VXCalendarEntry::parties() const
{
    return _isMessage ? static_cast<const VXParties &>(_message) : _call;
}

QString VXCalendarEntry::summary() const
{
    QStringList names;
    for (const QString &item : VXUnpackPhonebookStrings(parties().otherParty(), false)) {
        QString name;
        QString value;
        const bool isAddress = VXPhonebookStringSplit(item, &name, &value);
        names.append(!name.isEmpty() ? name : isAddress ? value : item);
    }
    const QString who = names.isEmpty() ? _translate(u"unknown"_s) : names.join(", "_L1);
    const bool isIncoming = parties().isIncoming();
    if (_isMessage)
        return _translate(isIncoming ? u"Message from %1"_s : u"Message to %1"_s).arg(who);
    return _translate(isIncoming ? u"Call from %1"_s : u"Call to %1"_s).arg(who);
}

QString VXCalendarEntry::description() const
{
    QStringList parts{_message.text, parties().otherParty()};
    parts.removeIf([](const QString &part) { return part.isEmpty(); });
    return parts.join(u'\n');
}

QDateTime VXCalendarEntry::start() const
{
    return _isMessage ? _message.date : _call.start();
}

qint64 VXCalendarEntry::duration() const
{
    return _isMessage ? 0 : std::llround(_call.duration.value_or(0));
}

QByteArray VXCalendarEntry::identifier() const
{
    const VXManagedObject *const stored = VXManagedObjectIn(_object);
    const bool hasURI = stored != nullptr && !stored->objectID().isTemporary();
    const QByteArray whole = hasURI ? VXValueText(_object).toUtf8() : VXJSONText(VXPlainJSONOfObject(_object));
    // Something without a known time counts as new each time.
    const bool isNew = !hasURI && !start().isValid();
    const QUuid uuid = isNew ? QUuid::createUuid() : QUuid::createUuidV5(entryNamespace, whole);
    return uuid.toByteArray(QUuid::WithoutBraces);
}
