#pragma once

#include <cstdint>
#include <vector>

namespace dovrel {

using Bytes = std::vector<std::uint8_t>;

} // namespace dovrel
