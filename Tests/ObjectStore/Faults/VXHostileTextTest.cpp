#include "VXContextTest.h"

using namespace Qt::StringLiterals;

using VXHostileTextTest = VXContextTest;
VX_INSTANTIATE_FOR_STORES(VXHostileTextTest);

TEST_P(VXHostileTextTest, TextsAreKeptAndMeantLiterally)
{
    const QStringList texts{u""_s,
                            u"'"_s,
                            u"\""_s,
                            u"'; DROP TABLE VX_Named; --"_s,
                            u"' OR 1 = 1 OR name == '"_s,
                            u"%"_s,
                            u"100%_"_s,
                            u"*?[a-z]\\"_s,
                            u"\\E.*"_s,
                            u"%@ %K $X ?1 {}"_s,
                            u"</attribute><!-- ]]> &amp; \\u0041"_s,
                            u"\r\n\t \u2028"_s,
                            QString(u"nul\0behind"_s),
                            QString(QChar(0)),
                            QString(QChar(0xD83D)),
                            QString(QChar(0xDE00)) + QChar(0xD83D),
                            u"\U0001F600"_s,
                            QString(QChar(0xFFFF)) + QChar(0xFEFF) + u"\u0001"_s};
    for (const QString &text : texts)
        person(text);
    save();
    context.reset();
    const auto found = [this](const QString &format, const QVariant &argument) {
        QStringList names;
        const QVariantList arguments = argument.isValid() ? QVariantList{argument} : QVariantList();
        for (const Object &each : fetch(request(u"Person"_s, format, arguments, {u"name"_s})))
            names.append(each->valueForKey(u"name"_s).toString());
        return names;
    };
    const auto expected = [&](const std::function<bool(const QString &)> &matches) {
        QStringList names;
        std::copy_if(texts.cbegin(), texts.cend(), std::back_inserter(names), matches);
        names.sort();
        return names;
    };
    for (const QString &text : texts) {
        SCOPED_TRACE(text.toStdString());
        EXPECT_EQ(found(u"name == %@"_s, text), QStringList{text});
        EXPECT_EQ(found(u"name IN %@"_s, QVariantList{text}), QStringList{text});
        EXPECT_EQ(found(u"name == "_s + VXExpression::constant(text).format(), {}), QStringList{text});
        EXPECT_EQ(found(u"name CONTAINS %@"_s, text),
                  expected([&](const QString &name) { return name.contains(text); }));
        EXPECT_EQ(found(u"name BEGINSWITH %@"_s, text),
                  expected([&](const QString &name) { return name.startsWith(text); }));
        EXPECT_EQ(found(u"name ENDSWITH %@"_s, text),
                  expected([&](const QString &name) { return name.endsWith(text); }));
        QString pattern;
        for (const QChar c : text)
            pattern += u'\\' + QString(c);
        EXPECT_EQ(found(u"name LIKE %@"_s, pattern.isNull() ? u""_s : pattern), QStringList{text});
        EXPECT_EQ(found(u"name MATCHES %@"_s, QRegularExpression::escape(text)),
                  text.isValidUtf16() ? QStringList{text} : QStringList()); // expressions know whole characters only
    }
}
