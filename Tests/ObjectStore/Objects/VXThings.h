#pragma once

#include "VXAttributeType.h"

#include <QtCore/QDateTime>
#include <QtCore/QVariant>

#include <array>
#include <map>

using namespace Qt::StringLiterals;

/** A model with attributes of every type, and relationships of every kind and delete rule. */
inline const QByteArray VXThingSource = R"(
abstract entity Thing {
    attribute tag: integer64 optional;
    attribute small: integer16 optional;
    attribute whole: integer32 optional indexed;
    attribute large: integer64 optional;
    attribute real: double optional;
    attribute truth: boolean optional;
    attribute text: string optional indexed;
    attribute date: date optional;
    attribute data: binary optional;
    attribute list: property-list optional;
}
entity Person: Thing {
    relationship calls: Call[] optional inverse caller delete cascade;
    relationship phones: Phone[] optional inverse owner;
    relationship boxes: Box[] optional inverse keeper delete no-action;
    relationship groups: Group[] optional inverse members;
    relationship friends: Person[] optional inverse friends;
    relationship passport: Passport optional inverse holder delete cascade;
    relationship boss: Person optional inverse staff;
    relationship staff: Person[] optional inverse boss delete deny;
}
entity Worker: Person { attribute pay: double optional; }
entity Call: Thing { relationship caller: Person optional inverse calls; }
entity Phone: Thing { relationship owner: Person optional inverse phones; }
entity Box: Thing { relationship keeper: Person optional inverse boxes; }
entity Group: Thing { relationship members: Person[] optional inverse groups delete deny; }
entity Passport: Thing { relationship holder: Person optional inverse passport; }
)";

/** What there can be objects of; people come twice as often. */
inline const std::array VXThingNames{u"Person"_s, u"Person"_s, u"Worker"_s, u"Call"_s,
                                     u"Phone"_s,  u"Box"_s,    u"Group"_s,  u"Passport"_s};

/** Of each type the values that differ in what stores must mind. */
inline const std::map<VXAttributeType, QVariantList> VXThingValues{
    {VXAttributeType::Integer16, {{}, -32768, 0, 7}},
    {VXAttributeType::Integer32, {{}, -1, 0, 1, 2, 3}},
    {VXAttributeType::Integer64, {{}, 1LL << 53, (1LL << 53) + 1, -5LL}},
    {VXAttributeType::Double, {{}, 0.1, -2.5, 3.0, 1e300}},
    {VXAttributeType::Boolean, {{}, true, false}},
    {VXAttributeType::String,
     {{}, u""_s, u"a"_s, u"A"_s, u"Ärger"_s, u"a'b%"_s, QString(u"a\0b"_s), QString(QChar(0xD800))}},
    {VXAttributeType::Date,
     {{},
      QDateTime::fromMSecsSinceEpoch(0, Qt::UTC),
      QDateTime::fromMSecsSinceEpoch(-1, Qt::UTC),
      QDateTime::fromMSecsSinceEpoch(1'700'000'000'123, Qt::UTC)}},
    {VXAttributeType::Binary, {{}, QByteArray(""), QByteArray("\0\xff", 2)}},
    {VXAttributeType::PropertyList, {{}, u"x"_s, QVariantList{1LL, true}, QVariantMap{{u"k"_s, 0.5}}}},
};
