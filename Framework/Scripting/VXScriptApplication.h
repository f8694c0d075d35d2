#pragma once

#include "VXKeyValueCoding.h"
#include "VXScriptPhonebookEntry.h"

class VXPlugin;

/**
 * The application as scripts see it, from which specifiers count: "devices", every live device; "as_plugins", the enabled
 * plugins; "name" and "version". Main thread only.
 */
class VX_EXPORT VXScriptApplication : public VXKeyValueCoding, public VXScriptContainer
{
public:
    /** Made on first use and never freed. */
    static VXScriptApplication &shared();

    QVariant valueForKey(const QString &key) const override;
    QString scriptClassName() const override;
    VXObjectSpecifier objectSpecifier() const override { return {}; }

    /** For commands, and to evaluate specifiers with. */
    QVariant value() const;

    /** Names a plugin by its identifier among "as_plugins". */
    VXObjectSpecifier specifierForPlugin(const VXPlugin &plugin) const;
};
