#include "AddressBookDatabase.h"

#include "Identifiers.h"
#include "Random.h"

#include <cctype>
#include <stdexcept>

namespace demohome {
namespace {

// Core Data entity numbers of the tables written here (Z_ENT, and Z_PRIMARYKEY's rows).
constexpr int kEntityEmailAddress = 8;
constexpr int kEntityPhoneNumber = 17;
constexpr int kEntityContact = 22;

constexpr std::string_view kSchema = R"sql(
CREATE TABLE IF NOT EXISTS Z_PRIMARYKEY (Z_ENT INTEGER PRIMARY KEY, Z_NAME VARCHAR, Z_SUPER INTEGER, Z_MAX INTEGER);
CREATE TABLE IF NOT EXISTS Z_METADATA (Z_VERSION INTEGER PRIMARY KEY, Z_UUID VARCHAR(255), Z_PLIST BLOB);
CREATE TABLE IF NOT EXISTS Z_MODELCACHE (Z_CONTENT BLOB);
CREATE TABLE IF NOT EXISTS ZABCDRECORD ( Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER, ZCONTACTINDEX INTEGER, ZDISPLAYFLAGS INTEGER, ZIMAGEREFERENCE INTEGER, ZPRIVACYFLAGS INTEGER, ZSEARCHINDEX INTEGER, ZCONTAINER INTEGER, ZME INTEGER, ZCREATIONDATE TIMESTAMP, ZMODIFICATIONDATE TIMESTAMP, ZBIRTHDAY TIMESTAMP, ZBIRTHDAYYEAR INTEGER, ZDEPARTMENT VARCHAR, ZFIRSTNAME VARCHAR, ZJOBTITLE VARCHAR, ZLASTNAME VARCHAR, ZMAIDENNAME VARCHAR, ZMIDDLENAME VARCHAR, ZNAME VARCHAR, ZNICKNAME VARCHAR, ZNOTE VARCHAR, ZORGANIZATION VARCHAR, ZPHONETICFIRSTNAME VARCHAR, ZPHONETICLASTNAME VARCHAR, ZPHONETICMIDDLENAME VARCHAR, ZPHONETICORGANIZATION VARCHAR, ZSORTINGFIRSTNAME VARCHAR, ZSORTINGLASTNAME VARCHAR, ZSUFFIX VARCHAR, ZTITLE VARCHAR, ZUNIQUEID VARCHAR, ZIMAGEDATA BLOB, ZTHUMBNAILIMAGEDATA BLOB );
CREATE TABLE IF NOT EXISTS ZABCDPHONENUMBER ( Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER, ZISPRIMARY INTEGER, ZORDERINGINDEX INTEGER, ZOWNER INTEGER, Z22_OWNER INTEGER, ZIOSLEGACYIDENTIFIER INTEGER, ZAREACODE VARCHAR, ZCOUNTRYCODE VARCHAR, ZEXTENSION VARCHAR, ZFULLNUMBER VARCHAR, ZLABEL VARCHAR, ZLASTFOURDIGITS VARCHAR, ZUNIQUEID VARCHAR );
CREATE TABLE IF NOT EXISTS ZABCDEMAILADDRESS ( Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER, ZISPRIMARY INTEGER, ZORDERINGINDEX INTEGER, ZOWNER INTEGER, Z22_OWNER INTEGER, ZIOSLEGACYIDENTIFIER INTEGER, ZADDRESS VARCHAR, ZADDRESSNORMALIZED VARCHAR, ZLABEL VARCHAR, ZUNIQUEID VARCHAR );
CREATE INDEX IF NOT EXISTS ZABCDRECORD_ZUNIQUEID_INDEX ON ZABCDRECORD (ZUNIQUEID);
CREATE INDEX IF NOT EXISTS ZABCDPHONENUMBER_ZOWNER_INDEX ON ZABCDPHONENUMBER (ZOWNER);
CREATE INDEX IF NOT EXISTS ZABCDPHONENUMBER_ZFULLNUMBER_INDEX ON ZABCDPHONENUMBER (ZFULLNUMBER);
CREATE INDEX IF NOT EXISTS ZABCDEMAILADDRESS_ZOWNER_INDEX ON ZABCDEMAILADDRESS (ZOWNER);
CREATE INDEX IF NOT EXISTS ZABCDEMAILADDRESS_ZADDRESSNORMALIZED_INDEX ON ZABCDEMAILADDRESS (ZADDRESSNORMALIZED);
INSERT OR IGNORE INTO Z_PRIMARYKEY (Z_ENT, Z_NAME, Z_SUPER, Z_MAX) VALUES
  (8, 'ABCDEmailAddress', 0, 0), (17, 'ABCDPhoneNumber', 0, 0), (21, 'ABCDRecord', 0, 0),
  (22, 'ABCDContact', 21, 0), (23, 'ABCDGroup', 21, 0);
INSERT OR IGNORE INTO Z_METADATA (Z_VERSION, Z_UUID, Z_PLIST) VALUES (1, NULL, NULL);
)sql";

std::string lastFourDigits(std::string_view number) {
    std::string digits;
    for (char c : number) {
        if (std::isdigit(static_cast<unsigned char>(c)) != 0) {
            digits += c;
        }
    }
    return digits.size() <= 4 ? digits : digits.substr(digits.size() - 4);
}

std::string asciiLower(std::string_view text) {
    std::string out(text);
    for (char& c : out) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return out;
}

std::optional<std::string> joinNonEmpty(const std::optional<std::string>& a,
                                        const std::optional<std::string>& b) {
    std::string out;
    for (const auto* part : {&a, &b}) {
        if (*part && !(*part)->empty()) {
            if (!out.empty()) {
                out += ' ';
            }
            out += **part;
        }
    }
    return out.empty() ? std::nullopt : std::optional<std::string>(out);
}

} // namespace

