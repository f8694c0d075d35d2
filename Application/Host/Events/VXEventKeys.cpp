#include "VXEventKeys.h"

#include "VXDataManager.h"
#include "VXNearestWord.h"
#include "VXNone.h"
#include "VXObjectColumns.h"
#include "VXPredicate.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

/** What a filter checks in an object. */
struct Asked
{
    QStringList key;      // a key path
    bool isRight = false; // to the right of the operator, where usually the texts are
    QVariant other = {};  // what it is compared with, if that is known
};

void addKeys(const VXExpression &expression, const VXExpression &other, bool isRight, QList<Asked> &asked)
{
    if (expression.kind() == VXExpression::Kind::KeyPath && !expression.keys().isEmpty())
        asked.append(
            {expression.keys(), isRight, other.kind() == VXExpression::Kind::Constant ? other.value() : QVariant()});
    for (const VXExpression &element : expression.elements())
        addKeys(element, other, isRight, asked);
}

void addKeys(const VXPredicate &predicate, QList<Asked> &asked)
{
    for (const VXPredicate &part : predicate.subpredicates())
        addKeys(part, asked);
    if (predicate.kind() != VXPredicate::Kind::Comparison)
        return;
    addKeys(predicate.left(), predicate.right(), false, asked);
    addKeys(predicate.right(), predicate.left(), true, asked);
}

// Lists of a contact consist of objects; this is the key of their text. Null if the key path does not lead to such a
// list.
QString textKeyOfList(const QStringList &keys)
{
    static const QMap<QString, QString> texts{{u"groups"_s, u"name"_s},
                                              {u"numbers"_s, u"number"_s},
                                              {u"emails"_s, u"address"_s},
                                              {u"urls"_s, u"url"_s},
                                              {u"addresses"_s, u"city"_s}};
    return keys.size() == 2 && keys.first() == "contact"_L1 ? texts.value(keys.last()) : QString();
}

bool hasLetters(const QVariant &value)
{
    const QString text = value.typeId() == QMetaType::QString ? value.toString() : QString();
    return std::ranges::any_of(text, [](QChar character) { return character.isLetter(); });
}

// "\"contact.nme\", but a contact has only ...": what the key path expects of a contact but a contact does not have.
// Null if it has it, or nothing is known.
QString doubtOfContactKeys(const QStringList &keys)
{
    static const QString further = u"displayString"_s;
    const auto coordinator = VXDataManager::sharedDataManager().openCoordinatorForDataStore(u"phonebook"_s);
    const VXEntityDescription *entity =
        coordinator && keys.first() == "contact"_L1 ? coordinator->model().entityForName(u"VXPerson"_s) : nullptr;
    for (qsizetype at = 1; entity != nullptr && at < keys.size(); ++at) {
        const VXPropertyDescription *const property = entity->propertyForName(keys[at]);
        if (property == nullptr && keys[at] != further && !keys[at].startsWith(u'@')) {
            QStringList known{further};
            for (const QString &name : VXNamesOfProperties(*entity))
                known.append(name);
            return u"\"%1\", but there is only %2%3"_s.arg(keys.join(u'.'), known.join(", "_L1),
                                                           VXDidYouMean(keys[at], known));
        }
        const VXRelationshipDescription *const relationship =
            property == nullptr ? nullptr : property->asRelationship();
        entity = relationship == nullptr ? nullptr : &relationship->destination();
    }
    return {};
}

QStringList columnsIn(const QVariant &value)
{
    QStringList columns =
        value.typeId() == QMetaType::QString ? value.toString().split(u',', Qt::SkipEmptyParts) : value.toStringList();
    for (QString &column : columns)
        column = column.trimmed();
    return columns;
}

// The key paths in braces, as in texts of reactors.
QStringList fieldsIn(const QString &text, QString *problem)
{
    QStringList fields;
    for (qsizetype brace = text.indexOf(u'{'); brace >= 0; brace = text.indexOf(u'{', brace + 1)) {
        if (text.mid(brace + 1, 1) == "{"_L1) {
            ++brace;
            continue;
        }
        const qsizetype end = text.indexOf(u'}', brace);
        if (end < 0) {
            *problem = u"has a \"{\" without its \"}\"; \"{{\" stands for the character itself"_s;
            return {};
        }
        fields.append(text.sliced(brace + 1, end - brace - 1).trimmed());
    }
    return fields;
}

} // namespace

