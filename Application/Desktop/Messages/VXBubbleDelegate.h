#pragma once

#include "VXMessageText.h"

#include <QtCore/QCache>
#include <QtWidgets/QStyledItemDelegate>

/** Draws messages as bubbles: those that came in at one side, one's own at the other; above the first of a day its date. */
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
    /** The state below one's own message was clicked: there is something to be done about it. */
    void stateClicked(const QModelIndex &index);

private:
    struct Shape;
    static Shape shapeOf(const QStyleOptionViewItem &option, const QModelIndex &index);
};