struct AddressBookDatabase::Statements {
    explicit Statements(const SqliteConnection& db)
        : insertRecord(db,
                       "INSERT INTO ZABCDRECORD (Z_ENT, Z_OPT, ZCONTACTINDEX, ZDISPLAYFLAGS, ZPRIVACYFLAGS, "
                       "ZCREATIONDATE, ZMODIFICATIONDATE, ZFIRSTNAME, ZLASTNAME, ZORGANIZATION, "
                       "ZSORTINGFIRSTNAME, ZSORTINGLASTNAME, ZUNIQUEID) "
                       "VALUES (?1, 1, NULL, ?2, 0, ?3, ?3, ?4, ?5, ?6, ?7, ?8, ?9)")
        , insertPhone(db, "INSERT INTO ZABCDPHONENUMBER (Z_ENT, Z_OPT, ZISPRIMARY, ZORDERINGINDEX, ZOWNER, "
                          "Z22_OWNER, ZFULLNUMBER, ZLABEL, ZLASTFOURDIGITS, ZUNIQUEID) "
                          "VALUES (?1, 1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9)")
        , insertEmail(db, "INSERT INTO ZABCDEMAILADDRESS (Z_ENT, Z_OPT, ZISPRIMARY, ZORDERINGINDEX, ZOWNER, "
                          "Z22_OWNER, ZADDRESS, ZADDRESSNORMALIZED, ZLABEL, ZUNIQUEID) "
                          "VALUES (?1, 1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9)")
        , countPhones(db, "SELECT COUNT(*) FROM ZABCDPHONENUMBER WHERE ZOWNER = ?1")
        , countEmails(db, "SELECT COUNT(*) FROM ZABCDEMAILADDRESS WHERE ZOWNER = ?1")
        , updateMax(db, "UPDATE Z_PRIMARYKEY SET Z_MAX = MAX(Z_MAX, ?2) WHERE Z_ENT = ?1") {}

    SqliteStatement insertRecord;
    SqliteStatement insertPhone;
    SqliteStatement insertEmail;
    SqliteStatement countPhones;
    SqliteStatement countEmails;
    SqliteStatement updateMax;
};

AddressBookDatabase::AddressBookDatabase(const std::filesystem::path& path, std::uint64_t idSeed,
                                         double creationDate)
    : db_(path)
    , idSeed_(idSeed)
    , creationDate_(creationDate) {
    db_.exec(kSchema);
    statements_ = std::make_unique<Statements>(db_);
}

