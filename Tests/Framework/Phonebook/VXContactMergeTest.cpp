#include "VXContactMerge.h"
#include "VXContactWriter.h"
#include "VXPropertyList.h"
#include "VXTesting.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

using namespace Qt::StringLiterals;

namespace {

VXContactRecord contactFrom(const char *json)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << json;
    return VXStorableContact(VXContactRecord(document.object().toVariantMap()));
}

std::string textOf(const VXContactRecord &contact)
{
    QJsonObject json = QJsonObject::fromVariantMap(contact.map());
    return QJsonDocument(json).toJson(QJsonDocument::Compact).toStdString();
}

struct MergeCase
{
    const char *name;
    const char *before;
    const char *after;
    const char *ontoBefore;
    const char *onto;
    const char *merged;
    const char *conflicts = ""; // keys and texts
};

} // namespace

TEST(VXContactMergeTest, ControlCharactersAreLeftOut)
{
    const std::pair<QString, QString> cases[] = {
        {u"a\u0001\u001b[2J\u007fb"_s, u"a[2Jb"_s}, {u"a\tb\nc\r\nd\re"_s, u"a\tb\nc\nd e"_s},
        {u"a%1b"_s.arg(QChar(0xfffe)), u"ab"_s},    {u"a%1b"_s.arg(QChar(0xd800)), u"a?b"_s},
        {u"a\U0001f600b"_s, u"a\U0001f600b"_s},     {u"\u0007"_s, {}}};
    for (const auto &[text, kept] : cases) {
        VXContactRecord contact;
        contact.firstName = u"Jane"_s;
        contact.note = text;
        contact.numbers = {{.value = u"1"_s, .label = text}};
        contact.addresses = {{.city = text}};
        const VXContactRecord clean = VXStorableContact(contact);
        EXPECT_EQ(clean.note, kept);
        EXPECT_EQ(clean.numbers.constFirst().label, kept);
        EXPECT_EQ(clean.addresses.constFirst().city, kept);
        EXPECT_EQ(VXContactRecord(contact.map()).note, kept); // as one that is stored already
        EXPECT_TRUE(VXPropertyList::isValid(VXContactRecord(contact.map()).map()));
    }
}

