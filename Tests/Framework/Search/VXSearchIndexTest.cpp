#include "VXSearchIndex.h"
#include "VXFileManager.h"
#include "VXSQLiteConnection.h"
#include "VXTesting.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <cstdlib>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

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
        const bool areEmails = numbers.value(0).contains(u'@');
        QVariantMap values{{u"kMDItemIdentifier"_s, u"store/%1/p%2"_s.arg(kind).arg(number)},
                           {u"kMDItemTitle"_s, title},
                           {areEmails ? u"kMDItemEmailAddresses"_s : u"kMDItemPhoneNumbers"_s, numbers},
                           {u"kMDItemTextContent"_s, text}};
        if (kind != "contact"_L1 && !numbers.isEmpty()) {
            values.insert(u"VXPartyNames"_s, QStringList{title == numbers[0] ? u""_s : title});
            values.insert(u"VXPartyAddresses"_s, numbers);
        }
        return {.name = u"p%1_MD2.%2"_s.arg(number).arg(kind), .values = values};
    }
    QStringList find(const QString &words, const QString &kind = {}, qsizetype limit = 10)
    {
        VXError error;
        const auto found = index->find(words, {.kind = kind}, limit, &error);
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
                          change(4, u"contact"_s, u"\U00020BB7田 \U00010414ne"_s),
                          change(3, u"message"_s, u"Jane"_s, {}, u"See you at the Zoo, \"Zo\" said; 50% off"_s)},
                         nullptr));
    }

    std::unique_ptr<VXSearchIndex> index;
};

TEST_F(VXSearchIndexTest, FindsWordsByTheirBeginningAndNumbersByTheirEnd)
{
    fill();
    ASSERT_TRUE(index->apply(u"people"_s,
                             {change(5, u"contact"_s, u"Kim Roe"_s, {u"+16502530101"_s, u"+16502530202"_s}, u"5550"_s)},
                             nullptr));
    const struct
    {
        QString words;
        QString kind;
        QStringList found;
    } cases[] = {
        {u"muller"_s, {}, {u"Zoë Müller"_s}},
        {u"zoe MÜ"_s, {}, {u"Zoë Müller"_s}},
        {u"zo"_s, {}, {u"Zo Ann"_s, u"Jane"_s, u"Zoë Müller"_s}}, // whole words first
        {u"zo"_s, u"contact"_s, {u"Zo Ann"_s, u"Zoë Müller"_s}},
        {u"0100"_s, {}, {u"Zo Ann"_s, u"Zoë Müller"_s}},
        {u"5550199"_s, {}, {u"Zo Ann"_s}},
        {u"170 555-0100"_s, {}, {u"Zoë Müller"_s}},
        {u"170\u00a0555\u20110100"_s, {}, {u"Zoë Müller"_s}}, // as pages have it
        {u"٠١٧٠٥٥٥٠١٠٠"_s, {}, {u"Zoë Müller"_s}},
        {u"+49 170 555 0100/m"_s, {}, {u"Zoë Müller"_s}}, // as programs write it
        {u"tel:+491705550100"_s, {}, {u"Zoë Müller"_s}},
        {u"+49 (0)170 5550100"_s, {}, {u"Zoë Müller"_s}}, // as letters have it
        {u"\"Zoë\" <+49 170 5550100>,"_s, {}, {u"Zoë Müller"_s}},
        {u"1/m"_s, {}, {}},
        {u"100"_s, {}, {}}, // no suffix of three digits, and no word
        {u"zoe jane"_s, {}, {}},
        {u"\"Zo\" OR NEAR( * - 50%"_s, {}, {}},
        {u"\"zo\" 50%"_s, {}, {u"Jane"_s}},
        {u"kim 0101"_s, {}, {u"Kim Roe"_s}}, // a word, and the end of a number
        {u"0101 KI"_s, u"contact"_s, {u"Kim Roe"_s}},
        {u"0101 ki"_s, u"message"_s, {}},
        {u"ki (650) 253-0101 ro"_s, {}, {u"Kim Roe"_s}},
        {u"kim 0202 0101"_s, {}, {u"Kim Roe"_s}}, // of two numbers
        {u"0202 0101"_s, {}, {u"Kim Roe"_s}},
        {u"5550 0202"_s, {}, {u"Kim Roe"_s}}, // the one a word
        {u"kim 101"_s, {}, {}},
        {u"kim 0100"_s, {}, {}},
        {u"zo 0101"_s, {}, {}},
        {u"\U00020BB7"_s, {}, {u"\U00020BB7田 \U00010414ne"_s}}, // of letters that are two characters each
        {u"\U00010414"_s, {}, {u"\U00020BB7田 \U00010414ne"_s}},
        {u"\U0001F600"_s, {}, {}}, // no letter
        {u" \" ' -- "_s, {}, {}},
        {QString(), {}, {}},
    };
    for (const auto &each : cases)
        EXPECT_EQ(find(each.words, each.kind), each.found) << each.words.toStdString();
    EXPECT_THAT(find(u"zo"_s, {}, 1), ElementsAre(u"Zo Ann"_s));
}

