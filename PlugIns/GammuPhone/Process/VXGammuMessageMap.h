#pragma once

#include "VXGammuText.h"

#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <gammu.h>
#include <vector>

/** The parts, in any order, as messages with the keys that the plugin's README lists; in the order of their first
 *  parts. Folders are named by number, from 1; a folder without a name has none. The
 *  zone is that of their dates. */
QVariantList VXMessagesFromGammu(const std::vector<GSM_SMSMessage> &parts, const QStringList &folders,
                                 VXGammuZone zone);
