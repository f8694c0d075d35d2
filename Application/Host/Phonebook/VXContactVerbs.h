#pragma once

#include "VXHostCommand.h"

#include <QtCore/QList>
#include <QtCore/QString>

// What "vornix phonebook" does with the stored contacts. Each verb returns an exit status.

/** A verb that needs the store of contacts. */
struct VXContactVerb : VXHostVerb
{
    int (*run)(VXHostContext &context);
};

/** All of them. */
[[nodiscard]] const QList<VXContactVerb> &VXContactVerbs();
/** Their options. */
[[nodiscard]] QList<VXHostOption> VXContactOptions();

// By topic
int VXLookUpContact(VXHostContext &context);
int VXCompleteContact(VXHostContext &context);
int VXListContacts(VXHostContext &context);
int VXShowContact(VXHostContext &context);
int VXAddContact(VXHostContext &context);
int VXEditContact(VXHostContext &context);
int VXDeleteContact(VXHostContext &context);
int VXImportContacts(VXHostContext &context);
int VXExportContacts(VXHostContext &context);
int VXShowDuplicateContacts(VXHostContext &context);
int VXUndoContactImport(VXHostContext &context);
