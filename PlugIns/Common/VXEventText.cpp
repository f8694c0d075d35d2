#include "VXEventText.h"

#include "VXObjectValues.h"
#include "VXPhonebookRecord.h"

using namespace Qt::StringLiterals;

namespace {

QString valueText(const QString &key, const VXEvent &event)
{
    if (key == "event"_L1)
        return event.name;
    if (key == "subtype"_L1)
        return event.subtype;
    const bool isContact = key == "who"_L1 || key.startsWith("contact."_L1);
    return VXValueText(VXValueForKeyPath(isContact ? VXObjectWithContact(event.object) : event.object, key));
}

} // namespace

QString VXEventText(const QString &text, const VXEvent &event)
{
    QString result;
    qsizetype done = 0;
    while (true) {
        const qsizetype brace = text.indexOf(u'{', done);
        const bool isEscape = brace >= 0 && QStringView(text).sliced(brace).startsWith(u"{{");
        const qsizetype end = brace < 0 ? -1 : text.indexOf(u'}', brace);
        if (brace < 0 || (end < 0 && !isEscape))
            break;
        result += QStringView(text).sliced(done, brace - done);
        if (isEscape)
            result += u'{';
        else
            result += valueText(text.sliced(brace + 1, end - brace - 1).trimmed(), event);
        done = isEscape ? brace + 2 : end + 1;
    }
    return result.append(QStringView(text).sliced(done));
}
