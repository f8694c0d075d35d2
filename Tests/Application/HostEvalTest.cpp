#include "VXEvalRegistry.h"
#include "VXEvalSession.h"
#include "VXTesting.h"

#include <QtCore/QJsonDocument>

using namespace Qt::StringLiterals;

namespace {

QByteArrayList answersTo(const QByteArray &input, qsizetype chunk = 64 * 1024,
                         const VXEvalRegistry &registry = VXEvalRegistry::standard())
{
    QByteArrayList answers;
    VXEvalSession session(registry, [&](const QByteArray &answer) { answers.append(answer); });
    for (qsizetype start = 0; start < input.size(); start += chunk)
        session.feed(input.mid(start, chunk));
    session.finish();
    return answers;
}

QByteArray requestFor(const QByteArray &call, const QByteArray &arguments)
{
    return "{\"call\":\"" + call + "\",\"args\":" + arguments + '}';
}

using HostEvalTest = VXHomeTest;

} // namespace

TEST_F(HostEvalTest, AnswersCalls)
{
    const std::pair<QByteArray, QByteArray> cases[] = {
        {R"({"call": "compareWithArray", "args": [["a","b","c"], ["b","c","d"]]})",
         R"({"result":{"$$__COMPARISON_ADDED__$$":["d"],"$$__COMPARISON_REMOVED__$$":["a"],)"
         R"("$$__COMPARISON_UNCHANGED__$$":["b","c"]}})"},
        {R"({"call": "compareWithArray", "args": [["a","a"], ["a"]]})",
         R"({"result":{"$$__COMPARISON_UNCHANGED__$$":["a"]}})"},
        {R"({"call": "compareWithArray", "args": [[], []]})", R"({"result":null})"},
        {R"({"call": "compareWithArray", "args": [[], [9007199254740993, 1.5, null, {"k": [true]}]]})",
         R"({"result":{"$$__COMPARISON_ADDED__$$":[9007199254740993,1.5,null,{"k":[true]}]}})"},
        {R"({"call": "compareWithArray", "args": [[null, {"k": 1}, "1"], [null, {"k": 1}, 1]]})",
         R"({"result":{"$$__COMPARISON_ADDED__$$":[1],"$$__COMPARISON_REMOVED__$$":["1"],)"
         R"("$$__COMPARISON_UNCHANGED__$$":[null,{"k":1}]}})"},
        {R"({"call": "logLevelString", "args": [3]})", R"({"result":"ERROR"})"},
        {R"({"call": "logLevelString", "args": [4294967295]})", R"({"result":"Level 4294967295"})"},
        {R"({"args": [8.0], "call": "logLevelString"})", R"({"result":"Level 8"})"},
        // What does not fit tells where and why.
        {R"({"call": "logLevelString", "args": [-1]})",
         R"({"error":"logLevelString: argument 1 (level) must be a whole number from 0 to 4294967295, not the number -1"})"},
        {R"({"call": "logLevelString", "args": [4294967296]})",
         R"({"error":"logLevelString: argument 1 (level) must be a whole number from 0 to 4294967295, not the number )"
         R"(4294967296"})"},
        {R"({"call": "logLevelString", "args": [1.5]})",
         R"({"error":"logLevelString: argument 1 (level) must be a whole number from 0 to 4294967295, not the number 1.5"})"},
        {R"({"call": "compareWithArray", "args": [[], "x"]})",
         R"({"error":"compareWithArray: argument 2 (new) must be an array, not a string"})"},
        {R"({"call": "compareWithArray", "args": [[]]})",
         R"({"error":"compareWithArray: 2 arguments expected (old, new), 1 given"})"},
        {R"({"call": "formatForLog", "args": []})",
         R"({"error":"formatForLog: 1 to 2 arguments expected (level, message), 0 given"})"},
        {R"({"call": "formatForLog", "args": [1, {}]})",
         R"({"error":"formatForLog: argument 2 (message) must be a string or null, not an object"})"},
        {R"({"call": "nothing"})", R"({"error":"unknown call \"nothing\""})"},
        {R"({"call": 1})", R"({"error":"\"call\" must be a string"})"},
        {R"({"call": "logLevelString", "args": {}})", R"({"error":"\"args\" must be an array"})"},
        {"[1]", R"({"error":"no JSON object: an array"})"},
    };
    QByteArray script;
    for (const auto &[line, answer] : cases) {
        EXPECT_EQ(answersTo(line), QByteArrayList{answer});
        script += line + '\n';
    }
    EXPECT_EQ(answersTo(script).size(), std::ssize(cases)); // an error does not end it
    EXPECT_TRUE(answersTo("{\"call\"").first().startsWith(R"({"error":"no JSON object: )"));
}

