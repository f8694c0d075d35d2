#include "VXDataPlugin.h"
#include "VXPrincipalClass.h"

using namespace Qt::StringLiterals;

/** Keeps what is to be sent, in the store "outbox". */
class OutboxPlugin : public VXDataPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE OutboxPlugin() = default;

    // Since the first version nothing is derived from other values that was not before.
    bool copiesRows(int version) const override { return version >= 1; }
    QString importDescriptionFromStore(VXCoreDataStore &store) override
    {
        const qsizetype count = countInStore(store, u"VXOutboxEntry"_s);
        if (count == 0)
            return {};
        return bundle()
            ->localizedStringForKey(count == 1 ? u"One entry"_s : u"%1 entries"_s)
            .replace("%1"_L1, QString::number(count));
    }
};

VX_PRINCIPAL_CLASS(OutboxPlugin)

#include "OutboxPlugin.moc"
