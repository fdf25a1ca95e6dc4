#include "DemoHomeGenerator.h"

#include "AddressBookDatabase.h"
#include "AttributedBody.h"
#include "Calendar.h"
#include "DemoPlan.h"
#include "MessagesDatabase.h"
#include "Summary.h"

#include <fstream>
#include <string>
#include <system_error>
#include <vector>

namespace demohome {
namespace {

namespace fs = std::filesystem;

void removeIfPresent(const fs::path& path) {
    std::error_code ec;
    fs::remove(path, ec);
    if (ec) {
        throw std::runtime_error("cannot remove " + path.string() + ": " + ec.message());
    }
}

void removeDatabaseFiles(const fs::path& db) {
    for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
        removeIfPresent(fs::path(db.string() + suffix));
    }
}

void createDirectories(const fs::path& dir) {
    std::error_code ec;
    fs::create_directories(dir, ec);
    if (ec) {
        throw std::runtime_error("cannot create " + dir.string() + ": " + ec.message());
    }
}

std::string accountFor(const Cast& cast, const std::string& service) {
    return service == "SMS" ? "P:" + cast.myPhone : "E:" + cast.myEmail;
}

class MessagesWriter {
public:
    MessagesWriter(const DemoPlan& plan, MessagesDatabase& db)
        : plan_(plan)
        , db_(db) {}

    void writeStructure() {
        db_.setProperty("_ClientVersion", "18026");
        Random random = Random(plan_.seed).fork(0xDB);
        db_.setProperty("_UniqueIdentifier", Uuid::random(random).toString());

        // Messages creates handles and chats as conversations start, so their ROWIDs follow the
        // order of first activity.
        std::vector<bool> handleDone(plan_.handles.size(), false);
        std::vector<bool> chatDone(plan_.chats.size(), false);
        std::vector<std::uint32_t> handleOrder;
        std::vector<std::uint32_t> chatOrder;
        auto takeChat = [&](std::uint32_t c) {
            if (chatDone[c]) {
                return;
            }
            chatDone[c] = true;
            chatOrder.push_back(c);
            for (std::uint32_t h : plan_.chats[c].handles) {
                if (!handleDone[h]) {
                    handleDone[h] = true;
                    handleOrder.push_back(h);
                }
            }
        };
        for (const PlannedEvent& e : plan_.events) {
            takeChat(e.chat);
        }
        for (std::uint32_t c = 0; c < plan_.chats.size(); ++c) {
            takeChat(c);
        }
        for (std::uint32_t h = 0; h < plan_.handles.size(); ++h) {
            if (!handleDone[h]) {
                handleOrder.push_back(h);
            }
        }

        handleRowid_.assign(plan_.handles.size(), 0);
        for (std::uint32_t h : handleOrder) {
            handleRowid_[h] = db_.addHandle(plan_.handles[h].id, plan_.handles[h].service);
        }
        chatRowid_.assign(plan_.chats.size(), 0);
        for (std::uint32_t c : chatOrder) {
            const PlannedChat& chat = plan_.chats[c];
            chatRowid_[c] =
                db_.addChat(chat.guid, chat.style, chat.displayName, chat.identifier, chat.service);
            for (std::uint32_t h : chat.handles) {
                db_.joinChatHandle(chatRowid_[c], handleRowid_[h]);
            }
        }
    }

    void writeEvents(std::size_t from, std::size_t to) {
        for (std::size_t i = from; i < to; ++i) {
            const PlannedEvent& e = plan_.events[i];
            const MessageRow row = toRow(e);
            const std::int64_t rowid = db_.addMessage(row);
            db_.joinChatMessage(chatRowid_[e.chat], rowid, row.date);
        }
    }

private:
    MessageRow toRow(const PlannedEvent& e) const {
        const PlannedChat& chat = plan_.chats[e.chat];
        const bool isGroup = chat.style == kChatStyleGroup;
        MessageRow row;
        row.guid = e.guid.toString();
        row.isFromMe = e.sender == kMe;
        if (isGroup) {
            row.handleId = row.isFromMe ? 0 : handleRowid_[static_cast<std::size_t>(e.sender)];
            row.cacheRoomnames = chat.identifier;
        } else {
            row.handleId = handleRowid_[chat.handles.front()];
        }
        row.date = storedDate(e);
        const std::int64_t unit = e.dateInSeconds ? 1 : kNanosPerSecond;
        // Sent rows keep is_read 0, as Messages leaves them; "read" only means something for
        // received ones.
        row.isRead = !row.isFromMe && e.isRead;
        if (row.isRead) {
            row.dateRead = row.date + (5 + static_cast<std::int64_t>(e.id % 900)) * unit;
        }
        if (row.isFromMe) {
            row.dateDelivered = row.date + unit;
        }
        row.service = chat.service == "SMS" ? "SMS" : "iMessage";
        row.account = accountFor(plan_.cast, row.service);
        row.itemType = e.itemType;
        row.associatedMessageType = e.associatedType;

        switch (e.kind) {
        case EventKind::Reaction: {
            const PlannedEvent& target = plan_.events[plan_.positionOfId[e.target]];
            row.associatedMessageGuid = (e.bpPrefix ? "bp:" : "p:0/") + target.guid.toString();
            row.text = e.text;
            return row;
        }
        case EventKind::Item:
            if (e.otherHandle >= 0) {
                row.otherHandle = handleRowid_[static_cast<std::size_t>(e.otherHandle)];
            }
            if (e.itemType == 2) {
                row.groupTitle =
                    chat.displayName && !chat.displayName->empty() ? *chat.displayName : "The group";
            } else if (e.itemType == 3) {
                row.groupActionType = 1;
            }
            return row;
        case EventKind::Message:
            break;
        }

        switch (e.body) {
        case Body::Text:
            row.text = e.text;
            break;
        case Body::TextAndBlob:
            row.text = e.text;
            row.attributedBody = encodeAttributedBody(e.text);
            break;
        case Body::BlobOnly:
            row.attributedBody = encodeAttributedBody(e.text);
            break;
        case Body::Nothing:
            break;
        case Body::UnreadableBlob:
            // Cut somewhere inside the class chain, well before the string.
            row.attributedBody = truncatedAttributedBody(e.text, 14 + e.id % 30);
            break;
        case Body::EmptyTextWithBlob:
            row.text = std::string();
            row.attributedBody = encodeAttributedBody(e.text);
            break;
        case Body::EmptyText:
            row.text = std::string();
            break;
        }
        return row;
    }

