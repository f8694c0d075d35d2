#pragma once

#include "VXDeviceAction.h"
#include "VXGammuSession.h"

#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <functional>

/**
 * What an action has read so far: its items, and what could not be read. It keeps the action's progress. Whatever ends
 * the reading, the action gets what there is, and whether that is all.
 */
class VXGammuReading
{
public:
    /** Lives no longer than the action. */
    explicit VXGammuReading(VXDeviceAction &action) : _action(action) {}

    void expectMore(int count);
    void addItem(const QVariantMap &item);
    /** Something could not be read: `what` names it, the error tells why. */
    void addProblem(const QString &what, GSM_Error code);

    bool isCancelled() const { return _action.isCancelled(); }

    /** Calls `take` with each entry of a memory, in order. An entry that can not be read is a problem; ERR_CANCELED,
     *  and an error that ends the connection, end the reading. A memory that the phone lacks is empty. */
    GSM_Error readMemory(VXGammuSession &session, GSM_MemoryType memory,
                         const std::function<void(const GSM_MemoryEntry &)> &take);

    /** Hands the action what was read. @return the error of the action: `description` has the place "%1". */
    VXError finish(const QString &description, GSM_Error code);

    /** The result's map: the items, whether these are all and complete, and the problems. */
    static QVariantMap result(const QVariantList &items, bool isComplete, const QStringList &problems);

private:
    GSM_Error nextEntry(VXGammuSession &session, GSM_MemoryEntry &entry, bool isFirst);

    VXDeviceAction &_action;
    QVariantList _items;
    QStringList _problems;
    double _expected = 0;
    int _lastLocation = 0; // of the memory, when the phone has to be asked location by location
};
