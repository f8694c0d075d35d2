#pragma once

#include "VXBusErrand.h"

/** The other end of sessions, and the texts of errors. */
struct VXObexPeer
{
    std::function<QString()> address;                // asked anew for each session
    std::function<QString(const QString &key)> text; // the plugin's texts
};

/**
 * Opens a session of the errand's service with the phone, "pbap" or "map", and calls with its path. A phone that asks
 * its user takes longer than the service waits, so it is asked again several times. A failure fails the errand, and
 * says what to do on the phone. A session that is opened too late is removed.
 */
void VXOpenObexSession(VXBusErrand &errand, const VXObexPeer &peer, const QString &target,
                       const std::function<void(const QString &session)> &then);

/** The call to send when a session is no longer needed. */
VXBusCall VXObexFarewell(const QString &session);

/**
 * Calls a method that answers with a transfer, and calls once when that is complete, or with the problem if it fails or
 * falls silent. As long as bytes arrive, the step is prolonged.
 * @return a function that ends the transfer, for the errand's farewell if its session is kept.
 */
std::function<void()> VXRunObexTransfer(VXBusErrand &errand, const VXObexPeer &peer, const VXBusCall &call,
                                        const std::function<void(const VXError &problem)> &then);
