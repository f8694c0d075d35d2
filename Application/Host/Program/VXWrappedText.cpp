#include "VXWrappedText.h"

#include "VXShownWidth.h"

#include <QtCore/QStringList>

QString VXWrappedText(const QString &text, qsizetype width, qsizetype indent, qsizetype used)
{
    QString result;
    qsizetype column = used;
    QStringList words = text.split(u' ', Qt::SkipEmptyParts);
    while (!words.isEmpty()) {
        QString word = words.takeFirst();
        const qsizetype cut = indent + VXShownWidth(word) > width ? word.lastIndexOf(u'|', width - indent - 1) + 1 : 0;
        if (cut > 0) {
            words.prepend(word.sliced(cut));
            word.truncate(cut);
        }
        if (column > indent && column + 1 + VXShownWidth(word) > width) {
            result += u'\n' + QString(indent, u' ');
            column = indent;
        } else if (column > indent) {
            result += u' ';
            ++column;
        }
        result += word;
        column += VXShownWidth(word);
    }
    return result;
}
