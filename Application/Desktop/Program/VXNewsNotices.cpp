#include "VXNewsNotices.h"

#include "VXAvatar.h"
#include "VXDesktopSettings.h"
#include "VXDesktopText.h"
#include "VXDeviceTransformer.h"
#include "VXEvent.h"
#include "VXEventManager.h"
#include "VXMainThread.h"
#include "VXMainWindow.h"
#include "VXMessageText.h"
#include "VXPhonebookManager.h"
#include "VXPhonebookString.h"
#include "VXPhoneNumberFormat.h"
#include "VXTriggerStore.h"
#include "VXTriggerTrial.h"
#include "VXUserDefaults.h"

using namespace Qt::StringLiterals;

namespace {

const QString notifier = u"com.halvern.VNX2.plugin.desktopnotification"_s; // the reactor that shows notifications
constexpr int pictureSize = 112;
constexpr std::chrono::seconds longestRinging(60); // its end may never be reported
constexpr int longestText = 400;                   // characters of a message

QString numberOf(const QString &party)
{
    QString number;
    return VXPhonebookStringSplit(VXPhonebookStringWithoutExtension(party), nullptr, &number) ? number : QString();
}

QImage pictureOf(const QString &party)
{
    return VXSquarePicture(VXPhonebookManager::sharedPhonebookManager().imageForPhonebookString(party), pictureSize);
}

// The number as people write it, unless the name is already the number.
QString subtitleOf(const QString &party)
{
    const QString number = VXFormatPhoneNumber(numberOf(party));
    return number == VXWhoOf(party) ? QString() : number;
}

QString keyOf(const VXCallRecord &call)
{
    return u"call "_s + (call.identifier.isEmpty() ? call.otherParty() : call.identifier);
}

bool isShownByAutomation(const QString &event, const QVariantMap &object)
{
    const std::unique_ptr<VXTriggerStore> store = VXTriggerStore::open();
    const auto triggers = store ? store->triggers(event) : std::nullopt;
    return triggers && std::ranges::any_of(*triggers, [&object](const VXTrigger &trigger) {
               const VXTriggerTrial trial = VXTriggerTrial::of(trigger, object);
               return trial.isEnabled && trial.passes &&
                      std::ranges::any_of(trial.reactions, [](const VXTriggerTrial::Reaction &each) {
                          return each.identifier == notifier && each.runs;
                      });
           });
}

} // namespace

// The event's object belongs to the thread that posts it, so what is needed of it is read there.
VXNewsNotices::VXNewsNotices(VXMainWindow &window, const QDBusConnection &bus) : _window(window), _notices(bus)
{
    VXNotificationCenter::defaultCenter().addObserver(
        this, VXEventManagerWillPostEventNotification, [self = QPointer(this)](const VXNotification &told) {
            const VXEvent event = VXEvent::fromNotification(told);
            News news{event.name, event.subtype, {}};
            if (news.event == "incoming_call"_L1)
                news.object = VXCallRecord(told.object).map();
            else if (news.event == "new_message"_L1 && VXMessageRecord::isMessage(told.object))
                news.object = VXMessageRecord(told.object).map();
            if (news.object.isEmpty())
                return;
            VXMainThread::perform([self, news] {
                if (self)
                    self->tell(news);
            });
        });
}

VXNewsNotices::~VXNewsNotices() = default;

void VXNewsNotices::tell(const News &news)
{
    if (!VXUserDefaults::standardUserDefaults().boolForKey(VXDesktopSettings::tellsNewsKey))
        return;
    if (news.event == "incoming_call"_L1)
        tellOfCall(VXCallRecord(news.object), news.step, news);
    else
        tellOfMessage(VXMessageRecord(news.object), news);
}

// -- Calls

void VXNewsNotices::tellOfCall(const VXCallRecord &call, const QString &step, const News &news)
{
    const QString key = keyOf(call);
    if (step == "ringing"_L1) {
        if (!_ringing.contains(key) && !isShownByAutomation(news.event, news.object)) {
            _ringing.insert(key);
            showRinging(call, key);
        }
        return;
    }
    if (_onBezel == key)
        _bezel.hide();
    _notices.close(key);
    const bool hasRung = _ringing.remove(key);
    if (step == "ended"_L1 && call.isMissed && hasRung)
        showMissed(call, key);
}

