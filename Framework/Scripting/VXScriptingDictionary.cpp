#include "VXScriptingDictionary.h"

#include "VXErrorDomain.h"
#include "VXPropertyList.h"

using namespace Qt::StringLiterals;

namespace {

// The length of the complete type at an offset; 0 when there is none. D-Bus allows 32 levels of each container.
qsizetype typeLength(const QByteArray &signature, qsizetype offset, int depth = 0)
{
    if (depth > 32 || offset >= signature.size())
        return 0;
    const char first = signature[offset];
    if (QByteArrayView("ybnqiuxtdsogv").contains(first))
        return 1;
    if (first == 'a' && offset + 1 < signature.size() && signature[offset + 1] == '{') {
        if (offset + 2 >= signature.size() || !QByteArrayView("ybnqiuxtdsog").contains(signature[offset + 2]))
            return 0;
        const qsizetype value = typeLength(signature, offset + 3, depth + 1);
        const qsizetype end = offset + 3 + value;
        return value > 0 && end < signature.size() && signature[end] == '}' ? end + 1 - offset : 0;
    }
    if (first == 'a') {
        const qsizetype element = typeLength(signature, offset + 1, depth + 1);
        return element > 0 ? element + 1 : 0;
    }
    if (first != '(')
        return 0;
    qsizetype at = offset + 1;
    while (at < signature.size() && signature[at] != ')') {
        const qsizetype member = typeLength(signature, at, depth + 1);
        if (member == 0)
            return 0;
        at += member;
    }
    return at < signature.size() && at > offset + 1 ? at + 1 - offset : 0;
}

/** Parses a property list; keeps the first error with its place. */
class DictionaryReader
{
public:
    QString problem;

    VXScriptingDictionary read(const QVariantMap &list)
    {
        VXScriptingDictionary dictionary;
        dictionary.target = text(list, u"target"_s, true);
        dictionary.summary = text(list, u"summary"_s);
        dictionary.isFallback = list.value(u"fallback"_s).toBool();
        _path = text(list, u"path"_s);
        _interface = text(list, u"interface"_s);
        for (const QVariantMap &entry : entries(list, u"properties"_s))
            dictionary.properties.append(readProperty(entry));
        for (const QVariantMap &entry : entries(list, u"events"_s))
            dictionary.events.append(readEvent(entry));
        return dictionary;
    }

private:
    void fail(const QString &text)
    {
        if (problem.isNull())
            problem = _place.isNull() ? text : u"%1: %2"_s.arg(_place, text);
    }

    QString text(const QVariantMap &map, const QString &key, bool isNeeded = false, const QString &otherwise = {})
    {
        const QVariant value = map.value(key);
        if (value.isValid() && value.metaType() != QMetaType::fromType<QString>())
            fail(u"\"%1\" is no text"_s.arg(key));
        const QString found = value.isValid() ? value.toString() : otherwise;
        if (isNeeded && found.isEmpty())
            fail(u"\"%1\" is missing"_s.arg(key));
        return found;
    }

    QList<QVariantMap> entries(const QVariantMap &map, const QString &key)
    {
        const QVariant value = map.value(key);
        if (value.isValid() && value.metaType() != QMetaType::fromType<QVariantList>())
            fail(u"\"%1\" is no array"_s.arg(key));
        QList<QVariantMap> found;
        for (const QVariant &entry : value.toList()) {
            if (entry.metaType() != QMetaType::fromType<QVariantMap>())
                fail(u"an entry of \"%1\" is no dictionary"_s.arg(key));
            found.append(entry.toMap());
        }
        return found;
    }

    VXFourCharCode code(const QVariantMap &map, const QString &key, bool isNeeded = true)
    {
        const QString written = text(map, key, isNeeded);
        const VXFourCharCode found = VXCodeFromString(written);
        if (found == 0 && !written.isEmpty())
            fail(u"\"%1\" is no code of four characters: %2"_s.arg(key, written));
        return found;
    }

    QByteArray signature(const QVariantMap &map)
    {
        const QByteArray found = text(map, u"type"_s, true).toLatin1();
        if (!found.isEmpty() && !VXIsTypeSignature(found))
            fail(u"\"type\" is no type: %1"_s.arg(QString::fromLatin1(found)));
        return found;
    }

