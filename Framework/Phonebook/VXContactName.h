#pragma once

#include "VXContactRecord.h"

#include <array>

/**
 * The five parts of a contact's name form a single value: phones and files often have only the whole name, as first
 * name.
 */
namespace VXContactName {

inline constexpr std::array parts{&VXContactRecord::namePrefix, &VXContactRecord::firstName,
                                  &VXContactRecord::middleName, &VXContactRecord::lastName,
                                  &VXContactRecord::nameSuffix};

[[nodiscard]] bool isSame(const VXContactRecord &a, const VXContactRecord &b);
/** Whether the contact's name has all words of the other's, however they are spelled and divided into parts. */
[[nodiscard]] bool saysAllOf(const VXContactRecord &contact, const VXContactRecord &other);
[[nodiscard]] QString textOf(const VXContactRecord &contact);

/**
 * Gives `to` the better one of both names. A name that contains the other and more is better; of equal ones, that in
 * parts; compatible parts are combined. Of incompatible names, `newsCount` decides.
 */
void unite(VXContactRecord &to, const VXContactRecord &news, bool newsCount);

} // namespace VXContactName
