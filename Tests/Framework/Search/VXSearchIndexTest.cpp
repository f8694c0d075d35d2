#include "VXSearchIndex.h"
#include "VXFileManager.h"
#include "VXTesting.h"

#include <QtCore/QFile>

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class VXSearchIndexTest : public VXHomeTest
{
protected:
    VXSearchIndexTest() : index(VXSearchIndex::open()) {}

    static VXSearchIndex::Change change(int number, const QString &kind, const QString &title,
                                        const QStringList &numbers = {}, const QString &text = {})
    {
        return {.name = u"p%1_MD2.%2"_s.arg(number).arg(kind),
                .values = QVariantMap{{u"kMDItemIdentifier"_s, u"store/%1/p%2"_s.arg(kind).arg(number)},
                                      {u"kMDItemTitle"_s, title},
                                      {u"kMDItemPhoneNumbers"_s, numbers},
                                      {u"kMDItemTextContent"_s, text}}};
    }
    QStringList find(const QString &words, const QString &kind = {}, qsizetype limit = 10)
    {
        VXError error;
        const auto found = index->find(words, kind, limit, &error);
        EXPECT_TRUE(found) << error.description().toStdString();
        QStringList titles;
        for (const VXFoundObject &object : found.value_or(QList<VXFoundObject>()))
            titles.append(object.title);
        return titles;
    }
    void fill()
    {
        ASSERT_TRUE(
            index->apply(u"people"_s,
                         {change(1, u"contact"_s, u"Zoë Müller"_s, {u"+49 170 555 0100"_s}),
                          change(2, u"contact"_s, u"Zo Ann"_s, {u"555 0100"_s, u"+1 555 0100"_s, u"0170 555 0199"_s}),
                          change(3, u"message"_s, u"Jane"_s, {}, u"See you at the Zoo, \"Zo\" said; 50% off"_s)},
                         nullptr));
    }

    std::unique_ptr<VXSearchIndex> index;
};

TEST_F(VXSearchIndexTest, FindsWordsByTheirBeginningAndNumbersByTheirEnd)
{
    fill();
    const struct
    {
        QString words;
        QString kind;
        QStringList found;
    } cases[] = {
        {u"muller"_s, {}, {u"Zoë Müller"_s}},
        {u"zoe MÜ"_s, {}, {u"Zoë Müller"_s}},
        {u"zo"_s, {}, {u"Jane"_s, u"Zo Ann"_s, u"Zoë Müller"_s}}, // whole words first
        {u"zo"_s, u"contact"_s, {u"Zo Ann"_s, u"Zoë Müller"_s}},
        {u"0100"_s, {}, {u"Zo Ann"_s, u"Zoë Müller"_s}},
        {u"5550199"_s, {}, {u"Zo Ann"_s}},
        {u"170 555-0100"_s, {}, {u"Zoë Müller"_s}},
        {u"100"_s, {}, {}}, // no suffix of three digits, and no word
        {u"zoe jane"_s, {}, {}},
        {u"\"Zo\" OR NEAR( * - 50%"_s, {}, {}},
        {u"\"zo\" 50%"_s, {}, {u"Jane"_s}},
        {u" \" ' -- "_s, {}, {}},
        {QString(), {}, {}},
    };
    for (const auto &each : cases)
        EXPECT_EQ(find(each.words, each.kind), each.found) << each.words.toStdString();
    EXPECT_THAT(find(u"zo"_s, {}, 1), ElementsAre(u"Jane"_s));
}

TEST_F(VXSearchIndexTest, TellsContactsFirstAndThenTheLatest)
{
    QList<VXSearchIndex::Change> changes{change(1, u"contact"_s, u"Cat"_s)};
    const qint64 dates[] = {3000, 1000, 2000, 2000, -5};
    for (int i = 0; i < 5; ++i) {
        changes.append(change(10 + i, u"message"_s, u"Cat %1"_s.arg(dates[i])));
        changes.last().values->insert(u"kMDItemContentCreationDate"_s,
                                      QDateTime::fromMSecsSinceEpoch(dates[i], Qt::UTC));
    }
    ASSERT_TRUE(index->apply(u"people"_s, changes, nullptr));
    EXPECT_EQ(find(u"ca"_s),
              (QStringList{u"Cat"_s, u"Cat 3000"_s, u"Cat 2000"_s, u"Cat 2000"_s, u"Cat 1000"_s, u"Cat -5"_s}));
}

TEST_F(VXSearchIndexTest, ForgetsWhatWasReplacedOrRemoved)
{
    fill();
    ASSERT_TRUE(index->apply(
        u"people"_s,
        {change(1, u"contact"_s, u"Eve"_s, {u"0170 7777"_s}), {.name = u"p2_MD2.contact"_s, .values = std::nullopt}},
        nullptr));
    EXPECT_THAT(find(u"muller"_s), IsEmpty());
    EXPECT_THAT(find(u"0100"_s), IsEmpty());
    EXPECT_THAT(find(u"7777"_s), ElementsAre(u"Eve"_s));
    EXPECT_EQ(index->count(u"people"_s, nullptr), 2);
    ASSERT_TRUE(index->removeFolder(u"people"_s, nullptr));
    EXPECT_THAT(find(u"zoo"_s), IsEmpty());
}

TEST_F(VXSearchIndexTest, IsMadeAnewWhenItIsDamaged)
{
    fill();
    ASSERT_TRUE(index->endChanges(u"people"_s, nullptr));
    EXPECT_TRUE(index->isComplete(u"people"_s, nullptr));
    index.reset();
    QFile file(VXSearchIndex::path());
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    ASSERT_EQ(file.write("This is no database at all."), 27);
    file.close();
    index = VXSearchIndex::open();
    ASSERT_TRUE(index);
    EXPECT_FALSE(index->isComplete(u"people"_s, nullptr));
    EXPECT_THAT(find(u"zoo"_s), IsEmpty());
    fill();
    EXPECT_THAT(find(u"zoo"_s), ElementsAre(u"Jane"_s));
}

} // namespace
