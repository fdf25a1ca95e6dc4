#include "Foundation/TemporaryFolder.h"

#include <cstdlib>
#include <system_error>

namespace dovrel {

std::filesystem::path temporaryFolder() {
    namespace fs = std::filesystem;
    for (const char* variable : {"TMPDIR", "TMP", "TEMP"}) {
        const char* value = std::getenv(variable);
        if (value == nullptr || *value == '\0') {
            continue;
        }
        std::error_code error;
        if (fs::is_directory(value, error)) {
            return fs::path(value);
        }
    }
    return fs::path("/tmp");
}

} // namespace dovrel
