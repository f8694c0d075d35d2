#include "VXPhonesSection.h"

#include "VXApplication.h"
#include "VXDesktopText.h"
#include "VXDevicePlugin.h"
#include "VXDeviceRegistry.h"
#include "VXDeviceTransformer.h"
#include "VXDeviceURL.h"
#include "VXEmptyState.h"
#include "VXNoticeBar.h"
#include "VXPhoneCard.h"
#include "VXPhoneDialog.h"
#include "VXSymbol.h"
#include "VXTextLabel.h"
#include "VXUserDefaults.h"

#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QScrollArea>
#include <QtWidgets/QStackedWidget>

using namespace Qt::StringLiterals;

VXSection::Info VXPhonesSection::info()
{
    return {.key = u"phones"_s, .title = VXText("Phones"), .icon = u"phone"_s};
}

VXPhonesSection::VXPhonesSection(QWidget *parent)
    : VXSection(info(), parent), _column(new QVBoxLayout), _stack(new QStackedWidget(this)),
      _nothing(new VXEmptyState(this))
{
    _nothing->setContents(
        u"phone-plus"_s, VXText("No phone yet"),
        VXText("Connect a phone by cable or Bluetooth to keep its contacts, messages and calls here."),
        VXText("Add a phone…"));
    connect(_nothing, &VXEmptyState::actionWanted, this, &VXPhonesSection::makeNew);
    auto *const head = new QHBoxLayout;
    auto *const add = new QPushButton(VXSymbol::named(u"phone-plus"_s), VXText("Add a phone…"));
    head->addWidget(new VXTextLabel(VXText("Phones"), VXTextLabel::Role::Headline), 1);
    head->addWidget(add);
    connect(add, &QPushButton::clicked, this, &VXPhonesSection::makeNew);
    auto *const middle = new QWidget;
    middle->setMaximumWidth(760);
    auto *const column = new QVBoxLayout(middle);
    column->setContentsMargins(24, 20, 24, 24);
    column->setSpacing(14);
    column->addLayout(head);
    column->addLayout(_column);
    column->addStretch();
    _column->setSpacing(12);
    auto *const page = new QWidget;
    auto *const sides = new QHBoxLayout(page);
    sides->addStretch(1);
    sides->addWidget(middle, 100);
    sides->addStretch(1);
    auto *const scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidget(page);
    _stack->addWidget(scroll);
    _stack->addWidget(_nothing);
    auto *const whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(_stack);

    // The registry posts these under its lock, on any thread.
    for (const VXNotificationName &name :
         {VXDevicePluginDidAddDeviceNotification, VXDevicePluginDidRemoveDeviceNotification})
        VXNotificationCenter::defaultCenter().addObserver(this, name, [this](const VXNotification &) {
            QMetaObject::invokeMethod(this, &VXPhonesSection::update, Qt::QueuedConnection);
        });
    VXNotificationCenter::defaultCenter().addObserver(
        this, VXUserDefaultsDidChangeNotification, [this](const VXNotification &) {
            QMetaObject::invokeMethod(this, &VXPhonesSection::followList, Qt::QueuedConnection);
        });
    update();
}

// Other programs add and forget phones too.
void VXPhonesSection::followList()
{
    const QList<QUrl> urls = VXDevicePlugin::deviceURLs().value_or(QList<QUrl>());
    const auto isShown = [this](const QUrl &url) { return std::ranges::count(_cards, url, &VXPhoneCard::url) > 0; };
    if (urls.size() == _cards.size() && std::ranges::all_of(urls, isShown))
        return;
    VXDeviceRegistry::shared().makeKnownDevices();
    update();
}

void VXPhonesSection::update()
{
    const QList<QUrl> urls = VXDevicePlugin::deviceURLs().value_or(QList<QUrl>());
    for (VXPhoneCard *const card : QList<VXPhoneCard *>(_cards)) {
        if (urls.contains(card->url()))
            continue;
        _cards.removeOne(card);
        card->deleteLater();
        card->hide();
    }
    for (const QUrl &url : urls) {
        const auto known = std::ranges::find(_cards, url, &VXPhoneCard::url);
        if (known != _cards.cend()) {
            (*known)->update();
            continue;
        }
        auto *const card = new VXPhoneCard(url, this);
        connect(card, &VXPhoneCard::wantsRemoval, this, &VXPhonesSection::forget);
        connect(card, &VXPhoneCard::wantsSettings, this, &VXPhonesSection::change);
        connect(card, &VXPhoneCard::didSync, this,
                [this](const QUrl &phone, const QStringList &problems, bool wasStopped) {
                    const QString name = VXDeviceNameAtURL().transformedValue(phone).toString();
                    if (!problems.isEmpty())
                        notices().showProblem(u"%1: %2"_s.arg(name, problems.join(u' ')));
                    else
                        notices().showDone(
                            (wasStopped ? VXText("Syncing %1 was stopped.") : VXText("%1 is in step.")).arg(name));
                });
        _column->addWidget(card);
        _cards.append(card);
    }
    _stack->setCurrentIndex(_cards.isEmpty() ? 1 : 0);
}

void VXPhonesSection::sync()
{
    for (VXPhoneCard *const card : std::as_const(_cards)) {
        if (!card->isSyncing()) // its button would stop it
            card->sync();
    }
    if (_cards.isEmpty())
        makeNew();
}

void VXPhonesSection::makeNew()
{
    change({});
}

void VXPhonesSection::change(const QUrl &url)
{
    auto *const dialog = new VXPhoneDialog(url, window());
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QDialog::accepted, this, &VXPhonesSection::update);
    dialog->open();
}

void VXPhonesSection::forget(const QUrl &url)
{
    const QString name = VXDeviceNameAtURL().transformedValue(url).toString();
    VXAlert alert;
    alert.message = VXText("Forget “%1”?").arg(name);
    alert.informativeText = VXText("Its contacts, messages and calls stay here. Its settings go.");
    const QList<QUrl> others = VXDeviceRegistry::shared().devicesSharingPreferences(url);
    if (!others.isEmpty())
        alert.informativeText += u' ' + VXText("So do those of other phones whose identifiers begin like its own.");
    alert.defaultButton = VXText("Forget");
    alert.alternateButton = VXText("Cancel");
    if (VXApplication::sharedApplication().userInterface().runAlert(alert).button == VXAlertButton::Default)
        VXDeviceRegistry::shared().remove(url);
}