TEST(VXContactMergeTest, WhatChangedIsTakenOverAndNothingIsLost)
{
    const MergeCase cases[] = {
        {"nothing", R"({"company":"A"})", R"({"company":"A"})", R"({})", R"({"company":"B"})", R"({"company":"B"})"},
        {"there", R"({"company":"A","note":"n"})", R"({"company":"B","birthday":"1980-01-02"})",
         R"({"company":"A","note":"n","nickname":"x"})", R"({"company":"A","note":"n","nickname":"x"})",
         R"({"company":"B","birthday":"1980-01-02","nickname":"x"})"},
        {"both, to the same", R"({"company":"A"})", R"({"company":"B"})", R"({"company":"A"})", R"({"company":"B"})",
         R"({"company":"B"})"},
        {"both", R"({"company":"A"})", R"({"company":"B"})", R"({"company":"A"})", R"({"company":"C"})",
         R"({"company":"C"})", "company B"},
        {"removed there, changed here", R"({"company":"A"})", R"({})", R"({"company":"A"})", R"({"company":"C"})",
         R"({"company":"C"})"},
        {"changed there, removed here", R"({"company":"A"})", R"({"company":"B"})", R"({"company":"A"})", R"({})",
         R"({"company":"B"})"},
        {"agreed on before", R"({"company":"B"})", R"({"company":"C"})", R"({"company":"A"})", R"({"company":"B"})",
         R"({"company":"C"})"},
        {"cut off by the phone", R"({"company":"A"})", R"({"company":"Example"})", R"({"company":"A"})",
         R"({"company":"Example Books"})", R"({"company":"Example Books"})"},
        {"notes", R"({"note":"a"})", R"({"note":"a\nb"})", R"({"note":"a"})", R"({"note":"a\nc"})",
         R"({"note":"a\nc\nb"})"},
        {"birthdays", R"({})", R"({"birthday":"1980-01-02"})", R"({})", R"({"birthday":"1981-01-02"})",
         R"({"birthday":"1981-01-02"})", "birthday 1980-01-02"},
        {"a whole name, to one in parts", R"({"firstName":"Jane Doe"})", R"({"firstName":"Jane Roe"})",
         R"({"firstName":"Jane","lastName":"Doe"})", R"({"firstName":"Jane","lastName":"Doe"})",
         R"({"firstName":"Jane Roe"})"},
        {"a name in parts, to a whole one", R"({"firstName":"Jane","lastName":"Doe"})",
         R"({"firstName":"Jane","lastName":"Roe"})", R"({"firstName":"Jane Doe"})", R"({"firstName":"Jane Doe"})",
         R"({"firstName":"Jane","lastName":"Roe"})"},
        {"both, one in parts", R"({"firstName":"Jane Doe"})", R"({"firstName":"Jane Roe"})",
         R"({"firstName":"Jane","lastName":"Doe"})", R"({"firstName":"Janet","lastName":"Doe"})",
         R"({"firstName":"Janet","lastName":"Doe"})", "name Jane Roe"},
        {"both, one the parts", R"({"firstName":"Jane","lastName":"Doe"})", R"({"firstName":"Jane Doe"})",
         R"({"firstName":"Jane","lastName":"Doe"})", R"({"firstName":"Jane","lastName":"Roe"})",
         R"({"firstName":"Jane","lastName":"Roe"})", "name Jane Doe"},
        {"both, to the same in parts", R"({"company":"A"})", R"({"company":"A","firstName":"Jane Doe"})",
         R"({"company":"A"})", R"({"company":"A","firstName":"Jane","lastName":"Doe"})",
         R"({"company":"A","firstName":"Jane","lastName":"Doe"})"},
        {"put into parts there, longer here", R"({"firstName":"Jane Doe"})", R"({"firstName":"Jane","lastName":"Doe"})",
         R"({"firstName":"Jane Doe"})", R"({"firstName":"Jane M. Doe"})", R"({"firstName":"Jane M. Doe"})"},
        {"numbers added at both", R"({"numbers":["1"]})", R"({"numbers":["1","2"]})", R"({"numbers":["1"]})",
         R"({"numbers":["1","3"]})", R"({"numbers":["1","3","2"]})"},
        {"one removed there, one here", R"({"numbers":["1","2","3"]})", R"({"numbers":["2","3"]})",
         R"({"numbers":["1","2","3"]})", R"({"numbers":["1","3"]})", R"({"numbers":["3"]})"},
        {"written otherwise here", R"({"numbers":["5550100"]})", R"({"numbers":["5550100","2"]})",
         R"({"numbers":["(555) 0100"]})", R"({"numbers":["(555) 0100"]})", R"({"numbers":["(555) 0100","2"]})"},
        {"one removed there, described anew here", R"({"numbers":["1"]})", R"({})", R"({"numbers":["1"]})",
         R"({"numbers":[{"number":"1","type":2}]})", R"({"numbers":[{"number":"1","type":2}]})"},
        {"described anew there, with a label of ours", R"({"numbers":["1"]})",
         R"({"numbers":[{"number":"1","type":2}]})", R"({"numbers":["1"]})",
         R"({"numbers":[{"number":"1","label":"boat"}]})", R"({"numbers":[{"number":"1","type":2,"label":"boat"}]})"},
        {"described anew at both", R"({"numbers":["1","2"],"emails":["a@b.c"]})",
         R"({"numbers":[{"number":"1","type":66},"2"],"emails":[{"address":"a@b.c","type":128}]})",
         R"({"numbers":["1","2"],"emails":["a@b.c"]})",
         R"({"numbers":[{"number":"1","type":6},"2"],"emails":[{"address":"a@b.c","type":64}]})",
         R"({"numbers":[{"number":"1","type":6},"2"],"emails":[{"address":"a@b.c","type":64}]})",
         "emails <a@b.c/W>,numbers <1/Hm>"},
        {"removed there, with a label of ours", R"({"numbers":["1"]})", R"({})", R"({"numbers":["1"]})",
         R"({"numbers":[{"number":"1","label":"boat"}],"note":"n"})", R"({"note":"n"})"},
        {"removed here, described anew there", R"({"emails":["a@b.c"]})",
         R"({"emails":[{"address":"a@b.c","type":64}]})", R"({"emails":["a@b.c"]})", R"({})",
         R"({"emails":[{"address":"a@b.c","type":64}]})"},
        {"an address", R"({"addresses":[{"city":"A"}]})", R"({"addresses":[{"city":"B"}]})",
         R"({"addresses":[{"city":"A"}]})", R"({"addresses":[{"city":"A"},{"city":"C"}]})",
         R"({"addresses":[{"city":"C"},{"city":"B"}]})"},
        {"what phones have no place for", R"({"company":"A"})", R"({"company":"B"})", R"({"company":"A"})",
         R"({"company":"A","uid":"u","properties":"X-A:1","groups":["Family"]})",
         R"({"company":"B","uid":"u","properties":"X-A:1","groups":["Family"]})"},
    };
    for (const MergeCase &each : cases) {
        const VXMergedContact merged = VXMergeContacts(contactFrom(each.before), contactFrom(each.after),
                                                       contactFrom(each.ontoBefore), contactFrom(each.onto));
        EXPECT_TRUE(VXIsSameContact(merged.contact, contactFrom(each.merged)))
            << each.name << ": " << textOf(merged.contact);
        QStringList conflicts;
        for (const VXMergedContact::Conflict &conflict : merged.conflicts)
            conflicts.append(conflict.key + u' ' + conflict.other);
        EXPECT_EQ(conflicts.join(u','), QString::fromUtf8(each.conflicts)) << each.name;
    }
}

