#include "VXBundle.h"
#include "VXPrincipalClass.h"

namespace {

// Runs while the code loads, and uses the bundle that it belongs to.
const QString titleFoundWhileLoading = [] {
    const VXBundle::Ptr bundle = VXBundle::bundleWithIdentifier(QStringLiteral("fixture.good"));
    return bundle ? bundle->localizedStringForKey(QStringLiteral("title")) : QString();
}();

} // namespace

class GoodCode : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString title READ title CONSTANT)

public:
    Q_INVOKABLE explicit GoodCode(QObject *parent) : QObject(parent) {}

    QString title() const { return titleFoundWhileLoading; }
};

VX_PRINCIPAL_CLASS(GoodCode)

#include "GoodCode.moc"
