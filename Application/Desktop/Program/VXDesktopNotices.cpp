#include "VXDesktopNotices.h"

#include "VXDesktopProgram.h"

#include <QtCore/QCoreApplication>
#include <QtDBus/QDBusArgument>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusMetaType>
#include <QtDBus/QDBusPendingCallWatcher>
#include <QtDBus/QDBusPendingReply>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

const QString service = u"org.freedesktop.Notifications"_s;
const QString openAction = u"default"_s; // the notification server's name for a click

/** A picture in the form of "image-data" of desktop notifications. */
struct Pixels
{
    QImage image;
};

QDBusArgument &operator<<(QDBusArgument &argument, const Pixels &pixels)
{
    const QImage image = pixels.image.convertToFormat(QImage::Format_RGBA8888);
    const QByteArray bytes(reinterpret_cast<const char *>(image.constBits()), image.sizeInBytes());
    constexpr int bitsPerSample = 8;
    constexpr int channels = 4;
    argument.beginStructure();
    argument << image.width() << image.height() << int(image.bytesPerLine()) << true << bitsPerSample << channels
             << bytes;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, Pixels &)
{
    return argument; // none is ever received
}

QDBusMessage callOf(const QString &method, const QVariantList &arguments = {})
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, u"/org/freedesktop/Notifications"_s, service, method);
    call.setArguments(arguments);
    return call;
}

QVariantMap hintsOf(const VXDesktopNotice &notice)
{
    constexpr uchar normal = 1;
    constexpr uchar critical = 2;
    QVariantMap hints{{u"desktop-entry"_s, VXDesktopProgram::busName()},
                      {u"urgency"_s, QVariant::fromValue<uchar>(notice.isUrgent ? critical : normal)}};
    if (!notice.category.isEmpty())
        hints.insert(u"category"_s, notice.category);
    if (!notice.picture.isNull())
        hints.insert(u"image-data"_s, QVariant::fromValue(Pixels{notice.picture}));
    return hints;
}

} // namespace
Q_DECLARE_METATYPE(Pixels)

VXDesktopNotices::VXDesktopNotices(const QDBusConnection &bus) : _bus(bus)
{
    qDBusRegisterMetaType<Pixels>();
    const QString path = u"/org/freedesktop/Notifications"_s;
    _bus.connect(service, path, service, u"ActionInvoked"_s, this, SLOT(actionInvoked(uint, QString)));
    _bus.connect(service, path, service, u"NotificationClosed"_s, this, SLOT(wasClosed(uint, uint)));
}

// When the program ends, notices of ringing calls are outdated.
VXDesktopNotices::~VXDesktopNotices()
{
    for (const QString &key : _shown.keys()) {
        if (_shown.value(key).notice.isUrgent)
            close(key);
    }
}

void VXDesktopNotices::show(const QString &key, const VXDesktopNotice &notice)
{
    Shown &shown = _shown[key];
    shown.notice = notice;
    shown.turn = ++_turn;
    shown.isWanted = true;
    auto *const asked = new QDBusPendingCallWatcher(_bus.asyncCall(callOf(u"GetCapabilities"_s)), this);
    connect(asked, &QDBusPendingCallWatcher::finished, this, [this, key, turn = _turn, asked] {
        asked->deleteLater();
        const QDBusPendingReply<QStringList> answer = *asked;
        const auto found = _shown.constFind(key);
        if (found == _shown.cend() || found->turn != turn)
            return;
        if (answer.isError() || !found->isWanted)
            _shown.remove(key);
        else
            send(key, answer.value());
    });
}

void VXDesktopNotices::send(const QString &key, const QStringList &capabilities)
{
    const Shown &shown = _shown[key];
    const VXDesktopNotice &notice = shown.notice;
    QStringList actions;
    if (capabilities.contains(u"actions"_s)) {
        if (notice.open.perform)
            actions << openAction << notice.open.title;
        for (qsizetype i = 0; i < notice.offers.size(); ++i)
            actions << QString::number(i) << notice.offers[i].title;
    }
    // A service that understands markup would interpret parts of other people's text as markup.
    const QString text = capabilities.contains(u"body-markup"_s) ? notice.text.toHtmlEscaped() : notice.text;
    constexpr int asUsual = -1;
    constexpr int never = 0;
    const QDBusMessage call =
        callOf(u"Notify"_s, {QCoreApplication::applicationName(), shown.id, VXDesktopProgram::busName(), notice.title,
                             text, actions, hintsOf(notice), notice.isUrgent ? never : asUsual});
    auto *const sent = new QDBusPendingCallWatcher(_bus.asyncCall(call), this);
    connect(sent, &QDBusPendingCallWatcher::finished, this, [this, key, turn = shown.turn, sent] {
        sent->deleteLater();
        const QDBusPendingReply<uint> answer = *sent;
        didShow(key, turn, answer.isError() ? 0 : answer.value());
    });
}

void VXDesktopNotices::didShow(const QString &key, int turn, uint id)
{
    const auto found = _shown.find(key);
    if (found == _shown.end())
        return;
    found->id = id;
    if (found->turn != turn)
        return; // another one is on its way to replace it
    if (id == 0)
        _shown.erase(found);
    else if (!found->isWanted)
        close(key);
}

void VXDesktopNotices::close(const QString &key)
{
    const auto found = _shown.find(key);
    if (found == _shown.end())
        return;
    found->isWanted = false;
    if (found->id == 0)
        return; // it will be closed when it has arrived
    _bus.send(callOf(u"CloseNotification"_s, {found->id}));
    _shown.erase(found);
}

void VXDesktopNotices::actionInvoked(uint id, const QString &action)
{
    const auto found = std::find_if(_shown.cbegin(), _shown.cend(), [id](const Shown &each) { return each.id == id; });
    if (found == _shown.cend())
        return;
    const VXDesktopNotice notice = found->notice;
    close(found.key());
    bool isNumber = false;
    const int number = action.toInt(&isNumber);
    const auto perform = action == openAction                                       ? notice.open.perform
                         : isNumber && number >= 0 && number < notice.offers.size() ? notice.offers[number].perform
                                                                                    : std::function<void()>();
    if (perform)
        perform();
}

void VXDesktopNotices::wasClosed(uint id, uint)
{
    _shown.removeIf([id](const auto &each) { return each.value().id == id; });
}