// A name in one field and the same in parts is one name.
TEST(VXContactMergeTest, OfTwoNamesTheOneThatSaysMoreIsKept)
{
    const struct
    {
        const char *known;
        const char *news;
        const char *withNews;
        const char *withKnown;
    } cases[] = {
        {R"({"firstName":"Jane","lastName":"Doe"})", R"({"name":"Jane Doe"})",
         R"({"firstName":"Jane","lastName":"Doe"})", R"({"firstName":"Jane","lastName":"Doe"})"},
        {R"({"firstName":"Jane Doe"})", R"({"firstName":"Jane","lastName":"Doe"})",
         R"({"firstName":"Jane","lastName":"Doe"})", R"({"firstName":"Jane","lastName":"Doe"})"},
        {R"({"firstName":"Jane","lastName":"Doe"})", R"({"name":"DOE, Jane"})",
         R"({"firstName":"Jane","lastName":"Doe"})", R"({"firstName":"Jane","lastName":"Doe"})"},
        {R"({"firstName":"Jane","middleName":"Q","lastName":"Doe"})", R"({"firstName":"Jane Doe"})",
         R"({"firstName":"Jane","middleName":"Q","lastName":"Doe"})",
         R"({"firstName":"Jane","middleName":"Q","lastName":"Doe"})"},
        {R"({"firstName":"Jane","lastName":"Doe"})", R"({"firstName":"Jane","lastName":"Doe","namePrefix":"Dr."})",
         R"({"firstName":"Jane","lastName":"Doe","namePrefix":"Dr."})",
         R"({"firstName":"Jane","lastName":"Doe","namePrefix":"Dr."})"},
        {R"({"firstName":"Jane","lastName":"Doe","nameSuffix":"M.A."})",
         R"({"firstName":"Jane","lastName":"Doe","namePrefix":"Dr."})",
         R"({"firstName":"Jane","lastName":"Doe","namePrefix":"Dr.","nameSuffix":"M.A."})",
         R"({"firstName":"Jane","lastName":"Doe","namePrefix":"Dr.","nameSuffix":"M.A."})"},
        {R"({"firstName":"Jane","lastName":"Doe"})", R"({"firstName":"Jane Roe"})", R"({"firstName":"Jane Roe"})",
         R"({"firstName":"Jane","lastName":"Doe","note":"name: Jane Roe"})"},
        {R"({"firstName":"Jane","middleName":"Q","lastName":"Doe"})", R"({"firstName":"Janet","lastName":"Doe"})",
         R"({"firstName":"Janet","lastName":"Doe"})",
         R"({"firstName":"Jane","middleName":"Q","lastName":"Doe","note":"name: Janet Doe"})"},
        {R"({"company":"Mill","note":"a"})", R"({"company":"Mill","note":"b"})", R"({"company":"Mill","note":"b"})",
         R"({"company":"Mill","note":"a\nb"})"},
        {R"({"company":"Mill"})", R"({"firstName":"Jane","lastName":"Doe"})",
         R"({"company":"Mill","firstName":"Jane","lastName":"Doe"})",
         R"({"company":"Mill","firstName":"Jane","lastName":"Doe"})"},
    };
    for (const auto &each : cases) {
        for (const auto &[precedence, expected] :
             {std::pair(VXContactPrecedence::News, each.withNews), {VXContactPrecedence::Known, each.withKnown}}) {
            const VXContactRecord both = VXUnitedContact(contactFrom(each.known), contactFrom(each.news), precedence);
            EXPECT_TRUE(VXIsSameContact(both, contactFrom(expected))) << each.news << ": " << textOf(both);
            EXPECT_TRUE(VXIsSameContact(VXUnitedContact(both, contactFrom(each.news), precedence), both)) << each.news;
        }
    }
}

// Unlike a number with only a location, which is one to talk to.
TEST(VXContactMergeTest, ANumberOfUnknownUseMayBeAFax)
{
    for (const auto &[known, united] : {std::pair(R"({"numbers":["1"]})", R"({"numbers":[{"number":"1","type":1}]})"),
                                        {R"({"numbers":[{"number":"1","type":64}]})",
                                         R"({"numbers":[{"number":"1","type":64},{"number":"1","type":1}]})"}}) {
        const VXContactRecord fax = contactFrom(R"({"numbers":[{"number":"1","type":1}]})");
        const VXContactRecord both = VXUnitedContact(contactFrom(known), fax, VXContactPrecedence::Equals);
        EXPECT_TRUE(VXIsSameContact(both, contactFrom(united))) << textOf(both);
    }
}
