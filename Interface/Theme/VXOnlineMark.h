#pragma once

#include "VXColor.h"
#include "VXInterfaceExport.h"

#include <QtCore/QUrl>
#include <QtGui/QColor>
#include <QtGui/QIcon>
#include <QtWidgets/QStyledItemDelegate>

/** Converts a colour to the present theme: black becomes that of texts, grey that of quiet texts. Main thread only. */
VX_INTERFACE_EXPORT QColor VXThemedColor(const VXColor &color);

/**
 * Shows whether something is online, by shape as well as colour: a filled disc for online, a ring for offline. Main
 * thread only.
 */
VX_INTERFACE_EXPORT QIcon VXOnlineMark(bool isOnline);
/** The same in words, for tool tips and assistive technology. */
VX_INTERFACE_EXPORT QString VXOnlineText(bool isOnline);
/** Whether the device at the URL exists and is connected. */
VX_INTERFACE_EXPORT bool VXIsDeviceOnline(const QUrl &url);

/**
 * Shows list items through value transformers (VXValueTransformer): the text through the one with the given name; if
 * there is an online role, its value is shown in the colour of "VXDeviceOnlineColor". Main thread only.
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
