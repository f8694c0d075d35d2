#pragma once

/** Which way a call or a message went, as records and stores keep it: from it follows who the other party is. */
enum class VXRecordDirection : int {
    Outgoing = 0, // the other party is "to"
    Incoming = 1, // it is "from"
};
