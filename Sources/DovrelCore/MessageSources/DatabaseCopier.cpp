#include "MessageSources/DatabaseCopier.h"

#include "Foundation/TemporaryFolder.h"
#include "Foundation/UUID.h"
#include "MessageSources/SQLiteDB.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>
#if defined(__APPLE__)
#include <copyfile.h>
#endif

namespace dovrel {

// Only this file makes copies.
class DatabaseCopierAccess {
public:
    static ReadingCopy make(std::filesystem::path folder) { return ReadingCopy(std::move(folder)); }
};

ReadingCopy::ReadingCopy(std::filesystem::path folder)
    : folder_(std::move(folder))
    , path_(folder_ / "chat.db") {}

ReadingCopy::ReadingCopy(ReadingCopy&& other) noexcept
    : folder_(std::move(other.folder_))
    , path_(std::move(other.path_)) {
    other.folder_.clear();
    other.path_.clear();
}

ReadingCopy& ReadingCopy::operator=(ReadingCopy&& other) noexcept {
    if (this != &other) {
        remove();
        folder_ = std::move(other.folder_);
        path_ = std::move(other.path_);
        other.folder_.clear();
        other.path_.clear();
    }
    return *this;
}

ReadingCopy::~ReadingCopy() {
    remove();
}

void ReadingCopy::remove() noexcept {
    if (!folder_.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
        folder_.clear();
    }
}

namespace DatabaseCopier {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(std::string_view what, const fs::path& path, int error) {
    throw fs::filesystem_error(std::string(what), path, std::error_code(error, std::generic_category()));
}

class FileDescriptor {
public:
    explicit FileDescriptor(int fd)
        : fd_(fd) {}
    ~FileDescriptor() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

// A quota or a file size limit leaves no room just as a full disk does.
[[noreturn]] void failWriting(const fs::path& to, int error) {
    fail("cannot write the copy", to, error == EDQUOT || error == EFBIG ? ENOSPC : error);
}

void copyThroughBuffer(int source, int target, const fs::path& from, const fs::path& to) {
    std::vector<char> buffer(1 << 20);
    for (;;) {
        const ssize_t got = ::read(source, buffer.data(), buffer.size());
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail("cannot read the database", from, errno);
        }
        if (got == 0) {
            return;
        }
        for (ssize_t written = 0; written < got;) {
            const ssize_t put =
                ::write(target, buffer.data() + written, static_cast<std::size_t>(got - written));
            if (put < 0) {
                if (errno == EINTR) {
                    continue;
                }
                failWriting(to, errno);
            }
            written += put;
        }
    }
}

// The kernel's own copy, which moves no bytes through this process (and may share blocks on a file system
// that can). False when it is not available here, before anything was written.
bool copyInKernel(int source, int target, const fs::path& to) {
#if defined(__linux__)
    bool started = false;
    for (;;) {
        const ssize_t copied = ::copy_file_range(source, nullptr, target, nullptr, std::size_t{1} << 30, 0);
        if (copied > 0) {
            started = true;
            continue;
        }
        if (copied == 0) {
            return true;
        }
        if (errno == EINTR) {
            continue;
        }
        if (!started && (errno == ENOSYS || errno == EXDEV || errno == EINVAL || errno == EOPNOTSUPP)) {
            return false;
        }
        failWriting(to, errno);
    }
#elif defined(__APPLE__)
    if (::fcopyfile(source, target, nullptr, COPYFILE_DATA) != 0) {
        failWriting(to, errno);
    }
    return true;
#else
    (void)source;
    (void)target;
    (void)to;
    return false;
#endif
}

// Copies one file into a new file readable by its owner only. The source is opened without blocking and its
// type tested on the open descriptor, so a pipe or device under the database's name cannot hang the copy.
void copyFile(const fs::path& from, const fs::path& to) {
    const FileDescriptor source(::open(from.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (source.get() < 0) {
        fail("cannot open the database", from, errno);
    }
    struct stat status {};
    if (::fstat(source.get(), &status) != 0) {
        fail("cannot read the database", from, errno);
    }
    if (!S_ISREG(status.st_mode)) {
        fail("the database is not a regular file", from, EINVAL);
    }
    const FileDescriptor target(::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (target.get() < 0) {
        fail("cannot create the copy", to, errno);
    }
    if (!copyInKernel(source.get(), target.get(), to)) {
        copyThroughBuffer(source.get(), target.get(), from, to);
    }
}

// A write-ahead log starts with one of two magic numbers, big-endian; anything else holds no frames.
bool isWriteAheadLog(const fs::path& path) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::array<unsigned char, 4> magic{};
    if (file.get() < 0 ||
        ::read(file.get(), magic.data(), magic.size()) != static_cast<ssize_t>(magic.size())) {
        return false;
    }
    return magic[0] == 0x37 && magic[1] == 0x7f && magic[2] == 0x06 && (magic[3] == 0x82 || magic[3] == 0x83);
}

// Moves the committed pages of the copy's log into the copy and leaves it a plain database without side
// files. A reader of a database in write-ahead mode looks every page it fetches up in the log's index first,
// at a cost that grows with the log, and cannot map those pages; folding the log once is cheaper than that.
// Nothing is lost when it fails: the copy is then read with its log, as it was made.
void foldWriteAheadLog(const fs::path& copy) {
    fs::path log = copy;
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

bool isCopyFolderName(const std::string& name) {
    constexpr std::string_view prefix = "murmora-";
    constexpr std::size_t uuidLength = 36;
    if (name.size() != prefix.size() + uuidLength || !name.starts_with(prefix)) {
        return false;
    }
    for (std::size_t i = 0; i < uuidLength; ++i) {
        const char c = name[prefix.size() + i];
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        if (dash ? c != '-' : !((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'))) {
            return false;
        }
    }
    return true;
}

} // namespace

ReadingCopy copyForReading(const fs::path& from) {
    const fs::path folder = temporaryFolder() / ("murmora-" + makeUUID());
    // Made private from the start (the mask can only take permissions away), so no other user can look in
    // while the copy is written.
    if (::mkdir(folder.c_str(), 0700) != 0) {
        fail("cannot create the copy's folder", folder, errno);
    }
    ReadingCopy copy = DatabaseCopierAccess::make(folder);
    copyFile(from, copy.path());

    // The newest commits of a database in write-ahead mode live in "-wal"; without it the copy is stale.
    for (const char* suffix : {"-wal", "-shm"}) {
        fs::path side = from;
        side += suffix;
        std::error_code missing;
        if (fs::exists(side, missing)) {
            fs::path target = copy.path();
            target += suffix;
            copyFile(side, target);
        }
    }
    foldWriteAheadLog(copy.path());
    return copy;
}

void removeStaleCopies(std::chrono::seconds age) {
    std::error_code error;
    const fs::path folder = temporaryFolder();
    const auto cutoff = fs::file_time_type::clock::now() - age;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        const fs::path& path = entry->path();
        struct stat status {};
        // Only real folders of this user: never through a link, never another user's.
        if (!isCopyFolderName(path.filename().string()) || ::lstat(path.c_str(), &status) != 0 ||
            !S_ISDIR(status.st_mode) || status.st_uid != ::geteuid()) {
            continue;
        }
        std::error_code timeError;
        const fs::file_time_type modified = fs::last_write_time(path, timeError);
        if (!timeError && modified < cutoff) {
            std::error_code ignored;
            fs::remove_all(path, ignored);
        }
    }
}

} // namespace DatabaseCopier
} // namespace dovrel
