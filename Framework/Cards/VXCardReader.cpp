#include "VXCardReader.h"

#include "VXCardLine.h"
#include "VXCardText.h"
#include "VXPhonebookType.h"
#include "VXPhoneNumber.h"

#include <QtCore/QHash>
#include <QtCore/QUrl>

#include <algorithm>

using namespace Qt::StringLiterals;

using Address = VXContactRecord::Address;

namespace {

bool isMark(const VXRawCardLine &raw, const QByteArray &name)
{
    const QByteArrayView beginning = QByteArrayView(raw.octets).first(std::min<qsizetype>(raw.octets.size(), 100));
    if (const QByteArrayView word = beginning.trimmed(); word.isEmpty() || (word.back() | 0x20) != 'd')
        return false; // true of nearly all lines
    const QByteArray plain = beginning.toByteArray().trimmed().toUpper().replace(' ', "").replace('\t', "");
    return plain == name + ":VCARD" || (plain.count(':') == 1 && plain.endsWith('.' + name + ":VCARD"));
}

unsigned typeOf(const VXCardLine &line)
{
    static const QHash<QString, unsigned> kinds = {{u"fax"_s, VXPhonebookTypeFax},
                                                   {u"cell"_s, VXPhonebookTypeMobile},
                                                   {u"mobile"_s, VXPhonebookTypeMobile},
                                                   {u"pager"_s, VXPhonebookTypePager}};
    const QStringList words = line.words(u"TYPE"_s);
    unsigned location = 0;
    unsigned kind = 0;
    for (const QString &word : words) {
        location |= word == "home"_L1 ? unsigned(VXPhonebookTypeHome) : 0U;
        location |= word == "work"_L1 ? unsigned(VXPhonebookTypeWork) : 0U;
        kind = kind == 0 ? kinds.value(word, 0) : kind; // a single value, not a set of bits
    }
    const bool isPreferred = words.contains(u"pref"_s) || line.words(u"PREF"_s).contains(u"1"_s);
    return location | (kind == 0 && isPreferred ? unsigned(VXPhonebookTypePrimary) : kind);
}

QString labelOf(const VXCardLine &line)
{
    const QStringList words = line.words(u"TYPE"_s);
    if (words.contains(u"video"_s))
        return u"video"_s;
    return words.contains(u"msg"_s) || words.contains(u"text"_s) ? u"messaging"_s : QString();
}

// "_$!<Other>!$_" is how some address books write a label that they translate
QString plainLabel(const QString &label)
{
    const bool isWrapped = label.startsWith("_$!<"_L1) && label.endsWith(">!$_"_L1);
    return isWrapped ? label.sliced(4).chopped(4).toLower() : label;
}

QDate birthdayOf(const QString &text)
{
    const QString day = text.section(u'T', 0, 0).trimmed();
    const QDate date = QDate::fromString(day, u"yyyy-MM-dd"_s);
    return date.isValid() ? date : QDate::fromString(day, u"yyyyMMdd"_s);
}

bool isNumberURI(const QString &value)
{
    return value.startsWith("tel:"_L1, Qt::CaseInsensitive);
}

// The number in a URI: "tel:+1-555-0100;ext=12"
QString numberOf(const QString &value)
{
    if (!isNumberURI(value))
        return VXPhoneNumberWithoutTrunkZero(value);
    return QUrl::fromPercentEncoding(value.sliced(4).section(u';', 0, 0).toUtf8());
}

// "ext. 12"; null for none. An extension is dialled after the call is answered, and no part of the number.
QString extensionOf(const QString &value)
{
    static const QString mark = u";ext="_s;
    const qsizetype at = isNumberURI(value) ? value.indexOf(mark, 0, Qt::CaseInsensitive) : -1;
    return at < 0 ? QString() : u"ext. "_s + value.sliced(at + mark.size()).section(u';', 0, 0);
}

// Separates several names in one field, "Jean,Marie", by blanks. A comma before a blank is part of a name.
QString withBlanksBetweenNames(QString value)
{
    for (qsizetype index = 0; index + 1 < value.size(); ++index) {
        if (value[index] == u'\\')
            ++index; // and what it escapes
        else if (value[index] == u',' && !value[index + 1].isSpace())
            value[index] = u' ';
    }
    return value;
}

QString nullIfEmpty(const QString &text)
{
    return text.isEmpty() ? QString() : text;
}

} // namespace

