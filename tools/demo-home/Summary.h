#pragma once

#include "DemoPlan.h"

#include <nlohmann/json.hpp>
#include <vector>

namespace demohome {

// The cards of the main address book, in the order they are written.
std::vector<Card> mainAddressBookCards(const Cast& cast);
// The few cards of the second, smaller address book.
std::vector<Card> secondaryAddressBookCards(const Cast& cast);

// What a correct reader should find, worked out from the plan the databases are written from.
nlohmann::json buildSummary(const DemoPlan& plan);

} // namespace demohome