TEST_F(VXSearchIndexTest, ComparesLettersAsPeopleTypeThem)
{
    const struct
    {
        QString text;
        QStringList finding;
        QStringList missing;
    } cases[] = {
        {u"Straße Søren Łukasz Ægir"_s,
         {u"strasse"_s, u"STRAẞE"_s, u"soren"_s, u"łuk"_s, u"lukasz"_s, u"aegir"_s},
         {u"stra e"_s}},
        {u"Müller Neumann Köln Grüße"_s,
         {u"mueller"_s, u"MUEL"_s, u"koeln muel"_s, u"gruesse"_s, u"müller"_s},
         {u"mue"_s, u"neuemann"_s, u"mueler"_s}},
        {u"Iğdır İzmir"_s, {u"igdir"_s, u"IĞDIR"_s, u"izmir"_s}, {}},
        {u"Zoe\u0308 Mu\u0308ller"_s, {u"zoë"_s, u"zoe"_s, u"müller"_s, u"mu\u0308l"_s}, {u"mller"_s}},
        {u"مُحَمَّد أحمد"_s, {u"محمد"_s, u"احمد"_s, u"محـــمد"_s}, {u"حمد"_s}},
        {u"على فاطمة کریم ٢٥٠"_s, {u"علي"_s, u"على"_s, u"فاطمه"_s, u"كريم"_s, u"250"_s, u"۲۵۰"_s}, {}},
        {u"O'Neill Anne-Marie D’Arcy"_s,
         {u"oneill"_s, u"O’Neill"_s, u"neill"_s, u"annemar"_s, u"anne-marie"_s, u"marie"_s, u"darcy"_s, u"d'arcy"_s},
         {u"neillanne"_s}},
        {u"ONeill -- '' -"_s, {u"o'neill"_s, u"o-neill"_s}, {u"o neill"_s}},
        {u"我们明天在上海见面"_s, {u"明天"_s, u"我"_s, u"上海见"_s, u"明天 上海"_s}, {u"天明"_s, u"见上海"_s}},
        {u"東京タワーで会う"_s, {u"東京"_s, u"タワー"_s, u"会"_s}, {u"京東"_s}},
        {u"हिन्दी भाषा"_s, {u"हिन्दी"_s, u"भाषा"_s, u"भा"_s}, {u"न्दी"_s}},
        {u"วันนี้ไปไหน"_s, {u"ไปไหน"_s, u"วันนี้"_s}, {u"ไหนไป"_s}},
        {u"김철수"_s, {u"김철"_s, u"김"_s}, {u"철수"_s}},
        {u"Αλέξανδρος Ёлка"_s, {u"αλεξανδροσ"_s, u"ΑΛΈΞΑΝΔΡΟΣ"_s, u"елка"_s}, {}},
        {u"Schiff\u00adfahrt ＡＢＣ"_s, {u"schifffahrt"_s, u"abc"_s}, {u"fahrt"_s}},
        {u"Ж "_s.repeated(499) + u"Z\U0001D41Abra"_s,
         {u"zabra"_s},
         {u"bra"_s}}, // a letter of two where a piece might end
        {u"O'Brien-Smith C++ a_b 10:30"_s,
         {u"o'brien"_s, u"O'Brien-Smith"_s, u"\"smith\""_s, u"c++"_s, u"a_b"_s, u"10:30"_s, u"^smith"_s, u"(smith)"_s,
          u"-- smith*"_s},
         {u"NOT smith2"_s, u"smith NEAR brien"_s, u"kind:contact"_s, u"smith OR zebra"_s}},
    };
    int number = 100;
    for (const auto &each : cases) {
        ASSERT_TRUE(index->apply(u"people"_s, {change(++number, u"contact"_s, each.text)}, nullptr));
        for (const QString &words : each.finding)
            EXPECT_THAT(find(words), testing::Contains(each.text)) << words.toStdString();
        for (const QString &words : each.missing)
            EXPECT_THAT(find(words), testing::Not(testing::Contains(each.text))) << words.toStdString();
    }
}