QList<VXBezelNotice::Button> VXNewsNotices::buttonsFor(const VXCallRecord &call, const QString &key)
{
    QList<VXBezelNotice::Button> buttons;
    const VXDevicePlugin::Ptr phone =
        call.deviceURL.isEmpty() ? nullptr : VXDevicePlugin::deviceAtURL(QUrl(call.deviceURL));
    const QStringList actions = phone ? phone->actionNames() : QStringList();
    if (actions.contains(u"answer"_s))
        buttons.append({VXText("Answer"), [this, url = call.deviceURL] { perform(u"answer"_s, url); }, true});
    if (actions.contains(u"hang_up"_s))
        buttons.append({VXText("Decline"), [this, url = call.deviceURL, key] {
                            _ringing.remove(key); // it was not missed
                            perform(u"hang_up"_s, url);
                        }});
    if (const QString party = call.otherParty(); !numberOf(party).isEmpty())
        buttons.append({VXText("Message"), [this, party] {
                            _window.activate();
                            _window.writeMessage({party});
                        }});
    return buttons;
}

void VXNewsNotices::perform(const QString &action, const QString &deviceURL)
{
    if (const VXDevicePlugin::Ptr phone = VXDevicePlugin::deviceAtURL(QUrl(deviceURL)))
        _window.execute(action, {}, phone,
                        VXText("“%1” could not do that: %2").arg(phone->localizedDescription(), u"%1"_s));
}

void VXNewsNotices::showRinging(const VXCallRecord &call, const QString &key)
{
    const QString party = call.otherParty();
    const QString phone = VXDeviceNameAtURL().transformedValue(QUrl(call.deviceURL)).toString();
    QStringList caption{VXText("Incoming call")};
    if (!call.deviceURL.isEmpty() && !phone.isEmpty())
        caption.append(phone);
    const VXBezelNotice notice{.title = VXWhoOf(party),
                               .subtitle = subtitleOf(party),
                               .caption = caption.join(u" · "_s),
                               .picture = pictureOf(party),
                               .buttons = buttonsFor(call, key),
                               .duration = longestRinging};
    if (VXBezelWindow::canPlaceWindows()) {
        _onBezel = key;
        _bezel.showNotice(notice);
        return;
    }
    VXDesktopNotice shown{.title = notice.title,
                          .text = QStringList{notice.caption, notice.subtitle}.join(u'\n').trimmed(),
                          .picture = notice.picture,
                          .category = u"call.incoming"_s,
                          .isUrgent = true,
                          .open = {VXText("Open Vornix"), [this] { _window.activate(); }}};
    for (const VXBezelNotice::Button &button : notice.buttons)
        shown.offers.append({button.title, button.action});
    _notices.show(key, shown);
}

void VXNewsNotices::showMissed(const VXCallRecord &call, const QString &key)
{
    const QString party = call.otherParty();
    const QString number = numberOf(party);
    VXDesktopNotice notice{.title = VXText("Missed call from %1").arg(VXWhoOf(party)),
                           .text = subtitleOf(party),
                           .picture = pictureOf(party),
                           .category = u"call.unanswered"_s,
                           .open = {VXText("Show"), [this] {
                                        _window.activate();
                                        _window.showSection(u"calls"_s);
                                    }}};
    if (!number.isEmpty())
        notice.offers = {{VXText("Call back"),
                          [this, number] {
                              _window.activate();
                              _window.call(number);
                          }},
                         {VXText("Message"), [this, party] {
                              _window.activate();
                              _window.writeMessage({party});
                          }}};
    _notices.show(key, notice);
}

// -- Messages

// A message that can be read on the screen anyway, and parts of an incomplete one, are not reported.
void VXNewsNotices::tellOfMessage(const VXMessageRecord &message, const News &news)
{
    if (!message.isIncoming() || _window.isActiveWindow() || isShownByAutomation(news.event, news.object))
        return;
    const QString party = message.otherParty();
    QString text = message.text;
    if (text.size() > longestText)
        text = text.left(longestText) + u'…';
    const auto open = [this, party] {
        _window.activate();
        _window.writeMessage({party});
    };
    _notices.show(u"message "_s + party, {.title = VXWhoOf(party),
                                          .text = text,
                                          .picture = pictureOf(party),
                                          .category = u"im.received"_s,
                                          .open = {VXText("Show"), open},
                                          .offers = {{VXText("Reply"), open}}});
}
