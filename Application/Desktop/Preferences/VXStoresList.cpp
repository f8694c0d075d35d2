#include "VXPreferencePages.h"

#include "VXApplication.h"
#include "VXDataPlugin.h"
#include "VXDateText.h"
#include "VXDesktopText.h"
#include "VXNoticeBar.h"
#include "VXPluginManager.h"
#include "VXStoreImporting.h"
#include "VXSymbol.h"
#include "VXTextLabel.h"

#include <QtCore/QFileInfo>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QFrame>
#include <QtWidgets/QMenu>
#include <QtWidgets/QToolButton>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// The name that the list of a store's earlier versions gives to the reason.
QString textOfReason(const QString &reason)
{
    return reason == "upgraded"_L1   ? VXText("before an upgrade")
           : reason == "replaced"_L1 ? VXText("before it was replaced")
           : reason == "merged"_L1   ? VXText("before an import")
           : reason == "mended"_L1   ? VXText("before it was mended")
                                     : VXText("kept aside");
}

/** The stores, each with what can be done with it as a whole. */
class StoresList : public QWidget
{
public:
    StoresList() : _rows(new QVBoxLayout(this)), _notices(new VXNoticeBar(this))
    {
        _rows->setContentsMargins(0, 0, 0, 0);
        _rows->setSpacing(8);
        QList<VXPluginProxy *> proxies = VXPluginManager::sharedPluginManager().dataPlugins();
        proxies.removeIf([](const VXPluginProxy *proxy) { return !proxy->isLoaded(); });
        std::ranges::sort(proxies, [](const VXPluginProxy *a, const VXPluginProxy *b) {
            return a->name().localeAwareCompare(b->name()) < 0;
        });
        for (VXPluginProxy *const proxy : std::as_const(proxies)) {
            auto &plugin = proxy->as<VXDataPlugin>("persistentStoreCoordinator");
            if (plugin.dataStoreTypeExtension() != "memory"_L1)
                addRow(*proxy, plugin);
        }
    }

private:
    void addRow(VXPluginProxy &proxy, VXDataPlugin &plugin)
    {
        auto *const card = new QFrame;
        card->setProperty("vxSurface", u"card"_s);
        auto *const row = new QHBoxLayout(card);
        row->setContentsMargins(16, 8, 8, 8);
        auto *const texts = new QVBoxLayout;
        texts->setSpacing(1);
        auto *const state = new VXTextLabel({}, VXTextLabel::Role::Caption);
        texts->addWidget(new VXTextLabel(proxy.name(), VXTextLabel::Role::Body));
        texts->addWidget(state);
        auto *const more = new QToolButton;
        more->setIcon(VXSymbol::named(u"more"_s, VXSymbol::Tone::Quiet));
        more->setToolTip(VXText("What can be done with it as a whole"));
        more->setAccessibleName(VXText("Do something with “%1”").arg(proxy.name()));
        row->addLayout(texts, 1);
        row->addWidget(more);
        connect(more, &QToolButton::clicked, this, [this, more, state, &plugin] {
            showMenu(*more, plugin);
            showState(*state, plugin);
        });
        showState(*state, plugin);
        _rows->addWidget(card);
    }

    static bool isOneWaiting(const VXDataPlugin &plugin) { return QFileInfo::exists(plugin.waitingPath()); }

    static void showState(VXTextLabel &label, const VXDataPlugin &plugin)
    {
        const qsizetype earlier = plugin.earlierStores().size();
        QStringList parts{VXTextOfSize(plugin.dataStorePath())};
        if (isOneWaiting(plugin))
            parts.append(VXText("Another takes its place at the next start"));
        else if (earlier > 0)
            parts.append(VXText("%1 earlier one is kept", "%1 earlier ones are kept", earlier));
        label.setText(parts.join(u" · "_s));
    }

    void showMenu(QToolButton &button, VXDataPlugin &plugin)
    {
        QMenu menu(&button);
        menu.addAction(VXText("Import…"), this, [this, &plugin] { import(plugin); });
        menu.addAction(VXText("Export…"), this, [&plugin] { plugin.exportStoreAction(); });
        menu.addSeparator();
        if (isOneWaiting(plugin))
            menu.addAction(VXText("Keep the present one"), this, [&plugin] {
                if (const VXError error = plugin.withdrawWaitingStore(nullptr))
                    VXApplication::sharedApplication().presentError(error);
            });
        const QList<VXStorePast::Entry> earlier = plugin.earlierStores();
        for (const VXStorePast::Entry &entry : earlier)
            menu.addAction(VXText("Back to %1, %2").arg(VXTextOfDate(entry.date), textOfReason(entry.reason)), this,
                           [&plugin, entry] { takeBack(plugin, entry); });
        if (earlier.isEmpty())
            menu.addAction(VXText("No earlier one is kept"))->setEnabled(false);
        menu.exec(button.mapToGlobal(button.rect().bottomLeft()));
    }

    void import(VXDataPlugin &plugin)
    {
        const VXPanelResult chosen =
            VXApplication::sharedApplication().userInterface().runOpenPanel(plugin.importPanel());
        if (!chosen.isOk())
            return;
        if (const QString outcome = VXImportStoreFile(plugin, chosen.path); !outcome.isEmpty())
            _notices->showDone(outcome);
    }

    // The store is open: the earlier one takes its place when the program starts.
    static void takeBack(VXDataPlugin &plugin, const VXStorePast::Entry &entry)
    {
        VXApplication &application = VXApplication::sharedApplication();
        VXAlert alert;
        alert.message = VXText("Go back to what there was %1?").arg(VXTextOfDate(entry.date));
        alert.informativeText = VXText("Vornix starts anew for that. What there is now can be brought back here.");
        alert.defaultButton = VXText("Go back");
        alert.alternateButton = VXText("Cancel");
        if (application.userInterface().runAlert(alert).button != VXAlertButton::Default)
            return;
        VXError error;
        const auto store = plugin.earlierStoreAt(entry.path, &error);
        if (store)
            error = plugin.stageStore(*store);
        if (error)
            application.presentError(error);
        else
            application.relaunchInNextRunLoop();
    }

    QVBoxLayout *_rows;
    VXNoticeBar *_notices;
};

} // namespace

QWidget *VXMakeStoresList()
{
    return new StoresList;
}
