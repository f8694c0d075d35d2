#pragma once

#include "VXFrameworkExport.h"
#include "VXNotificationCenter.h"

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QUrl>

/**
 * What a pop-up of devices shows and does, without its window: a view shows `items`, tells what the user chooses, and
 * looks again at each signal. Main thread only.
 */
class VX_EXPORT VXDevicePopup : public QObject
{
    Q_OBJECT

public:
    /** A device by its name; or, with a null URL, the item that adds a phone. */
    struct Item
    {
        QString title;
        QUrl url;
        bool operator==(const Item &) const = default;
    };

    explicit VXDevicePopup(QObject *parent = nullptr);
    ~VXDevicePopup() override;

    /** The devices of the list in the order of their names; "Add a phone..." alone when there are none. */
    QList<Item> items() const { return _items; }

    /** While it is in a window the pop-up follows the registry. It is not at first, and is brought up to date when it
     *  enters one. */
    void setInWindow(bool flag);

    /** The chosen device; null when there is none. */
    QUrl selectedURL() const { return _selectedURL; }
    /** Chooses a device that is shown, and stores it under the defaults key; another URL changes nothing. */
    void setSelectedURL(const QUrl &url);

    /** The user default that keeps the choice: its default device is chosen now. Null: none. */
    void setDefaultsKey(const QString &key);

    /** The user chose an item: selects its device, or lets the user set up a new phone. */
    void activateItem(const Item &item);

    /** Looks at the registry anew. A selected device that is gone gives way to a connected one, else to the first. */
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
    bool _isRebuilding = false; // asking for a device may make it, which is announced
};
