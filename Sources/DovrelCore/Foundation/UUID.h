#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace dovrel {

// A fresh random (version 4) UUID in its upper-case text form, e.g. "1B4E28BA-2FA1-11D2-883F-0016D3CCA427".
std::string makeUUID();

// The upper-case form of a textual UUID (8-4-4-4-12 hex digits, either case); absent for anything else.
std::optional<std::string> canonicalUUID(std::string_view text);

} // namespace dovrel