QStringList VXKeysOfEvent(const QString &event)
{
    static const QStringList ofBoth{u"direction"_s, u"from"_s, u"to"_s,   u"device_url"_s,
                                    u"contact"_s,   u"who"_s,  u"date"_s, u"event_date"_s};
    static const QStringList ofCalls =
        ofBoth + QStringList{u"connectedDate"_s, u"duration"_s, u"isMissed"_s, u"call_id"_s};
    static const QStringList ofMessages =
        ofBoth + QStringList{u"text"_s,        u"url"_s,       u"isComplete"_s, u"partCount"_s,     u"partNumber"_s,
                             u"reference"_s,   u"kind"_s,      u"number"_s,     u"folder"_s,        u"isInbox"_s,
                             u"isDecodable"_s, u"locations"_s, u"memory"_s,     u"serviceCentre"_s, u"state"_s};
    if (event == "incoming_call"_L1 || event == "outgoing_call"_L1)
        return ofCalls;
    return event == "new_message"_L1 ? ofMessages : QStringList();
}

QString VXDoubtOfFilter(const QString &filter, const QString &event)
{
    const QStringList known = VXKeysOfEvent(event);
    const std::optional<VXPredicate> predicate = VXPredicate::predicateWithFormat(filter);
    if (known.isEmpty() || !predicate)
        return {};
    QList<Asked> asked;
    addKeys(*predicate, asked);
    for (const auto &[keys, isRight, other] : std::as_const(asked)) {
        const QString &key = keys.first();
        if (const QString text = textKeyOfList(keys); !text.isNull() && other.typeId() == QMetaType::QString)
            return u"The filter compares \"%1\" with a text, but these are objects; ANY %1.%2 == \"%3\" asks for one of them"_s
                .arg(keys.join(u'.'), text, other.toString());
        if ((key == "from"_L1 || key == "to"_L1) && hasLetters(other))
            return u"\"%1\" is what the phone tells, mostly a number alone; \"who\" has the name from the phonebook too"_s
                .arg(key);
        if (const QString doubt = doubtOfContactKeys(keys); !doubt.isNull())
            return "The filter asks for "_L1 + doubt;
        if (known.contains(key) || key.startsWith(u'@'))
            continue;
        return u"The filter asks for \"%1\", but objects of %2 have only %3; texts stand in quotation marks%4"_s.arg(
            key, event, known.join(", "_L1), isRight ? u", as \"%1\""_s.arg(key) : VXDidYouMean(key, known));
    }
    return {};
}

QString VXDoubtOfOptions(const QVariantMap &options, const VXReactorOptions &described, const QString &event)
{
    const QStringList known = VXKeysOfEvent(event);
    if (known.isEmpty())
        return {};
    for (const VXReactorOption &option : described) {
        const QVariant value = options.value(option.key);
        const bool isText = option.type == VXReactorOption::Type::Text;
        if (!value.isValid() || (!isText && option.key != "columns"_L1))
            continue;
        QString problem;
        const QStringList paths = isText ? fieldsIn(value.toString(), &problem) : columnsIn(value);
        if (!problem.isNull())
            return u"The option \"%1\" %2"_s.arg(option.shownKey(), problem);
        const QStringList all = isText ? known + QStringList{u"event"_s, u"subtype"_s} : known;
        for (const QString &path : paths) {
            const QStringList keys = path.split(u'.');
            const QString doubt = all.contains(keys.first())
                                      ? doubtOfContactKeys(keys)
                                      : u"\"%1\", but objects of %2 have only %3%4"_s.arg(
                                            path, event, known.join(", "_L1), VXDidYouMean(keys.first(), all));
            if (!doubt.isNull())
                return u"The option \"%1\" asks for %2"_s.arg(option.shownKey(), doubt);
        }
    }
    return {};
}

QString VXDoubtOfObject(const QVariantMap &object, const QString &event)
{
    static const QStringList texts{u"from"_s, u"to"_s, u"device_url"_s, u"text"_s, u"call_id"_s};
    const QStringList known = VXKeysOfEvent(event);
    for (auto value = object.begin(); value != object.end() && !known.isEmpty(); ++value) {
        if (!known.contains(value.key()))
            return u"Objects of %1 have no \"%2\"%3"_s.arg(event, value.key(), VXDidYouMean(value.key(), known));
        if (texts.contains(value.key()) && value->typeId() != QMetaType::QString && !VXIsNone(*value))
            return u"\"%1\" is no text, and not understood"_s.arg(value.key());
    }
    return {};
}
