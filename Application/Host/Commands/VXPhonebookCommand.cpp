#include "VXContactVerbs.h"
#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXLineSplitter.h"
#include "VXPhonebookList.h"
#include "VXPhonebookString.h"
#include "VXPhonebookType.h"
#include "VXPhoneNumber.h"
#include "VXPhoneNumberFormat.h"
#include "VXPluginSession.h"

#include <QtCore/QFile>
#include <QtCore/QJsonObject>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

// An answer as a JSON value, and as the columns of a line for people.
struct Answer
{
    QJsonObject json;
    QStringList columns;
};

Answer split(const QString &text)
{
    QString name;
    QString value;
    unsigned type = 0;
    const bool isAddress = VXPhonebookStringSplit(text, &name, &value, &type);
    const QString letters = VXStringFromPhonebookTypeMask(type);
    return {{{u"text"_s, text},
             {u"result"_s, isAddress},
             {u"name"_s, VXJSONFromVariant(name)},
             {u"value"_s, VXJSONFromVariant(value)},
             {u"type"_s, qint64(type)},
             {u"letters"_s, VXJSONFromVariant(letters)}},
            {isAddress ? u"address"_s : u"-"_s, letters, value, name}};
}

Answer searchString(const QString &number)
{
    const QString result = VXPhoneNumberSearchString(number);
    return {{{u"number"_s, number}, {u"result"_s, result}}, {result, number}};
}

Answer format(const QString &number, const QString &pattern)
{
    const QString result = pattern.isNull() ? VXFormatPhoneNumber(number) : VXPhoneNumberWithFormat(number, pattern);
    return {{{u"number"_s, number}, {u"result"_s, VXJSONFromVariant(result)}},
            {result.isNull() ? u"-"_s : result, number}};
}

Answer match(const QString &a, const QString &b)
{
    const bool result = VXPhonebookStringsMatch(a, b);
    return {{{u"a"_s, a}, {u"b"_s, b}, {u"result"_s, result}}, {result ? u"match"_s : u"differ"_s, a, b}};
}

// Writes answers as they arrive: with padded columns, so that the columns of several lines are aligned.
void write(VXHostOutput &output, const Answer &answer)
{
    constexpr qsizetype columnWidth = 20;
    if (output.isJSON())
        return output.writePart(VXJSONText(answer.json));
    QString line;
    for (const QString &column : answer.columns)
        line += column.leftJustified(columnWidth) + u' ';
    output.writePart(line.trimmed().toUtf8());
}

// Calls the function for each operand after the first or, if there is none, for each line of standard input.
template <class Function>
bool forEachText(const VXHostContext &context, Function function)
{
    const QStringList texts = context.options.operands().sliced(1);
    for (const QString &text : texts)
        function(text);
    if (!texts.isEmpty())
        return true;
    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly | QIODevice::Unbuffered))
        return false;
    constexpr qint64 chunkSize = 64 * 1024;
    VXLineSplitter lines([&function](const QByteArray &line) { function(QString::fromUtf8(line)); });
    bool mayGoOn = true;
    while (mayGoOn) {
        const QByteArray chunk = input.read(chunkSize);
        if (chunk.isEmpty())
            break;
        lines.feed(chunk);
        mayGoOn = context.output.flush();
    }
    lines.finish();
    return input.error() == QFile::NoError;
}

int ended(VXHostContext &context, bool couldRead)
{
    return couldRead ? static_cast<int>(VXHostOutput::Done) : context.output.fail(u"cannot read standard input"_s);
}

int runMatch(VXHostContext &context)
{
    const QStringList operands = context.options.operands();
    if (operands.size() == 2)
        return context.output.failUsage(u"match needs two lists, or lines with a tab between two"_s,
                                        VXHostUsage(context.options));
    context.output.beginParts();
    if (operands.size() == 3) {
        write(context.output, match(operands[1], operands[2]));
        return VXHostOutput::Done;
    }
    bool wellFormed = true;
    const bool couldRead = forEachText(context, [&](const QString &line) {
        const qsizetype tab = line.indexOf(u'\t');
        wellFormed = wellFormed && tab >= 0;
        if (tab >= 0)
            write(context.output, match(line.first(tab), line.sliced(tab + 1)));
    });
    return wellFormed ? ended(context, couldRead)
                      : context.output.fail(u"a line without a tab between two lists was left out"_s);
}

