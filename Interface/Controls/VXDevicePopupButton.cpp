#include "VXDevicePopupButton.h"

#include "VXInterface.h"
#include "VXOnlineMark.h"
#include "VXSymbol.h"

#include <QtCore/QSignalBlocker>

using namespace Qt::StringLiterals;

VXDevicePopupButton::VXDevicePopupButton(QWidget *parent) : QComboBox(parent), _popup(new VXDevicePopup(this))
{
    setAccessibleName(VXInterfaceString(u"Phone"_s));
    setIconSize({12, 12});
    setSizeAdjustPolicy(AdjustToContents);
    setMinimumContentsLength(12);
    connect(_popup, &VXDevicePopup::itemsDidChange, this, &VXDevicePopupButton::fill);
    connect(_popup, &VXDevicePopup::selectionDidChange, this, [this] {
        select();
        Q_EMIT selectedURLDidChange(_popup->selectedURL());
    });
    connect(this, &QComboBox::activated, this, &VXDevicePopupButton::activate);
    fill();
}

VXDevicePopupButton::~VXDevicePopupButton() = default;

void VXDevicePopupButton::fill()
{
    const QSignalBlocker blocker(this);
    clear();
    for (const VXDevicePopup::Item &item : _popup->items())
        addItem(item.title, item.url);
    refreshMarks();
    select();
}

void VXDevicePopupButton::refreshMarks()
{
    for (int index = 0; index < count(); ++index) {
        const QUrl url = itemData(index).toUrl();
        const bool isOnline = !url.isEmpty() && VXIsDeviceOnline(url);
        setItemIcon(index, url.isEmpty() ? VXSymbol::named(u"plus"_s) : VXOnlineMark(isOnline));
        if (!url.isEmpty())
            setItemData(index, itemText(index) + ", "_L1 + VXOnlineText(isOnline), Qt::AccessibleTextRole);
    }
}

void VXDevicePopupButton::select()
{
    const QSignalBlocker blocker(this);
    setCurrentIndex(_popup->selectedURL().isEmpty() ? (count() > 0 ? 0 : -1) : findData(_popup->selectedURL()));
}

void VXDevicePopupButton::activate(int index)
{
    const QList<VXDevicePopup::Item> items = _popup->items();
    if (index < 0 || index >= items.size())
        return;
    _popup->activateItem(VXDevicePopup::Item(items.at(index)));
}

// If there is nothing to choose, the button adds a phone at once.
void VXDevicePopupButton::showPopup()
{
    refreshMarks();
    if (count() == 1 && itemData(0).toUrl().isEmpty())
        activate(0);
    else
        QComboBox::showPopup();
}

void VXDevicePopupButton::showEvent(QShowEvent *event)
{
    QComboBox::showEvent(event);
    _popup->setInWindow(true);
    refreshMarks();
}

void VXDevicePopupButton::hideEvent(QHideEvent *event)
{
    QComboBox::hideEvent(event);
    _popup->setInWindow(false);
}
