#pragma once

#include "VXScriptingCalls.h"
#include "VXSearchAnswers.h"

#include <QtCore/QVariantMap>
#include <QtDBus/QDBusAbstractAdaptor>
#include <QtDBus/QDBusArgument>
#include <QtDBus/QDBusMessage>

/** One result, as KRunner takes it. */
struct VXRunnerMatch
{
    QString id = {};
    QString text = {};
    QString icon = {};
    int type = 0;
    double relevance = 0;
    QVariantMap properties = {};
};
Q_DECLARE_METATYPE(VXRunnerMatch)

/** What can be done with a result besides opening it: nothing, yet. */
struct VXRunnerAction
{
    QString id = {};
    QString text = {};
    QString icon = {};
};
Q_DECLARE_METATYPE(VXRunnerAction)

QDBusArgument &operator<<(QDBusArgument &argument, const VXRunnerMatch &match);
const QDBusArgument &operator>>(const QDBusArgument &argument, VXRunnerMatch &match);
QDBusArgument &operator<<(QDBusArgument &argument, const VXRunnerAction &action);
const QDBusArgument &operator>>(const QDBusArgument &argument, VXRunnerAction &action);

/** The overview of GNOME. Results go by their objects' URIs. */
class VXShellSearchAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.gnome.Shell.SearchProvider2")

public:
    VXShellSearchAdaptor(VXSearchAnswers &answers, VXScriptingCalls &calls, QObject *parent)
        : QDBusAbstractAdaptor(parent), _answers(answers), _calls(calls)
    {
    }

public Q_SLOTS:
    void GetInitialResultSet(const QStringList &terms, const QDBusMessage &call, QStringList &results);
    void GetSubsearchResultSet(const QStringList &previous, const QStringList &terms, const QDBusMessage &call,
                               QStringList &results);
    void GetResultMetas(const QStringList &identifiers, const QDBusMessage &call, QList<QVariantMap> &metas);
    void ActivateResult(const QString &identifier, const QStringList &terms, uint timestamp, const QDBusMessage &call);
    void LaunchSearch(const QStringList &terms, uint timestamp, const QDBusMessage &call);

private:
    VXSearchAnswers &_answers;
    VXScriptingCalls &_calls;
};

/** KRunner and the launcher of Plasma. */
class VXRunnerAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.krunner1")

public:
    VXRunnerAdaptor(VXSearchAnswers &answers, VXScriptingCalls &calls, QObject *parent)
        : QDBusAbstractAdaptor(parent), _answers(answers), _calls(calls)
    {
    }

public Q_SLOTS:
    void Actions(const QDBusMessage &call, QList<VXRunnerAction> &matches);
    void Match(const QString &query, const QDBusMessage &call, QList<VXRunnerMatch> &matches);
    void Run(const QString &matchId, const QString &actionId, const QDBusMessage &call);
    void Teardown(const QDBusMessage &call);

private:
    VXSearchAnswers &_answers;
    VXScriptingCalls &_calls;
};
