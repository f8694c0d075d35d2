#include "HostProgram.h"
#include "VXHostJSON.h"
#include "VXTesting.h"

#include <QtCore/QJsonArray>

using namespace Qt::StringLiterals;

namespace {

QByteArray compactJSON(const QStringList &arguments, const QByteArray &input = {})
{
    const auto json = VXJSONFromText(runHost(arguments + QStringList{u"--json"_s}, input).output);
    return json ? VXJSONText(*json) : QByteArray();
}

} // namespace

using HostPhonebookTest = VXHomeTest;

TEST_F(HostPhonebookTest, ShowsColumnsOrJSON)
{
    const QString phonebook = u"phonebook"_s;
    const struct
    {
        QStringList arguments;
        QByteArray lines;
        QByteArray json;
    } cases[] = {
        {{u"split"_s, u"Jane <555-0100/Hm>"_s, u"Jane"_s, u""_s},
         "address              Hm                   555-0100             Jane\n"
         "-                                                              Jane\n"
         "-\n",
         R"([{"letters":"Hm","name":"Jane","result":true,"text":"Jane <555-0100/Hm>","type":66,"value":"555-0100"},)"
         R"({"letters":null,"name":"Jane","result":false,"text":"Jane","type":0,"value":null},)"
         R"({"letters":null,"name":null,"result":false,"text":"","type":0,"value":null}])"},
        {{u"search-string"_s, u"+44 20 7946 0000"_s, u"x"_s},
         "2079460000           +44 20 7946 0000\nx\n",
         R"([{"number":"+44 20 7946 0000","result":"2079460000"},{"number":"x","result":""}])"},
        {{u"format"_s, u"5550100000"_s, u"--pattern"_s, u"(###) ###-####"_s},
         "(555) 010-0000       5550100000\n",
         R"([{"number":"5550100000","result":"(555) 010-0000"}])"},
        {{u"format"_s, u"555 010 0000"_s, u"--pattern"_s, u"(###) ###-####"_s},
         "-                    555 010 0000\n",
         R"([{"number":"555 010 0000","result":null}])"},
        {{u"format"_s, u"5550100000"_s}, // no format is set
         "5550100000           5550100000\n",
         R"([{"number":"5550100000","result":"5550100000"}])"},
        {{u"match"_s, u"+1 555 010 0000, a@b.c"_s, u"a@b.c, Jane <(555) 010-0000>"_s},
         "match                +1 555 010 0000, a@b.c a@b.c, Jane <(555) 010-0000>\n",
         R"([{"a":"+1 555 010 0000, a@b.c","b":"a@b.c, Jane <(555) 010-0000>","result":true}])"},
        {{u"match"_s, u"a@b.c, a@b.c"_s, u"a@b.c"_s},
         "differ               a@b.c, a@b.c         a@b.c\n",
         R"([{"a":"a@b.c, a@b.c","b":"a@b.c","result":false}])"},
    };
    for (const auto &[arguments, lines, json] : cases) {
        const std::string shown = arguments.join(u' ').toStdString();
        const HostOutcome people = runHost(QStringList{phonebook} + arguments);
        EXPECT_EQ(people.output, lines) << shown;
        EXPECT_EQ(people.status, 0) << shown << people.errors.toStdString();
        EXPECT_EQ(compactJSON(QStringList{phonebook} + arguments), json) << shown;
    }
}

TEST_F(HostPhonebookTest, FormatsAsTheUserWants)
{
    const QString domain = u"com.apple.AddressBook"_s;
    runHost({u"defaults"_s, u"write"_s, domain, u"ABPhoneFormat-Enabled"_s, u"true"_s});
    runHost({u"defaults"_s, u"write"_s, domain, u"ABPhoneFormat-PhoneFormatter"_s, uR"(["+1 (###) ###-####"])"_s});
    EXPECT_EQ(runHost({u"phonebook"_s, u"format"_s, u"+15550100000"_s, u"12"_s}).output,
              QByteArray("+1 (555) 010-0000    +15550100000\n12                   12\n"));
}

TEST_F(HostPhonebookTest, TakesLinesOfStandardInput)
{
    const QStringList searchString{u"phonebook"_s, u"search-string"_s};
    EXPECT_EQ(runHost(searchString, "1 (555) 010-0000\r\n\n020 7946 0000").output,
              QByteArray("5550100000           1 (555) 010-0000\n\n2079460000           020 7946 0000\n"));
    EXPECT_EQ(compactJSON(searchString), QByteArray("[]"));

    const QStringList match{u"phonebook"_s, u"match"_s};
    const HostOutcome matched = runHost(match, "a@b.c\ta@b.c\nno tab\na@b.c\tx\n");
    EXPECT_EQ(matched.output, QByteArray("match                a@b.c                a@b.c\n"
                                         "differ               a@b.c                x\n"));
    EXPECT_EQ(matched.status, 1);
    EXPECT_EQ(matched.errors, QByteArray("vornix: a line without a tab between two lists was left out\n"));
    EXPECT_EQ(runHostShell(u"\"$0\" phonebook split <&-"_s).status, 1);
}

TEST_F(HostPhonebookTest, WrongUsage)
{
    for (const QStringList &arguments : {QStringList{},
                                         {u"join"_s},
                                         {u"match"_s, u"a"_s},
                                         {u"match"_s, u"a"_s, u"b"_s, u"c"_s},
                                         {u"split"_s, u"a"_s, u"--pattern"_s, u"#"_s}})
        EXPECT_EQ(runHost(QStringList{u"phonebook"_s} + arguments).status, 2) << arguments.join(u' ').toStdString();
}
