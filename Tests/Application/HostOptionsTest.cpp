#include "VXHostCommandTable.h"
#include "VXHostHelp.h"
#include "VXHostOptions.h"
#include "VXNearestWord.h"
#include "VXTesting.h"
#include "VXWords.h"

#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

const VXHostCommandTable &table()
{
    return VXHostCommandTable::standard();
}

} // namespace

TEST(HostOptionsTest, ReadsOptionsWhereverTheyStand)
{
    const std::tuple<VXWords, QString, QStringList, QString> cases[] = {
        {{}, {}, {}, {}},
        {"info", u"info"_s, {}, {}},
        {"--home /h info", u"info"_s, {}, u"/h"_s},
        {"info --home=/a=b", u"info"_s, {}, u"/a=b"_s},
        {"plist -", u"plist"_s, {u"-"_s}, {}},
        {"plist -- --help", u"plist"_s, {u"--help"_s}, {}},
        {"defaults write d k -5", u"defaults"_s, {u"write"_s, u"d"_s, u"k"_s, u"-5"_s}, {}},
        {"defaults read --home /h d ''", u"defaults"_s, {u"read"_s, u"d"_s, u""_s}, u"/h"_s},
    };
    for (const auto &[arguments, command, operands, home] : cases) {
        const VXHostOptions options(arguments, table());
        const std::string shown = arguments.join(u' ').toStdString();
        EXPECT_EQ(options.error(), QString()) << shown;
        EXPECT_EQ(options.command() == nullptr ? QString() : options.command()->name, command) << shown;
        EXPECT_EQ(options.operands(), operands) << shown;
        EXPECT_EQ(options.value(u"home"_s), home) << shown;
    }
}

TEST(HostOptionsTest, TellsWhatIsWrong)
{
    const std::pair<VXWords, QString> cases[] = {
        {"inof", u"unknown command \"inof\"; did you mean \"info\"?"_s},
        {"def", u"unknown command \"def\"; did you mean \"defaults\"?"_s},
        {"contacts", u"unknown command \"contacts\"; did you mean \"phonebook\"?"_s},
        {"phones list", u"unknown command \"phones\"; did you mean \"devices\"?"_s},
        {"mna", u"unknown command \"mna\""_s}, // hidden commands are not suggested
        {"xyzzy a", u"unknown command \"xyzzy\""_s},
        {"--homer info", u"unknown option --homer; did you mean \"--home\"?"_s},
        {"--follow log", u"unknown option --follow"_s}, // a command's own options come after it
        {"-v", u"unknown option -v"_s},
        {"info --home", u"--home needs a value: DIR"_s},
        {"--home= info", u"--home needs a value: DIR"_s},
        {"--json=yes info", u"--json takes no value"_s},
        {"--answer maybe info", u"--answer must be one of default, cancel, ask"_s},
        {"info more", u"info takes nothing more"_s},
        {"plist", u"plist needs FILE"_s},
        {"new-plugin Hello ''", u"new-plugin needs NAME DIR"_s},
        {"post a b", u"post takes no \"b\"; several words go between quotation marks"_s},
        {"defaults", u"defaults needs one of read, write, delete"_s},
        {"defaults read", u"read needs DOMAIN [KEY]"_s},
        {"defaults write '' k 1", u"write needs DOMAIN KEY VALUE"_s},
        {"scripting set a b ''", {}}, // a value may be empty
        {"scripting set a '' c", u"set needs TARGET PROPERTY VALUE"_s},
        {"triggers", {}}, // "list" is meant
        {"triggers list p1", u"list takes nothing more"_s},
        {"triggers --place 1", u"--place does not go with list"_s},
        {"--home a info --home b", u"--home is given twice"_s},
        {"--json info --json", {}},
        {"defaults raed", u"\"raed\" is none of read, write, delete; did you mean \"read\"?"_s},
        {"defaults show d", u"\"show\" is none of read, write, delete"_s},
        {"defaults --help", {}}, // help needs no operands
    };
    for (const auto &[arguments, error] : cases)
        EXPECT_EQ(VXHostOptions(arguments, table()).error(), error) << arguments.join(u' ').toStdString();
    EXPECT_TRUE(VXHostOptions({u"bad"_s, u"--json"_s}, table()).isSet(u"json"_s)); // known after a mistake too
}

TEST(HostOptionsTest, UsageIsOfTheVerbAndFitsTheTerminal)
{
    const std::tuple<QString, QString, QString> cases[] = {
        {u"devices"_s, u"rename"_s, u"usage: vornix devices rename DEVICE NAME"_s},
        {u"devices"_s, u"do"_s,
         u"usage: vornix devices do DEVICE ACTION [--object JSON] [--timeout SECONDS]\n              [--json-lines]"_s},
        {u"plugins"_s, u"remove"_s, u"usage: vornix plugins remove ID"_s},
        {u"history"_s,
         {},
         u"usage: vornix history [list|replay] [OPERAND]... [OPTION]...; see vornix help\n              history"_s},
        {u"sync"_s, u"mine"_s,
         u"usage: vornix sync DEVICE [--contacts] [--messages] [--calls] [--add]\n              [--new-phone] [--yes]"_s},
    };
    for (const auto &[command, verb, usage] : cases)
        EXPECT_EQ(VXHostUsage(table().find(command), verb), usage);
    for (const VXHostCommand &command : table().commands()) {
        for (const QString &line : VXHostUsage(&command).split(u'\n'))
            EXPECT_LE(line.size(), 79) << line.toStdString();
    }
}