TEST_F(VXSearchIndexTest, MakesWayForItself)
{
    for (const char *const suffix : {"", "-wal", "-shm", "-journal"}) {
        index.reset();
        const QString place = VXSearchIndex::path() + QLatin1String(suffix);
        QFile::remove(place);
        writeFile(QDir(path()).relativeFilePath(place + "/mine.txt"_L1), "mine");
        index = VXSearchIndex::open();
        ASSERT_TRUE(index) << suffix;
        fill();
        EXPECT_THAT(find(u"zoo"_s), ElementsAre(u"Jane"_s)) << suffix;
        EXPECT_TRUE(QFile::exists(VXFileManager::defaultManager().pathToUserTrashFolder() + "/index.sqlite"_L1 +
                                  QLatin1String(suffix) + "/mine.txt"_L1))
            << suffix;
    }
}

TEST_F(VXSearchIndexTest, WhoOnlyReadsFollowsNoLinkAndWaitsAtNoPipe)
{
    const QString other = path(u"of the user"_s);
    writeFile(u"of the user"_s, "");
    for (const char *const suffix : {"", "-wal", "-shm", "-journal"}) {
        for (const bool isPipe : {false, true}) {
            index.reset();
            VXSearchIndex::discard();
            index = VXSearchIndex::open();
            index.reset();
            const QByteArray place = QFile::encodeName(VXSearchIndex::path()) + suffix;
            QFile::remove(QFile::decodeName(place));
            ASSERT_EQ(isPipe ? ::mkfifo(place.constData(), 0600)
                             : ::symlink(QFile::encodeName(other).constData(), place.constData()),
                      0);
            EXPECT_FALSE(VXSearchIndex::openExisting()) << place.constData();
            EXPECT_EQ(QFileInfo(other).size(), 0);
        }
    }
}

TEST_F(VXSearchIndexTest, OneMadeAnewIsNotWholeBeforeAllAreInIt)
{
    EXPECT_FALSE(index->isAllComplete(nullptr));
    ASSERT_TRUE(index->endChanges(u"people"_s, nullptr));
    EXPECT_FALSE(index->isAllComplete(nullptr)); // there may be others
    EXPECT_FALSE(index->settleAll({u"people"_s, u"calls"_s}, nullptr));
    ASSERT_TRUE(index->endChanges(u"calls"_s, nullptr));
    EXPECT_TRUE(index->settleAll({u"people"_s, u"calls"_s}, nullptr));
    EXPECT_TRUE(index->isAllComplete(nullptr));
    EXPECT_THAT(index->folders(nullptr), testing::UnorderedElementsAre(u"people"_s, u"calls"_s));
    ASSERT_TRUE(index->forgetFolder(u"calls"_s, nullptr));
    EXPECT_FALSE(index->isAllComplete(nullptr)); // it may be wanted again
}

