#include "VXPhoneCalls.h"

#include "VXPhoneText.h"

#include <QtCore/QUuid>

#include <algorithm>

using namespace Qt::StringLiterals;

VXPhoneCalls::VXPhoneCalls(Listener listener, std::function<QDateTime()> now)
    : _listener(std::move(listener)), _now(std::move(now))
{
}

void VXPhoneCalls::ring(const QString &key, bool isIncoming, const QString &number)
{
    if (const auto known = std::ranges::find(_calls, key, &Call::key); known != _calls.end()) {
        if (known->number.isEmpty())
            known->number = number;
        return;
    }
    _calls.push_back({.key = key,
                      .isIncoming = isIncoming,
                      .number = number,
                      .identifier = QUuid::createUuid().toString(QUuid::WithoutBraces),
                      .began = _now()});
    tell(Call(_calls.back()), u"ringing"_s);
}

void VXPhoneCalls::connect(const QString &key)
{
    const auto found = std::ranges::find(_calls, key, &Call::key);
    if (found == _calls.end() || !found->connected.isNull())
        return;
    found->connected = _now();
    tell(Call(*found), u"connected"_s);
}

void VXPhoneCalls::end(const QString &key, End knowledge)
{
    const auto found = std::ranges::find(_calls, key, &Call::key);
    if (found == _calls.end())
        return;
    const Call call = *found;
    _calls.erase(found);
    tell(call, u"ended"_s, knowledge);
}

void VXPhoneCalls::endAll()
{
    while (!_calls.empty())
        end(_calls.front().key);
}

bool VXPhoneCalls::contains(const QString &key) const
{
    return std::ranges::find(_calls, key, &Call::key) != _calls.end();
}

QString VXPhoneCalls::identifier(const QString &key) const
{
    const auto found = std::ranges::find(_calls, key, &Call::key);
    return found != _calls.end() ? found->identifier : QString();
}

QStringList VXPhoneCalls::keys(bool onlyRingingHere) const
{
    QStringList keys;
    for (const Call &call : _calls) {
        if (!onlyRingingHere || (call.isIncoming && call.connected.isNull()))
            keys.append(call.key);
    }
    return keys;
}

void VXPhoneCalls::tell(const Call &call, const QString &step, End knowledge) const
{
    QVariantMap object{{u"date"_s, call.began}, {u"call_id"_s, call.identifier}, {u"event_date"_s, _now()}};
    VXInsertParty(object, call.isIncoming, call.number);
    if (call.connected.isValid())
        object.insert(u"connectedDate"_s, call.connected);
    if (step == "ended"_L1 && knowledge == End::Known) {
        object.insert(u"isMissed"_s, call.isIncoming && call.connected.isNull());
        object.insert(u"duration"_s, call.connected.isNull() ? 0 : call.connected.secsTo(_now()));
    }
    _listener(call.isIncoming ? u"incoming_call"_s : u"outgoing_call"_s, step, object);
}
