#pragma once

#include "VXBusErrand.h"

/** Whom sessions are made with, and how failures are told. */
struct VXObexPeer
{
    std::function<QString()> address;                // asked anew for each session
    std::function<QString(const QString &key)> text; // the plugin's texts
};

/**
 * Makes a session of the errand's service with the phone, "pbap" or "map", and calls with its path. A phone that asks its user takes
 * longer than the service waits: it is asked again, some times. A failure fails the errand, and says what to do on the phone. A
 * session that comes into being too late is removed.
 */
void VXOpenObexSession(VXBusErrand &errand, const VXObexPeer &peer, const QString &target,
                       const std::function<void(const QString &session)> &then);

/** To be sent, when a session is not needed any more. */
VXBusCall VXObexFarewell(const QString &session);

/**
 * Calls a method that answers with a transfer, and calls once when that is complete; with the problem when it fails, or goes without
 * a word. While octets come, the step is prolonged.
 * @return what ends the transfer, for the errand's farewell where its session is kept.
 */
std::function<void()> VXRunObexTransfer(VXBusErrand &errand, const VXObexPeer &peer, const VXBusCall &call,
                                        const std::function<void(const VXError &problem)> &then);
