#include "VXPausedPlayers.h"

#include "VXAppleScriptBridge.h"
#include "VXScriptingTransport.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

constexpr size_t mostAtOnce = 32; // number of players asked
const QString playerPrefix = u"org.mpris.MediaPlayer2."_s;

/** Asks no longer than people wait for their music: a player that hangs must not delay the others. */
class ImpatientTransport : public VXScriptingTransport
{
public:
    qint32 sendMessage(const VXEventDescriptor &event, VXEventDescriptor *reply, qint32 mode, qint32 timeOut) override
    {
        return _shared->sendMessage(event, reply, mode, timeOut < 0 ? longestWait : timeOut);
    }
    qint64 pidForApplicationWithIdentifier(const QString &identifier) override
    {
        return _shared->pidForApplicationWithIdentifier(identifier);
    }
    QStringList runningIdentifiers(const QString &prefix) override { return _shared->runningIdentifiers(prefix); }

private:
    static constexpr qint32 longestWait = 1500; // milliseconds

    const std::shared_ptr<VXScriptingTransport> _shared = VXScriptingTransport::sharedTransport();
};

/** The outcome for one player: nothing, if neither is set. */
struct Answer
{
    bool isDone = false; // it was playing and is paused, or the other way round
    QString problem = {};
};

// Sends one of the player's own events to it if it is in that state.
Answer change(const std::shared_ptr<VXScriptingTransport> &transport, const QString &identifier,
              const QString &stateBefore, VXFourCharCode eventID)
{
    VXAppleScriptBridge player(identifier, transport);
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

std::vector<Answer> changeAll(const std::shared_ptr<VXScriptingTransport> &transport, const QStringList &identifiers,
                              const QString &stateBefore, VXFourCharCode eventID)
{
    std::vector<Answer> answers(size_t(identifiers.size()));
    std::atomic<size_t> next = 0;
    const auto work = [&] {
        for (size_t index = next++; index < answers.size(); index = next++)
            answers[index] = change(transport, identifiers[qsizetype(index)], stateBefore, eventID);
    };
    std::vector<std::jthread> threads;
    for (size_t count = std::min(answers.size(), mostAtOnce); count > 0; --count)
        threads.emplace_back(work);
    threads.clear(); // waits until they have ended
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
                      name.startsWith(wanted + u'.', Qt::CaseInsensitive); // another instance of it
           });
}

} // namespace

QString VXPausedPlayers::callBegan(const QString &call, const QStringList &names)
{
    _calls.insert(call);
    const auto transport = std::make_shared<ImpatientTransport>();
    QStringList players = transport->runningIdentifiers(playerPrefix);
    players.removeIf([&names](const QString &identifier) { return !isWanted(identifier, names); });
    const std::vector<Answer> answers = changeAll(transport, players, u"Playing"_s, VXCode("paus"));
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
    const auto transport = std::make_shared<ImpatientTransport>();
    QStringList players;
    for (const Player &player : paused) {
        if (player.process != 0 && transport->pidForApplicationWithIdentifier(player.identifier) == player.process)
            players.append(player.identifier);
    }
    return problemsOf(changeAll(transport, players, u"Paused"_s, VXCode("play")));
}
