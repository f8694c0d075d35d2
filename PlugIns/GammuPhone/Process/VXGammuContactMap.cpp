#include "VXGammuContactMap.h"

#include "VXGammuText.h"

#include <QtCore/QHash>

#include <algorithm>
#include <array>
#include <functional>
#include <optional>
#include <span>

using namespace Qt::StringLiterals;

namespace {

struct Kind
{
    GSM_EntryType type;
    QStringView name;
};

// A contact has each of these at most once.
constexpr std::array texts{
    Kind{PBK_Text_Name, u"name"},
    Kind{PBK_Text_FirstName, u"firstName"},
    Kind{PBK_Text_SecondName, u"middleName"},
    Kind{PBK_Text_LastName, u"lastName"},
    Kind{PBK_Text_NamePrefix, u"namePrefix"},
    Kind{PBK_Text_NameSuffix, u"nameSuffix"},
    Kind{PBK_Text_NickName, u"nickname"},
    Kind{PBK_Text_FormalName, u"formalName"},
    Kind{PBK_Text_Company, u"company"},
    Kind{PBK_Text_JobTitle, u"jobTitle"},
    Kind{PBK_Text_Note, u"note"},
};
// For numbers, the name is a letter of the type, or a label for what no letter stands for.
constexpr std::array letters{
    Kind{PBK_Number_General, u""},
    Kind{PBK_Number_Mobile, u"m"},
    Kind{PBK_Number_Fax, u"f"},
    Kind{PBK_Number_Pager, u"p"},
};
constexpr std::array labels{
    Kind{PBK_Number_Other, u"other"},
    Kind{PBK_Number_Video, u"video"},
    Kind{PBK_Number_Messaging, u"messaging"},
};
constexpr std::array emails{Kind{PBK_Text_Email, u"address"}, Kind{PBK_Text_Email2, u"address"}};
constexpr std::array links{Kind{PBK_Text_URL, u"url"}};
constexpr std::array addressParts{
    Kind{PBK_Text_StreetAddress, u"street"}, Kind{PBK_Text_City, u"city"},
    Kind{PBK_Text_State, u"state"},          Kind{PBK_Text_Zip, u"zip"},
    Kind{PBK_Text_Country, u"country"},      Kind{PBK_Text_Postal, u"text"},
};

const Kind *find(std::span<const Kind> kinds, GSM_EntryType type)
{
    const auto found = std::ranges::find(kinds, type, &Kind::type);
    return found == kinds.end() ? nullptr : &*found;
}

const Kind *find(std::span<const Kind> kinds, QStringView name)
{
    const auto found = std::ranges::find(kinds, name, &Kind::name);
    return found == kinds.end() ? nullptr : &*found;
}

bool hasKey(GSM_EntryType type)
{
    return type == PBK_Date || find(texts, type) || find(letters, type) || find(labels, type) || find(emails, type) ||
           find(links, type) || find(addressParts, type);
}

void append(QVariantMap &map, const QString &key, const QVariant &value)
{
    map.insert(key, map.value(key).toList() << value);
}

// -- Reading

QVariantMap typed(QVariantMap value, GSM_EntryLocation place, QStringView letter = {})
{
    const QStringView placeLetter = place == PBK_Location_Home   ? u"H"
                                    : place == PBK_Location_Work ? u"W"
                                                                 : QStringView();
    if (const QString type = placeLetter.toString() + letter.toString(); !type.isEmpty())
        value.insert(u"type"_s, type);
    return value;
}

// The parts of an address are stored separately, each with the address's place.
void addAddressPart(QVariantMap &contact, const QString &part, const GSM_SubMemoryEntry &value)
{
    QVariantList addresses = contact.value(u"addresses"_s).toList();
    const QVariant type = typed({}, value.Location).value(u"type"_s);
    QVariantMap address = addresses.isEmpty() ? QVariantMap() : addresses.last().toMap();
    if (address.isEmpty() || address.contains(part) || address.value(u"type"_s) != type)
        addresses.append(address = typed({}, value.Location));
    address.insert(part, VXTextFromGammu(value.Text));
    addresses.last() = address;
    contact.insert(u"addresses"_s, addresses);
}

void addText(QVariantMap &contact, const QString &key, const QString &text)
{
    const QString before = contact.value(key).toString();
    contact.insert(key, before.isEmpty() ? text : before + u'\n' + text);
}

void addValue(QVariantMap &contact, const GSM_SubMemoryEntry &value)
{
    if (value.EntryType == PBK_Date) {
        const QDate day = VXDateFromGammu(value.Date, VXGammuZone::Told).date();
        if (day.isValid())
            contact.insert(u"birthday"_s, QDateTime(day, QTime(0, 0), Qt::UTC));
        return;
    }
    const QString text = hasKey(value.EntryType) ? VXTextFromGammu(value.Text) : QString();
    if (const Kind *const kind = find(texts, value.EntryType))
        addText(contact, kind->name.toString(), text);
    else if (const Kind *const letter = find(letters, value.EntryType))
        append(contact, u"numbers"_s, typed({{u"number"_s, text}}, value.Location, letter->name));
    else if (const Kind *const label = find(labels, value.EntryType))
        append(contact, u"numbers"_s,
               typed({{u"number"_s, text}, {u"label"_s, label->name.toString()}}, value.Location));
    else if (find(emails, value.EntryType) != nullptr)
        append(contact, u"emails"_s, typed({{u"address"_s, text}}, value.Location));
    else if (find(links, value.EntryType) != nullptr)
        append(contact, u"urls"_s, typed({{u"url"_s, text}}, value.Location));
    else if (const Kind *const part = find(addressParts, value.EntryType))
        addAddressPart(contact, part->name.toString(), value);
}

// -- Writing

// The mask used in phonebook strings, as a number or as its letters. None for anything else.
std::optional<unsigned> maskOf(const QVariant &type)
{
    if (type.typeId() != QMetaType::QString) {
        bool isNumber = true;
        const unsigned mask = type.isValid() ? type.toUInt(&isNumber) : 0;
        return isNumber && mask < 256 ? std::optional(mask) : std::nullopt;
    }
    static const QHash<QChar, unsigned> bits{{u'H', 64}, {u'W', 128}, {u'm', 2}, {u'f', 1}, {u'p', 3}, {u'!', 63}};
    unsigned mask = 0;
    for (const QChar letter : type.toString()) {
        if (!bits.contains(letter))
            return std::nullopt;
        mask |= bits.value(letter);
    }
    return mask;
}

/** Adds values to an entry, up to the first that cannot be stored. */
class Writer
{
public:
    Writer(GSM_MemoryEntry &entry, const VXGammuGate &gate, const QVariantMap &there) : _entry(entry), _gate(gate)
    {
        for (const QVariant &number : there.value(u"numbers"_s).toList())
            _numbersThere.append(number.toMap().value(u"number"_s).toString());
    }

