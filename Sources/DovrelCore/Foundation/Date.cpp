#include "Foundation/Date.h"

#include <chrono>

namespace dovrel {

Date Date::now() {
    using namespace std::chrono;
    const auto since = duration_cast<duration<double>>(system_clock::now().time_since_epoch());
    return fromUnix(since.count());
}

} // namespace dovrel
