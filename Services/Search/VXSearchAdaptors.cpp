#include "VXSearchAdaptors.h"

using namespace Qt::StringLiterals;

namespace {

// KRunner's: how well a result fits, by its place among the others.
constexpr int possibleMatch = 30;
constexpr int exactMatch = 100;

double relevanceAt(qsizetype place)
{
    return 1.0 / (1.0 + 0.05 * double(place));
}

QStringList identifiersOf(const QList<VXFoundObject> &found)
{
    QStringList identifiers;
    for (const VXFoundObject &object : found)
        identifiers.append(object.uri().toString());
    return identifiers;
}

QVariantMap metaOf(const QString &identifier, const VXFoundObject &object)
{
    return {{u"id"_s, identifier},
            {u"name"_s, VXSearchAnswers::title(object)},
            {u"description"_s, VXSearchAnswers::subtitle(object)},
            {u"gicon"_s, VXSearchAnswers::icon(object)}};
}

} // namespace

// -- GNOME

void VXShellSearchAdaptor::GetInitialResultSet(const QStringList &terms, const QDBusMessage &call, QStringList &results)
{
    _answers.noteCall();
    results = _calls.serve(call, [&] { return identifiersOf(_answers.find(terms.join(u' '))); });
}

// What was found before may have been cut short, so that it is searched anew.
void VXShellSearchAdaptor::GetSubsearchResultSet(const QStringList &, const QStringList &terms,
                                                 const QDBusMessage &call, QStringList &results)
{
    GetInitialResultSet(terms, call, results);
}

void VXShellSearchAdaptor::GetResultMetas(const QStringList &identifiers, const QDBusMessage &call,
                                          QList<QVariantMap> &metas)
{
    _answers.noteCall();
    metas = _calls.serve(call, [&] {
        QList<QVariantMap> found;
        for (const QString &identifier : identifiers) {
            if (const std::optional<VXFoundObject> object = _answers.object(identifier))
                found.append(metaOf(identifier, *object));
        }
        return found;
    });
}

void VXShellSearchAdaptor::ActivateResult(const QString &identifier, const QStringList &, uint,
                                          const QDBusMessage &call)
{
    _answers.noteCall();
    _calls.serve(call, [&] { _answers.open(identifier); });
}

void VXShellSearchAdaptor::LaunchSearch(const QStringList &terms, uint, const QDBusMessage &call)
{
    _answers.noteCall();
    _calls.serve(call, [&] { _answers.openSearch(terms.join(u' ')); });
}

// -- KRunner

void VXRunnerAdaptor::Actions(const QDBusMessage &call, QList<VXRunnerAction> &matches)
{
    _answers.noteCall();
    matches = _calls.serve(call, [] { return QList<VXRunnerAction>(); });
}

void VXRunnerAdaptor::Match(const QString &query, const QDBusMessage &call, QList<VXRunnerMatch> &matches)
{
    _answers.noteCall();
    matches = _calls.serve(call, [&] {
        QList<VXRunnerMatch> all;
        for (const VXFoundObject &object : _answers.find(query)) {
            const QString title = VXSearchAnswers::title(object);
            const bool isExact = title.compare(query.trimmed(), Qt::CaseInsensitive) == 0;
            all.append({.id = object.uri().toString(),
                        .text = title,
                        .icon = VXSearchAnswers::icon(object),
                        .type = isExact ? exactMatch : possibleMatch,
                        .relevance = relevanceAt(all.size()),
                        .properties = {{u"subtext"_s, VXSearchAnswers::subtitle(object)}}});
        }
        return all;
    });
}

void VXRunnerAdaptor::Run(const QString &matchId, const QString &, const QDBusMessage &call)
{
    _answers.noteCall();
    _calls.serve(call, [&] { _answers.open(matchId); });
}

// The user has closed the search.
void VXRunnerAdaptor::Teardown(const QDBusMessage &call)
{
    _answers.noteCall();
    _calls.serve(call, [] {});
}

// -- As D-Bus carries them: (sssida{sv}) and (sss)

QDBusArgument &operator<<(QDBusArgument &argument, const VXRunnerMatch &match)
{
    argument.beginStructure();
    argument << match.id << match.text << match.icon << match.type << match.relevance << match.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, VXRunnerMatch &match)
{
    argument.beginStructure();
    argument >> match.id >> match.text >> match.icon >> match.type >> match.relevance >> match.properties;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const VXRunnerAction &action)
{
    argument.beginStructure();
    argument << action.id << action.text << action.icon;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, VXRunnerAction &action)
{
    argument.beginStructure();
    argument >> action.id >> action.text >> action.icon;
    argument.endStructure();
    return argument;
}