/** A card that is being built. */
class VXCardReader::Building
{
public:
    explicit Building(qint64 line) { _card.line = line; }

    void add(const VXRawCardLine &raw)
    {
        if (++_propertyCount > mostProperties)
            return tell(raw.number, u"the card has more than %1 properties; the rest is left out"_s.arg(mostProperties),
                        _propertyCount == mostProperties + 1);
        QString problem;
        const std::optional<VXCardLine> line = VXCardLine::parse(raw, &problem);
        if (!problem.isNull())
            tell(raw.number, problem);
        if (line && !line->value.isNull())
            take(*line, raw.number);
        else if (line && line->isData)
            takeData(*line, raw.number);
    }

    void tell(qint64 line, const QString &text, bool isNew = true)
    {
        if (isNew && _card.problems.size() < mostProblems)
            _card.problems.append({line, text});
    }

    VXCard finished(bool isWhole)
    {
        if (!isWhole)
            tell(_card.line, u"the card that begins here has no end; it is left out"_s);
        if (_isGroup)
            return finishedGroup(isWhole);
        for (const VXCardLine &member : std::as_const(_members)) // the card is no group
            keepUnknown(member, _card.line);
        finishNames();
        finishLabels();
        const bool isContact = !_card.contact.displayName().isEmpty();
        if (isWhole && !isContact)
            tell(_card.line, u"the card that begins here has no name, number or address; it is left out"_s);
        _card.isContact = isWhole && isContact;
        return _card;
    }

private:
    using Taker = bool (Building::*)(const VXCardLine &);

    void take(const VXCardLine &line, qint64 number)
    {
        static const QHash<QString, Taker> takers = {{u"FN"_s, &Building::takeFullName},
                                                     {u"N"_s, &Building::takeName},
                                                     {u"NICKNAME"_s, &Building::takeText},
                                                     {u"ORG"_s, &Building::takeText},
                                                     {u"TITLE"_s, &Building::takeText},
                                                     {u"NOTE"_s, &Building::takeText},
                                                     {u"UID"_s, &Building::takeText},
                                                     {u"BDAY"_s, &Building::takeBirthday},
                                                     {u"TEL"_s, &Building::takeAddress},
                                                     {u"EMAIL"_s, &Building::takeAddress},
                                                     {u"URL"_s, &Building::takeAddress},
                                                     {u"ADR"_s, &Building::takePostalAddress},
                                                     {u"CATEGORIES"_s, &Building::takeList},
                                                     {u"PHOTO"_s, &Building::takePhotoURI},
                                                     {u"X-ABLABEL"_s, &Building::takeLabel},
                                                     {u"KIND"_s, &Building::takeKind},
                                                     {u"MEMBER"_s, &Building::takeMember},
                                                     {u"X-ADDRESSBOOKSERVER-KIND"_s, &Building::takeKind},
                                                     {u"X-ADDRESSBOOKSERVER-MEMBER"_s, &Building::takeMember}};
        static const QStringList passedOver{u"VERSION"_s, u"REV"_s, u"PRODID"_s, u"BEGIN"_s, u"END"_s};
        if (passedOver.contains(line.name) || line.value.trimmed().isEmpty())
            return;
        const Taker taker = takers.value(line.name, nullptr);
        _number = number;
        _kept = QString();
        if (taker == nullptr || !(this->*taker)(line))
            keepUnknown(line, number);
        else if (!_kept.isNull())
            keepParameters(line, number);
    }

