#pragma once

#include "VXEventDescriptor.h"

#include <QtCore/QSharedData>

/** An item of a descriptor. */
struct VXEventDescriptor::Entry
{
    VXFourCharCode keyword = 0; // 0 in lists
    VXEventDescriptor descriptor;

    friend bool operator==(const Entry &a, const Entry &b) = default;
};

struct VXEventDescriptor::Contents : QSharedData
{
    enum class Kind : quint8 { Data = 0, List = 1, Record = 2, Event = 3 };

    Contents(Kind theKind, VXFourCharCode theType) : kind(theKind), type(theType) {}

    Kind kind;
    VXFourCharCode type;
    QByteArray data = {};
    QList<Entry> entries = {};
    // of events
    VXFourCharCode eventClass = 0;
    VXFourCharCode eventID = 0;
    qint32 returnID = 0;
    qint32 transactionID = 0;
    std::optional<VXEventDescriptor> target = {}; // never empty in an event
};
