#include "VXGammuContactMap.h"

#include "VXGammuText.h"
#include "VXNone.h"

#include <algorithm>
#include <array>
#include <functional>
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
    Kind{PBK_Text_NickName, u"nickName"},
    Kind{PBK_Text_FormalName, u"formalName"},
    Kind{PBK_Text_Company, u"organisation"},
    Kind{PBK_Text_JobTitle, u"jobTitle"},
    Kind{PBK_Text_Note, u"note"},
};
constexpr std::array numbers{
    Kind{PBK_Number_General, u"general"},     Kind{PBK_Number_Mobile, u"mobile"}, Kind{PBK_Number_Fax, u"fax"},
    Kind{PBK_Number_Pager, u"pager"},         Kind{PBK_Number_Other, u"other"},   Kind{PBK_Number_Video, u"video"},
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
    return type == PBK_Date || find(texts, type) || find(numbers, type) || find(emails, type) || find(links, type) ||
           find(addressParts, type);
}

void append(QVariantMap &map, const QString &key, const QVariant &value)
{
    map.insert(key, map.value(key).toList() << value);
}

// -- Reading

QVariantMap placed(QVariantMap value, GSM_EntryLocation place)
{
    if (place == PBK_Location_Home)
        value.insert(u"place"_s, u"home"_s);
    else if (place == PBK_Location_Work)
        value.insert(u"place"_s, u"work"_s);
    return value;
}

// The parts of an address lie side by side, with the address's place.
void addAddressPart(QVariantMap &contact, const QString &part, const GSM_SubMemoryEntry &value)
{
    QVariantList addresses = contact.value(u"addresses"_s).toList();
    const QString place = placed({}, value.Location).value(u"place"_s).toString();
    QVariantMap address = addresses.isEmpty() ? QVariantMap() : addresses.last().toMap();
    if (address.isEmpty() || address.contains(part) || address.value(u"place"_s).toString() != place)
        addresses.append(address = placed({}, value.Location));
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
        const QDate day = VXDateFromGammu(value.Date).date();
        if (day.isValid())
            contact.insert(u"birthday"_s, QDateTime(day, QTime(0, 0), Qt::UTC));
        return;
    }
    const QString text = hasKey(value.EntryType) ? VXTextFromGammu(value.Text) : QString();
    if (const Kind *const kind = find(texts, value.EntryType))
        addText(contact, kind->name.toString(), text);
    else if (const Kind *const number = find(numbers, value.EntryType))
        append(contact, u"numbers"_s,
               placed({{u"number"_s, text}, {u"type"_s, number->name.toString()}}, value.Location));
    else if (find(emails, value.EntryType) != nullptr)
        append(contact, u"emails"_s, placed({{u"address"_s, text}}, value.Location));
    else if (find(links, value.EntryType) != nullptr)
        append(contact, u"urls"_s, placed({{u"url"_s, text}}, value.Location));
    else if (const Kind *const part = find(addressParts, value.EntryType))
        addAddressPart(contact, part->name.toString(), value);
}

// -- Writing

/** Adds values to an entry, until the first that can not be. */
class Writer
{
public:
    explicit Writer(GSM_MemoryEntry &entry) : _entry(entry) {}

    VXError error() const { return _error; }

    void addField(const QString &key, const QVariant &value)
    {
        if (const Kind *const kind = find(texts, key))
            addText(kind->type, {}, key, value);
        else if (key == "numbers"_L1)
            addMaps(key, value, [this](const QVariantMap &map) { addNumber(map); });
        else if (key == "emails"_L1)
            addMaps(key, value, [this](const QVariantMap &map) { addParts(emails, map); });
        else if (key == "urls"_L1)
            addMaps(key, value, [this](const QVariantMap &map) { addParts(links, map); });
        else if (key == "addresses"_L1)
            addMaps(key, value, [this](const QVariantMap &map) { addParts(addressParts, map); });
        else if (key == "birthday"_L1)
            addBirthday(value);
        else if (key != "memory"_L1 && key != "location"_L1)
            fail(u"A contact has no field \"%1\"."_s, key);
    }

private:
    void fail(const QString &text, const QString &what)
    {
        if (!_error)
            _error = VXMakeGammuRequestError(VXGammuLocalizedString(text).arg(what));
    }

    void addMaps(const QString &key, const QVariant &value, const std::function<void(const QVariantMap &)> &add)
    {
        if (value.typeId() != QMetaType::QVariantList)
            return fail(u"The field \"%1\" must be a list of dictionaries."_s, key);
        for (const QVariant &element : value.toList()) {
            if (element.typeId() != QMetaType::QVariantMap)
                return fail(u"The field \"%1\" must be a list of dictionaries."_s, key);
            add(element.toMap());
        }
    }

    void addNumber(const QVariantMap &map)
    {
        const QString type = map.value(u"type"_s, u"general"_s).toString();
        const Kind *const kind = find(numbers, type);
        if (kind == nullptr)
            return fail(u"No number has the type \"%1\"."_s, type);
        addText(kind->type, map, u"number"_s, map.value(u"number"_s));
    }

    void addParts(std::span<const Kind> kinds, const QVariantMap &map)
    {
        for (auto part = map.begin(); part != map.end(); ++part) {
            if (const Kind *const kind = find(kinds, part.key()))
                addText(kind->type, map, part.key(), part.value());
            else if (part.key() != "place"_L1)
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
        if (!value.canConvert<QString>() || VXIsNone(value))
            return fail(u"The field \"%1\" must be a text."_s, key);
        GSM_SubMemoryEntry *const added = add(type, map.value(u"place"_s).toString());
        if (added != nullptr && !VXTextToGammu(value.toString(), added->Text))
            fail(u"The text of \"%1\" is too long for a phone, or holds a character that it can not have."_s, key);
    }

    // Null after a failure.
    GSM_SubMemoryEntry *add(GSM_EntryType type, const QString &place)
    {
        if (_entry.EntriesNum >= GSM_PHONEBOOK_ENTRIES)
            fail(u"A contact of a phone holds at most %1 values."_s, QString::number(GSM_PHONEBOOK_ENTRIES));
        if (!place.isEmpty() && place != "home"_L1 && place != "work"_L1)
            fail(u"\"%1\" is no place; there are \"home\" and \"work\"."_s, place);
        if (_error)
            return nullptr;
        GSM_SubMemoryEntry &added = _entry.Entries[_entry.EntriesNum++];
        added = {};
        added.EntryType = type;
        added.AddError = ERR_NONE;
        if (!place.isEmpty())
            added.Location = place == "home"_L1 ? PBK_Location_Home : PBK_Location_Work;
        return &added;
    }

    GSM_MemoryEntry &_entry;
    VXError _error;
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

VXError VXContactToGammu(const QVariantMap &contact, GSM_MemoryEntry &entry)
{
    Writer writer(entry);
    const int before = entry.EntriesNum;
    for (auto field = contact.begin(); field != contact.end() && !writer.error(); ++field)
        writer.addField(field.key(), field.value());
    if (!writer.error() && entry.EntriesNum == before)
        return VXMakeGammuRequestError(VXGammuLocalizedString(u"The contact is empty."_s));
    return writer.error();
}

void VXRemoveContactValues(GSM_MemoryEntry &entry)
{
    GSM_SubMemoryEntry *const end = entry.Entries + entry.EntriesNum;
    const auto isKnown = [](const GSM_SubMemoryEntry &value) { return hasKey(value.EntryType); };
    entry.EntriesNum = int(std::remove_if(entry.Entries, end, isKnown) - entry.Entries);
}
