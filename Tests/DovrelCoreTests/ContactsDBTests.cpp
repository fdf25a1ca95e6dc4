#include "AddressBookDatabase.h"
#include "MessageSources/ContactsDB.h"
#include "TempDir.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace dovrel;
namespace fs = std::filesystem;

TEST(ContactCardTest, PhonesMatchOnTheirLastDigitsWhateverTheFormatting) {
    const ContactCard card{"Ana Diaz", {"+1 (415) 555-0132", "12"}, {"Ana@Example.com"}};
    EXPECT_TRUE(card.matchesHandle("+14155550132"));
    EXPECT_TRUE(card.matchesHandle("4155550132"));      // no country code
    EXPECT_TRUE(card.matchesHandle("+1 650 555 0132")); // other area code, same last seven: loose on purpose
    EXPECT_FALSE(card.matchesHandle("+14155550133"));
    EXPECT_FALSE(card.matchesHandle("55013"));          // a short code matches nothing
    EXPECT_TRUE(card.matchesHandle("ana@EXAMPLE.com")); // e-mail: any case
    EXPECT_FALSE(card.matchesHandle("ana@example.org"));
    // An address is never compared with phones, even when its digits would match.
    EXPECT_FALSE((ContactCard{"X", {"4155550132"}, {}}).matchesHandle("4155550132@example.com"));
    // Numeric characters beyond ASCII count as digits (here Arabic-Indic), compared as written.
    EXPECT_TRUE((ContactCard{"Y", {"\u0664\u0661\u0665\u0665\u0665\u0660\u0661\u0663\u0662"}, {}})
                    .matchesHandle("\u0665\u0665\u0665\u0660\u0661\u0663\u0662"));
    // A phone with fewer than seven digits is skipped, not matched by its tail.
    EXPECT_FALSE((ContactCard{"Z", {"550132"}, {}}).matchesHandle("+14155550132"));
}

TEST(ContactsDBTest, CardsNeedANameAndSomethingToMatch) {
    const TempDir dir;
    const fs::path path = dir.path() / "AddressBook-v22.abcddb";
    {
        demohome::AddressBookDatabase book(path);
        const auto ana = book.addRecord(std::string("Ana"), std::string("Diaz"));
        book.addPhone(ana, "+1 (415) 555-0132");
        book.addEmail(ana, "ana@example.com");
        const auto onlyLast = book.addRecord(std::nullopt, std::string("Okafor"));
        book.addPhone(onlyLast, "020 7946 0958");
        const auto noWay = book.addRecord(std::string("Nobody"), std::nullopt);
        (void)noWay; // a name but neither phone nor e-mail
        const auto company = book.addRecord(std::nullopt, std::nullopt, std::string("Pizza Place"));
        book.addPhone(company, "555-0100");
        const auto anita = book.addRecord(std::string("Anita"), std::string("Berg"));
        book.addEmail(anita, "anita@example.com");
    }
    ContactsDB contacts(path.string());
    const std::vector<ContactCard> cards = contacts.allCards();
    ASSERT_EQ(cards.size(), 3u);
    EXPECT_EQ(cards[0], (ContactCard{"Ana Diaz", {"+1 (415) 555-0132"}, {"ana@example.com"}}));
    EXPECT_EQ(cards[1].fullName, "Okafor"); // no leading blank
    EXPECT_EQ(cards[2].fullName, "Anita Berg");

    const std::vector<ContactCard> exact = contacts.lookup("ANA");
    ASSERT_EQ(exact.size(), 1u); // an exact first name hides the prefix hit "Anita"
    EXPECT_EQ(exact[0].fullName, "Ana Diaz");
    const std::vector<ContactCard> prefix = contacts.lookup("an");
    ASSERT_EQ(prefix.size(), 2u);
    EXPECT_EQ(prefix[1].fullName, "Anita Berg");
    EXPECT_TRUE(contacts.lookup("zed").empty());
}

TEST(ContactsDBTest, DefaultPathIsTheLargestAddressBookAnywhereBelow) {
    const TempDir home;
    EXPECT_EQ(ContactsDB::defaultPath(home.path()), std::nullopt);

    const fs::path root = home.path() / "Library" / "Application Support" / "AddressBook";
    fs::create_directories(root / "Sources" / "A");
    fs::create_directories(root / "Sources" / "B");
    std::ofstream(root / "AddressBook-v22.abcddb") << "small";
    std::ofstream(root / "Sources" / "A" / "AddressBook-v22.abcddb") << std::string(4000, 'x');
    std::ofstream(root / "Sources" / "B" / "AddressBook-v22.abcddb") << std::string(4000, 'y');
    std::ofstream(root / "Sources" / "B" / "AddressBook-v22.abcddb-wal") << std::string(9000, 'z');
    const std::optional<fs::path> best = ContactsDB::defaultPath(home.path());
    ASSERT_TRUE(best.has_value());
    EXPECT_EQ(best->filename(), "AddressBook-v22.abcddb");
    EXPECT_EQ(fs::file_size(*best), 4000u);
}

// A folder that cannot be opened (here: no descriptor left, as a protected folder refuses on a Mac) is passed
// over, and the search goes on with the folders after it.
TEST(ContactsDBTest, DefaultPathSearchGoesOnPastAFolderThatCannotBeOpened) {
    const TempDir home;
    const fs::path root = home.path() / "Library" / "Application Support" / "AddressBook";
    constexpr int folders = 16;
    for (int i = 0; i < folders; ++i) {
        const fs::path folder = root / ("S" + std::to_string(i));
        fs::create_directories(folder / "deep" / "deeper");
        std::ofstream(folder / "AddressBook-v22.abcddb")
            << std::string(static_cast<std::size_t>(1000 * (i + 1)), 'x');
    }
    const pid_t child = ::fork();
    if (child == 0) {
        // Descriptors for the root and one folder below it: every "deep" fails to open.
        for (int fd = 3; fd < 1024; ++fd) {
            ::close(fd);
        }
        const rlimit limit{5, 5};
        ::setrlimit(RLIMIT_NOFILE, &limit);
        const std::optional<fs::path> best = ContactsDB::defaultPath(home.path());
        ::_exit(best && best->parent_path().filename() == "S" + std::to_string(folders - 1) ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}
