#include "VXErrorText.h"
#include "VXFileLock.h"
#include "VXHostCommands.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXLimitOption.h"
#include "VXMetaDataKeeper.h"
#include "VXPluginSession.h"
#include "VXSearchCheck.h"
#include "VXSearchReport.h"
#include "VXSearchUpdate.h"
#include "VXThread.h"

#include <algorithm>
#include <chrono>
#include <optional>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr qsizetype usualLimit = 50;
constexpr std::chrono::milliseconds longestWait = 2s; // for a searching user, until another process is done
constexpr int priorityInBackground = 5;               // not the lowest: who searches meanwhile waits until it gives way
constexpr std::chrono::milliseconds longestLook = 100ms; // of others, at a lock
constexpr int mostRounds = 3;

VXSearchIndex::Scope scopeOf(const VXHostOptions &options)
{
    return {.kind = options.value(u"kind"_s), .isTrashIncluded = options.isSet(u"trash"_s)};
}

// Searches the index alone, without the plugins. None if it is damaged and has to be made again.
std::optional<int> tryToFind(VXHostContext &context, const QString &words, qsizetype limit)
{
    VXError error;
    const std::unique_ptr<VXSearchIndex> index = VXSearchIndex::openExisting(&error);
    auto found = index ? index->find(words, scopeOf(context.options), limit + 1, &error) : std::nullopt;
    if (!found && VXSearchIndex::discardIfDamaged(error))
        return std::nullopt;
    if (!found)
        return context.output.fail(error ? VXErrorText(error) : u"there is no index"_s);
    const bool isCut = found->size() > limit;
    found->resize(std::min(found->size(), limit));
    VXAnswerFoundObjects(context.output, *found);
    if (isCut)
        context.output.note(u"more was found; \"--limit 0\" shows all"_s);
    return VXHostOutput::Done;
}

int find(VXHostContext &context, const QString &words, qsizetype limit)
{
    const std::optional<int> status = tryToFind(context, words, limit);
    return status ? *status : context.output.fail(u"the index is damaged, and made anew by the next search"_s);
}

int findInStep(VXHostContext &context, const QString &words, qsizetype limit)
{
    if (const auto status = VXIsSearchUpdateDue() ? std::nullopt : tryToFind(context, words, limit))
        return *status;
    // Done even if a permanent process makes the passes, because that one looks only now and then.
    return VXRunWithPlugins(context, [&](VXPluginManager &) {
        static_cast<void>(VXUpdateSearch(context, longestWait)); // it reports what is missing
        return find(context, words, limit);
    });
}

// Only one at a time; another that starts meanwhile leaves the work to it.
int updateInBackground(VXHostContext &context)
{
    const auto isDue = [] { return VXIsSearchUpdateDue() && !VXMetaDataKeeper::isElsewhere(); };
    if (!isDue() || VXIsSearchBeingUpdated())
        return VXHostOutput::Done;
    VXThread::vx_lowerPriority(priorityInBackground);
    return VXRunWithPlugins(context, [&](VXPluginManager &) {
        bool isDone = true;
        for (int round = 0; round < mostRounds && isDone && isDue(); ++round) {
            const VXFileLock turn(VXSearchUpdateLockPath(), longestLook);
            if (turn.isTimedOut())
                break;
            isDone = VXUpdateSearch(context);
        }
        return static_cast<int>(isDone ? VXHostOutput::Done : VXHostOutput::Failed);
    });
}

int update(VXHostContext &context)
{
    if (context.options.isSet(u"background"_s))
        return updateInBackground(context);
    return VXRunWithPlugins(context, [&](VXPluginManager &) {
        if (!VXUpdateSearch(context))
            return static_cast<int>(VXHostOutput::Failed);
        context.output.answer({}, QJsonValue(true));
        return static_cast<int>(VXHostOutput::Done);
    });
}

int runSearch(VXHostContext &context)
{
    const VXHostOptions &options = context.options;
    if (VXFailIfNothingIsSearched(context))
        return VXHostOutput::Failed;
    if (options.verb() == "check"_L1)
        return VXRunWithPlugins(context, [&](VXPluginManager &) { return VXCheckSearch(context); });
    if (options.verb() == "update"_L1)
        return update(context);
    return findInStep(context, options.operands().join(u' '), VXLimitOption(options, usualLimit));
}

} // namespace

VXHostCommand VXSearchCommand()
{
    const QStringList words{u""_s}; // the verb without a name
    return {
        .name = u"search"_s,
        .summary = u"Find contacts, messages and calls"_s,
        .details =
            u"Finds what has a word beginning with each WORD, letters with and without accents being the same and "
            u"\"ue\" meaning \"ü\" too, or "
            u"phone numbers by their last digits, four at least, also beside words. Exact matches come first, then the "
            u"newest, then "
            u"messages and calls of the contacts (of up to 10,000) that the words find. Up to 32 words. What is found "
            u"can be opened with "
            u"\"vornix open\" by the \"url\" that --json tells. Messages in the trash are left out without --trash.\n"
            "\"search check\" compares what is searched with the stores and tells what is stale, missing, orphaned or "
            u"damaged; --repair puts it right. It ends with status 1 when something is wrong; what no search has taken "
            u"in "
            "yet, and what is outdated, as an earlier program wrote it, is told, and is not wrong. \"search update\" "
            "takes in what was saved, which otherwise happens by "
            "itself. "
            "To search for one of these words alone, put a blank behind it, in quotes."_s,
        .options =
            {{.name = u"kind"_s,
              .placeholder = u"KIND"_s,
              .summary = u"Only of that kind"_s,
              .choices = {u"contact"_s, u"message"_s, u"call"_s},
              .verbs = words},
             {.name = u"trash"_s, .placeholder = {}, .summary = u"Also messages in the trash"_s, .verbs = words},
             {.name = u"limit"_s,
              .placeholder = u"N"_s,
              .summary = u"Show so many at most; 0: all (50 without)"_s,
              .verbs = words},
             {.name = u"repair"_s, .placeholder = {}, .summary = u"Put right what differs"_s, .verbs = {u"check"_s}},
             {.name = u"background"_s,
              .placeholder = {},
              .summary = u"At a lower priority, and only if it is due"_s,
              .verbs = {u"update"_s}}},
        .verbs = {{.name = u"check"_s},
                  {.name = u"update"_s},
                  {.name = {}, .operands = u"WORD..."_s, .minimum = 1, .maximum = VXHostVerb::unlimited}},
        .needsVerb = true,
        .run = runSearch};
}
