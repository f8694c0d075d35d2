#pragma once

#include "VXKeyValueCoding.h"
#include "VXScriptPhonebookEntry.h"

class VXPlugin;

/**
 * The application as seen by scripts, which specifiers start from: "devices", all live devices; "as_plugins", the
 * enabled plugins; "name" and "version". Main thread only.
 */
class VX_EXPORT VXScriptApplication : public VXKeyValueCoding, public VXScriptContainer
{
public:
    /** Made on first use and never freed. */
    static VXScriptApplication &shared();

    QVariant valueForKey(const QString &key) const override;
    QString scriptClassName() const override;
    VXObjectSpecifier objectSpecifier() const override { return {}; }

    /** For commands, and for evaluating specifiers. */
    QVariant value() const;

    /** Specifies a plugin by its identifier in "as_plugins". */
    VXObjectSpecifier specifierForPlugin(const VXPlugin &plugin) const;
};
