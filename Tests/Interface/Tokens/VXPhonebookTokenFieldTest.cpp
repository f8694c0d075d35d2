#include "VXPhonebookTokenField.h"

#include "VXCompletionWindow.h"
#include "VXInterfaceTesting.h"
#include "VXPhonebookString.h"
#include "VXRecentAddresses.h"

#include <QtCore/QMimeData>
#include <QtGui/QClipboard>
#include <QtWidgets/QApplication>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>

using namespace Qt::StringLiterals;

using State = VXPhonebookToken::State;

namespace {

const QString jane = u"Jane Doe <+44 20 7946 0000/Hm>"_s;
const QString janeAtWork = u"Jane Doe <+44 20 7946 0999/W>"_s;
const QString janet = u"Janet Miller <+49 30 901820/W>"_s;
const QString bob = u"Bob Jansen <+31 20 5550100/m>"_s;
const QString family = u"Family { Jane Doe <+44 20 7946 0000/Hm>, Joe <joe@example.org> }"_s;

class People : public VXAddressSource
{
public:
    QStringList all{jane, janeAtWork, janet, bob, family};

    QStringList completions(const QString &typed, int limit) override
    {
        QStringList found;
        for (const QString &each : std::as_const(all)) {
            if (each.contains(typed, Qt::CaseInsensitive) && found.size() < limit)
                found.append(each);
        }
        return found;
    }

    QString nameForAddress(const QString &phonebookString) override
    {
        QString wanted;
        static_cast<void>(VXPhonebookStringSplit(phonebookString, nullptr, &wanted));
        for (const QString &each : std::as_const(all)) {
            QString name;
            QString value;
            if (VXPhonebookStringSplit(each, &name, &value) && value == wanted)
                return name;
        }
        return {};
    }
};

class VXPhonebookTokenFieldTest : public VXHomeTest
{
protected:
    VXPhonebookTokenFieldTest() : field(new VXPhonebookTokenField(std::make_shared<People>(), &window))
    {
        auto *const column = new QVBoxLayout(&window);
        column->addWidget(field);
        column->addWidget(&next);
        VXShowActive(window);
        field->setFocus();
    }

    QStringList strings() const
    {
        QStringList result;
        for (const VXTokenTextEdit::Token &token : field->tokens())
            result.append(token.payload);
        return result;
    }

    QString typed() const
    {
        QString text;
        for (const VXTokenTextEdit::Piece &piece : field->pieces())
            text += piece.text;
        return text;
    }

    VXCompletionWindow &suggestions() const { return *field->findChild<VXCompletionWindow *>(); }

    void typeAndWait(const QString &text)
    {
        VXType(*field, text);
        ASSERT_TRUE(VXRunUntil([this] { return suggestions().isVisible(); }));
    }

    void paste(const QString &text)
    {
        QApplication::clipboard()->setText(text);
        VXPress(*field, Qt::Key_V, Qt::ControlModifier);
    }

    QWidget window;
    VXPhonebookTokenField *const field;
    QLineEdit next;
};

} // namespace

TEST_F(VXPhonebookTokenFieldTest, SeparatorsReturnAndTabCommitWhatWasTyped)
{
    for (const auto &[name, commit] : std::initializer_list<std::pair<const char *, std::function<void()>>>{
             {"comma", [this] { VXType(*field, u","_s); }},
             {"semicolon", [this] { VXType(*field, u";"_s); }},
             {"Return", [this] { VXPress(*field, Qt::Key_Return); }},
             {"Tab", [this] { VXPress(*field, Qt::Key_Tab); }},
             {"leaving", [this] { next.setFocus(); }}}) {
        SCOPED_TRACE(name);
        field->clear();
        field->setFocus();
        VXType(*field, u"+44 20 7946 0000"_s);
        commit();
        EXPECT_EQ(strings(), QStringList{u"Jane Doe <+44 20 7946 0000>"_s});
        EXPECT_EQ(typed(), QString());
    }
}

