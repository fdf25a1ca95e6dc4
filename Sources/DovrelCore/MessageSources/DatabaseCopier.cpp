#include "MessageSources/DatabaseCopier.h"

#include "Foundation/UUID.h"

namespace dovrel::DatabaseCopier {

std::filesystem::path copyForReading(const std::filesystem::path& from) {
    namespace fs = std::filesystem;
    const fs::path folder = fs::temp_directory_path() / ("murmora-" + makeUUID());
    fs::create_directories(folder);

    const fs::path copy = folder / "chat.db";
    fs::copy_file(from, copy);

    // The newest commits of a database in write-ahead mode live in "-wal"; without it the copy is stale.
    for (const char* suffix : {"-wal", "-shm"}) {
        fs::path side = from;
        side += suffix;
        if (fs::exists(side)) {
            fs::path target = copy;
            target += suffix;
            fs::copy_file(side, target);
        }
    }
    return copy;
}

} // namespace dovrel::DatabaseCopier
