#pragma once

#include <chrono>
#include <filesystem>
#include <string>

namespace dovrel {

// A private copy of a database: a folder "murmora-{UUID}" in the temporary folder, readable by its owner only
// (0700, files 0600), holding the copy "chat.db" and its side files. The folder goes when the value goes, so
// keep the value for as long as the copy is read.
class ReadingCopy {
public:
    ReadingCopy(ReadingCopy&& other) noexcept;
    ReadingCopy& operator=(ReadingCopy&& other) noexcept;
    ReadingCopy(const ReadingCopy&) = delete;
    ReadingCopy& operator=(const ReadingCopy&) = delete;
    ~ReadingCopy();

    const std::filesystem::path& path() const { return path_; }
    const std::filesystem::path& folder() const { return folder_; }
    std::string string() const { return path_.string(); }

    // Reads as the copy's path while it is held; a temporary would remove the folder at once, so it cannot.
    operator const std::filesystem::path&() const& { return path_; }
    operator const std::filesystem::path&() && = delete;

private:
    friend class DatabaseCopierAccess;
    explicit ReadingCopy(std::filesystem::path folder);
    void remove() noexcept;

    std::filesystem::path folder_;
    std::filesystem::path path_;
};

namespace DatabaseCopier {

// Copies a database with its "-wal" and "-shm" side files into a new private folder, and returns the copy.
// All reading happens on the copy, never on a file another program is writing. The source must be a regular
// file: anything else (a folder, a pipe, a device) fails before it is opened. Throws
// std::filesystem::filesystem_error with the system's error (no_such_file_or_directory, permission_denied,
// no_space_on_device when the temporary folder is full, invalid_argument for a source that is no regular
// file); nothing of a failed copy stays behind.
ReadingCopy copyForReading(const std::filesystem::path& from);

// Removes the user's own copy folders older than `age` from the temporary folder: the leftovers of a process
// that ended before it could remove them. Other files there (the recap pages among them) stay. Never fails.
void removeStaleCopies(std::chrono::seconds age = std::chrono::hours(24));

} // namespace DatabaseCopier
} // namespace dovrel
