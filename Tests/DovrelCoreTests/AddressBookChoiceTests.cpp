#include "MessageSources/ContactsDB.h"
#include "TempDir.h"

#include <fstream>
#include <gtest/gtest.h>

using namespace dovrel;
namespace fs = std::filesystem;

// Of several address books the largest is read; among equally large ones, the first the walk meets.
TEST(AddressBookChoiceTest, LargestWinsAndTheFirstSeenWinsATie) {
    const TempDir home;
    const fs::path root = home.path() / "Library" / "Application Support" / "AddressBook";
    const auto write = [&](const fs::path& folder, std::size_t bytes) {
        fs::create_directories(root / folder);
        std::ofstream(root / folder / "AddressBook-v22.abcddb", std::ios::binary) << std::string(bytes, 'x');
        return root / folder / "AddressBook-v22.abcddb";
    };
    EXPECT_EQ(ContactsDB::defaultPath(home.path()), std::nullopt);
    write("Sources/small", 10);
    std::ofstream(root / "Sources" / "not-an-address-book.abcddb") << std::string(500, 'x');
    const fs::path largest = write("Sources/large", 100);
    EXPECT_EQ(ContactsDB::defaultPath(home.path()), largest);

    for (const char* folder : {"Sources/b", "Sources/c", "d", "Sources/a/deeper"}) {
        write(folder, 100);
    }
    std::optional<fs::path> firstSeen;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
        if (!firstSeen && entry.path().filename() == "AddressBook-v22.abcddb" && entry.file_size() == 100) {
            firstSeen = entry.path();
        }
    }
    EXPECT_EQ(ContactsDB::defaultPath(home.path()), firstSeen);
}
