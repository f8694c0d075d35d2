#pragma once

#include <QtWidgets/QStyledItemDelegate>

/** Draws a phonebook string or group in two parts: the name, and less prominently the number and its type. */
class VXCompletionDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    explicit VXCompletionDelegate(QObject *parent = nullptr);

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
};