TEST_F(VXPhonebookTokenFieldTest, TextsBecomeWhatTheyStandFor)
{
    const struct
    {
        const char *text;
        State state;
        const char *label;
    } cases[] = {
        {"+31 20 5550100", State::Known, "Bob Jansen"},
        {"+1 555 0199", State::Unknown, "\u2066+1 555 0199\u2069"},
        {"Sue <+1 555 0199 x7>", State::Unknown, "Sue"},
        {"janet miller", State::Known, "Janet Miller"},
        {"jane doe", State::Ambiguous, "Jane Doe"},
        {"Family { a@b.cd, Jo <555-0100> }", State::Group, "Family"},
        {"Nobody", State::Invalid, "Nobody"},
        {"12", State::Invalid, "12"},
    };
    People people;
    for (const auto &each : cases) {
        const VXPhonebookToken token = people.resolve(QString::fromUtf8(each.text));
        EXPECT_EQ(token.state, each.state) << each.text;
        EXPECT_EQ(token.label(), QString::fromUtf8(each.label));
    }
}

TEST_F(VXPhonebookTokenFieldTest, ASuggestionIsTakenOnlyWhenItWasChosenOrIsTheOnlyOne)
{
    typeAndWait(u"jan"_s);
    EXPECT_EQ(suggestions().chosenRow(), std::nullopt);
    VXPress(*field, Qt::Key_Return); // the literal text, which nobody is called
    EXPECT_EQ(strings(), QStringList{u"jan"_s});
    EXPECT_EQ(field->invalidTokens().size(), 1);

    field->clear();
    VXType(*field, u"janet"_s);
    VXPress(*field, Qt::Key_Return);
    EXPECT_EQ(strings(), QStringList{janet});

    field->clear();
    typeAndWait(u"janet"_s);
    VXPress(*field, Qt::Key_Escape); // closes the list, clears nothing
    EXPECT_FALSE(suggestions().isVisible());
    EXPECT_EQ(typed(), u"janet"_s);

    VXType(*field, u" "_s);
    ASSERT_TRUE(VXRunUntil([this] { return suggestions().isVisible(); }));
    VXPress(*field, Qt::Key_Down);
    VXPress(*field, Qt::Key_Return);
    EXPECT_EQ(strings(), QStringList{janet});
    EXPECT_TRUE(field->invalidTokens().isEmpty());
}

TEST_F(VXPhonebookTokenFieldTest, SuggestionsComeInTheOrderThatPeopleExpect)
{
    People people;
    people.all += u"Mary Jane Watson <+1 555 0111>"_s;
    EXPECT_EQ(people.rankedCompletions(u"jan"_s, {bob}),
              (QStringList{bob, jane, janeAtWork, janet, u"Mary Jane Watson <+1 555 0111>"_s, family}));
    EXPECT_EQ(people.rankedCompletions(u"+1 555 0111"_s, {}).value(0), u"Mary Jane Watson <+1 555 0111>"_s);
    EXPECT_TRUE(people.rankedCompletions(u"  "_s, {bob}).isEmpty());
}

TEST_F(VXPhonebookTokenFieldTest, RecentAddressesCountByUseAndAge)
{
    VXRecentAddresses::noteUse({bob});
    VXRecentAddresses::noteUse({jane});
    VXRecentAddresses::noteUse({u"+44 20 7946 0000"_s, janet}); // Jane again, by her number
    EXPECT_EQ(VXRecentAddresses::addresses().value(0), u"+44 20 7946 0000"_s);
    EXPECT_EQ(VXRecentAddresses::addresses().size(), 3);
}

