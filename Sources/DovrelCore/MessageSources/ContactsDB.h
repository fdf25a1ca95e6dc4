#pragma once

#include "MessageSources/SQLiteDB.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dovrel {

// One address-book card that can match a handle.
struct ContactCard {
    std::string fullName;            // first and last name joined with one blank, never empty
    std::vector<std::string> phones; // as stored
    std::vector<std::string> emails; // as stored

    // An e-mail handle matches an address equal to it ignoring case. A phone handle matches when the last ten
    // digits agree, or else the last seven: formatting, country code and trunk prefix do not matter, and two
    // numbers that share their last seven digits match on purpose.
    bool matchesHandle(std::string_view handle) const;

    bool operator==(const ContactCard&) const = default;
};

// Reads the address book's own SQLite file. Always given a copy made by DatabaseCopier.
class ContactsDB {
public:
    // The largest "AddressBook-v22.abcddb" anywhere under <home>/Library/Application Support/AddressBook (the
    // first seen wins a tie), or nothing. The home folder is $HOME unless given.
    static std::optional<std::filesystem::path> defaultPath();
    static std::optional<std::filesystem::path> defaultPath(const std::filesystem::path& home);

    // Opens read-only. Throws SQLiteError.
    explicit ContactsDB(const std::string& dbPath);

    // Every named card with at least one phone or e-mail, in record order. Throws SQLiteError.
    std::vector<ContactCard> allCards();
    // Cards whose first or last name equals the name (any case), or else begins with it. Throws SQLiteError.
    std::vector<ContactCard> lookup(std::string_view name);

private:
    ContactCard cardFor(std::int64_t pk, std::string fullName);

    SQLiteDB db_;
};

} // namespace dovrel
