#pragma once

#include "VXColor.h"
#include "VXInterfaceExport.h"

#include <QtCore/QUrl>
#include <QtGui/QColor>
#include <QtGui/QIcon>
#include <QtWidgets/QStyledItemDelegate>

/** A colour that has no windows, in the present theme: black is that of texts, grey that of quiet texts. Main thread only. */
VX_INTERFACE_EXPORT QColor VXThemedColor(const VXColor &color);

/**
 * Whether something can be reached, told by form as well as by colour: a filled disc for online, a ring for offline.
 * Main thread only.
 */
VX_INTERFACE_EXPORT QIcon VXOnlineMark(bool isOnline);
/** The same in words, for tool tips and assistive technology. */
VX_INTERFACE_EXPORT QString VXOnlineText(bool isOnline);
/** Whether the device at the URL is there and connected. */
VX_INTERFACE_EXPORT bool VXIsDeviceOnline(const QUrl &url);

/**
 * Shows what is in a list through a value transformer (VXValueTransformer): the text by the one of that name, and the colour by
 * "VXDeviceOnlineColor" from the value of a role, where one is given. Main thread only.
 */
class VX_INTERFACE_EXPORT VXTransformerDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    explicit VXTransformerDelegate(const QString &textTransformer, QObject *parent = nullptr);

    /** The role whose boolean says whether the row is online. */
    void setOnlineRole(int role) { _onlineRole = role; }

    QString displayText(const QVariant &value, const QLocale &locale) const override;

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override;

private:
    const QString _textTransformer;
    int _onlineRole = -1;
};
