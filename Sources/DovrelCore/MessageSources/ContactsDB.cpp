#include "MessageSources/ContactsDB.h"

#include "Foundation/Unicode.h"

#include <cstdlib>
#include <system_error>
#include <unicode/uchar.h>

namespace dovrel {
namespace {

const std::string recordStatement = "SELECT r.Z_PK AS pk, r.ZFIRSTNAME AS first, r.ZLASTNAME AS last\n"
                                    "FROM ZABCDRECORD r\n"
                                    "WHERE r.ZFIRSTNAME IS NOT NULL OR r.ZLASTNAME IS NOT NULL";

constexpr std::size_t fewestDigits = 7;
constexpr std::size_t fullDigits = 10;

// Every character that is numeric in Unicode, not only 0 to 9, compared as the characters they are.
std::u32string digitsOf(std::string_view text) {
    std::u32string digits;
    std::size_t offset = 0;
    while (offset < text.size()) {
        const char32_t c = unicode::decodeNext(text, offset);
        if (u_getIntPropertyValue(static_cast<UChar32>(c), UCHAR_NUMERIC_TYPE) != U_NT_NONE) {
            digits.push_back(c);
        }
    }
    return digits;
}

std::u32string lastDigits(const std::u32string& digits, std::size_t count) {
    return digits.size() <= count ? digits : digits.substr(digits.size() - count);
}

std::string joinedName(const SQLRow& row) {
    const std::string* first = row.stringRef("first");
    const std::string* last = row.stringRef("last");
    std::string name = first != nullptr ? *first : std::string();
    if (last != nullptr && !last->empty()) {
        if (!name.empty()) {
            name += ' ';
        }
        name += *last;
    }
    return name;
}

} // namespace

bool ContactCard::matchesHandle(std::string_view handle) const {
    if (handle.find('@') != std::string_view::npos) {
        const std::string wanted = unicode::lowercased(handle);
        for (const std::string& email : emails) {
            if (unicode::lowercased(email) == wanted) {
                return true;
            }
        }
        return false;
    }
    const std::u32string handleDigits = digitsOf(handle);
    if (handleDigits.size() < fewestDigits) {
        return false;
    }
    for (const std::string& phone : phones) {
        const std::u32string phoneDigits = digitsOf(phone);
        if (phoneDigits.size() < fewestDigits) {
            continue;
        }
        if (lastDigits(handleDigits, fullDigits) == lastDigits(phoneDigits, fullDigits) ||
            lastDigits(handleDigits, fewestDigits) == lastDigits(phoneDigits, fewestDigits)) {
            return true;
        }
    }
    return false;
}

std::optional<std::filesystem::path> ContactsDB::defaultPath() {
    const char* home = std::getenv("HOME");
    if (home == nullptr || *home == '\0') {
        return std::nullopt;
    }
    return defaultPath(home);
}

namespace {

struct BestBook {
    std::optional<std::filesystem::path> path;
    std::uintmax_t size = 0;
};

// Depth first, in the order the folders list their entries, as an enumerator walks. A folder that cannot be
// read (no permission, a protected folder, a path too long) is passed over and the walk goes on; links are
// not followed, so a loop cannot trap it.
void searchFolder(const std::filesystem::path& folder, int depth, BestBook& best) {
    namespace fs = std::filesystem;
    constexpr int deepest = 64;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        std::error_code typeError;
        if (entry->is_directory(typeError) && !entry->is_symlink(typeError)) {
            if (depth < deepest) {
                searchFolder(entry->path(), depth + 1, best);
            }
            continue;
        }
        if (entry->path().filename() != "AddressBook-v22.abcddb") {
            continue;
        }
        std::error_code sizeError;
        std::uintmax_t size = entry->file_size(sizeError);
        if (sizeError) {
            size = 0;
        }
        if (!best.path || size > best.size) {
            best.path = entry->path();
            best.size = size;
        }
    }
}

} // namespace

std::optional<std::filesystem::path> ContactsDB::defaultPath(const std::filesystem::path& home) {
    BestBook best;
    searchFolder(home / "Library" / "Application Support" / "AddressBook", 0, best);
    return best.path;
}

ContactsDB::ContactsDB(const std::string& dbPath)
    : db_(dbPath, true) {}

ContactCard ContactsDB::cardFor(std::int64_t pk, std::string fullName) {
    ContactCard card{std::move(fullName), {}, {}};
    for (SQLRow& row :
         db_.query("SELECT ZFULLNUMBER AS n FROM ZABCDPHONENUMBER WHERE ZOWNER = " + std::to_string(pk))) {
        if (auto number = row.takeString("n")) {
            card.phones.push_back(std::move(*number));
        }
    }
    for (SQLRow& row :
         db_.query("SELECT ZADDRESS AS e FROM ZABCDEMAILADDRESS WHERE ZOWNER = " + std::to_string(pk))) {
        if (auto address = row.takeString("e")) {
            card.emails.push_back(std::move(*address));
        }
    }
    return card;
}

std::vector<ContactCard> ContactsDB::allCards() {
    std::vector<ContactCard> cards;
    for (const SQLRow& row : db_.query(recordStatement)) {
        const std::optional<std::int64_t> pk = row.int64("pk");
        if (!pk) {
            continue;
        }
        std::string name = joinedName(row);
        if (name.empty()) {
            continue;
        }
        ContactCard card = cardFor(*pk, std::move(name));
        if (card.phones.empty() && card.emails.empty()) {
            continue; // a card that cannot match anything
        }
        cards.push_back(std::move(card));
    }
    return cards;
}

std::vector<ContactCard> ContactsDB::lookup(std::string_view name) {
    const std::string query = unicode::lowercased(name);
    std::vector<std::pair<std::int64_t, std::string>> exact;
    std::vector<std::pair<std::int64_t, std::string>> prefix;
    for (const SQLRow& row : db_.query(recordStatement)) {
        const std::optional<std::int64_t> pk = row.int64("pk");
        if (!pk) {
            continue;
        }
        const std::string* first = row.stringRef("first");
        const std::string* last = row.stringRef("last");
        const std::string firstLower = first != nullptr ? unicode::lowercased(*first) : std::string();
        const std::string lastLower = last != nullptr ? unicode::lowercased(*last) : std::string();
        if (firstLower == query || lastLower == query) {
            exact.emplace_back(*pk, joinedName(row));
        } else if (firstLower.starts_with(query) || lastLower.starts_with(query)) {
            prefix.emplace_back(*pk, joinedName(row));
        }
    }
    std::vector<ContactCard> cards;
    for (auto& [pk, fullName] : exact.empty() ? prefix : exact) {
        cards.push_back(cardFor(pk, std::move(fullName)));
    }
    return cards;
}

} // namespace dovrel
