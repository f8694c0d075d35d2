#pragma once

#include <QtGui/QImage>
#include <QtWidgets/QStyledItemDelegate>

/** What a row of a list shows; used as the value of a VXListRow. */
struct VXRowContents
{
    QString title = {};
    QString detail = {};
    QString when = {};   // to the right of the title
    QString person = {}; // whose picture is in front; null for none
    QImage picture = {}; //
    QString icon = {};   // instead of a person: the name of one of the kit's icons
    QString mark = {};   // to the right of the detail: a count, or a state
    enum class Tone { Plain, Accent, Good, Warning, Bad } markTone = Tone::Plain, iconTone = Tone::Plain;
    bool isStrong = false; // unread or missed: the title stands out
    bool isQuiet = false;  // disabled or gone
    QVariant data = {};    // what the row is about, for its handler
};
Q_DECLARE_METATYPE(VXRowContents)

/**
 * Draws rows of two lines with a picture; a row that is not read yet appears as a pale outline. The model's ValueRole
 * contains the contents.
 */
class VXRowDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

private:
    static void paintContents(QPainter &painter, const QStyleOptionViewItem &option, const VXRowContents &contents);
    static void paintOutline(QPainter &painter, const QStyleOptionViewItem &option);
};