TEST(HostOptionsTest, VerbsTakeWhatTheySay)
{
    for (const VXHostCommand &command : table().commands()) {
        const QStringList names = command.verbNames();
        for (const VXHostOption &option : command.options) {
            for (const QString &verb : option.verbs)
                EXPECT_TRUE(names.contains(verb) || (verb.isEmpty() && command.hasNamelessVerb()))
                    << option.name.toStdString();
        }
        const QString help = VXHostCommandHelp(command, table());
        for (const VXHostVerb &verb : command.verbs) {
            const std::string shown = (command.name + u' ' + verb.name).toStdString();
            EXPECT_EQ(names.count(verb.name), verb.name.isEmpty() ? 0 : 1) << shown;
            const QString line = (verb.name + u' ' + verb.operands).trimmed();
            EXPECT_TRUE(help.contains(line + u'\n') || help.contains(line + u"]\n"_s)) << shown;
            if (verb.operands.contains(u','))
                continue; // one of several ways
            const QStringList words = verb.operands.split(u' ', Qt::SkipEmptyParts);
            const QString needed = QString(verb.operands).remove(QRegularExpression(u"\\[[^]]*\\](\\.\\.\\.)?"_s));
            EXPECT_EQ(needed.split(u' ', Qt::SkipEmptyParts).size(), verb.minimum) << shown;
            EXPECT_EQ(verb.operands.contains(u"..."_s) ? VXHostVerb::unlimited : words.size(), verb.maximum) << shown;
        }
    }
}

TEST(HostOptionsTest, WhatWasTypedIsNeverSuggested)
{
    EXPECT_EQ(VXDidYouMean(u"calls"_s, {u"calls"_s, u"cells"_s}), u"; did you mean \"cells\"?"_s);
    EXPECT_EQ(VXDidYouMean(u"vxcall"_s, {u"VXCall"_s}), u"; did you mean \"VXCall\"?"_s);
    EXPECT_EQ(VXDidYouMean(u"calls"_s, {u"calls"_s}), QString());
}

TEST(HostOptionsTest, TheNearestWordIsTheSameInAnyOrder)
{
    const std::pair<VXWords, QString> cases[] = {
        {"phonebook phones", u"phones"_s}, {"honey phony bone", u"phony"_s}, {"phonez phones", u"phones"_s}};
    for (const auto &[words, nearest] : cases) {
        EXPECT_EQ(VXNearestWord(u"phone"_s, words), nearest);
        EXPECT_EQ(VXNearestWord(u"phone"_s, QStringList(words.rbegin(), words.rend())), nearest);
    }
}

TEST(HostOptionsTest, CompletionOffersWhatFits)
{
    const struct
    {
        QByteArray words; // typed so far; the last one is being completed
        QByteArray offered;
    } cases[] = {
        {"vornix de", "defaults devices"},
        {"vornix --home d in", "info"},
        {"vornix --answer ", "default cancel ask"},
        {"vornix plist x --to b", "binary"}, // another command's --to takes a file
        {"vornix new-plugin --kind da", "data"},
        {"vornix defaults w", "write"},
        {"vornix help po", "post post-form"},
        {"vornix log --f", "--follow"},
        {"vornix triggers move p1 --", "--home --json --answer --safe-mode --verbose --version --help --place"},
        {"vornix --ver", "--verbose --version"},
        {"vornix defaults read w", ""},
        {"vornix plugins info ca", "called"},
        {"vornix --home /h devices do one ", "--home /h completion words actions one"},
        {"vornix triggers add --reactor ", "completion words reactors"},
        {"vornix sync ", "completion words devices"},
        {"vornix export csv calls ", "completion words entities calls"},
        {"vornix export csv calls E --option co", "completion words options csv co"},
        {"vornix triggers add --reactor a --reactor b --option ", "completion words options b"},
        {"vornix --home=/h devices do one ", "--home=/h completion words actions one"},
    };
    for (const auto &[words, offered] : cases) {
        QProcess bash;
        bash.start(u"bash"_s, {u"--norc"_s, u"-s"_s});
        bash.write(VXHostBashCompletion(table()).toUtf8() +
                   "\nvornix() { [[ $* == *plugins* ]] && echo called || echo \"$*\"; }\nIFS=' ' read -r -a "
                   "COMP_WORDS <<< '" +
                   words + "'\n[[ '" + words +
                   "' == *' ' ]] && COMP_WORDS+=('')\n"
                   "COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_vornix\necho \"${COMPREPLY[*]}\"\n");
        bash.closeWriteChannel();
        ASSERT_TRUE(bash.waitForFinished());
        EXPECT_EQ(bash.readAllStandardOutput().trimmed(), offered) << words.toStdString();
        EXPECT_EQ(bash.readAllStandardError(), QByteArray("")) << words.toStdString();
    }
}