    // Keeps the unknown parameters of a known property; `_kept` identifies the property again when it is written.
    void keepParameters(const VXCardLine &line, qint64 number)
    {
        const QString further = line.parametersBut(knownParameters());
        if (!further.isEmpty())
            keepUnknown(VXCardLine{.name = line.name,
                                   .header = VXCardLine::furtherParameters + further,
                                   .value = VXCardLine::mark(line.name, _kept)},
                        number);
    }

    static const QStringList &knownParameters()
    {
        static const QStringList names{u"TYPE"_s,    u"VALUE"_s, u"PREF"_s,     u"ENCODING"_s,
                                       u"CHARSET"_s, u"ALTID"_s, u"MEDIATYPE"_s};
        return names;
    }

    void keepUnknown(const VXCardLine &line, qint64 number)
    {
        const QString text = line.contentLine();
        _unknownSize += text.size();
        if (_unknownSize > largestUnknown)
            return tell(number, u"\"%1\" is left out: the card has too much that is not known here"_s.arg(line.name));
        _card.contact.properties.append(text);
        if (!line.group.isEmpty())
            _unknownGroups.append(line.group);
    }

    void takeData(const VXCardLine &line, qint64 number)
    {
        if (line.name != "PHOTO"_L1 || !_card.contact.image.isEmpty())
            keepUnknown(line, number);
        else
            takeImage(line.data, number);
    }

    void takeImage(const QByteArray &image, qint64 number)
    {
        if (image.size() > largestImage)
            tell(number, u"the picture has more than %1 MB and is left out"_s.arg(largestImage >> 20));
        else
            _card.contact.image = image;
    }

    bool takePhotoURI(const VXCardLine &line)
    {
        static const QString mark = u";base64,"_s;
        const qsizetype comma = line.value.indexOf(mark, 0, Qt::CaseInsensitive);
        if (!line.value.startsWith("data:"_L1, Qt::CaseInsensitive) || comma < 0 || !_card.contact.image.isEmpty())
            return false; // an address on the net: kept as it is
        takeImage(QByteArray::fromBase64(QStringView(line.value).sliced(comma + mark.size()).toLatin1()), _number);
        return true;
    }

    bool takeFullName(const VXCardLine &line)
    {
        if (!_card.contact.name.isEmpty())
            return false;
        _card.contact.name = VXUnescapedCardText(line.value).trimmed();
        _fullName = line;
        return true;
    }

    bool takeName(const VXCardLine &line)
    {
        if (_hasName)
            return false;
        _hasName = true;
        const QStringList parts = VXCardValueParts(withBlanksBetweenNames(line.value), u';');
        VXContactRecord &contact = _card.contact;
        QString *const fields[] = {&contact.lastName, &contact.firstName, &contact.middleName, &contact.namePrefix,
                                   &contact.nameSuffix};
        for (qsizetype index = 0; index < std::min<qsizetype>(parts.size(), 5); ++index)
            *fields[index] = nullIfEmpty(parts[index]);
        _kept = u""_s;
        return true;
    }

    bool takeText(const VXCardLine &line)
    {
        VXContactRecord &contact = _card.contact;
        QString &field = line.name == "NICKNAME"_L1 ? contact.nickname
                         : line.name == "ORG"_L1    ? contact.company
                         : line.name == "TITLE"_L1  ? contact.jobTitle
                         : line.name == "UID"_L1    ? contact.uid
                                                    : contact.note;
        if (!field.isEmpty())
            return false;
        _kept = u""_s;
        if (line.name == "ORG"_L1) // the company, then its units
            field = joinedParts(line.value, u';');
        else if (line.name == "NICKNAME"_L1)
            field = joinedParts(line.value, u',');
        else
            field = nullIfEmpty(VXUnescapedCardText(line.value).trimmed());
        return true;
    }

    // VXCardWriter splits them again.
    static QString joinedParts(const QString &value, QChar separator)
    {
        QStringList parts = VXCardValueParts(value, separator);
        parts.removeAll(u""_s);
        return nullIfEmpty(parts.join(QString(separator) + u' '));
    }

