#pragma once

#include "VXMessageText.h"

#include <QtCore/QCache>
#include <QtWidgets/QStyledItemDelegate>

/**
 * Draws messages as bubbles: incoming ones on one side, outgoing ones on the other; the date is above the first of a
 * day.
 */
class VXBubbleDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    explicit VXBubbleDelegate(QObject *parent);

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    bool editorEvent(QEvent *event, QAbstractItemModel *model, const QStyleOptionViewItem &option,
                     const QModelIndex &index) override;

Q_SIGNALS:
    /** The state below an outgoing message was clicked: something can be done about it. */
    void stateClicked(const QModelIndex &index);

private:
    struct Shape;
    static Shape shapeOf(const QStyleOptionViewItem &option, const QModelIndex &index);
};
