#include "VXReadablePropertyList.h"

#include "VXHostJSON.h"

#include <QtCore/QDateTime>
#include <QtCore/QLocale>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype shownBytes = 16;

QString dataText(const QByteArray &data)
{
    const QString hex = QString::fromLatin1(data.first(std::min(data.size(), shownBytes)).toHex());
    const QString more = data.size() > shownBytes ? u"..."_s : QString();
    return u"<%1%2> (%3 %4)"_s.arg(hex, more).arg(data.size()).arg(data.size() == 1 ? "byte"_L1 : "bytes"_L1);
}

QString realText(double number)
{
    const QString text = QString::number(number, 'g', QLocale::FloatingPointShortest);
    const bool looksWhole = !text.contains(u'.') && !text.contains(u'e') && !text.contains(u'n');
    return looksWhole ? text + ".0"_L1 : text;
}

QString quoted(const QString &text)
{
    return QString::fromUtf8(VXJSONText(text));
}

class TextWriter
{
public:
    void write(const QVariant &value)
    {
        switch (value.typeId()) {
        case QMetaType::QVariantMap:
            return writeMap(value.toMap());
        case QMetaType::QVariantList:
            return writeList(value.toList());
        case QMetaType::QString:
            _text += quoted(value.toString());
            return;
        case QMetaType::QByteArray:
            _text += dataText(value.toByteArray());
            return;
        case QMetaType::QDateTime:
            _text += value.toDateTime().toUTC().toString(Qt::ISODate);
            return;
        case QMetaType::Double:
            _text += realText(value.toDouble());
            return;
        default:
            _text += value.toString();
        }
    }

    QString text() const { return _text; }

private:
    void writeMap(const QVariantMap &map)
    {
        writeNested(u'{', u'}', map.size(), [&] {
            for (auto entry = map.begin(); entry != map.end(); ++entry) {
                beginLine();
                _text += quoted(entry.key()) + ": "_L1;
                write(*entry);
            }
        });
    }

    void writeList(const QVariantList &list)
    {
        writeNested(u'[', u']', list.size(), [&] {
            for (const QVariant &item : list) {
                beginLine();
                write(item);
            }
        });
    }

    template <class Body>
    void writeNested(QChar open, QChar close, qsizetype count, Body body)
    {
        _text += open;
        if (count > 0) {
            ++_depth;
            body();
            --_depth;
            beginLine();
        }
        _text += close;
    }

    void beginLine() { _text += u'\n' + QString(_depth * 4, u' '); }

    QString _text;
    qsizetype _depth = 0;
};

} // namespace

QString VXReadablePropertyList(const QVariant &value)
{
    TextWriter writer;
    writer.write(value);
    return writer.text() + u'\n';
}
