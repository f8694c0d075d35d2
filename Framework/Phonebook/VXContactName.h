#pragma once

#include "VXContactRecord.h"

#include <array>

/** The five parts of a contact's name, which are one value: phones and files often know only the whole, as the first name. */
namespace VXContactName {

inline constexpr std::array parts{&VXContactRecord::namePrefix, &VXContactRecord::firstName,
                                  &VXContactRecord::middleName, &VXContactRecord::lastName,
                                  &VXContactRecord::nameSuffix};

[[nodiscard]] bool isSame(const VXContactRecord &a, const VXContactRecord &b);
/** Whether the contact's name has all words of the other's, however they are written and divided. */
[[nodiscard]] bool saysAllOf(const VXContactRecord &contact, const VXContactRecord &other);
[[nodiscard]] QString textOf(const VXContactRecord &contact);

/**
 * Gives `to` the better name of both. One that says all that the other does, and more, is better; of equal ones that in parts;
 * parts that do not contradict each other are united. Of names that do, `newsCount` decides.
 */
void unite(VXContactRecord &to, const VXContactRecord &news, bool newsCount);

} // namespace VXContactName
