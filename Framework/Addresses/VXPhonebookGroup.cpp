#include "VXPhonebookGroup.h"

#include "VXDiagnostics.h"
#include "VXPhonebookGroupParts.h"
#include "VXPhonebookItems.h"
#include "VXPhonebookList.h"

using namespace Qt::StringLiterals;

bool VXPhonebookGroupSplit(const QString &text, QString *groupName, QStringList *members)
{
    const auto parts = VXPhonebookGroupParts::split(text);
    VXPhonebookItems items;
    if (parts)
        items.appendMembers(parts->body);
    const bool isGroup = parts && (!parts->name.isNull() || items.count() >= 2);
    if (members != nullptr)
        *members = items.toStringList();
    if (groupName != nullptr) // last, as it may be the text itself
        *groupName = parts ? parts->name.toString() : QString();
    return isGroup;
}

QString VXPhonebookGroupJoin(const QString &groupName, const QStringList &members)
{
    return VXDescription(groupName) + " { "_L1 + VXPackPhonebookStrings(members) + " }"_L1;
}
