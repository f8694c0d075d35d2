#include "VXCommandEnvironment.h"

#include "VXJSON.h"
#include "VXNone.h"
#include "VXObjectValues.h"

#include <QtCore/QJsonObject>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype longestValue = 32 * 1024; // bytes
constexpr QByteArrayView prefix = "VORNIX_";

bool isPartOfName(QChar character)
{
    return character.unicode() < 0x80 && character.isLetterOrNumber();
}

void append(QList<QByteArray> &environment, const QByteArray &name, const QVariant &value)
{
    if (VXIsNone(value))
        return;
    QByteArray text;
    VXAppendValueText(text, value, true);
    text.replace('\0', "");
    if (text.size() <= longestValue)
        environment.append(prefix.toByteArray() + name + '=' + text);
}

} // namespace

QByteArray VXEnvironmentName(const QString &key)
{
    QByteArray name;
    bool isAfterSmall = false;
    for (const QChar character : key) {
        const bool isPart = isPartOfName(character);
        if (isAfterSmall && isPart && character.isUpper())
            name.append('_');
        name.append(isPart ? character.toUpper().toLatin1() : '_');
        isAfterSmall = isPart && !character.isUpper();
    }
    return name;
}

QList<QByteArray> VXCommandEnvironment(const VXEvent &event)
{
    QList<QByteArray> environment;
    for (char **variable = environ; *variable != nullptr; ++variable) {
        const QByteArrayView text(*variable);
        if (!text.startsWith(prefix)) // those come from an event that may have started this program
            environment.append(text.toByteArray());
    }
    append(environment, "EVENT", event.name);
    append(environment, "SUBTYPE", event.subtype);
    for (const QString &key : VXKeysOfObject(event.object))
        append(environment, "OBJECT_" + VXEnvironmentName(key), VXValueForKey(event.object, key));
    return environment;
}

QByteArray VXCommandInput(const VXEvent &event)
{
    const QJsonObject input{{u"event"_s, event.name},
                            {u"subtype"_s, VXPlainJSON(event.subtype)},
                            {u"object"_s, VXPlainJSONOfObject(event.object)}};
    return VXJSONText(input) + '\n';
}
