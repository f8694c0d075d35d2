#pragma once

#include "VXFrameworkExport.h"
#include "VXNotificationCenter.h"

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QUrl>

/**
 * The model of a pop-up of devices, without its view: a view shows `items`, passes on the user's choice, and reads the
 * items again at each signal. Main thread only.
 */
class VX_EXPORT VXDevicePopup : public QObject
{
    Q_OBJECT

public:
    /** A device with its name; or, with a null URL, the item that adds a phone. */
    struct Item
    {
        QString title;
        QUrl url;
        bool operator==(const Item &) const = default;
    };

    explicit VXDevicePopup(QObject *parent = nullptr);
    ~VXDevicePopup() override;

    /** The devices of the list sorted by name; only "Add a phone..." when there are none. */
    QList<Item> items() const { return _items; }

    /** While the pop-up is in a window, it follows the registry. Initially it is not in one; it is updated when it
     *  enters one. */
    void setInWindow(bool flag);

    /** The selected device; null when there is none. */
    QUrl selectedURL() const { return _selectedURL; }
    /** Selects a device that is shown, and stores it under the defaults key; any other URL changes nothing. */
    void setSelectedURL(const QUrl &url);

    /** Sets the user default that stores the choice, and selects the default device for it. Null: none. */
    void setDefaultsKey(const QString &key);

    /** To be called when the user chose an item: selects its device, or lets the user set up a new phone. */
    void activateItem(const Item &item);

    /** Reads the registry again. A selected device that is gone is replaced by a connected one, or else by the first.
     *  */
    void rebuild();

Q_SIGNALS:
    void itemsDidChange();
    void selectionDidChange();

private:
    QList<Item> makeItems() const;
    bool shows(const QUrl &url) const;
    QUrl replacementForSelection() const;
    void rebuildWhenChanged();
    void select(const QUrl &url, bool store);
    void addPhone();

    QList<Item> _items;
    QUrl _selectedURL;
    QString _defaultsKey;
    bool _isInWindow = false;
    bool _isRebuilding = false; // asking for a device may make it, which posts a notification
};
