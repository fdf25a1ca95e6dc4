#include "MessageSources/DatabaseCopier.h"

#include "Foundation/UUID.h"
#include "MessageSources/SQLiteDB.h"

#include <array>
#include <fstream>

namespace dovrel::DatabaseCopier {
namespace {

// A write-ahead log starts with one of two magic numbers, big-endian; anything else holds no frames.
bool isWriteAheadLog(const std::filesystem::path& path) {
    std::array<unsigned char, 4> magic{};
    std::ifstream file(path, std::ios::binary);
    if (!file.read(reinterpret_cast<char*>(magic.data()), magic.size())) {
        return false;
    }
    return magic[0] == 0x37 && magic[1] == 0x7f && magic[2] == 0x06 && (magic[3] == 0x82 || magic[3] == 0x83);
}

// Moves the committed pages of the copy's log into the copy and leaves it a plain database without side
// files. A reader of a database in write-ahead mode looks every page it fetches up in the log's index first,
// at a cost that grows with the log, and cannot map those pages; folding the log once is cheaper than that.
// Nothing is lost when it fails: the copy is then read with its log, as it was made.
void foldWriteAheadLog(const std::filesystem::path& copy) {
    std::filesystem::path log = copy;
    log += "-wal";
    if (!isWriteAheadLog(log)) {
        return;
    }
    try {
        SQLiteDB db(copy.string(), false);
        // The copy is private and can be made again, so nothing needs to reach the disk before reading.
        db.execute("PRAGMA synchronous = OFF; PRAGMA journal_mode = DELETE;");
    } catch (const SQLiteError&) {
    }
}

} // namespace

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
    foldWriteAheadLog(copy);
    return copy;
}

} // namespace dovrel::DatabaseCopier
