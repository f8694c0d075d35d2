#include "VXGammuCalls.h"

#include "VXDialableNumber.h"
#include "VXGammuReading.h"
#include "VXGammuText.h"

#include <array>
#include <span>

using namespace Qt::StringLiterals;

namespace {

struct CallList
{
    GSM_MemoryType memory;
    bool isIncoming;
    bool isMissed;
};
constexpr std::array callLists{CallList{MEM_MC, true, true}, CallList{MEM_RC, true, false},
                               CallList{MEM_DC, false, false}};

// Names may come in parts.
void addName(QVariantMap &call, const GSM_MemoryEntry &entry)
{
    const QString name = VXTextFromGammu(GSM_PhonebookGetEntryName(&entry)).simplified();
    if (!name.isEmpty())
        call.insert(u"name"_s, name);
}

QVariantMap callFromEntry(const GSM_MemoryEntry &entry, const CallList &list)
{
    QVariantMap call{{u"isMissed"_s, list.isMissed},
                     {u"memory"_s, QString::fromLatin1(GSM_MemoryTypeToString(entry.MemoryType))},
                     {u"location"_s, entry.Location}};
    QString number;
    for (const GSM_SubMemoryEntry &value : std::span(entry.Entries, size_t(entry.EntriesNum))) {
        switch (value.EntryType) {
        case PBK_Number_General:
        case PBK_Number_Mobile:
        case PBK_Number_Other:
            number = VXTextFromGammu(value.Text);
            break;
        case PBK_Date:
            if (const QDateTime date = VXDateFromGammu(value.Date, VXGammuZone::Local); date.isValid())
                call.insert(u"date"_s, date);
            break;
        case PBK_CallLength:
            call.insert(u"duration"_s, value.CallLength);
            break;
        default:
            break;
        }
    }
    VXAddParties(call, list.isIncoming, number);
    return call;
}

VXGammuFailure errorUnless(GSM_Error code, const QString &description)
{
    return code == ERR_NONE ? VXGammuFailure() : VXGammuTrouble(description, code);
}

} // namespace

VXGammuFailure VXGammuCalls::read(VXGammuSession &session, VXGammuJob &job)
{
    VXGammuReading reading(job);
    GSM_Error code = ERR_NONE;
    for (size_t at = 0; at < callLists.size() && code == ERR_NONE; ++at)
        code = reading.readMemory(session, callLists.at(at).memory, [&](const GSM_MemoryEntry &entry) {
            QVariantMap call = callFromEntry(entry, callLists.at(at));
            addName(call, entry);
            reading.addItem(call);
        });
    return reading.finish(u"The calls could not be read: %1"_s, code);
}

VXGammuFailure VXGammuCalls::dial(VXGammuSession &session, VXGammuJob &job)
{
    const QVariant object = job.object();
    const QString asked =
        object.typeId() == QMetaType::QVariantMap ? object.toMap().value(u"number"_s).toString() : object.toString();
    const QString number = VXDialableNumber(asked);
    if (number.isNull())
        return VXGammuRefusal(u"\"%1\" is no phone number."_s, {asked});
    QByteArray text = number.toLatin1();
    const GSM_Error code = session.call(
        [&](auto *machine) { return GSM_DialVoice(machine, text.data(), GSM_CALL_DefaultNumberPresence); });
    if (code == ERR_NONE)
        _tracker.didDial(number);
    return errorUnless(code, u"The number could not be dialled: %1"_s);
}

VXGammuFailure VXGammuCalls::answer(VXGammuSession &session, VXGammuJob &)
{
    const GSM_Error code = session.call([](auto *machine) { return GSM_AnswerCall(machine, 0, TRUE); });
    if (code == ERR_NONE)
        _tracker.didAnswer();
    return errorUnless(code, u"The call could not be answered: %1"_s);
}

VXGammuFailure VXGammuCalls::hangUp(VXGammuSession &session, VXGammuJob &)
{
    const GSM_Error code = session.call([](auto *machine) { return GSM_CancelCall(machine, 0, TRUE); });
    if (code == ERR_NONE)
        _tracker.didHangUp();
    return errorUnless(code, u"The call could not be ended: %1"_s);
}
