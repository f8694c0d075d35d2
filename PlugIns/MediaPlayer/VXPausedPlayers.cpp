#include "VXPausedPlayers.h"

#include "VXAppleScriptBridge.h"
#include "VXScriptingTransport.h"

#include <algorithm>
#include <future>
#include <optional>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

const QString playerPrefix = u"org.mpris.MediaPlayer2."_s;

/** What came of one player: nothing, if neither is set. */
struct Answer
{
    bool isDone = false; // it was playing and is paused, or the other way round
    QString problem = {};
};

// Sends an event of the player's own to one that is in that state.
Answer change(const QString &identifier, const QString &stateBefore, VXFourCharCode eventID)
{
    VXAppleScriptBridge player(identifier);
    VXError error;
    const auto state = player.getAppleScriptPropertyForKeyword(VXCode("pPst"), &error);
    if (!state)
        return {.problem = player.processIsRunning() ? error.localizedDescription() : QString()};
    if (state->stringValue() != stateBefore)
        return {};
    if (!player.sendAppleEvent(player.eventForTarget(VXCode("mpri"), eventID), nullptr, &error))
        return {.problem = error.localizedDescription()};
    return {.isDone = true};
}

std::vector<Answer> changeAll(const QStringList &identifiers, const QString &stateBefore, VXFourCharCode eventID)
{
    std::vector<std::future<Answer>> running;
    running.reserve(size_t(identifiers.size()));
    for (const QString &identifier : identifiers)
        running.push_back(std::async(std::launch::async, change, identifier, stateBefore, eventID));
    std::vector<Answer> answers;
    answers.reserve(running.size());
    for (std::future<Answer> &answer : running)
        answers.push_back(answer.get());
    return answers;
}

QString problemsOf(const std::vector<Answer> &answers)
{
    QStringList problems;
    for (const Answer &answer : answers) {
        if (!answer.problem.isNull())
            problems.append(answer.problem);
    }
    return problems.isEmpty() ? QString() : problems.join(u' ');
}

bool isWanted(const QString &identifier, const QStringList &names)
{
    const QString name = identifier.sliced(playerPrefix.size());
    return names.isEmpty() || std::ranges::any_of(names, [&name](const QString &wanted) {
               return name.compare(wanted, Qt::CaseInsensitive) == 0 ||
                      name.startsWith(wanted + u'.', Qt::CaseInsensitive); // a further instance of it
           });
}

} // namespace

QString VXPausedPlayers::callBegan(const QString &call, const QStringList &names)
{
    _calls.insert(call);
    const std::shared_ptr<VXScriptingTransport> transport = VXScriptingTransport::sharedTransport();
    QStringList players = transport->runningIdentifiers(playerPrefix);
    players.removeIf([&names](const QString &identifier) { return !isWanted(identifier, names); });
    const std::vector<Answer> answers = changeAll(players, u"Playing"_s, VXCode("paus"));
    for (size_t index = 0; index < answers.size(); ++index) {
        const QString &player = players[qsizetype(index)];
        if (!answers[index].isDone)
            continue;
        _paused.removeIf([&player](const Player &known) { return known.identifier == player; });
        _paused.append({player, transport->pidForApplicationWithIdentifier(player)});
    }
    return problemsOf(answers);
}

QString VXPausedPlayers::callEnded(const QString &call, bool goesOn)
{
    if (!_calls.remove(call) || !_calls.isEmpty())
        return {};
    const QList<Player> paused = std::exchange(_paused, {});
    if (!goesOn)
        return {};
    const std::shared_ptr<VXScriptingTransport> transport = VXScriptingTransport::sharedTransport();
    QStringList players;
    for (const Player &player : paused) {
        if (player.process != 0 && transport->pidForApplicationWithIdentifier(player.identifier) == player.process)
            players.append(player.identifier);
    }
    return problemsOf(changeAll(players, u"Paused"_s, VXCode("play")));
}
