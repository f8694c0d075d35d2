#include "VXCardBuilder.h"

#include "VXCardAddress.h"
#include "VXCardText.h"

#include <algorithm>

using namespace Qt::StringLiterals;

using Address = VXContactRecord::Address;

namespace {

QDate birthdayOf(const QString &text)
{
    const QString day = text.section(u'T', 0, 0).trimmed();
    const QDate date = QDate::fromString(day, u"yyyy-MM-dd"_s);
    return date.isValid() ? date : QDate::fromString(day, u"yyyyMMdd"_s);
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

// VXCardWriter splits them again.
QString joinedParts(const QString &value, QChar separator)
{
    QStringList parts = VXCardValueParts(value, separator);
    parts.removeAll(u""_s);
    return nullIfEmpty(parts.join(QString(separator) + u' '));
}

const QStringList &knownParameters()
{
    static const QStringList names{u"TYPE"_s,    u"VALUE"_s, u"PREF"_s,     u"ENCODING"_s,
                                   u"CHARSET"_s, u"ALTID"_s, u"MEDIATYPE"_s};
    return names;
}

} // namespace

void VXCardBuilder::add(const VXRawCardLine &raw)
{
    constexpr qsizetype most = VXCardReader::mostProperties;
    if (++_propertyCount == most + 1)
        tell(raw.number, u"the card has more than %1 properties; the rest is left out"_s.arg(most));
    if (_propertyCount > most)
        return;
    QString problem;
    const std::optional<VXCardLine> line = VXCardLine::parse(raw, &problem);
    if (!problem.isNull())
        tell(raw.number, problem);
    if (line && !line->value.isNull())
        take(*line, raw.number);
    else if (line && line->isData)
        takeData(*line, raw.number);
}

void VXCardBuilder::tell(qint64 line, const QString &text)
{
    if (_card.problems.size() < VXCardReader::mostProblems)
        _card.problems.append({line, text});
}

VXCard VXCardBuilder::finished(bool isWhole)
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

void VXCardBuilder::take(const VXCardLine &line, qint64 number)
{
    static const QHash<QString, Taker> takers = {{u"FN"_s, &VXCardBuilder::takeFullName},
                                                 {u"N"_s, &VXCardBuilder::takeName},
                                                 {u"NICKNAME"_s, &VXCardBuilder::takeText},
                                                 {u"ORG"_s, &VXCardBuilder::takeText},
                                                 {u"TITLE"_s, &VXCardBuilder::takeText},
                                                 {u"NOTE"_s, &VXCardBuilder::takeText},
                                                 {u"UID"_s, &VXCardBuilder::takeText},
                                                 {u"BDAY"_s, &VXCardBuilder::takeBirthday},
                                                 {u"TEL"_s, &VXCardBuilder::takeAddress},
                                                 {u"EMAIL"_s, &VXCardBuilder::takeAddress},
                                                 {u"URL"_s, &VXCardBuilder::takeAddress},
                                                 {u"ADR"_s, &VXCardBuilder::takePostalAddress},
                                                 {u"CATEGORIES"_s, &VXCardBuilder::takeList},
                                                 {u"PHOTO"_s, &VXCardBuilder::takePhotoURI},
                                                 {u"X-ABLABEL"_s, &VXCardBuilder::takeLabel},
                                                 {u"KIND"_s, &VXCardBuilder::takeKind},
                                                 {u"MEMBER"_s, &VXCardBuilder::takeMember},
                                                 {u"X-ADDRESSBOOKSERVER-KIND"_s, &VXCardBuilder::takeKind},
                                                 {u"X-ADDRESSBOOKSERVER-MEMBER"_s, &VXCardBuilder::takeMember}};
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
void VXCardBuilder::keepParameters(const VXCardLine &line, qint64 number)
{
    const QString further = line.parametersBut(knownParameters());
    if (!further.isEmpty())
        keepUnknown(VXCardLine{.name = line.name,
                               .header = VXCardLine::furtherParameters + further,
                               .value = VXCardLine::mark(line.name, _kept)},
                    number);
}

void VXCardBuilder::keepUnknown(const VXCardLine &line, qint64 number)
{
    const QString text = line.contentLine();
    _unknownSize += text.size();
    if (_unknownSize > VXCardReader::largestUnknown)
        return tell(number, u"\"%1\" is left out: the card has too much that is not known here"_s.arg(line.name));
    _card.contact.properties.append(text);
    if (!line.group.isEmpty())
        _unknownGroups.append(line.group);
}

void VXCardBuilder::takeData(const VXCardLine &line, qint64 number)
{
    if (line.name != "PHOTO"_L1 || !_card.contact.image.isEmpty())
        keepUnknown(line, number);
    else
        takeImage(line.data, number);
}

void VXCardBuilder::takeImage(const QByteArray &image, qint64 number)
{
    if (image.size() > VXCardReader::largestImage)
        tell(number, u"the picture has more than %1 MB and is left out"_s.arg(VXCardReader::largestImage >> 20));
    else
        _card.contact.image = image;
}

bool VXCardBuilder::takePhotoURI(const VXCardLine &line)
{
    static const QString mark = u";base64,"_s;
    const qsizetype comma = line.value.indexOf(mark, 0, Qt::CaseInsensitive);
    if (!line.value.startsWith("data:"_L1, Qt::CaseInsensitive) || comma < 0 || !_card.contact.image.isEmpty())
        return false; // an address on the net: kept as it is
    takeImage(QByteArray::fromBase64(QStringView(line.value).sliced(comma + mark.size()).toLatin1()), _number);
    return true;
}

bool VXCardBuilder::takeFullName(const VXCardLine &line)
{
    if (!_card.contact.name.isEmpty())
        return false;
    _card.contact.name = VXUnescapedCardText(line.value).trimmed();
    _fullName = line;
    return true;
}

bool VXCardBuilder::takeName(const VXCardLine &line)
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

bool VXCardBuilder::takeText(const VXCardLine &line)
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

bool VXCardBuilder::takeBirthday(const VXCardLine &line)
{
    const QDate date = birthdayOf(line.value);
    constexpr int noYear = 1604; // stands for a missing year in some address books
    if (!date.isValid() || date.year() == noYear || _card.contact.birthday.isValid())
        return false; // a date without a year is kept as text
    _card.contact.birthday = date;
    _kept = u""_s;
    return true;
}

bool VXCardBuilder::takeAddress(const VXCardLine &line)
{
    const Address address = VXAddressOfCardLine(line);
    if (address.value.trimmed().isEmpty())
        return true;
    QList<Address> &list = line.name == "TEL"_L1     ? _card.contact.numbers
                           : line.name == "EMAIL"_L1 ? _card.contact.emails
                                                     : _card.contact.urls;
    list.append(address);
    _kept = address.value;
    if (!line.group.isEmpty())
        _labelled.append({line.group, &list, list.size() - 1});
    return true;
}

bool VXCardBuilder::takePostalAddress(const VXCardLine &line)
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
                                           .type = VXTypeOfCardLine(line)};
    const bool isEmpty = std::ranges::all_of(parts, [](const QString &part) { return part.isEmpty(); });
    if (!isEmpty)
        _card.contact.addresses.append(address);
    if (!isEmpty)
        _kept = address.street + u' ' + address.city + u' ' + address.zip;
    return true;
}

