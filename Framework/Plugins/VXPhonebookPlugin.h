#pragma once

#include "VXPlugin.h"

#include <QtCore/QVariant>

/**
 * The base of plugins that look contacts up. A look-up answers nothing unless it is overridden. An entry stands in a
 * QVariant, invalid for none; type masks are those of VXPhonebookType.h. Main thread only.
 */
class VX_EXPORT VXPhonebookPlugin : public VXPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE VXPhonebookPlugin();
    ~VXPhonebookPlugin() override;

    /** Texts that what was typed may become, at most `limit`, of the properties in the mask; in any order. */
    Q_INVOKABLE virtual QVariantList completionsForSubstring(const QString &substring, unsigned propertyMask,
                                                             unsigned limit);

    Q_INVOKABLE virtual QVariant phonebookEntryForName(const QString &name);
    /** `nameHint` prefers one of several people that share the address; null for none. */
    Q_INVOKABLE virtual QVariant phonebookEntryForEmailAddress(const QString &address, unsigned entryType,
                                                               const QString &nameHint);
    Q_INVOKABLE virtual QVariant phonebookEntryForPhoneNumber(const QString &number, unsigned entryType,
                                                              const QString &nameHint);
};
