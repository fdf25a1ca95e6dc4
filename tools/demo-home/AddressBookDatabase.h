#pragma once

#include "Sqlite.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace demohome {

// Labels as the Contacts app stores them.
inline constexpr std::string_view kLabelMobile = "_$!<Mobile>!$_";
inline constexpr std::string_view kLabelHome = "_$!<Home>!$_";
inline constexpr std::string_view kLabelWork = "_$!<Work>!$_";
inline constexpr std::string_view kLabelIPhone = "iPhone";

// Writes a Contacts store (AddressBook-v22.abcddb): the Core Data tables for cards, their phone
// numbers and their e-mail addresses.
class AddressBookDatabase {
public:
    // idSeed makes the cards' unique ids reproducible; creationDate is in seconds since 2001.
    explicit AddressBookDatabase(const std::filesystem::path& path, std::uint64_t idSeed = 0,
                                 double creationDate = 700000000.0);
    ~AddressBookDatabase();
    AddressBookDatabase(AddressBookDatabase&&) noexcept;
    AddressBookDatabase& operator=(AddressBookDatabase&&) noexcept;
    AddressBookDatabase(const AddressBookDatabase&) = delete;
    AddressBookDatabase& operator=(const AddressBookDatabase&) = delete;

    std::int64_t addRecord(const std::optional<std::string>& firstName,
                           const std::optional<std::string>& lastName,
                           const std::optional<std::string>& organization = std::nullopt);
    // fullNumber is stored as typed, e.g. "+1 (555) 123-0001".
    std::int64_t addPhone(std::int64_t owner, std::string_view fullNumber,
                          std::string_view label = kLabelMobile);
    std::int64_t addEmail(std::int64_t owner, std::string_view address, std::string_view label = kLabelHome);

    void begin();
    void commit();
    void close();

    [[nodiscard]] SqliteConnection& connection();

private:
    struct Statements;
    Statements& statements();
    std::string nextUniqueId();

    SqliteConnection db_;
    std::unique_ptr<Statements> statements_;
    std::uint64_t idSeed_;
    std::uint64_t idCounter_ = 0;
    double creationDate_;
};

} // namespace demohome
