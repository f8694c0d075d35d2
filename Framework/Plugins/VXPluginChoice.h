#pragma once

#include <QtCore/QList>
#include <QtCore/QString>

/** A copy of a plugin in a searched folder, and whether it was chosen. */
struct VXPluginCopy
{
    QString path;
    QString version;
    QString reason; // why it was chosen or passed over; in the user's language
};

/** The copies of one plugin: the one to use, and the others. */
struct VXPluginChoice
{
    VXPluginCopy chosen;
    QList<VXPluginCopy> passedOver; // in the order in which they were found
};
