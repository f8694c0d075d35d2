// What scripts see of the application: specifiers, commands, phonebook entries.

#include "VXLogRecorder.h"
#include "VXScriptApplication.h"
#include "VXScriptCommand.h"
#include "VXScriptPhonebookEntry.h"
#include "VXTesting.h"

#include <QtCore/QUrl>

using namespace Qt::StringLiterals;

namespace {

class Person : public VXScriptContainer
{
public:
    QString scriptClassName() const override { return u"Person"_s; }
    VXObjectSpecifier objectSpecifier() const override
    {
        return VXObjectSpecifier::atIndex({}, u"VXScriptApplication"_s, u"people"_s, 2);
    }
};

class Phone : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QUrl url READ url)
    Q_PROPERTY(QString name READ name)

public:
    int resets = 0;

    QUrl url() const { return QUrl(u"vxdevice://localhost/a/b"_s); }
    QString name() const { return u"Phone"_s; }
    Q_INVOKABLE bool reset()
    {
        ++resets;
        return true;
    }
};

VXScriptPhonebookEntry entry(const QString &text)
{
    return {text, Person(), u"numbers"_s, 1};
}

} // namespace

TEST(VXScriptPhonebookEntryTest, ShowsItsParts)
{
    const VXScriptPhonebookEntry jane = entry(u"Jane Doe <+1 555 0100/Hm>"_s);
    EXPECT_EQ(jane.as_string(), u"Jane Doe"_s);
    EXPECT_EQ(jane.as_name(), u"Jane Doe"_s);
    EXPECT_EQ(jane.as_number(), u"+1 555 0100"_s);
    EXPECT_EQ(jane.objectSpecifier().text(), u"people[2].numbers[1]"_s);
    EXPECT_EQ(jane.objectSpecifier().containerClass(), u"Person"_s);
    const std::pair<QString, QString> types[] = {
        {u"<555-0100>"_s, u"vXlo vXnu"_s},    {u"<555-0100/H>"_s, u"vXlh vXnu"_s},
        {u"<555-0100/Wf>"_s, u"vXlw vXnf"_s}, {u"<555-0100/HW>"_s, u"vXlo vXnu"_s},
        {u"<555-0100/Hm>"_s, u"vXlh vXnm"_s}, {u"<555-0100/p>"_s, u"vXlo vXnp"_s},
        {u"<555-0100/!>"_s, u"vXlo vXn1"_s},
    };
    for (const auto &[text, codes] : types) {
        const VXScriptPhonebookEntry made = entry(text);
        EXPECT_EQ(VXStringFromCode(made.as_location()) + u' ' + VXStringFromCode(made.as_type()), codes)
            << text.toStdString();
    }
}

TEST(VXScriptPhonebookEntryTest, ChangesDropTheType)
{
    VXScriptPhonebookEntry jane = entry(u"Jane Doe <+1 555 0100/Hm>"_s);
    jane.setAs_number(u"555-0199"_s);
    EXPECT_EQ(jane.phonebookString(), u"Jane Doe <555-0199>"_s);
    jane.setAs_string(u"<555-0100/W>"_s);
    jane.setAs_name(u"Joe, Jr."_s);
    EXPECT_EQ(jane.as_name(), u"Joe, Jr."_s);
    EXPECT_EQ(jane.as_number(), u"555-0100"_s);
    EXPECT_EQ(jane.as_location(), VXCode("vXlo"));
    EXPECT_EQ(jane.valueForKey(u"as_type"_s), QVariant(u"vXnu"_s));
}

class VXObjectSpecifierTest : public VXHomeTest
{
protected:
    VXLogRecorder log;
    Phone phone;
    const QVariant application = QVariantMap{
        {u"devices"_s, QVariantList{QVariant::fromValue<QObject *>(&phone)}},
        {u"names"_s, QStringList{u"a"_s, u"b"_s}},
        {u"plugins"_s, QVariantList{QVariantMap{{u"identifier"_s, u"org.\"x\"\\"_s}, {u"number"_s, 7}}}},
    };
};

