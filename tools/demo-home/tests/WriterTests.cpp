#include "AddressBookDatabase.h"
#include "AttributedBody.h"
#include "MessagesDatabase.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

namespace demohome {
namespace {

namespace fs = std::filesystem;
using testing::Db;
using testing::TempDir;

MessageRow message(std::string guid, std::int64_t handle, std::int64_t date) {
    MessageRow row;
    row.guid = std::move(guid);
    row.handleId = handle;
    row.date = date;
    return row;
}

TEST(MessagesDatabaseWriter, KeepsNullAndEmptyBodiesApart) {
    TempDir dir;
    const fs::path path = dir.path() / "chat.db";
    {
        MessagesDatabase db(path);
        const auto handle = db.addHandle("+15551230001");
        const auto chat =
            db.addChat("iMessage;-;+15551230001", kChatStyleOneToOne, std::string(), "+15551230001");
        db.joinChatHandle(chat, handle);
        db.begin();
        MessageRow nothing = message("A", handle, 1);
        MessageRow empty = message("B", handle, 2);
        empty.text = std::string();
        MessageRow blobOnly = message("C", handle, 760000000123456789);
        blobOnly.attributedBody = encodeAttributedBody("hi");
        blobOnly.isFromMe = true;
        MessageRow reaction = message("D", handle, 760000000223456789);
        reaction.text = "Laughed at “hi”";
        reaction.associatedMessageType = 2003;
        reaction.associatedMessageGuid = "p:0/C";
        for (const MessageRow* row : {&nothing, &empty, &blobOnly, &reaction}) {
            db.joinChatMessage(chat, db.addMessage(*row), row->date);
        }
        db.commit();
        db.close();
    }
    const Db db(path);
    auto rows =
        db.query("SELECT guid, typeof(text), typeof(attributedBody), date, is_from_me, is_read, handle_id, "
                 "associated_message_type, COALESCE(associated_message_guid, ''), item_type "
                 "FROM message ORDER BY ROWID");
    const std::vector<std::string> expected = {
        "A null null 1 0 0 1 0  0",
        "B text null 2 0 0 1 0  0",
        "C null blob 760000000123456789 1 0 1 0  0",
        "D text null 760000000223456789 0 0 1 2003 p:0/C 0",
    };
    std::vector<std::string> actual;
    while (rows.next()) {
        std::string line;
        for (int c = 0; c < rows.columns(); ++c) {
            line += (c ? " " : "") + rows.text(c);
        }
        actual.push_back(line);
    }
    EXPECT_EQ(actual, expected);
    EXPECT_EQ(db.scalar("SELECT COUNT(*) FROM chat_message_join"), 4);
}

TEST(MessagesDatabaseWriter, ReportsConstraintViolationsAndStaysUsable) {
    TempDir dir;
    MessagesDatabase db(dir.path() / "chat.db");
    db.addHandle("+15551230001", "iMessage");
    db.addHandle("+15551230001", "SMS"); // same number, other service: allowed
    try {
        db.addHandle("+15551230001", "iMessage");
        FAIL() << "duplicate handle accepted";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("UNIQUE"), std::string::npos) << error.what();
    }
    EXPECT_GT(db.addHandle("+15551230002"), 0);
    db.addMessage(message("SAME", 1, 1));
    EXPECT_THROW(db.addMessage(message("SAME", 1, 2)), std::runtime_error);
    EXPECT_NO_THROW(db.addMessage(message("OTHER", 1, 3)));
}

TEST(MessagesDatabaseWriter, CloseLeavingWalKeepsTheLastTransactionOutOfTheMainFile) {
    TempDir dir;
    const fs::path path = dir.path() / "chat.db";
    {
        MessagesDatabase db(path);
        db.addMessage(message("OLD", 0, 1));
        db.switchToWal();
        db.begin();
        db.addMessage(message("NEW1", 0, 2));
        db.addMessage(message("NEW2", 0, 3));
        db.commit();
        db.closeLeavingWal();
    }
    ASSERT_TRUE(fs::exists(path.string() + "-wal"));
    EXPECT_GT(fs::file_size(path.string() + "-wal"), 0u);
    EXPECT_EQ(Db(path).scalar("SELECT COUNT(*) FROM message"), 3);

    const fs::path copy = dir.path() / "copy.db";
    fs::copy_file(path, copy);
    EXPECT_EQ(Db(copy).scalar("SELECT COUNT(*) FROM message"), 1);
}

TEST(AddressBookWriter, CardsOwnTheirNumbersAndAddresses) {
    TempDir dir;
    const fs::path path = dir.path() / "AddressBook-v22.abcddb";
    {
        AddressBookDatabase book(path, 7);
        const auto ana = book.addRecord(std::string("Ana"), std::nullopt);
        const auto bo = book.addRecord(std::nullopt, std::string("Bo"), std::string("Acme"));
        book.addPhone(ana, "+1 (555) 123-0001");
        book.addPhone(ana, "555.123.0002", kLabelWork);
        book.addEmail(bo, "Bo@Example.COM");
        book.close();
    }
    const Db db(path);
    auto phones = db.query("SELECT r.ZFIRSTNAME, p.ZFULLNUMBER, p.ZLASTFOURDIGITS, p.ZISPRIMARY, p.ZLABEL "
                           "FROM ZABCDPHONENUMBER p JOIN ZABCDRECORD r ON r.Z_PK = p.ZOWNER ORDER BY p.Z_PK");
    ASSERT_TRUE(phones.next());
    EXPECT_EQ(phones.text(0) + "|" + phones.text(1) + "|" + phones.text(2) + "|" + phones.text(3),
              "Ana|+1 (555) 123-0001|0001|1");
    ASSERT_TRUE(phones.next());
    EXPECT_EQ(phones.text(2) + "|" + phones.text(3) + "|" + phones.text(4),
              "0002|0|" + std::string(kLabelWork));
    EXPECT_FALSE(phones.next());

    auto emails =
        db.query("SELECT r.ZLASTNAME, r.ZORGANIZATION, r.ZFIRSTNAME IS NULL, e.ZADDRESS, "
                 "e.ZADDRESSNORMALIZED FROM ZABCDEMAILADDRESS e JOIN ZABCDRECORD r ON r.Z_PK = e.ZOWNER");
    ASSERT_TRUE(emails.next());
    EXPECT_EQ(emails.text(0) + "|" + emails.text(1) + "|" + emails.text(2) + "|" + emails.text(3) + "|" +
                  emails.text(4),
              "Bo|Acme|1|Bo@Example.COM|bo@example.com");
    EXPECT_EQ(db.scalar("SELECT COUNT(DISTINCT ZUNIQUEID) FROM ZABCDRECORD"), 2);
}

} // namespace
} // namespace demohome