AddressBookDatabase::~AddressBookDatabase() = default;
AddressBookDatabase::AddressBookDatabase(AddressBookDatabase&&) noexcept = default;
AddressBookDatabase& AddressBookDatabase::operator=(AddressBookDatabase&&) noexcept = default;

AddressBookDatabase::Statements& AddressBookDatabase::statements() {
    if (!statements_) {
        throw std::logic_error("AddressBookDatabase is closed");
    }
    return *statements_;
}

SqliteConnection& AddressBookDatabase::connection() {
    if (!db_.isOpen()) {
        throw std::logic_error("AddressBookDatabase is closed");
    }
    return db_;
}

std::string AddressBookDatabase::nextUniqueId() {
    Random random = Random(idSeed_).fork(++idCounter_);
    return Uuid::random(random).toString();
}

std::int64_t AddressBookDatabase::addRecord(const std::optional<std::string>& firstName,
                                            const std::optional<std::string>& lastName,
                                            const std::optional<std::string>& organization) {
    auto& s = statements().insertRecord;
    const bool isCompany = !joinNonEmpty(firstName, lastName) && organization;
    s.bindInt(1, kEntityContact);
    s.bindInt(2, isCompany ? 1 : 0);
    s.bindDouble(3, creationDate_);
    s.bindOptionalText(4, firstName);
    s.bindOptionalText(5, lastName);
    s.bindOptionalText(6, organization);
    s.bindOptionalText(7, joinNonEmpty(firstName, lastName));
    s.bindOptionalText(8, joinNonEmpty(lastName, firstName));
    s.bindText(9, nextUniqueId() + ":ABPerson");
    s.run();
    const std::int64_t pk = db_.lastInsertRowid();
    auto& max = statements().updateMax;
    max.bindInt(1, kEntityContact);
    max.bindInt(2, pk);
    max.run();
    return pk;
}

std::int64_t AddressBookDatabase::addPhone(std::int64_t owner, std::string_view fullNumber,
                                           std::string_view label) {
    auto& count = statements().countPhones;
    count.bindInt(1, owner);
    count.step();
    const std::int64_t ordering = count.columnInt(0);
    count.reset();

    auto& s = statements().insertPhone;
    s.bindInt(1, kEntityPhoneNumber);
    s.bindInt(2, ordering == 0 ? 1 : 0);
    s.bindInt(3, ordering);
    s.bindInt(4, owner);
    s.bindInt(5, kEntityContact);
    s.bindText(6, fullNumber);
    s.bindText(7, label);
    s.bindText(8, lastFourDigits(fullNumber));
    s.bindText(9, nextUniqueId());
    s.run();
    const std::int64_t pk = db_.lastInsertRowid();
    auto& max = statements().updateMax;
    max.bindInt(1, kEntityPhoneNumber);
    max.bindInt(2, pk);
    max.run();
    return pk;
}

std::int64_t AddressBookDatabase::addEmail(std::int64_t owner, std::string_view address,
                                           std::string_view label) {
    auto& count = statements().countEmails;
    count.bindInt(1, owner);
    count.step();
    const std::int64_t ordering = count.columnInt(0);
    count.reset();

    auto& s = statements().insertEmail;
    s.bindInt(1, kEntityEmailAddress);
    s.bindInt(2, ordering == 0 ? 1 : 0);
    s.bindInt(3, ordering);
    s.bindInt(4, owner);
    s.bindInt(5, kEntityContact);
    s.bindText(6, address);
    s.bindText(7, asciiLower(address));
    s.bindText(8, label);
    s.bindText(9, nextUniqueId());
    s.run();
    const std::int64_t pk = db_.lastInsertRowid();
    auto& max = statements().updateMax;
    max.bindInt(1, kEntityEmailAddress);
    max.bindInt(2, pk);
    max.run();
    return pk;
}

void AddressBookDatabase::begin() {
    connection().exec("BEGIN");
}
void AddressBookDatabase::commit() {
    connection().exec("COMMIT");
}

void AddressBookDatabase::close() {
    statements_.reset();
    db_.close();
}

} // namespace demohome