TEST_F(VXObjectSpecifierTest, LeadsToObjectsAndCallsNothing)
{
    struct Row
    {
        QString text;
        QVariant objects;
        int error = VXSpecifierNoError;
        QString failing = {};
    };
    const Row rows[] = {
        {u"devices[0].name"_s, u"Phone"_s},
        {u"devices[\"vxdevice://localhost/a/b\"].name"_s, u"Phone"_s},
        {u"names[-1]"_s, u"b"_s},
        {uR"(plugins["org.\"x\"\\"].number)"_s, 7},
        {u"names[2]"_s, {}, VXSpecifierInvalidIndex, u"names[2]"_s},
        {u"names[-3]"_s, {}, VXSpecifierInvalidIndex, u"names[-3]"_s},
        {u"plugins[\"none\"].number"_s, {}, VXSpecifierInvalidIndex, u"plugins[\"none\"]"_s},
        {u"nothing[0].name"_s, {}, VXSpecifierUnknownKey, u"nothing[0]"_s},
        {u"devices[0].reset"_s, {}, VXSpecifierUnknownKey, u"devices[0].reset"_s},
        {u"devices[0].name[0]"_s, {}, VXSpecifierOperationNotSupported, u"devices[0].name[0]"_s},
    };
    for (const Row &row : rows) {
        const auto specifier = VXObjectSpecifier::fromText(row.text);
        ASSERT_TRUE(specifier) << row.text.toStdString();
        EXPECT_EQ(specifier->text(), row.text);
        const VXObjectSpecifier::Evaluation result = specifier->evaluate(application);
        EXPECT_EQ(result.objects, row.objects) << row.text.toStdString();
        EXPECT_EQ(result.errorNumber, row.error);
        EXPECT_EQ(result.failing ? result.failing->text() : QString(), row.failing);
    }
    EXPECT_EQ(phone.resets, 0);
    EXPECT_TRUE(VXObjectSpecifier::fromText(u"application"_s)->isApplication());
    for (const QString &wrong : {u"a."_s, u".a"_s, u"a[x]"_s, u"a[\"x]"_s, u"a b"_s, u"a[1"_s, u"a..b"_s,
                                 QString(u"a."_s).repeated(40) + u'a'}) {
        QString reason;
        EXPECT_FALSE(VXObjectSpecifier::fromText(wrong, &reason)) << wrong.toStdString();
        EXPECT_FALSE(reason.isNull());
    }
}

TEST_F(VXObjectSpecifierTest, CommandsEvaluateTheirDirectParameter)
{
    VXScriptCommand plain(u"devices[0].name"_s, application);
    EXPECT_EQ(plain.vx_evaluatedDirectParameter(), QVariant(u"devices[0].name"_s));
    VXScriptCommand good(QVariant::fromValue(*VXObjectSpecifier::fromText(u"names[0]"_s)), application);
    EXPECT_EQ(good.vx_evaluatedDirectParameter(), QVariant(u"a"_s));
    EXPECT_EQ(good.scriptErrorNumber(), 0);
    EXPECT_TRUE(good.scriptErrorString().isNull());
    VXScriptCommand bad(QVariant::fromValue(*VXObjectSpecifier::fromText(u"names[9].x"_s)), application);
    EXPECT_FALSE(bad.vx_evaluatedDirectParameter().isValid());
    EXPECT_EQ(bad.scriptErrorNumber(), VXSpecifierInvalidIndex);
    EXPECT_EQ(bad.scriptErrorString(), u"Unable to evaluate container specifier: names[9]"_s);
    ASSERT_EQ(log.lines(u"WARNING"_s).size(), 1);
    EXPECT_TRUE(
        log.lines(u"WARNING"_s).first().endsWith(u"Error 4: Unable to evaluate container specifier: names[9]"_s));
}

#include "VXScriptObjectsTest.moc"
