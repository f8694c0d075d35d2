#pragma once

#include "VXMessageText.h"

#include <QtCore/QPersistentModelIndex>
#include <QtCore/QTimer>
#include <QtWidgets/QStyledItemDelegate>

class QAbstractItemView;

/** Draws messages as bubbles: those that came in at one side, one's own at the other; above the first of a day its date. */
class VXBubbleDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    explicit VXBubbleDelegate(QAbstractItemView *view);

    /** Draws a ring around one for a moment, for eyes that look for it. */
    void mark(const QModelIndex &index);

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

    QPersistentModelIndex _marked;
    QTimer _unmark;
};