bool VXCardBuilder::takeList(const VXCardLine &line)
{
    for (const QString &name : VXCardValueParts(line.value, u',')) {
        if (!name.isEmpty() && !_card.contact.groups.contains(name))
            _card.contact.groups.append(name);
    }
    return true;
}

bool VXCardBuilder::takeLabel(const VXCardLine &line)
{
    if (line.group.isEmpty())
        return false;
    _labels.insert(line.group, line);
    return true;
}

bool VXCardBuilder::takeKind(const VXCardLine &line)
{
    const bool isGroup = line.value.trimmed().compare("group"_L1, Qt::CaseInsensitive) == 0;
    _isGroup = _isGroup || isGroup;
    return isGroup;
}

bool VXCardBuilder::takeMember(const VXCardLine &line)
{
    _members.append(line);
    return true;
}

VXCard VXCardBuilder::finishedGroup(bool isWhole)
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
void VXCardBuilder::finishNames()
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

void VXCardBuilder::finishLabels()
{
    for (const Labelled &each : std::as_const(_labelled)) {
        const auto label = _labels.constFind(each.group);
        if (label == _labels.constEnd() || _unknownGroups.contains(each.group))
            continue;
        Address &address = (*each.list)[each.index];
        const QString text = VXPlainCardLabel(VXUnescapedCardText(label->value).trimmed());
        if (address.label.isEmpty())
            address.label = text;
        _labels.erase(label);
    }
    for (const VXCardLine &unused : std::as_const(_labels))
        keepUnknown(unused, _card.line);
}
