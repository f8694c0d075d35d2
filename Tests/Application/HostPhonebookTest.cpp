#include "HostProgram.h"
#include "VXHostJSON.h"
#include "VXTesting.h"

#include <QtCore/QJsonArray>

using namespace Qt::StringLiterals;

namespace {

QByteArray compactJSON(const VXWords &arguments, const QByteArray &input = {})
{
    const auto json = VXJSONFromText(runHost(arguments + QStringList{u"--json"_s}, input).output);
    return json ? VXJSONText(*json) : QByteArray();
}

} // namespace

using HostPhonebookTest = VXHomeTest;

TEST_F(HostPhonebookTest, ShowsColumnsOrJSON)
{
    const QString phonebook = u"phonebook"_s;
    const std::tuple<VXWords, QByteArray, QByteArray> cases[] = {
        {"split 'Jane <555-0100/Hm>' Jane ''",
         "address              Hm                   555-0100             Jane\n"
         "-                                                              Jane\n"
         "-\n",
         R"([{"letters":"Hm","name":"Jane","result":true,"text":"Jane <555-0100/Hm>","type":66,"value":"555-0100"},)"
         R"({"letters":null,"name":"Jane","result":false,"text":"Jane","type":0,"value":null},)"
         R"({"letters":null,"name":null,"result":false,"text":"","type":0,"value":null}])"},
        {"search-string '+44 20 7946 0000' x", "2079460000           +44 20 7946 0000\nx\n",
         R"([{"number":"+44 20 7946 0000","result":"2079460000"},{"number":"x","result":""}])"},
        {"format 5550100000 --pattern '(###) ###-####'", "(555) 010-0000       5550100000\n",
         R"([{"number":"5550100000","result":"(555) 010-0000"}])"},
        {"format '555 010 0000' --pattern '(###) ###-####'", "-                    555 010 0000\n",
         R"([{"number":"555 010 0000","result":null}])"},
        {"format 5550100000", // no format is set
         "5550100000           5550100000\n", R"([{"number":"5550100000","result":"5550100000"}])"},
        {"match '+1 555 010 0000, a@b.c' 'a@b.c, Jane <(555) 010-0000>'",
         "match                +1 555 010 0000, a@b.c a@b.c, Jane <(555) 010-0000>\n",
         R"([{"a":"+1 555 010 0000, a@b.c","b":"a@b.c, Jane <(555) 010-0000>","result":true}])"},
        {"match 'a@b.c, a@b.c' a@b.c", "differ               a@b.c, a@b.c         a@b.c\n",
         R"([{"a":"a@b.c, a@b.c","b":"a@b.c","result":false}])"},
    };
    for (const auto &[arguments, lines, json] : cases) {
        const std::string shown = arguments.join(u' ').toStdString();
        const HostOutcome people = runHost(QStringList{phonebook} + arguments);
        EXPECT_EQ(people.output, lines) << shown;
        EXPECT_EQ(people.status, 0) << shown << people.errors;
        EXPECT_EQ(compactJSON(QStringList{phonebook} + arguments), json) << shown;
    }
}

TEST_F(HostPhonebookTest, FormatsAsTheUserWants)
{
    const QString domain = u"com.apple.AddressBook"_s;
    runHost({"defaults", "write", domain, "ABPhoneFormat-Enabled", "true"});
    runHost({"defaults", "write", domain, "ABPhoneFormat-PhoneFormatter", uR"(["+1 (###) ###-####"])"_s});
    EXPECT_EQ(runHost("phonebook format +15550100000 12").output,
              "+1 (555) 010-0000    +15550100000\n12                   12\n");
}

TEST_F(HostPhonebookTest, TakesLinesOfStandardInput)
{
    const QStringList searchString{u"phonebook"_s, u"search-string"_s};
    EXPECT_EQ(runHost(searchString, "1 (555) 010-0000\r\n\n020 7946 0000").output,
              "5550100000           1 (555) 010-0000\n\n2079460000           020 7946 0000\n");
    EXPECT_EQ(compactJSON(searchString), QByteArray("[]"));

    const QStringList match{u"phonebook"_s, u"match"_s};
    const HostOutcome matched = runHost(match, "a@b.c\ta@b.c\nno tab\na@b.c\tx\n");
    EXPECT_EQ(matched.output, "match                a@b.c                a@b.c\n"
                              "differ               a@b.c                x\n");
    EXPECT_EQ(matched.status, 1);
    EXPECT_EQ(matched.errors, "vornix: a line without a tab between two lists was left out\n");
    EXPECT_EQ(runHostShell(u"\"$0\" phonebook split <&-"_s).status, 1);
}