    VXGammuFailure failure() const { return _failure; }

    void addField(const QString &key, const QVariant &value)
    {
        if (const Kind *const kind = find(texts, key))
            addText(kind->type, {}, key, value);
        else if (key == "numbers"_L1)
            addMaps(key, u"number"_s, value, [this](const QVariantMap &map) { addNumber(map); });
        else if (key == "emails"_L1)
            addMaps(key, u"address"_s, value, [this](const QVariantMap &map) { addParts(emails, map); });
        else if (key == "urls"_L1)
            addMaps(key, u"url"_s, value, [this](const QVariantMap &map) { addParts(links, map); });
        else if (key == "addresses"_L1)
            addMaps(key, u"text"_s, value, [this](const QVariantMap &map) { addParts(addressParts, map); });
        else if (key == "birthday"_L1)
            addBirthday(value);
        else if (key != "memory"_L1 && key != "location"_L1)
            fail(u"A contact has no field \"%1\"."_s, key);
    }

private:
    void fail(const QString &text, const QString &what)
    {
        if (!_failure)
            _failure = VXGammuRefusal(text, {what});
    }

    // An element may be just the text that others have under `textKey`.
    void addMaps(const QString &key, const QString &textKey, const QVariant &value,
                 const std::function<void(const QVariantMap &)> &add)
    {
        const bool isTexts = value.typeId() == QMetaType::QStringList;
        if (value.typeId() != QMetaType::QVariantList && !isTexts)
            return fail(u"The field \"%1\" must be a list of dictionaries."_s, key);
        for (const QVariant &element : value.toList()) {
            if (element.typeId() == QMetaType::QString)
                add({{textKey, element}});
            else if (element.typeId() == QMetaType::QVariantMap)
                add(element.toMap());
            else
                return fail(u"The field \"%1\" must be a list of dictionaries."_s, key);
        }
    }