TEST_F(VXSearchIndexTest, IsNotMadeWhereALinkLeads)
{
    index.reset();
    ASSERT_TRUE(QFile::remove(VXSearchIndex::path()));
    ASSERT_TRUE(QFile::link(path(u"elsewhere"_s), VXSearchIndex::path()));
    EXPECT_TRUE(VXSearchIndex::open());
    EXPECT_FALSE(QFile::exists(path(u"elsewhere"_s)));
    EXPECT_TRUE(QFile::symLinkTarget(VXSearchIndex::path()).isEmpty());
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

// However often the contact changes: nothing of the record does.
TEST_F(VXSearchIndexTest, RecordsOfABareAddressAreFoundByTheirContacts)
{
    const auto record = [](int number, const QString &kind, const QString &from, const QString &text, int second) {
        VXSearchIndex::Change made = change(number, kind, from, {from}, text);
        made.values->insert(u"kMDItemContentCreationDate"_s, QDateTime::fromSecsSinceEpoch(second, Qt::UTC));
        return made;
    };
    fill();
    ASSERT_TRUE(index->apply(
        u"people"_s,
        {record(11, u"message"_s, u"0049 170 5550100"_s, u"Dinner at eight?"_s, 100),
         record(12, u"message"_s, u"+491705550100"_s, u"No dinner"_s, 300),
         record(13, u"call"_s, u"0170 555 0199"_s, {}, 200), record(14, u"call"_s, u"+1 555 0177"_s, {}, 400),
         change(15, u"contact"_s, u"Mail \"Man\""_s, {u"4321@Mail.example"_s, u"\"x\"@y.example"_s}),
         record(16, u"call"_s, u"4321@mail.example"_s, {}, 500),
         change(17, u"message"_s, u"4321@mail.EXAMPLE"_s, {u"4321@mail.EXAMPLE"_s}, u"Undated"_s)},
        nullptr));
    const QString zoe = u"Zoë Müller"_s;
    const QString ann = u"Zo Ann"_s;
    const QString man = u"Mail \"Man\""_s;
    const struct
    {
        QString words;
        QString kind;
        qsizetype limit;
        QStringList found;
    } cases[] = {
        {u"muller"_s, {}, 10, {zoe, zoe, zoe}},
        {u"muller"_s, {}, 2, {zoe, zoe}},
        {u"muller"_s, u"contact"_s, 10, {zoe}},
        {u"muller"_s, u"message"_s, 10, {zoe, zoe}},
        {u"dinner mull"_s, {}, 10, {zoe, zoe}},
        {u"zoe eight mull"_s, {}, 10, {zoe}},
        {u"ann eight"_s, {}, 10, {}},
        {u"muller 0100"_s, {}, 10, {zoe, zoe, zoe}}, // the end of the number that both have
        {u"dinner 0100"_s, {}, 10, {zoe, zoe}},
        {u"dinner 0199"_s, {}, 10, {}},
        {u"zo"_s, u"call"_s, 10, {ann}},
        {u"0177"_s, {}, 10, {u"+1 555 0177"_s}},
        {u"man"_s, {}, 10, {man, man, man}},
        {u"man"_s, u"call"_s, 10, {man}},
        {u"man undated"_s, {}, 10, {man}},
        {u"1234"_s, {}, 10, {}}, // no number ends so
    };
    for (const auto &each : cases)
        EXPECT_EQ(find(each.words, each.kind, each.limit), each.found) << each.words.toStdString();
    ASSERT_TRUE(index->apply(u"people"_s, {change(1, u"contact"_s, u"Eve"_s, {u"0170 5550100"_s})}, nullptr));
    EXPECT_EQ(find(u"eve"_s), (QStringList{u"Eve"_s, u"Eve"_s, u"Eve"_s}));
    EXPECT_THAT(find(u"muller"_s), IsEmpty());
    EXPECT_EQ(index->object(QUrl(u"x-coredata://store/message/p12"_s), nullptr)->title, u"Eve"_s);
}

TEST_F(VXSearchIndexTest, RecordsHaveTheNamesOfTheirTimeAndShowThePresentOnes)
{
    fill();
    QList<VXSearchIndex::Change> changes{change(12, u"call"_s, u"Doe, Jan"_s, {u"0170 9999999"_s})};
    for (const int hidden : {0, 1, 2}) { // in the trash, and to be removed
        changes.append(change(20 + hidden, u"message"_s, u"Zo Miller"_s, {u"0170 5550100"_s}, u"Lunch at eight"_s));
        changes.last().values->insert(u"VXHidden"_s, hidden);
    }
    ASSERT_TRUE(index->apply(u"people"_s, changes, nullptr));
    EXPECT_THAT(find(u"doe"_s), ElementsAre(u"Doe, Jan"_s));
    // In each of the ways that a search looks.
    for (const QString &words :
         {u"miller"_s, u"mill"_s, u"muller"_s, u"0100"_s, u"01705550100"_s, u"lunch 0100"_s, u"lunch muller"_s}) {
        for (const bool isTrashIncluded : {false, true}) {
            const auto found = index->find(words, {u"message"_s, isTrashIncluded}, 10, nullptr);
            ASSERT_EQ(found->size(), isTrashIncluded ? 2 : 1) << words.toStdString();
            for (const VXFoundObject &object : *found)
                EXPECT_EQ(object.title, u"Zoë Müller"_s) << words.toStdString();
            EXPECT_EQ(found->first().isInTrash, isTrashIncluded) << words.toStdString(); // the later one first
        }
    }
}

TEST_F(VXSearchIndexTest, FindsTheLatestRecordsOfHoweverManyContacts)
{
    QList<VXSearchIndex::Change> changes;
    for (int i = 1; i <= 150; ++i) {
        const QStringList numbers{u"+1 555 %1"_s.arg(1000 + i)};
        changes.append(change(i, u"contact"_s, u"Globex"_s, numbers));
        changes.append(change(i, u"message"_s, numbers[0], numbers));
        changes.last().values->insert(u"kMDItemContentCreationDate"_s, QDateTime::fromSecsSinceEpoch(i, Qt::UTC));
    }
    ASSERT_TRUE(index->apply(u"people"_s, changes, nullptr));
    EXPECT_EQ(find(u"globex"_s, u"message"_s, 1000).size(), 150);
    EXPECT_EQ(index->find(u"globex"_s, {.kind = u"message"_s}, 1, nullptr)->value(0).date.toSecsSinceEpoch(), 150);
}

TEST_F(VXSearchIndexTest, RefusesWhatIsTooMuchToSearchFor)
{
    fill();
    QStringList words;
    for (int i = 0; i < 33; ++i)
        words.append(u"zo"_s + QString::number(i));
    const std::pair<QString, bool> cases[] = {{words.join(u' '), false},
                                              {words.mid(1).join(u' '), true},
                                              {QStringList(200, u"zo"_s).join(u' '), true}, // one word
                                              {u"zo "_s + QString(996, u'-'), true},
                                              {QString(1001, u'z'), false}};
    for (const auto &[text, isSearched] : cases) {
        VXError error;
        EXPECT_EQ(bool(index->find(text, {}, 10, &error)), isSearched) << text.toStdString();
        EXPECT_EQ(error.localizedDescription().isEmpty(), isSearched) << text.toStdString();
    }
}

TEST_F(VXSearchIndexTest, IsReadWhereNothingCanBeWritten)
{
    fill();
    index.reset(); // which leaves nothing beside it
    const QString folder = VXFileManager::defaultManager().pathToUserMetadataFolder();
    const QByteArrayList paths{QFile::encodeName(path()), QFile::encodeName(folder),
                               QFile::encodeName(VXSearchIndex::path())};
    const pid_t child = ::fork();
    if (child == 0) {
        // Root may write everywhere: so as somebody else, whose these are.
        for (const QByteArray &each : paths)
            static_cast<void>(::geteuid() == 0 && ::chown(each.constData(), 65534, 65534) == 0);
        static_cast<void>(::chmod(paths[2].constData(), 0400) == 0 && ::chmod(paths[1].constData(), 0500) == 0);
        for (QByteArray each = paths[1]; each != paths[0]; each.truncate(each.lastIndexOf('/')))
            static_cast<void>(::geteuid() == 0 && ::chown(each.constData(), 65534, 65534) == 0);
        if (::geteuid() == 0 && (::setegid(65534) != 0 || ::seteuid(65534) != 0))
            std::_Exit(2);
        if (VXSearchIndex::open())
            std::_Exit(3);
        index = VXSearchIndex::openExisting();
        const bool isFound =
            index && index->find(u"zoo"_s, {}, 10, nullptr).value_or(QList<VXFoundObject>()).size() == 1;
        // Where its folder can be written it is made anew.
        static_cast<void>(::chmod(paths[1].constData(), 0700));
        const auto anew = VXSearchIndex::open();
        const bool isMade = anew && anew->apply(u"people"_s, {change(1, u"contact"_s, u"Joe"_s)}, nullptr);
        std::_Exit(!isMade ? 4 : !isFound ? 1 : 0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ::chmod(paths[1].constData(), 0700); // else it stays
    EXPECT_EQ(WEXITSTATUS(status), 0);
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
    EXPECT_EQ(index->count(u"people"_s, nullptr), 3);
    QList<VXSearchIndex::Change> many;
    for (int number = 10; number < 4'000; ++number)
        many.append(change(number, u"contact"_s, u"zebra%1 "_s.arg(number).repeated(150)));
    ASSERT_TRUE(index->apply(u"people"_s, many, nullptr));
    {
        const auto reader =
            VXSQLiteConnection::open(VXSearchIndex::path(), VXSQLiteConnection::Access::Read, {}, nullptr, nullptr);
        ASSERT_TRUE(reader && reader->execute(u"BEGIN"_s, nullptr));
        EXPECT_FALSE(reader->textOf(u"SELECT name FROM entry"_s, nullptr).isNull());
        ASSERT_TRUE(index->removeFolder(u"people"_s, nullptr));
        const auto sizeOfLog = [] { return QFileInfo(VXSearchIndex::path() + "-wal"_L1).size(); };
        const qint64 before = sizeOfLog(); // which cannot be emptied now
        index->giveBackFree();
        EXPECT_EQ(sizeOfLog(), before);
    }
    EXPECT_THAT(find(u"zoo"_s), IsEmpty());
    index->giveBackFree();
    index.reset();
    EXPECT_LT(QFileInfo(VXSearchIndex::path()).size(), 1'000'000);
    EXPECT_FALSE(readFile(VXSearchIndex::path()).contains("zebra"));
}

// Out of order, twice in one go, of one moment, and with what is there already.
TEST_F(VXSearchIndexTest, TakesChangesInWhateverOrder)
{
    const auto dated = [](int number, const QString &text, int second) {
        VXSearchIndex::Change made = change(number, u"message"_s, text, {u"+1 555 010"_s + QString::number(number)});
        made.values->insert(u"kMDItemContentCreationDate"_s, QDateTime::fromSecsSinceEpoch(second, Qt::UTC));
        return made;
    };
    ASSERT_TRUE(index->apply(u"people"_s, {dated(1, u"ant"_s, 300), dated(2, u"bee"_s, 100), dated(3, u"cat"_s, 200)},
                             nullptr));
    const VXSearchIndex::Change gone{.name = u"p3_MD2.message"_s, .values = std::nullopt};
    ASSERT_TRUE(index->apply(u"people"_s,
                             {dated(4, u"beetle"_s, 100),
                              gone,
                              dated(5, u"bat"_s, 50),
                              dated(2, u"bear"_s, 100),
                              dated(5, u"boar"_s, 400),
                              dated(6, u"bison"_s, 10),
                              {.name = u"p6_MD2.message"_s, .values = std::nullopt}},
                             nullptr));
    EXPECT_EQ(find(u"b"_s), (QStringList{u"boar"_s, u"bear"_s, u"beetle"_s}));
    EXPECT_EQ(find(u"0105"_s), QStringList{u"boar"_s});
    for (const QString &none : {u"bat"_s, u"cat"_s, u"bison"_s, u"0103"_s, u"0106"_s})
        EXPECT_THAT(find(none), IsEmpty()) << none.toStdString();
    EXPECT_EQ(index->count(u"people"_s, nullptr), 4);
    EXPECT_TRUE(index->isSound(nullptr));
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
    for (const char *const version : {"1", "99"}) { // as an earlier or later program made it
        index.reset();
        const auto made = VXSQLiteConnection::open(VXSearchIndex::path(), VXSQLiteConnection::Access::Write,
                                                   std::chrono::seconds(1), nullptr, nullptr);
        ASSERT_TRUE(made && made->execute("PRAGMA user_version = "_L1 + QLatin1String(version), nullptr));
        index = VXSearchIndex::open();
        ASSERT_TRUE(index) << version;
        EXPECT_THAT(find(u"zoo"_s), IsEmpty()) << version;
        fill();
        EXPECT_THAT(find(u"zoo"_s), ElementsAre(u"Jane"_s)) << version;
    }
}

} // namespace
