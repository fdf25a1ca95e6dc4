#pragma once

#include "Sqlite.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace demohome {

inline constexpr int kChatStyleGroup = 43;
inline constexpr int kChatStyleOneToOne = 45;

// One row of the message table. Fields left at their defaults are written the way Messages
// writes an ordinary delivered message.
struct MessageRow {
    std::string guid;
    std::optional<std::string> text; // NULL and '' are different things to readers
    std::optional<std::vector<std::uint8_t>> attributedBody;
    std::int64_t handleId = 0;
    std::int64_t date = 0; // raw: nanoseconds (or, on old rows, seconds) since 2001-01-01 UTC
    bool isFromMe = false;
    bool isRead = false;
    int itemType = 0;
    int associatedMessageType = 0;
    std::optional<std::string> associatedMessageGuid;
    std::string service = "iMessage";

    std::int64_t dateRead = 0;
    std::int64_t dateDelivered = 0;
    std::int64_t otherHandle = 0;
    int groupActionType = 0;
    std::optional<std::string> groupTitle;
    std::optional<std::string> cacheRoomnames; // the room name, on messages of group chats
    std::optional<std::string> account;
};

// Writes a macOS Messages database (chat.db) with the schema of a recent macOS release.
// Opening an existing file keeps its rows; missing tables and indexes are created.
class MessagesDatabase {
public:
    // Later leaves out the secondary indexes until createIndexes(), which is much faster when
    // a large number of rows is added at once.
    enum class Indexes { Now, Later };

    explicit MessagesDatabase(const std::filesystem::path& path, Indexes indexes = Indexes::Now);
    ~MessagesDatabase();
    MessagesDatabase(MessagesDatabase&&) noexcept;
    MessagesDatabase& operator=(MessagesDatabase&&) noexcept;
    MessagesDatabase(const MessagesDatabase&) = delete;
    MessagesDatabase& operator=(const MessagesDatabase&) = delete;

    std::int64_t addHandle(std::string_view id, std::string_view service = "iMessage",
                           const std::optional<std::string>& country = std::string("us"));
    // style is kChatStyleOneToOne or kChatStyleGroup; for groups room_name is set to chatIdentifier.
    std::int64_t addChat(std::string_view guid, int style, const std::optional<std::string>& displayName,
                         std::string_view chatIdentifier, std::string_view serviceName = "iMessage");
    void joinChatHandle(std::int64_t chatId, std::int64_t handleId);
    std::int64_t addMessage(const MessageRow& row);
    void joinChatMessage(std::int64_t chatId, std::int64_t messageId, std::int64_t messageDate);
    void setProperty(std::string_view key, std::string_view value);
    void createIndexes();

    void begin();
    void commit();
    void rollback();

    // Trades durability for speed while the file is being filled (no journal, no fsync).
    void useBulkLoadSettings();
    // Switches to WAL and stops automatic checkpoints, so later commits stay in the -wal file.
    void switchToWal();
    // Closes without the checkpoint sqlite normally runs on close: the -wal and -shm files stay
    // next to the database with every transaction committed since switchToWal().
    void closeLeavingWal();
    void close();

    [[nodiscard]] SqliteConnection& connection();

private:
    struct Statements;
    void prepare();
    Statements& statements();

    SqliteConnection db_;
    std::unique_ptr<Statements> statements_;
};

} // namespace demohome