    void addNumber(const QVariantMap &map)
    {
        constexpr unsigned kinds = 63;
        const QString label = map.value(u"label"_s).toString();
        static constexpr std::array byMask{PBK_Number_General, PBK_Number_Fax, PBK_Number_Mobile, PBK_Number_Pager};
        const unsigned kind = maskOf(map.value(u"type"_s)).value_or(0) & kinds;
        const Kind *const labelled = find(labels, label);
        if (!label.isEmpty() && labelled == nullptr)
            return fail(u"No number has the type \"%1\"."_s, label);
        const QString written = map.value(u"number"_s).toString();
        const QString bare = VXGammuGate::storableNumber(written);
        if (bare.isNull())
            return fail(u"\"%1\" is no phone number."_s, written);
        const GSM_EntryType type = labelled != nullptr    ? labelled->type
                                   : kind < byMask.size() ? byMask.at(kind)
                                                          : PBK_Number_General;
        addText(type, map, u"number"_s, _numbersThere.contains(written) ? written : bare);
    }

    void addParts(std::span<const Kind> kinds, const QVariantMap &map)
    {
        for (auto part = map.begin(); part != map.end(); ++part) {
            if (const Kind *const kind = find(kinds, part.key()))
                addText(kind->type, map, part.key(), part.value());
            else if (part.key() != "type"_L1)
                fail(u"A contact has no field \"%1\"."_s, part.key());
        }
    }

    void addBirthday(const QVariant &value)
    {
        const QDate day = value.toDateTime().isValid() ? value.toDateTime().date() : value.toDate();
        if (!day.isValid())
            return fail(u"\"%1\" is no date."_s, value.toString());
        if (GSM_SubMemoryEntry *const added = add(PBK_Date, {}))
            added->Date = VXDateToGammu(QDateTime(day, QTime(0, 0), Qt::UTC));
    }

    void addText(GSM_EntryType type, const QVariantMap &map, const QString &key, const QVariant &value)
    {
        if (!value.canConvert<QString>() || !value.isValid())
            return fail(u"The field \"%1\" must be a text."_s, key);
        const QString text = value.toString();
        if (const VXGammuFailure refused = _gate.checkField(key, text); refused && !_failure)
            _failure = refused;
        GSM_SubMemoryEntry *const added = text.isEmpty() ? nullptr : add(type, map.value(u"type"_s));
        if (added != nullptr && !VXTextToGammu(text, added->Text))
            fail(u"The text of \"%1\" is too long for a phone."_s, key);
    }

    // Null after a failure.
    GSM_SubMemoryEntry *add(GSM_EntryType type, const QVariant &maskOrLetters)
    {
        const std::optional<unsigned> mask = maskOf(maskOrLetters);
        if (_entry.EntriesNum >= GSM_PHONEBOOK_ENTRIES)
            fail(u"A contact of a phone holds at most %1 values."_s, QString::number(GSM_PHONEBOOK_ENTRIES));
        if (!mask)
            fail(u"No number has the type \"%1\"."_s, maskOrLetters.toString());
        if (_failure)
            return nullptr;
        GSM_SubMemoryEntry &added = _entry.Entries[_entry.EntriesNum++];
        added = {};
        added.EntryType = type;
        added.AddError = ERR_NONE;
        if ((*mask & 192) == 64)
            added.Location = PBK_Location_Home;
        else if ((*mask & 192) == 128)
            added.Location = PBK_Location_Work;
        return &added;
    }

    GSM_MemoryEntry &_entry;
    const VXGammuGate &_gate;
    QStringList _numbersThere; // which stay as they are written
    VXGammuFailure _failure;
};

} // namespace

QVariantMap VXContactFromGammu(const GSM_MemoryEntry &entry)
{
    QVariantMap contact{{u"memory"_s, QString::fromLatin1(GSM_MemoryTypeToString(entry.MemoryType))},
                        {u"location"_s, entry.Location}};
    for (const GSM_SubMemoryEntry &value : std::span(entry.Entries, size_t(entry.EntriesNum)))
        addValue(contact, value);
    return contact;
}

VXGammuFailure VXContactToGammu(const QVariantMap &contact, const QVariantMap &there, const VXGammuGate &gate,
                                GSM_MemoryEntry &entry)
{
    Writer writer(entry, gate, there);
    const int before = entry.EntriesNum;
    for (auto field = contact.begin(); field != contact.end() && !writer.failure(); ++field)
        writer.addField(field.key(), field.value());
    if (!writer.failure() && entry.EntriesNum == before)
        return VXGammuRefusal(u"The contact is empty."_s);
    return writer.failure();
}

void VXRemoveContactValues(GSM_MemoryEntry &entry)
{
    GSM_SubMemoryEntry *const end = entry.Entries + entry.EntriesNum;
    const auto isKnown = [](const GSM_SubMemoryEntry &value) { return hasKey(value.EntryType); };
    entry.EntriesNum = int(std::remove_if(entry.Entries, end, isKnown) - entry.Entries);
}
