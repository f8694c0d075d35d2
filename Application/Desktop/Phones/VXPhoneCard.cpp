#include "VXPhoneCard.h"

#include "VXDateText.h"
#include "VXDesktopText.h"
#include "VXDeviceRegistry.h"
#include "VXDeviceTransformer.h"
#include "VXDeviceURL.h"
#include "VXInvocation.h"
#include "VXLocalizedProperty.h"
#include "VXPhoneSync.h"
#include "VXPluginGuard.h"
#include "VXPluginManager.h"
#include "VXSymbol.h"
#include "VXTextLabel.h"
#include "VXUserDefaults.h"

#include <QtCore/QDateTime>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QMenu>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QStyle>
#include <QtWidgets/QToolButton>

#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype mostNotices = 5;
const QString lastSyncKey = u"lastSync"_s; // stored among the phone's preferences, and removed with them

std::optional<bool> answerOf(VXDevicePlugin &device, const char *question)
{
    std::optional<QVariant> answer;
    VXCallPlugin(device, question, [&] { answer = VXInvocation::withMethod(&device, question).invoke(); });
    return answer ? std::optional(answer->toBool()) : std::nullopt;
}

void setTone(QWidget *widget, const QString &tone)
{
    widget->setProperty("vxTone", tone);
    widget->style()->unpolish(widget);
    widget->style()->polish(widget);
}

QString lastSync(const QUrl &url)
{
    const QDateTime date =
        VXUserDefaults::standardUserDefaults().objectForKey(VXMakeDevicePreferenceKey(url, lastSyncKey)).toDateTime();
    return date.isValid() ? VXText("Synced %1").arg(VXTextOfDate(date)) : VXText("Never synced");
}

} // namespace

VXPhoneCard::VXPhoneCard(const QUrl &url, QWidget *parent)
    : QFrame(parent), _url(url), _icon(new QLabel(this)), _name(new VXTextLabel({}, VXTextLabel::Role::Title, this)),
      _state(new VXTextLabel({}, VXTextLabel::Role::Body, this)),
      _facts(new VXTextLabel({}, VXTextLabel::Role::Secondary, this)),
      _notices(new VXTextLabel({}, VXTextLabel::Role::Secondary, this)),
      _working(new VXTextLabel({}, VXTextLabel::Role::Caption, this)), _bar(new QProgressBar(this)),
      _button(new QPushButton(this))
{
    setProperty("vxSurface", u"card"_s);
    updateIcon();
    _bar->setTextVisible(false);
    auto *const more = new QToolButton(this);
    more->setIcon(VXSymbol::named(u"more"_s, VXSymbol::Tone::Quiet));
    more->setAccessibleName(VXText("More"));
    more->setToolTip(VXText("More"));
    auto *const texts = new QVBoxLayout;
    texts->setSpacing(2);
    for (VXTextLabel *const label : {_name, _state, _facts, _notices})
        texts->addWidget(label);
    _notices->hide();
    texts->addSpacing(4);
    texts->addWidget(_working);
    texts->addWidget(_bar);
    auto *const row = new QHBoxLayout(this);
    row->setContentsMargins(20, 16, 14, 16);
    row->setSpacing(18);
    row->addWidget(_icon, 0, Qt::AlignTop);
    row->addLayout(texts, 1);
    row->addWidget(_button, 0, Qt::AlignVCenter);
    row->addWidget(more, 0, Qt::AlignVCenter);
    connect(_button, &QPushButton::clicked, this, &VXPhoneCard::sync);
    connect(more, &QToolButton::clicked, this, &VXPhoneCard::showMenu);
    update();
}

VXPhoneCard::~VXPhoneCard()
{
    if (_sync != nullptr)
        _sync->stop();
}

void VXPhoneCard::updateIcon()
{
    _icon->setPixmap(VXSymbol::named(u"phone"_s, VXSymbol::Tone::Accent).pixmap({36, 36}, devicePixelRatioF()));
}

void VXPhoneCard::changeEvent(QEvent *event)
{
    QFrame::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        updateIcon();
}

void VXPhoneCard::update()
{
    const VXDevicePlugin::Ptr device = VXDevicePlugin::deviceAtURL(_url);
    if (device != _device) {
        _device = device;
        if (_device) {
            connect(_device.get(), &VXDevicePlugin::didChangeValueForKey, this, &VXPhoneCard::showState);
            connect(_device.get(), &VXDevicePlugin::preferencesDidChange, this, &VXPhoneCard::showState);
        }
    }
    showState();
    showProgress();
}

