#pragma once

#include "VXGammuText.h"

#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <gammu.h>
#include <vector>

/**
 * Converts the parts, in any order, into messages with the keys that the plugin's README lists, in the order of their
 * first parts. Folders are named by number, from 1; a message in a folder without a name has no folder. The zone is
 * that of the parts' dates.
 */
QVariantList VXMessagesFromGammu(const std::vector<GSM_SMSMessage> &parts, const QStringList &folders,
                                 VXGammuZone zone);
