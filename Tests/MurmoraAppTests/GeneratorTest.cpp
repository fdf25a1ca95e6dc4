// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "State/Generator.h"

#include "AddressBookDatabase.h"
#include "Output/WrappedHTML.h"
#include "TestHome.h"
#endif

#include <QTest>

using murmora::Generator::resolveNames;
using murmora::Generator::reveals;

namespace {

std::filesystem::path addressBook(const std::filesystem::path& home, const char* source) {
    const std::filesystem::path folder =
        home / "Library" / "Application Support" / "AddressBook" / "Sources" / source;
    std::filesystem::create_directories(folder);
    return folder / "AddressBook-v22.abcddb";
}

} // namespace

class GeneratorTest : public QObject {
    Q_OBJECT

private slots:
    void revealsFollowTheStatisticsInOrder() {
        dovrel::WrappedStats stats;
        stats.totalMessages = 12'345;
        stats.peopleCount = 1'234; // a plain number, without a separator
        std::vector<std::string> lines = reveals(stats, {});
        QCOMPARE(lines,
                 (std::vector<std::string>{"12,345 messages \u00b7 1234 people. Learning your style\u2026",
                                           "Profile ready."}));

        stats.topContacts = {{"+15550001", std::string("Chat Name"), 1'500, 700, 800}};
        stats.myMedianReplySeconds = 150.0;
        stats.laughter.lolCount = 4;
        stats.laughter.hahaCount = 4; // a tie goes to the row higher up the table
        stats.laughter.laughEmojiCount = 3;
        lines = reveals(stats, {{"+15550001", "Ana Diaz"}});
        QCOMPARE(lines.size(), std::size_t{5});
        QCOMPARE(lines[1], std::string("Ana Diaz is your person \u2014 1,500 messages together."));
        QCOMPARE(lines[2],
                 std::string("You typically reply in ") + dovrel::WrappedHTML::replySpeed(150.0) + ".");
        QCOMPARE(lines[3], std::string("Your signature laugh: \u201chaha\u201d."));
        QCOMPARE(lines[4], std::string("Profile ready."));

        // Without a name the display name stands in, and without that the handle.
        QCOMPARE(reveals(stats, {})[1],
                 std::string("Chat Name is your person \u2014 1,500 messages together."));
        stats.topContacts[0].displayName.reset();
        QCOMPARE(reveals(stats, {})[1],
                 std::string("+15550001 is your person \u2014 1,500 messages together."));
        // Empty texts count as none, down to an empty handle.
        stats.topContacts[0].displayName = "";
        stats.topContacts[0].handleID = "";
        QCOMPARE(reveals(stats, {{"", ""}})[1],
                 std::string("Someone is your person \u2014 1,500 messages together."));

        stats.laughter = {};
        stats.laughter.capsHahaCount = 1;
        stats.laughter.laughEmojiCount = 2;
        QCOMPARE(reveals(stats, {})[3], std::string("Your signature laugh: \u201c\U0001F602\u201d."));
    }

    void namesComeFromTheLargestAddressBookAndTheFirstMatchingCard() {
        const TestHome home;
        const std::vector<std::string> handles{"+15551230001", "ana@example.com", "+15559990000"};
        QVERIFY(resolveNames(handles, home.home()).empty()); // no address book: no names, no error

        {
            demohome::AddressBookDatabase small(addressBook(home.home(), "A"));
            const auto other = small.addRecord(std::string("Wrong"), std::string("Book"));
            small.addPhone(other, "+1 (555) 123-0001");
        }
        {
            demohome::AddressBookDatabase book(addressBook(home.home(), "B"));
            for (int i = 0; i < 50; ++i) { // make this one the largest
                book.addRecord(std::string("Filler"), std::to_string(i));
            }
            const auto first = book.addRecord(std::string("Bea"), std::string("First"));
            book.addPhone(first, "(555) 123-0001");
            const auto second = book.addRecord(std::string("Bea"), std::string("Second"));
            book.addPhone(second, "555.123.0001");
            book.addEmail(second, "ANA@example.com");
        }
        const std::map<std::string, std::string> names = resolveNames(handles, home.home());
        QCOMPARE(names, (std::map<std::string, std::string>{{"+15551230001", "Bea First"},
                                                            {"ana@example.com", "Bea Second"}}));

        // A damaged address book gives no names instead of failing the run.
        QFile damaged(QString::fromStdString(addressBook(home.home(), "B").string()));
        QVERIFY(damaged.open(QIODevice::WriteOnly | QIODevice::Truncate));
        damaged.write(QByteArray(1 << 20, 'x'));
        damaged.close();
        QVERIFY(resolveNames(handles, home.home()).empty());
    }
};

QTEST_GUILESS_MAIN(GeneratorTest)
#include "GeneratorTest.moc"