QString VXPhoneCard::facts(const VXDevicePlugin &device) const
{
    QList<VXLocalizedProperty> properties = device.localizedProperties();
    std::ranges::stable_sort(properties, {}, &VXLocalizedProperty::priority);
    QStringList facts;
    for (const QString &key : {u"manufacturer"_s, u"model"_s, u"phoneNumber"_s}) {
        const auto property = device.devicePropertyForKey(key).value<VXLocalizedProperty>();
        if (const QString text = property.transformedValue().toString(); !text.isEmpty())
            facts.append(text);
    }
    for (const QString &key : {u"battery"_s, u"signal"_s}) {
        const auto property = device.devicePropertyForKey(key).value<VXLocalizedProperty>();
        const QString text = property.transformedValue().toString();
        if (text.isEmpty())
            continue;
        const bool isPercentage = property.title().endsWith(" (%)"_L1); // in the title, as in tables
        facts.append(isPercentage ? u"%1 %2 %"_s.arg(property.title().chopped(4), text)
                                  : u"%1 %2"_s.arg(property.title(), text));
    }
    return facts.join(u" · "_s);
}

void VXPhoneCard::showState()
{
    _name->setText(VXDeviceNameAtURL().transformedValue(_url).toString());
    QString state;
    QString tone;
    if (!_device) {
        const VXPluginProxy *const plugin =
            VXPluginManager::sharedPluginManager().pluginWithIdentifier(VXDeviceURLComponent(_url, 0));
        state = plugin == nullptr      ? VXText("Its plugin is not installed")
                : !plugin->isEnabled() ? VXText("Its plugin is turned off")
                : !plugin->isLoaded()  ? VXText("Its plugin could not be loaded")
                                       : VXText("Its plugin cannot use it");
        tone = u"bad"_s;
    } else if (answerOf(*_device, "isConnecting").value_or(false)) {
        state = VXText("Connecting…");
        tone = u"quiet"_s;
    } else if (const auto isConnected = answerOf(*_device, "isConnected"); isConnected.value_or(true)) {
        state = VXText("Connected");
        tone = u"good"_s;
    } else {
        const QString problem =
            _device->devicePropertyForKey(u"problem"_s).value<VXLocalizedProperty>().transformedValue().toString();
        state = problem.isEmpty() ? VXText("Not connected") : VXText("Not connected: %1").arg(problem);
        tone = problem.isEmpty() ? u"quiet"_s : u"warning"_s;
    }
    _state->setText(state);
    setTone(_state, tone);
    QStringList facts{_device ? this->facts(*_device) : QString(), lastSync(_url)};
    facts.removeAll(QString());
    facts.removeAll(u""_s);
    _facts->setText(facts.join(u'\n'));
    setAccessibleName(QStringList{_name->text(), state, facts.join(", "_L1)}.join(", "_L1));
}

void VXPhoneCard::showProgress()
{
    const bool isRunning = _sync != nullptr;
    _button->setText(isRunning ? VXText("Stop") : VXText("Sync"));
    _button->setIcon(VXSymbol::named(isRunning ? u"stop"_s : u"sync"_s));
    _button->setEnabled(_device != nullptr);
    const VXActivity::Ptr activity = isRunning ? _sync->activity() : nullptr;
    _working->setVisible(isRunning);
    _bar->setVisible(isRunning);
    if (!isRunning)
        return;
    QStringList texts{activity ? activity->title() : VXText("Syncing"), activity ? activity->subtitle() : QString()};
    texts.removeAll(QString());
    _working->setText(texts.join(u" — "_s));
    const int maximum = activity ? int(activity->maxValue()) : 0;
    _bar->setRange(0, maximum);
    _bar->setValue(activity ? int(activity->doubleValue()) : 0);
}

void VXPhoneCard::sync()
{
    if (_sync != nullptr) {
        _sync->stop();
        return;
    }
    if (!_device)
        return;
    _sync = new VXPhoneSync(_device, this);
    connect(_sync, &VXPhoneSync::progressDidChange, this, &VXPhoneCard::showProgress, Qt::QueuedConnection);
    connect(_sync, &VXPhoneSync::didEnd, this,
            [this](const QStringList &problems, const QStringList &notices, bool wasStopped) {
                std::exchange(_sync, nullptr)->deleteLater();
                showNotices(notices);
                if (problems.isEmpty() && !wasStopped && _device)
                    VXUserDefaults::standardUserDefaults().setObject(QDateTime::currentDateTimeUtc(),
                                                                     VXMakeDevicePreferenceKey(_url, lastSyncKey));
                update();
                Q_EMIT didSync(_url, problems, wasStopped);
            });
    _sync->start();
    showProgress();
}

void VXPhoneCard::showNotices(QStringList notices)
{
    const qsizetype omitted = notices.size() - mostNotices;
    if (omitted > 0)
        notices = notices.mid(0, mostNotices) + QStringList(VXText("and %1 more").arg(omitted));
    _notices->setText(notices.join(u'\n'));
    _notices->setVisible(!notices.isEmpty());
    setAccessibleDescription(notices.join(u' '));
}

void VXPhoneCard::showMenu()
{
    QMenu menu(this);
    menu.addAction(VXSymbol::named(u"gear"_s), VXText("Settings…"), this, [this] { Q_EMIT wantsSettings(_url); });
    menu.addAction(VXSymbol::named(u"trash"_s), VXText("Forget this phone…"), this,
                   [this] { Q_EMIT wantsRemoval(_url); });
    menu.exec(mapToGlobal(rect().bottomRight()) - QPoint(menu.sizeHint().width(), 8));
}
