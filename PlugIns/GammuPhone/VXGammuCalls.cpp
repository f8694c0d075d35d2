#include "VXGammuCalls.h"

#include "VXGammuReading.h"
#include "VXGammuText.h"

#include <array>
#include <span>

using namespace Qt::StringLiterals;

namespace {

struct CallList
{
    GSM_MemoryType memory;
    QStringView direction;
    bool isMissed;
};
constexpr std::array callLists{CallList{MEM_MC, u"incoming", true}, CallList{MEM_RC, u"incoming", false},
                               CallList{MEM_DC, u"outgoing", false}};

// Names may come in parts.
void addName(QVariantMap &call, const GSM_MemoryEntry &entry)
{
    const QString name = VXTextFromGammu(GSM_PhonebookGetEntryName(&entry)).simplified();
    if (!name.isEmpty())
        call.insert(u"name"_s, name);
}

QVariantMap callFromEntry(const GSM_MemoryEntry &entry, const CallList &list)
{
    QVariantMap call{{u"direction"_s, list.direction.toString()},
                     {u"isMissed"_s, list.isMissed},
                     {u"memory"_s, QString::fromLatin1(GSM_MemoryTypeToString(entry.MemoryType))},
                     {u"location"_s, entry.Location}};
    for (const GSM_SubMemoryEntry &value : std::span(entry.Entries, size_t(entry.EntriesNum))) {
        switch (value.EntryType) {
        case PBK_Number_General:
        case PBK_Number_Mobile:
        case PBK_Number_Other:
            call.insert(u"number"_s, VXTextFromGammu(value.Text));
            break;
        case PBK_Date:
            if (const QDateTime date = VXDateFromGammu(value.Date); date.isValid())
                call.insert(u"date"_s, date);
            break;
        case PBK_CallLength:
            call.insert(u"duration"_s, value.CallLength);
            break;
        default:
            break;
        }
    }
    return call;
}

VXError errorUnless(GSM_Error code, const QString &description)
{
    return code == ERR_NONE ? VXError() : VXMakeGammuError(VXGammuLocalizedString(description), code);
}

} // namespace

VXError VXGammuCalls::read(VXGammuSession &session, VXDeviceAction &action)
{
    VXGammuReading reading(action);
    GSM_Error code = ERR_NONE;
    for (size_t at = 0; at < callLists.size() && code == ERR_NONE; ++at)
        code = reading.readMemory(session, callLists.at(at).memory, [&](const GSM_MemoryEntry &entry) {
            QVariantMap call = callFromEntry(entry, callLists.at(at));
            session.call([&](GSM_StateMachine *) { // it answers in a static buffer
                addName(call, entry);
                return ERR_NONE;
            });
            reading.addItem(call);
        });
    return reading.finish(VXGammuLocalizedString(u"The calls could not be read: %1"_s), code);
}

VXError VXGammuCalls::dial(VXGammuSession &session, VXDeviceAction &action)
{
    const QVariant object = action.object();
    const QString asked =
        object.typeId() == QMetaType::QVariantMap ? object.toMap().value(u"number"_s).toString() : object.toString();
    const QString number = VXDialableNumber(asked);
    if (number.isNull())
        return VXMakeGammuRequestError(VXGammuLocalizedString(u"\"%1\" is no phone number."_s).arg(asked));
    QByteArray text = number.toLatin1();
    const GSM_Error code = session.call(
        [&](auto *machine) { return GSM_DialVoice(machine, text.data(), GSM_CALL_DefaultNumberPresence); });
    if (code == ERR_NONE)
        _tracker.didDial(number);
    return errorUnless(code, u"The number could not be dialled: %1"_s);
}

VXError VXGammuCalls::answer(VXGammuSession &session, VXDeviceAction &)
{
    const GSM_Error code = session.call([](auto *machine) { return GSM_AnswerCall(machine, 0, TRUE); });
    if (code == ERR_NONE)
        _tracker.didAnswer();
    return errorUnless(code, u"The call could not be answered: %1"_s);
}

VXError VXGammuCalls::hangUp(VXGammuSession &session, VXDeviceAction &)
{
    const GSM_Error code = session.call([](auto *machine) { return GSM_CancelCall(machine, 0, TRUE); });
    if (code == ERR_NONE)
        _tracker.didHangUp();
    return errorUnless(code, u"The call could not be ended: %1"_s);
}
