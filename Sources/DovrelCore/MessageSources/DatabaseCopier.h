#pragma once

#include <filesystem>

namespace dovrel::DatabaseCopier {

// Copies a database with its "-wal" and "-shm" side files into a new private folder "murmora-{UUID}" in the
// temporary folder, and returns the copy's path (always named "chat.db"). All reading happens on the copy,
// never on a file another program is writing. Throws std::filesystem::filesystem_error unchanged; what was
// copied before a failure stays where it is.
std::filesystem::path copyForReading(const std::filesystem::path& from);

} // namespace dovrel::DatabaseCopier
