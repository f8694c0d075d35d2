#include "VXPrincipalClass.h"
#include "VXStorePlugin.h"

using namespace Qt::StringLiterals;

/** Keeps what has to be sent, in the store "outbox". */
class OutboxPlugin : public VXStorePlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE OutboxPlugin() : VXStorePlugin(u"VXOutboxEntry"_s, u"One entry"_s, u"%1 entries"_s) {}
};

VX_PRINCIPAL_CLASS(OutboxPlugin)

#include "OutboxPlugin.moc"