    bool takeBirthday(const VXCardLine &line)
    {
        const QDate date = birthdayOf(line.value);
        constexpr int noYear = 1604; // stands for a missing year in some address books
        if (!date.isValid() || date.year() == noYear || _card.contact.birthday.isValid())
            return false; // a date without a year is kept as text
        _card.contact.birthday = date;
        _kept = u""_s;
        return true;
    }

    bool takeAddress(const VXCardLine &line)
    {
        const QString text = VXUnescapedCardText(line.value).trimmed();
        const bool isNumber = line.name == "TEL"_L1;
        if (text.isEmpty() || (isNumber && numberOf(text).trimmed().isEmpty()))
            return true;
        QList<Address> &list = isNumber                  ? _card.contact.numbers
                               : line.name == "EMAIL"_L1 ? _card.contact.emails
                                                         : _card.contact.urls;
        const QString label = isNumber ? labelOf(line) : QString();
        list.append({isNumber ? numberOf(text) : text, typeOf(line), label.isNull() ? extensionOf(text) : label});
        _kept = list.constLast().value;
        if (!line.group.isEmpty())
            _labelled.append({line.group, &list, list.size() - 1});
        return true;
    }

    bool takePostalAddress(const VXCardLine &line)
    {
        QStringList parts = VXCardValueParts(line.value, u';');
        parts.resize(std::max<qsizetype>(parts.size(), 7));
        QStringList street{parts[2], parts[1], parts[0]}; // followed by the extended address and the box
        street.removeAll(u""_s);
        street.removeAll(QString());
        VXContactRecord::PostalAddress address{.street = nullIfEmpty(street.join(u'\n')),
                                               .city = nullIfEmpty(parts[3]),
                                               .state = nullIfEmpty(parts[4]),
                                               .zip = nullIfEmpty(parts[5]),
                                               .country = nullIfEmpty(parts[6]),
                                               .type = typeOf(line)};
        const bool isEmpty = std::ranges::all_of(parts, [](const QString &part) { return part.isEmpty(); });
        if (!isEmpty)
            _card.contact.addresses.append(address);
        if (!isEmpty)
            _kept = address.street + u' ' + address.city + u' ' + address.zip;
        return true;
    }

    bool takeList(const VXCardLine &line)
    {
        for (const QString &name : VXCardValueParts(line.value, u',')) {
            if (!name.isEmpty() && !_card.contact.groups.contains(name))
                _card.contact.groups.append(name);
        }
        return true;
    }

    bool takeLabel(const VXCardLine &line)
    {
        if (line.group.isEmpty())
            return false;
        _labels.insert(line.group, line);
        return true;
    }

    bool takeKind(const VXCardLine &line)
    {
        const bool isGroup = line.value.trimmed().compare("group"_L1, Qt::CaseInsensitive) == 0;
        _isGroup = _isGroup || isGroup;
        return isGroup;
    }

    bool takeMember(const VXCardLine &line)
    {
        _members.append(line);
        return true;
    }

    VXCard finishedGroup(bool isWhole)
    {
        VXContactRecord group;
        group.name = _card.contact.name.isEmpty() ? _card.contact.displayName() : _card.contact.name;
        group.uid = _card.contact.uid;
        _card.contact = group;
        if (isWhole && group.name.isEmpty())
            tell(_card.line, u"the group that begins here has no name; it is left out"_s);
        if (!isWhole || group.name.isEmpty())
            return _card;
        QStringList members;
        for (const VXCardLine &member : std::as_const(_members))
            members.append(VXUnescapedCardText(member.value).trimmed());
        _card.members = members;
        return _card;
    }

