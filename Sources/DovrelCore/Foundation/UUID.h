#pragma once

#include <string>

namespace dovrel {

// A fresh random (version 4) UUID in its upper-case text form, e.g. "1B4E28BA-2FA1-11D2-883F-0016D3CCA427".
std::string makeUUID();

} // namespace dovrel
