#pragma once

#include <QtCore/QList>
#include <QtCore/QString>

/** A copy of a plugin that lies in a searched folder, and what became of it. */
struct VXPluginCopy
{
    QString path;
    QString version;
    QString reason; // why it was chosen, or passed over; for people
};

/** Of the copies of one plugin the one to use, and the others. */
struct VXPluginChoice
{
    VXPluginCopy chosen;
    QList<VXPluginCopy> passedOver; // in the order they were found
};
