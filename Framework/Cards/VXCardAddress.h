#pragma once

#include "VXContactRecord.h"

struct VXCardLine;

// What the properties of a vCard say about numbers and addresses. Any thread.

/** The mask of types that the parameters TYPE and PREF give. */
unsigned VXTypeOfCardLine(const VXCardLine &line);

/** The number, e-mail address or URL of a property TEL, EMAIL or URL; its value is blank if the property has none. */
VXContactRecord::Address VXAddressOfCardLine(const VXCardLine &line);

/** The label without the marks that some address books put around those that they translate. */
QString VXPlainCardLabel(const QString &label);