template <class Function>
int runForEachText(VXHostContext &context, Function answer)
{
    context.output.beginParts();
    return ended(context, forEachText(context, [&](const QString &text) { write(context.output, answer(text)); }));
}

int runSplit(VXHostContext &context)
{
    return runForEachText(context, split);
}

int runSearchString(VXHostContext &context)
{
    return runForEachText(context, searchString);
}

int runFormat(VXHostContext &context)
{
    const QString pattern = context.options.value(u"pattern"_s);
    return runForEachText(context, [&](const QString &text) { return format(text, pattern); });
}

struct Verb : VXHostVerb
{
    int (*run)(VXHostContext &context);
};

const Verb textVerbs[] = {
    {{u"split"_s, u"[TEXT]..."_s, 0, VXHostVerb::unlimited}, runSplit},
    {{u"search-string"_s, u"[TEXT]..."_s, 0, VXHostVerb::unlimited}, runSearchString},
    {{u"format"_s, u"[TEXT]..."_s, 0, VXHostVerb::unlimited}, runFormat},
    {{u"match"_s, u"[A B]"_s, 0, 2}, runMatch},
};

int runPhonebook(VXHostContext &context)
{
    const QString name = context.options.verb();
    if (const auto found = std::ranges::find(textVerbs, name, &Verb::name); found != std::end(textVerbs))
        return found->run(context);
    const VXContactVerb &verb = context.options.verbIn(VXContactVerbs());
    return VXRunWithPlugins(context, [&](VXPluginManager &) { return verb.run(context); });
}

} // namespace

VXHostCommand VXPhonebookCommand()
{
    return {
        .name = u"phonebook"_s,
        .summary = u"Keep contacts, look them up, and take addresses apart"_s,
        .otherNames = {u"contacts"_s, u"contact"_s, u"addressbook"_s},
        .details =
            u"\"lookup STRING\" shows whose phone number or e-mail address that is, \"complete TEXT\" what a beginning "
            u"may become. "
            u"\"list\", "
            "\"show CONTACT\", \"add [NAME]\", \"edit CONTACT\" and \"delete CONTACT\" are for the contacts that are "
            "kept; CONTACT is an ID as \"list\" shows it, a number, an address or a name; NAME may be a phonebook "
            "string, as "
            "\"Jane <555-0100/m>\".\n\"import FILE\" takes "
            "contacts from vCards 2.1, 3.0 and 4.0 (\"-\" is standard input); those that are there already, by their "
            "UID "
            "or else by name and address, take over what is new. It ends with status 1 when a card could not be read, "
            "though the others are taken. \"export FILE\" writes all of them, in place of what FILE "
            "holds (\"-\": to standard output). "
            "\"duplicates\" "
            "shows contacts of one name that share a number or an address; with their number in that list, or a name "
            "or ID of "
            "theirs, only these, and with several IDs just those contacts. \"undo-import\" takes the last import or "
            "merge back.\n\"split\" shows type letters, address and name of phonebook strings such as \"Jane "
            "<555-0100/Hm>\". "
            "\"search-string\" shows the form under which numbers are compared. \"format\" shows numbers in "
            "the user's address-book format, or in that of --pattern. \"match A B\" tells whether two lists "
            "name the same addresses. Without TEXT these four take the lines of standard input; for \"match\" each "
            "holds two lists with a tab between them."_s,
        .options =
            VXContactOptions() + QList<VXHostOption>{{.name = u"pattern"_s,
                                                      .placeholder = u"PATTERN"_s,
                                                      .summary = u"# stands for a digit, 1 and + for themselves"_s,
                                                      .verbs = {u"format"_s}}},
        .verbs = VXHostVerbsOf(textVerbs) + VXHostVerbsOf(VXContactVerbs()),
        .needsVerb = true,
        .run = runPhonebook};
}