// bash takes them apart at "=" and ":", and puts what is offered in place of the last piece.
TEST(HostOptionsTest, CompletionKnowsWordsThatBashTakesApart)
{
    const std::tuple<QByteArray, QByteArray, QByteArray> cases[] = {
        {"vornix export csv c E --option columns=da", "--option columns = da", "date"},
        {"vornix export csv c E --option columns=", "--option columns =", "date"},
        {"vornix export csv c E --option col", "--option col", "columns=date"},
        {"vornix --home=/h export csv c E --option col", "--option col", "columns=date"},
    };
    for (const auto &[line, pieces, offered] : cases) {
        const QByteArray home = line.contains("--home") ? "--home = /h " : "";
        QProcess bash;
        bash.start(u"bash"_s, {u"--norc"_s, u"-s"_s});
        bash.write(VXHostBashCompletion(table()).toUtf8() +
                   "\nvornix() { [[ $* == *'options csv col'* ]] && echo columns=date; }\nCOMP_LINE='" + line +
                   "'\nIFS=' ' read -r -a " + "COMP_WORDS <<< 'vornix " + home + "export csv c E " + pieces +
                   "'\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_vornix\necho \"${COMPREPLY[*]}\"\n");
        bash.closeWriteChannel();
        ASSERT_TRUE(bash.waitForFinished());
        EXPECT_EQ(bash.readAllStandardOutput().trimmed(), offered) << line.toStdString();
    }
}

// What stands before decides, where options and their values stand between.
TEST(HostOptionsTest, FishCompletesOperandsByTheirPlaces)
{
    const std::pair<QString, QByteArray> cases[] = {
        {u"vornix de"_s, "defaults devices"},
        {u"vornix --home d defaults w"_s, "write"},
        {u"vornix defaults read w"_s, ""},
        {u"vornix --answer "_s, "ask cancel default"},
        {u"vornix log --fol"_s, "--follow"},
        {u"vornix --home /h devices do one "_s, "--home /h completion words actions one"},
        {u"vornix triggers add --reactor "_s, "completion words reactors add"},
        {u"vornix export csv "_s, "completion words stores csv"},
        {u"vornix export --to f csv calls "_s, "completion words entities calls"},
        {u"vornix messages move p1 "_s, "completion words message-folders p1"},
        {u"vornix export csv calls E --option col"_s, "completion words options csv col"},
        {u"vornix triggers add --reactor a --reactor b --option "_s, "completion words options b"},
    };
    for (const auto &[words, offered] : cases) {
        QProcess fish;
        fish.start(u"fish"_s, {u"--no-config"_s});
        fish.write(VXHostFishCompletion(table()).toUtf8() + "\nfunction vornix; echo $argv; end\n" +
                   "string join -- ' ' (complete -C '" + words.toUtf8() + "' | string replace -r '\\t.*' '')\n");
        fish.closeWriteChannel();
        ASSERT_TRUE(fish.waitForFinished()) << fish.errorString().toStdString();
        EXPECT_EQ(fish.readAllStandardOutput().trimmed(), offered) << words.toStdString();
        EXPECT_EQ(fish.readAllStandardError(), QByteArray("")) << words.toStdString();
    }
}

TEST(HostOptionsTest, DocumentsNameEveryVisibleCommandAndOption)
{
    const QString overview = VXHostOverview(table());
    const QString page = VXHostManPage(table(), u"1.0"_s);
    EXPECT_FALSE(page.contains(QRegularExpression(u"^\\.[BI] .*\""_s, QRegularExpression::MultilineOption)))
        << "these requests take quotation marks away";
    EXPECT_TRUE(page.contains(u"CONTAINS \\(dqJane\\(dq"_s));
    for (const VXHostCommand &command : table().commands()) {
        EXPECT_EQ(overview.contains(u"\n  "_s + command.name + u' '), !command.isHidden) << command.name.toStdString();
        const QString section = u"\n.SS "_s + QString(command.name).replace(u'-', u"\\-"_s);
        EXPECT_EQ(page.contains(section), !command.isHidden) << command.name.toStdString();
        for (const VXHostOption &option : command.options) {
            EXPECT_TRUE(VXHostCommandHelp(command, table()).contains(u"--"_s + option.name));
            EXPECT_TRUE(page.contains(u"\\-\\-"_s + QString(option.name).replace(u'-', u"\\-"_s)));
        }
    }
    for (const QString &line : overview.split(u'\n'))
        EXPECT_LE(line.size(), 79) << line.toStdString();
}

// But for single words that are longer.
TEST(HostOptionsTest, HelpFitsANarrowTerminal)
{
    constexpr qsizetype width = 50;
    qputenv("COLUMNS", QByteArray::number(width));
    QStringList texts{VXHostOverview(table())};
    for (const VXHostCommand &command : table().commands())
        texts.append(VXHostCommandHelp(command, table()));
    qunsetenv("COLUMNS");
    for (const QString &line : texts.join(u'\n').split(u'\n'))
        EXPECT_TRUE(line.size() <= width || !line.sliced(width - 30).contains(u' ')) << line.toStdString();
}
