#include "VXInterfacePlugin.h"
#include "VXPhonebookPlugin.h"
#include "VXPrincipalClass.h"
#include "VXReactorPlugin.h"

#include <stdexcept>

using namespace Qt::StringLiterals;

#ifndef FIXTURE_BASE
#define FIXTURE_BASE VXReactorPlugin
#endif

/**
 * A plugin whose answers a test sets while it runs, by `setReply`, or by keys of its Info.plist:
 *     FixtureReply  what pluginShouldUnload answers; 1 without
 *     FixtureOpens  the start of the URLs that it opens, as its identifier; at another one it throws
 */
class AnsweringPlugin : public FIXTURE_BASE
{
    Q_OBJECT

public:
    Q_INVOKABLE AnsweringPlugin() : _reply(bundle()->infoDictionary().value(u"FixtureReply"_s, 1).toInt()) {}

    int pluginShouldUnload() override { return _reply; }
    Q_INVOKABLE void setReply(int reply) { _reply = reply; }

    Q_INVOKABLE QVariant openURLString(const QString &url) { return open(url); }
    Q_INVOKABLE QVariant openManagedObjectWithURIRepresentation(const QString &url) { return open(url); }

private:
    QVariant open(const QString &url) const
    {
        const QString start = bundle()->infoDictionary().value(u"FixtureOpens"_s).toString();
        if (start.isNull())
            return {};
        if (!url.startsWith(start))
            throw std::runtime_error("not my URL");
        return identifier();
    }

    int _reply;
};

VX_PRINCIPAL_CLASS(AnsweringPlugin)

#include "AnsweringPlugin.moc"