    VXScriptingProperty readProperty(const QVariantMap &map)
    {
        _place = u"the property %1"_s.arg(map.value(u"name"_s).toString());
        const QString access = text(map, u"access"_s, false, u"read"_s);
        if (access != "read"_L1 && access != "write"_L1 && access != "readwrite"_L1)
            fail(u"\"access\" is none of read, write and readwrite: %1"_s.arg(access));
        VXScriptingProperty property{.code = code(map, u"code"_s),
                                     .name = text(map, u"name"_s, true),
                                     .path = text(map, u"path"_s, true, _path),
                                     .interface = text(map, u"interface"_s, true, _interface),
                                     .signature = signature(map),
                                     .isReadable = access != "write"_L1,
                                     .isWritable = access != "read"_L1,
                                     .summary = text(map, u"summary"_s)};
        _place = QString();
        return property;
    }

    VXScriptingEvent readEvent(const QVariantMap &map)
    {
        _place = u"the event %1"_s.arg(map.value(u"name"_s).toString());
        VXScriptingEvent event{.eventClass = code(map, u"class"_s),
                               .eventID = code(map, u"id"_s),
                               .name = text(map, u"name"_s, true),
                               .path = text(map, u"path"_s, true, _path),
                               .interface = text(map, u"interface"_s, true, _interface),
                               .method = text(map, u"method"_s, true),
                               .summary = text(map, u"summary"_s)};
        for (const QVariantMap &entry : entries(map, u"parameters"_s))
            event.parameters.append(readParameter(entry));
        _place = QString();
        return event;
    }

    VXScriptingParameter readParameter(const QVariantMap &map)
    {
        VXScriptingParameter parameter{.keyword = code(map, u"keyword"_s, false),
                                       .name = text(map, u"name"_s),
                                       .signature = signature(map),
                                       .value = map.value(u"value"_s),
                                       .isNeeded = !map.contains(u"value"_s)};
        if (parameter.keyword == 0 && parameter.isNeeded)
            fail(u"a parameter has neither \"keyword\" nor \"value\""_s);
        return parameter;
    }

    QString _path; // used for entries that have none of their own
    QString _interface;
    QString _place; // what is being read
};

} // namespace

bool VXIsTypeSignature(const QByteArray &signature)
{
    return !signature.isEmpty() && typeLength(signature, 0) == signature.size();
}

std::optional<VXScriptingDictionary> VXScriptingDictionary::fromPropertyList(const QVariant &list, VXError *error)
{
    DictionaryReader reader;
    VXScriptingDictionary dictionary = reader.read(list.toMap());
    if (list.metaType() != QMetaType::fromType<QVariantMap>())
        reader.problem = u"it is no dictionary"_s;
    if (reader.problem.isNull())
        return dictionary;
    VXSetError(error, VXMakeError(u"No scripting dictionary: %1."_s.arg(reader.problem)));
    return std::nullopt;
}

std::optional<VXScriptingDictionary> VXScriptingDictionary::fromFile(const QString &path, VXError *error)
{
    VXError reason;
    const QVariant list = VXPropertyList::fromFile(path, &reason);
    std::optional<VXScriptingDictionary> dictionary;
    if (!reason)
        dictionary = fromPropertyList(list, &reason);
    if (dictionary)
        dictionary->source = path;
    else
        VXSetError(error, VXMakeFileError(reason.localizedDescription(), reason.localizedRecoverySuggestion(), path));
    return dictionary;
}

qsizetype VXScriptingDictionary::fitness(const QString &identifier) const
{
    if (identifier == target || identifier.startsWith(target + u'.'))
        return target.size() + 1;
    return isFallback ? 1 : 0;
}

QString VXScriptingDictionary::pathForTarget(const QString &path, const QString &identifier)
{
    // As in org.freedesktop.Application: dots become slashes, and dashes, which paths cannot have, underscores.
    QString name = identifier;
    name.replace(u'.', u'/').replace(u'-', u'_');
    return QString(path).replace("{path}"_L1, name);
}
