#pragma once

#include "VXObexSession.h"
#include "VXPhonebookCards.h"

#include <memory>

class VXTransferFolder;

/** Contacts and lists of calls, by phone book access: each reading opens a session of its own. Main thread. */
class VXPhonebookAccess
{
public:
    /** `tellNumber` receives the phone's own number. */
    VXPhonebookAccess(VXObexPeer peer, std::function<void(const QString &number)> tellNumber);

    // -- Work of actions
    void readContacts(VXBusErrand &errand);
    void readCalls(VXBusErrand &errand);
    /** Opens a session and closes it again, to find out whether the phone is there and lets us in. */
    void tryPhone(VXBusErrand &errand);

private:
    struct Reading;

    void readNext(VXBusErrand &errand, const std::shared_ptr<Reading> &reading);
    void pull(VXBusErrand &errand, const std::shared_ptr<Reading> &reading);
    void readPortion(VXBusErrand &errand, const std::shared_ptr<Reading> &reading);
    void finish(VXBusErrand &errand, const std::shared_ptr<Reading> &reading);

    const VXObexPeer _peer;
    const std::function<void(const QString &)> _tellNumber;
};