TEST_F(VXPhonebookTokenFieldTest, BackspaceChoosesThenRemovesAndUndoBringsBack)
{
    field->addAddresses({jane, bob});
    VXPress(*field, Qt::Key_Backspace);
    EXPECT_EQ(strings(), (QStringList{jane, bob}));
    ASSERT_TRUE(field->currentToken());
    EXPECT_EQ(field->currentToken()->token->payload, bob);
    VXPress(*field, Qt::Key_Backspace);
    EXPECT_EQ(strings(), QStringList{jane});
    VXPress(*field, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(strings(), (QStringList{jane, bob}));
}

TEST_F(VXPhonebookTokenFieldTest, F2EditsAToken)
{
    field->addAddresses({jane});
    VXPress(*field, Qt::Key_F2);
    EXPECT_TRUE(strings().isEmpty());
    EXPECT_EQ(field->textCursor().selectedText(), jane);
    VXType(*field, u"+31 20 5550100"_s);
    VXPress(*field, Qt::Key_Return);
    EXPECT_EQ(strings(), QStringList{u"Bob Jansen <+31 20 5550100>"_s});
}

TEST_F(VXPhonebookTokenFieldTest, PastingIsOneStepAndCopiesReadTheSame)
{
    paste(u"Jane Doe <+44 20 7946 0000/Hm>; +1 555 0199\nbob@example.org"_s);
    const QStringList pasted{jane, u"+1 555 0199"_s, u"bob@example.org"_s};
    EXPECT_EQ(strings(), pasted);
    VXPress(*field, Qt::Key_A, Qt::ControlModifier);
    VXPress(*field, Qt::Key_X, Qt::ControlModifier);
    EXPECT_TRUE(strings().isEmpty());
    EXPECT_EQ(QApplication::clipboard()->text(), pasted.join(u", "_s));
    VXPress(*field, Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(strings(), pasted);
    VXPress(*field, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(strings().isEmpty());
}

TEST_F(VXPhonebookTokenFieldTest, ManyPastedAddressesAreAskedAboutFirst)
{
    QStringList numbers;
    for (int i = 0; i <= VXPhonebookTokenField::pasteWithoutAsking; ++i)
        numbers.append(u"+1 555 %1"_s.arg(1000 + i));
    for (const auto &[answer, count] : {std::pair{"Cancel", qsizetype(0)}, std::pair{"Add", numbers.size()}}) {
        paste(numbers.join(u'\n'));
        EXPECT_TRUE(strings().isEmpty());
        for (QPushButton *const button : field->findChildren<QPushButton *>()) {
            if (button->text() == QLatin1StringView(answer)) {
                button->click();
                break;
            }
        }
        EXPECT_EQ(strings().size(), count) << answer;
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    for (const auto &[key, count] :
         {std::pair{Qt::Key_Escape, qsizetype(0)}, std::pair{Qt::Key_Return, numbers.size()}}) {
        field->setPhonebookStrings({});
        paste(numbers.join(u'\n'));
        for (QPushButton *const button : field->findChildren<QPushButton *>()) {
            if (button->text() != "Add"_L1)
                continue;
            QTest::keyClick(button, Qt::Key_X); // which must not go to the field behind
            QTest::keyClick(button, key);
        }
        EXPECT_EQ(strings().size(), count) << key;
        EXPECT_EQ(typed(), QString());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

TEST_F(VXPhonebookTokenFieldTest, AnAddressIsThereOnce)
{
    field->addAddresses({jane, u"0044 20 7946 0000"_s, u"A@b.cd"_s, u"a@B.cd"_s});
    EXPECT_EQ(strings(), (QStringList{jane, u"A@b.cd"_s}));
    VXType(*field, u"+44 (20) 7946-0000,"_s);
    EXPECT_EQ(strings(), (QStringList{jane, u"A@b.cd"_s}));
    EXPECT_EQ(typed(), QString());
}

TEST_F(VXPhonebookTokenFieldTest, ACommaInsideBracketsIsText)
{
    VXType(*field, u"Team { +1 555 0101, +1 555 0102 },"_s);
    EXPECT_EQ(strings(), QStringList{u"Team { +1 555 0101, +1 555 0102 }"_s});
    EXPECT_EQ(field->phonebookStrings(), u"Team { +1 555 0101, +1 555 0102 }"_s);
}

TEST_F(VXPhonebookTokenFieldTest, TabGoesOnOnceNothingIsLeftToCommit)
{
    VXType(*field, u"+1 555 0199"_s);
    VXPress(*field, Qt::Key_Tab);
    EXPECT_TRUE(field->hasFocus());
    VXPress(*field, Qt::Key_Tab);
    EXPECT_TRUE(next.hasFocus());
}