// What each operation does, tests of its own tell; here that each call reaches it, with all it takes and gives.
TEST_F(HostEvalTest, EveryCallReachesItsOperation)
{
    const struct
    {
        QByteArray call;
        QByteArray arguments;
        QByteArray answer; // without the braces around it
    } cases[] = {
        {"VXPhonebookStringSplit", R"(["Jane <555-0100/Hm>"])",
         R"("name":"Jane","result":true,"type":66,"value":"555-0100")"},
        {"VXPhonebookStringSplit", "[null]", R"("name":null,"result":false,"type":0,"value":null)"},
        {"VXPhonebookStringJoin", R"(["Jane","555-0100",2])", R"("result":"Jane <555-0100/m>")"},
        {"VXUnpackPhonebookStrings", R"(["Doe, Jane <555-0100>, 555-0199",true])",
         R"("result":["Doe, Jane <555-0100>","555-0199"])"},
        {"VXUnpackPhonebookStrings", R"(["F { a@b.cd, 555 }",false])", R"("result":["F { a@b.cd, 555 }"])"},
        {"VXPackPhonebookStrings", R"([["a","b"]])", R"("result":"a, b")"},
        {"VXPhonebookGroupSplit", R"(["Friends { a@b.cd; Jo <555-0100> }"])",
         R"("members":["a@b.cd","Jo <555-0100>"],"name":"Friends","result":true)"},
        {"VXPhonebookGroupSplit", R"(["Friends {"])", R"("members":[],"name":null,"result":false)"},
        {"VXPhonebookGroupJoin", R"(["Friends",["a","b"]])", R"("result":"Friends { a, b }")"},
        {"VXPhonebookStringsMatch", R"(["555-0100, a@b.c","a@b.c, Jo <5550100>"])", R"("result":true)"},
        {"VXIsValidPhoneNumber", R"(["*#06#"])", R"("result":true)"},
        {"VXIsValidEmailAddress", R"(["x@c.d.e.a_b"])", R"("result":false)"},
        {"VXIsValidPhonebookType", R"([""])", R"("result":true)"},
        {"VXPhonebookTypeMaskFromString", R"(["fm"])", R"("result":3)"},
        {"VXStringFromPhonebookTypeMask", "[192]", R"("result":null)"},
        {"stringByEscapingCharactersInString", R"(["a,b","<>{},"])", R"("result":"a\\,b")"},
        {"stringByUnescapingCharactersInString", R"(["a\\,b\\","<>{},"])", R"("result":"a,b")"},
        {"VXPhoneNumberSearchString", R"(["+44 20 7946 0000"])", R"("result":"2079460000")"},
        {"VXPhoneNumberByStrippingCountryCode", R"(["442079460000"])", R"("result":"2079460000")"},
        {"VXPhoneNumberInternationalAccessCode", R"(["0011555010"])", R"("result":"0011")"},
        {"VXPhoneNumberNationalAccessCode", R"(["5550100"])", R"("result":null)"},
        {"VXPhoneNumberWithFormat", R"(["+15550100000","+1 (###) ###-####"])", R"("result":"+1 (555) 010-0000")"},
        {"VXFormatPhoneNumber", R"(["5550100"])", R"("result":"5550100")"},
        {"compareVersion", R"(["1.9","1.10"])", R"("result":-1)"},
        {"VXMakeURLString", R"(["x","a&b",{"k":"%","n":1,"o":null,"p":""}])", R"("result":"x:a%26b?k=%25&n=1")"},
        {"VXComponentsFromURLString", R"(["callto:555%201234?device=x"])",
         R"("result":{"device":"x","host":"555 1234","scheme":"callto"})"},
        {"VXComponentsFromURLString", "[null]", R"("result":null)"},
        {"VXCalltoURLString", R"(["555 1234","d"])", R"("result":"callto:555%201234?device=d")"},
        {"VXCalltoURLString", R"(["5"])", R"("result":"callto:5")"},
        {"VXChatURLString", R"(["joe",null,"d"])", R"("result":"vxchat:joe?device=d")"},
        {"VXMessagetoURLString", R"(["joe","","d"])", R"("result":"messageto:joe?body=&device=d")"},
        {"VXMakePhonebookURL", "[]", R"("result":"vxbook://localhost/")"},
        {"VXMakePhonebookURL", R"(["h","a b","c/d"])", R"("result":"vxbook://h/a%20b/c%2Fd")"},
        {"VXMakeDeviceURL", R"([null,"p","d"])", R"("result":"vxdevice://localhost/p/d")"},
        {"VXGetDeviceURLFromURL", R"(["vxdevice://localhost/p/d/messages/7"])",
         R"("result":"vxdevice://localhost/p/d")"},
        {"VXMakeDevicePreferenceKey", R"(["vxdevice://localhost/org.p/d","k"])", R"("result":"org.p.d.k")"},
    };
    for (const auto &[call, arguments, answer] : cases)
        EXPECT_EQ(answersTo(requestFor(call, arguments)), QByteArrayList{'{' + answer + '}'}) << call.toStdString();
}

TEST_F(HostEvalTest, FormatsLogLines)
{
    const auto line = [](const QByteArray &arguments) {
        const QByteArray answer = answersTo(R"({"call": "formatForLog", "args": )" + arguments + '}').first();
        return QJsonDocument::fromJson(answer).object().value(u"result"_s).toString().toStdString();
    };
    const std::string prefix = R"(^[A-Z][a-z]{2} \d\d \d\d:\d\d:\d\d\.\d{3} \[\d+:0\] <)";
    EXPECT_THAT(line(R"([3, "x \u00fc"])"), testing::ContainsRegex("\\[[0-9]+:0\\] <ERROR> x \xC3\xBC\n$"));
    EXPECT_THAT(line("[8, null]"), testing::ContainsRegex("\\[[0-9]+:0\\] <Level 8>\n$"));
    EXPECT_EQ(line("[8]").size(), line("[8, null]").size());
}

TEST_F(HostEvalTest, LinesAreCutWhereverTheChunksEnd)
{
    const QByteArray input = "\n{\"call\":\"logLevelString\",\"args\":[0]}\r\n  \n{bad\n"
                             "{\"call\":\"logLevelString\",\"args\":[7]}";
    const QByteArrayList whole = answersTo(input);
    ASSERT_EQ(whole.size(), 3);
    EXPECT_EQ(whole.first(), QByteArray(R"({"result":"FATAL"})"));
    EXPECT_EQ(whole.last(), QByteArray(R"({"result":"DEBUG"})"));
    for (qsizetype chunk = 1; chunk < input.size(); ++chunk)
        EXPECT_EQ(answersTo(input, chunk), whole) << chunk;

    const QByteArray text(5'000'000, 'x');
    const auto answers = answersTo(R"({"call":"compareWithArray","args":[[],[")" + text + "\"]]}\n{}");
    ASSERT_EQ(answers.size(), 2);
    EXPECT_TRUE(answers.first().contains(text));
}

TEST_F(HostEvalTest, ParametersAndAnswersOfEveryKind)
{
    VXEvalRegistry registry;
    registry.add(u"all"_s, {u"b"_s, u"i"_s, u"d"_s, u"m"_s, u"v"_s, u"s"_s},
                 [](bool b, signed char i, double d, const QVariantMap &m, const QVariant &v, std::optional<qint64> s) {
                     return VXEvalAnswer{QVariantList{b, i, d, m, v}, {{u"s"_s, s ? QVariant(*s) : QVariant()}}};
                 });
    registry.add(u"none"_s, {}, [] { return QString(); });
    registry.add(u"throws"_s, {}, []() -> int { throw std::runtime_error("why"); });
    const std::pair<QByteArray, QByteArray> cases[] = {
        {R"({"call":"all","args":[true,-128,1,{"k":null},null]})",
         R"({"result":[true,-128,1,{"k":null},null],"s":null})"},
        {R"({"call":"all","args":[true,1,0.5,{},"v",9]})", R"({"result":[true,1,0.5,{},"v"],"s":9})"},
        {R"({"call":"all","args":[1,1,1,{},1]})",
         R"({"error":"all: argument 1 (b) must be true or false, not the number 1"})"},
        {R"({"call":"all","args":[true,128,1,{},1]})",
         R"({"error":"all: argument 2 (i) must be a whole number from -128 to 127, not the number 128"})"},
        {R"({"call":"all","args":[true,1,"1",{},1]})",
         R"({"error":"all: argument 3 (d) must be a number, not a string"})"},
        {R"({"call":"all","args":[true,1,1,[],1]})",
         R"({"error":"all: argument 4 (m) must be an object, not an array"})"},
        {R"({"call":"none"})", R"({"result":null})"},
        {R"({"call":"throws"})", R"({"error":"throws: why"})"},
    };
    for (const auto &[line, answer] : cases)
        EXPECT_EQ(answersTo(line, 1 << 16, registry), QByteArrayList{answer});
}