    // The whole name is used if its parts are unknown, and it is not a company's. A whole name that the parts would not
    // give is kept.
    void finishNames()
    {
        VXContactRecord &contact = _card.contact;
        const bool hasParts = !contact.firstName.isEmpty() || !contact.lastName.isEmpty();
        const bool isOther = (hasParts && !contact.name.isEmpty() && contact.name != contact.displayName()) ||
                             (_fullName && !_fullName->parametersBut(knownParameters()).isEmpty());
        if (_fullName && (isOther || !contact.fullNameLines().isEmpty()))
            contact.properties.prepend(_fullName->contentLine());
        if (hasParts || contact.name == contact.company || contact.name == contact.nickname)
            contact.name = QString();
        contact.name = nullIfEmpty(contact.name);
        // a number or address may stand in for a missing name
        const QList<Address> first = contact.numbers + contact.emails;
        if (!first.isEmpty() && contact.name == first.constFirst().value)
            contact.name = QString();
    }

    void finishLabels()
    {
        for (const Labelled &each : std::as_const(_labelled)) {
            const auto label = _labels.constFind(each.group);
            if (label == _labels.constEnd() || _unknownGroups.contains(each.group))
                continue;
            Address &address = (*each.list)[each.index];
            const QString text = plainLabel(VXUnescapedCardText(label->value).trimmed());
            if (address.label.isEmpty())
                address.label = text;
            _labels.erase(label);
        }
        for (const VXCardLine &unused : std::as_const(_labels))
            keepUnknown(unused, _card.line);
    }

    struct Labelled
    {
        QString group;
        QList<Address> *list;
        qsizetype index;
    };

    VXCard _card;
    QHash<QString, VXCardLine> _labels; // by group
    QList<Labelled> _labelled;
    QStringList _unknownGroups; // of properties that are kept unchanged
    QList<VXCardLine> _members; // if the card is a group
    std::optional<VXCardLine> _fullName;
    bool _isGroup = false;
    qsizetype _propertyCount = 0;
    qsizetype _unknownSize = 0;
    qint64 _number = 0; // of the property being taken
    // what was taken of the property that distinguishes it from others of its name; null if nothing is to be kept
    QString _kept;
    bool _hasName = false;
};

VXCardReader::VXCardReader(QIODevice &device) : _lines(std::make_unique<VXCardLines>(device)) {}

VXCardReader::~VXCardReader() = default;

bool VXCardReader::findBegin()
{
    bool isTold = false;
    for (VXRawCardLine raw; _begin == 0 && _lines->next(raw);) {
        if (isMark(raw, "BEGIN")) {
            _begin = raw.number;
        } else if (!raw.octets.trimmed().isEmpty() && !std::exchange(isTold, true) && _problems.size() < mostProblems) {
            _problems.append({raw.number, u"what stands here belongs to no card"_s});
        }
    }
    return _begin != 0;
}

// A card within a card, used for agents in version 2.1, directly follows its property; any other BEGIN means that an
// END is missing.
std::optional<VXCard> VXCardReader::next()
{
    if (!findBegin())
        return std::nullopt;
    Building card(std::exchange(_begin, 0));
    qsizetype size = 0;
    const auto finished = [&](bool hasEnd) {
        VXCard whole = card.finished(hasEnd);
        whole.size = size;
        return whole;
    };
    qsizetype depth = 0;
    bool isAgent = false;
    for (VXRawCardLine raw; _lines->next(raw);) {
        size += raw.octets.size();
        if (isMark(raw, "END")) {
            if (depth == 0)
                return finished(true);
            --depth;
        } else if (isMark(raw, "BEGIN")) {
            if (depth == 0 && !isAgent) {
                card.tell(raw.number, u"the card before this line has no end"_s);
                _begin = raw.number;
                return finished(true);
            }
            if (depth++ == 0)
                card.tell(raw.number, u"a card within the card is left out"_s);
        } else if (depth == 0 && !raw.octets.trimmed().isEmpty()) {
            const QByteArray upper = raw.octets.left(20).toUpper();
            isAgent = upper.startsWith("AGENT") && raw.octets.trimmed().endsWith(':');
            if (!isAgent)
                card.add(raw);
            continue;
        }
        isAgent = false;
    }
    return finished(false);
}
