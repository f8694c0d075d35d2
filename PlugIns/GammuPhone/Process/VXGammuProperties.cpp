#include "VXGammuProperties.h"

#include "VXGammuText.h"

#include <algorithm>
#include <array>
#include <memory>
#include <span>

using namespace Qt::StringLiterals;

namespace {

// A text that the library writes into a buffer of its largest size.
template <class F>
QVariant textOf(VXGammuSession &session, F &&read)
{
    std::array<char, GSM_MAX_INFO_LENGTH + 1> buffer{};
    const GSM_Error code = session.call([&](auto *machine) { return read(machine, buffer.data()); });
    const QString text = QString::fromUtf8(buffer.data()).trimmed();
    return code == ERR_NONE && !text.isEmpty() ? QVariant(text) : QVariant();
}

QVariant ownNumber(VXGammuSession &session)
{
    const auto entry = std::make_unique<GSM_MemoryEntry>();
    entry->MemoryType = MEM_ON;
    entry->Location = 1;
    if (session.call([&](auto *machine) { return GSM_GetMemory(machine, entry.get()); }) != ERR_NONE)
        return {};
    const auto values = std::span(entry->Entries, size_t(entry->EntriesNum));
    const auto number = std::ranges::find(values, PBK_Number_General, &GSM_SubMemoryEntry::EntryType);
    const QVariant text = number == values.end() ? QVariant() : QVariant(VXTextFromGammu(number->Text));
    GSM_FreeMemoryEntry(entry.get());
    return text;
}

QVariant percent(int value)
{
    return value >= 0 && value <= 100 ? QVariant(value) : QVariant();
}

} // namespace

QVariant VXReadGammuIMEI(VXGammuSession &session)
{
    return textOf(session, GSM_GetIMEI);
}

QVariantMap VXReadGammuIdentity(VXGammuSession &session)
{
    const auto firmware = [](GSM_StateMachine *machine, char *text) {
        return GSM_GetFirmware(machine, text, nullptr, nullptr);
    };
    return {
        {u"manufacturer"_s, textOf(session, GSM_GetManufacturer)},
        {u"model"_s, textOf(session, GSM_GetModel)},
        {u"firmware"_s, textOf(session, firmware)},
        {u"imei"_s, VXReadGammuIMEI(session)},
        {u"phoneNumber"_s, ownNumber(session)},
    };
}

QVariantMap VXReadGammuState(VXGammuSession &session)
{
    GSM_BatteryCharge battery{};
    battery.BatteryPercent = -1;
    GSM_SignalQuality signal{.SignalStrength = -1, .SignalPercent = -1, .BitErrorRate = -1};
    if (session.call([&](auto *machine) { return GSM_GetBatteryCharge(machine, &battery); }) != ERR_NONE)
        battery.BatteryPercent = -1;
    if (session.call([&](auto *machine) { return GSM_GetSignalQuality(machine, &signal); }) != ERR_NONE)
        signal.SignalPercent = -1;
    return {{u"battery"_s, percent(battery.BatteryPercent)}, {u"signal"_s, percent(signal.SignalPercent)}};
}
