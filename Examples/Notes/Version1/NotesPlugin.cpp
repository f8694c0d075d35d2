#include <Vornix/VXDataPlugin.h>
#include <Vornix/VXPrincipalClass.h>

/** Keeps notes, in the store "notes". */
class NotesPlugin : public VXDataPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE NotesPlugin() = default;
};

VX_PRINCIPAL_CLASS(NotesPlugin)

#include "NotesPlugin.moc"
