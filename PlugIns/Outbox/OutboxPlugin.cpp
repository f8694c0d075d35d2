#include "VXDataPlugin.h"
#include "VXPrincipalClass.h"

/** Keeps what is to be sent, in the store "outbox". */
class OutboxPlugin : public VXDataPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE OutboxPlugin() = default;
};

VX_PRINCIPAL_CLASS(OutboxPlugin)

#include "OutboxPlugin.moc"
