#include "VXPrincipalClass.h"

extern "C" QObject *symbolThatIsDefinedNowhere();

class UnresolvedSymbolCode : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE explicit UnresolvedSymbolCode(QObject *parent) : QObject(parent) { symbolThatIsDefinedNowhere(); }
};

VX_PRINCIPAL_CLASS(UnresolvedSymbolCode)

#include "UnresolvedSymbolCode.moc"
