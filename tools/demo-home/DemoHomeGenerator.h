#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>

namespace demohome {

inline constexpr std::int64_t kMinMessages = 1'000;
inline constexpr std::int64_t kMaxMessages = 50'000'000;

struct DemoHomeOptions {
    std::filesystem::path outDir;
    std::uint64_t seed = 1;
    std::int64_t messages = 30'000;
    std::optional<std::int64_t> nowUnixSeconds; // default: today 00:00 UTC
    bool force = false;
};

struct DemoHomeResult {
    std::filesystem::path messagesDatabase;
    std::filesystem::path addressBook;          // the large one, under Sources/<id>/
    std::filesystem::path secondaryAddressBook; // the small one at the top of AddressBook/
    std::filesystem::path summary;
    std::int64_t messageRows = 0;
    std::int64_t rowsInWal = 0;
};

// The output folder already has a Messages database and overwriting was not asked for.
class DemoHomeExistsError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

std::filesystem::path messagesDatabasePath(const std::filesystem::path& home);

// Writes the sample home folder. Throws DemoHomeExistsError, std::invalid_argument for bad
// options, and std::runtime_error for I/O and SQLite failures.
DemoHomeResult generateDemoHome(const DemoHomeOptions& options);

} // namespace demohome
