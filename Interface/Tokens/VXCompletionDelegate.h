#pragma once

#include <QtWidgets/QStyledItemDelegate>

/** A phonebook string or group in two parts: the name, and quieter its number and what kind of number it is. */
class VXCompletionDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    explicit VXCompletionDelegate(QObject *parent = nullptr);

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
};
