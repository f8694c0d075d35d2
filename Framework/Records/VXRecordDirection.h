#pragma once

/** The direction of a call or message, as used and stored in records; it determines who the other party is. */
enum class VXRecordDirection : int {
    Outgoing = 0, // the other party is "to"
    Incoming = 1, // the other party is "from"
};