    const DemoPlan& plan_;
    MessagesDatabase& db_;
    std::vector<std::int64_t> handleRowid_;
    std::vector<std::int64_t> chatRowid_;
};

void writeMessages(const DemoPlan& plan, const fs::path& path) {
    MessagesDatabase db(path, MessagesDatabase::Indexes::Later);
    db.useBulkLoadSettings();
    MessagesWriter writer(plan, db);
    db.begin();
    writer.writeStructure();
    writer.writeEvents(0, plan.walStart);
    db.createIndexes();
    db.commit();

    // The newest rows go in after the switch to WAL and are never checkpointed, like a live
    // Messages database copied while the app is running.
    db.switchToWal();
    db.begin();
    writer.writeEvents(plan.walStart, plan.events.size());
    db.commit();
    db.closeLeavingWal();
}

void writeAddressBook(const fs::path& path, const std::vector<Card>& cards, std::uint64_t idSeed,
                      double createdAt) {
    AddressBookDatabase book(path, idSeed, createdAt);
    book.begin();
    for (const Card& card : cards) {
        const std::int64_t owner = book.addRecord(card.firstName, card.lastName, card.organization);
        for (const auto& [number, label] : card.phones) {
            book.addPhone(owner, number, label);
        }
        for (const auto& [address, label] : card.emails) {
            book.addEmail(owner, address, label);
        }
    }
    book.commit();
    book.connection().exec("PRAGMA journal_mode=WAL");
    book.close();
}

void writeFile(const fs::path& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
    out.close();
    if (!out) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

} // namespace

fs::path messagesDatabasePath(const fs::path& home) {
    return home / "Library" / "Messages" / "chat.db";
}

DemoHomeResult generateDemoHome(const DemoHomeOptions& options) {
    if (options.outDir.empty()) {
        throw std::invalid_argument("no output folder given");
    }
    if (options.messages < kMinMessages || options.messages > kMaxMessages) {
        throw std::invalid_argument("the message count must be between " + std::to_string(kMinMessages) +
                                    " and " + std::to_string(kMaxMessages));
    }
    const std::int64_t now = options.nowUnixSeconds.value_or(todayMidnightUtc());
    // Fourteen months back must still be after 2001, and far-future dates would overflow nanoseconds.
    if (now < kAppleEpochUnixSeconds + 500 * kSecondsPerDay || now > 4'000'000'000) {
        throw std::invalid_argument("--now must be a UNIX time between mid-2002 and 2096");
    }

    DemoHomeResult result;
    result.messagesDatabase = messagesDatabasePath(options.outDir);
    if (fs::exists(result.messagesDatabase) && !options.force) {
        throw DemoHomeExistsError(result.messagesDatabase.string() +
                                  " already exists; pass --force to replace the generated files");
    }

    const DemoPlan plan = buildDemoPlan(options.seed, options.messages, now);

    Random random = Random(options.seed).fork(0xAB);
    const fs::path addressBookRoot = options.outDir / "Library" / "Application Support" / "AddressBook";
    result.addressBook =
        addressBookRoot / "Sources" / Uuid::random(random).toString() / "AddressBook-v22.abcddb";
    result.secondaryAddressBook = addressBookRoot / "AddressBook-v22.abcddb";
    result.summary = options.outDir / "summary.json";

    createDirectories(result.messagesDatabase.parent_path());
    createDirectories(result.addressBook.parent_path());
    removeDatabaseFiles(result.messagesDatabase);
    removeDatabaseFiles(result.addressBook);
    removeDatabaseFiles(result.secondaryAddressBook);
    removeIfPresent(result.summary);

    writeMessages(plan, result.messagesDatabase);

    const double cardsCreated = static_cast<double>(now - kAppleEpochUnixSeconds - 3 * 365 * kSecondsPerDay);
    writeAddressBook(result.addressBook, mainAddressBookCards(plan.cast), random.next(), cardsCreated);
    writeAddressBook(result.secondaryAddressBook, secondaryAddressBookCards(plan.cast), random.next(),
                     cardsCreated);

    writeFile(result.summary, buildSummary(plan).dump(2) + "\n");

    result.messageRows = static_cast<std::int64_t>(plan.events.size());
    result.rowsInWal = static_cast<std::int64_t>(plan.events.size() - plan.walStart);
    return result;
}

} // namespace demohome
