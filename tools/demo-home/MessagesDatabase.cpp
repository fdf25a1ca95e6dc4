#include "MessagesDatabase.h"

#include <sqlite3.h>
#include <stdexcept>

namespace demohome {
namespace {

constexpr std::string_view kSchema = R"sql(
CREATE TABLE IF NOT EXISTS _SqliteDatabaseProperties (key TEXT, value TEXT, UNIQUE(key));
CREATE TABLE IF NOT EXISTS deleted_messages (ROWID INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, guid TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS chat_handle_join (chat_id INTEGER REFERENCES chat (ROWID) ON DELETE CASCADE, handle_id INTEGER REFERENCES handle (ROWID) ON DELETE CASCADE, UNIQUE(chat_id, handle_id));
CREATE TABLE IF NOT EXISTS sync_deleted_messages (ROWID INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, guid TEXT NOT NULL, recordID TEXT );
CREATE TABLE IF NOT EXISTS message_processing_task (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, guid TEXT NOT NULL, task_flags INTEGER NOT NULL, reasons INTEGER NOT NULL DEFAULT 0, CONSTRAINT message_processing_task_guid_unique UNIQUE(guid) ON CONFLICT REPLACE);
CREATE TABLE IF NOT EXISTS handle (ROWID INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, id TEXT NOT NULL, country TEXT, service TEXT NOT NULL, uncanonicalized_id TEXT, person_centric_id TEXT, UNIQUE (id, service) );
CREATE TABLE IF NOT EXISTS sync_deleted_chats (ROWID INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, guid TEXT NOT NULL, recordID TEXT,timestamp INTEGER);
CREATE TABLE IF NOT EXISTS message_attachment_join (message_id INTEGER REFERENCES message (ROWID) ON DELETE CASCADE, attachment_id INTEGER REFERENCES attachment (ROWID) ON DELETE CASCADE, UNIQUE(message_id, attachment_id));
CREATE TABLE IF NOT EXISTS sync_deleted_attachments (ROWID INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, guid TEXT NOT NULL, recordID TEXT );
CREATE TABLE IF NOT EXISTS kvtable (ROWID INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, key TEXT UNIQUE NOT NULL, value BLOB NOT NULL);
CREATE TABLE IF NOT EXISTS chat_message_join (chat_id INTEGER REFERENCES chat (ROWID) ON DELETE CASCADE, message_id INTEGER REFERENCES message (ROWID) ON DELETE CASCADE, message_date INTEGER DEFAULT 0, PRIMARY KEY (chat_id, message_id));
CREATE TABLE IF NOT EXISTS message (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, guid TEXT UNIQUE NOT NULL, text TEXT, replace INTEGER DEFAULT 0, service_center TEXT, handle_id INTEGER DEFAULT 0, subject TEXT, country TEXT, attributedBody BLOB, version INTEGER DEFAULT 0, type INTEGER DEFAULT 0, service TEXT, account TEXT, account_guid TEXT, error INTEGER DEFAULT 0, date INTEGER, date_read INTEGER, date_delivered INTEGER, is_delivered INTEGER DEFAULT 0, is_finished INTEGER DEFAULT 0, is_emote INTEGER DEFAULT 0, is_from_me INTEGER DEFAULT 0, is_empty INTEGER DEFAULT 0, is_delayed INTEGER DEFAULT 0, is_auto_reply INTEGER DEFAULT 0, is_prepared INTEGER DEFAULT 0, is_read INTEGER DEFAULT 0, is_system_message INTEGER DEFAULT 0, is_sent INTEGER DEFAULT 0, has_dd_results INTEGER DEFAULT 0, is_service_message INTEGER DEFAULT 0, is_forward INTEGER DEFAULT 0, was_downgraded INTEGER DEFAULT 0, is_archive INTEGER DEFAULT 0, cache_has_attachments INTEGER DEFAULT 0, cache_roomnames TEXT, was_data_detected INTEGER DEFAULT 0, was_deduplicated INTEGER DEFAULT 0, is_audio_message INTEGER DEFAULT 0, is_played INTEGER DEFAULT 0, date_played INTEGER, item_type INTEGER DEFAULT 0, other_handle INTEGER DEFAULT 0, group_title TEXT, group_action_type INTEGER DEFAULT 0, share_status INTEGER DEFAULT 0, share_direction INTEGER DEFAULT 0, is_expirable INTEGER DEFAULT 0, expire_state INTEGER DEFAULT 0, message_action_type INTEGER DEFAULT 0, message_source INTEGER DEFAULT 0, associated_message_guid TEXT, associated_message_type INTEGER DEFAULT 0, balloon_bundle_id TEXT, payload_data BLOB, expressive_send_style_id TEXT, associated_message_range_location INTEGER DEFAULT 0, associated_message_range_length INTEGER DEFAULT 0, time_expressive_send_played INTEGER, message_summary_info BLOB, ck_sync_state INTEGER DEFAULT 0, ck_record_id TEXT, ck_record_change_tag TEXT, destination_caller_id TEXT, is_corrupt INTEGER DEFAULT 0, reply_to_guid TEXT, sort_id INTEGER, is_spam INTEGER DEFAULT 0, has_unseen_mention INTEGER DEFAULT 0, thread_originator_guid TEXT, thread_originator_part TEXT, syndication_ranges TEXT DEFAULT NULL, was_delivered_quietly INTEGER DEFAULT 0, did_notify_recipient INTEGER DEFAULT 0, synced_syndication_ranges TEXT DEFAULT NULL, date_retracted INTEGER DEFAULT 0, date_edited INTEGER DEFAULT 0, was_detonated INTEGER DEFAULT 0, part_count INTEGER, is_stewie INTEGER DEFAULT 0, is_kt_verified INTEGER DEFAULT 0, is_sos INTEGER DEFAULT 0, is_critical INTEGER DEFAULT 0, bia_reference_id TEXT DEFAULT NULL, fallback_hash TEXT DEFAULT NULL);
CREATE TABLE IF NOT EXISTS chat (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, guid TEXT UNIQUE NOT NULL, style INTEGER, state INTEGER, account_id TEXT, properties BLOB, chat_identifier TEXT, service_name TEXT, room_name TEXT, account_login TEXT, is_archived INTEGER DEFAULT 0, last_addressed_handle TEXT, display_name TEXT, group_id TEXT, is_filtered INTEGER DEFAULT 0, successful_query INTEGER, engram_id TEXT, server_change_token TEXT, ck_sync_state INTEGER DEFAULT 0, original_group_id TEXT, last_read_message_timestamp INTEGER DEFAULT 0, cloudkit_record_id TEXT, last_addressed_sim_id TEXT, is_blackholed INTEGER DEFAULT 0, syndication_date INTEGER DEFAULT 0, syndication_type INTEGER DEFAULT 0, is_recovered INTEGER DEFAULT 0, is_deleting_incoming_messages INTEGER DEFAULT 0);
CREATE TABLE IF NOT EXISTS attachment (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, guid TEXT UNIQUE NOT NULL, created_date INTEGER DEFAULT 0, start_date INTEGER DEFAULT 0, filename TEXT, uti TEXT, mime_type TEXT, transfer_state INTEGER DEFAULT 0, is_outgoing INTEGER DEFAULT 0, user_info BLOB, transfer_name TEXT, total_bytes INTEGER DEFAULT 0, is_sticker INTEGER DEFAULT 0, sticker_user_info BLOB, attribution_info BLOB, hide_attachment INTEGER DEFAULT 0, ck_sync_state INTEGER DEFAULT 0, ck_server_change_token_blob BLOB, ck_record_id TEXT, original_guid TEXT UNIQUE NOT NULL, is_commsafety_sensitive INTEGER DEFAULT 0, emoji_image_content_identifier TEXT DEFAULT NULL, emoji_image_short_description TEXT DEFAULT NULL, preview_generation_state INTEGER DEFAULT 0);
CREATE TABLE IF NOT EXISTS chat_recoverable_message_join (chat_id INTEGER REFERENCES chat (ROWID) ON DELETE CASCADE, message_id INTEGER REFERENCES message (ROWID) ON DELETE CASCADE, delete_date INTEGER, ck_sync_state INTEGER DEFAULT 0, PRIMARY KEY (chat_id, message_id), CHECK (delete_date != 0));
CREATE TABLE IF NOT EXISTS recoverable_message_part (chat_id INTEGER REFERENCES chat (ROWID) ON DELETE CASCADE, message_id INTEGER REFERENCES message (ROWID) ON DELETE CASCADE, part_index INTEGER, delete_date INTEGER, part_text BLOB NOT NULL, ck_sync_state INTEGER DEFAULT 0, PRIMARY KEY (chat_id, message_id, part_index), CHECK (delete_date != 0));
CREATE TABLE IF NOT EXISTS chat_service (service TEXT, chat INTEGER REFERENCES chat (ROWID) ON DELETE CASCADE, UNIQUE(service, chat));
)sql";

constexpr std::string_view kIndexes = R"sql(
CREATE INDEX IF NOT EXISTS chat_idx_chat_identifier_service_name ON chat(chat_identifier, service_name);
CREATE INDEX IF NOT EXISTS chat_idx_chat_room_name_service_name ON chat(room_name, service_name);
CREATE INDEX IF NOT EXISTS chat_idx_is_archived ON chat(is_archived);
CREATE INDEX IF NOT EXISTS chat_idx_group_id ON chat(group_id);
CREATE INDEX IF NOT EXISTS chat_handle_join_idx_handle_id ON chat_handle_join(handle_id);
CREATE INDEX IF NOT EXISTS chat_message_join_idx_message_id_only ON chat_message_join(message_id);
CREATE INDEX IF NOT EXISTS chat_message_join_idx_message_date_id_chat_id ON chat_message_join(chat_id, message_date, message_id);
CREATE INDEX IF NOT EXISTS message_attachment_join_idx_message_id ON message_attachment_join(message_id);
CREATE INDEX IF NOT EXISTS message_attachment_join_idx_attachment_id ON message_attachment_join(attachment_id);
CREATE INDEX IF NOT EXISTS message_idx_date ON message(date);
CREATE INDEX IF NOT EXISTS message_idx_handle ON message(handle_id, date);
CREATE INDEX IF NOT EXISTS message_idx_handle_id ON message(handle_id);
CREATE INDEX IF NOT EXISTS message_idx_is_read ON message(is_read, is_from_me, is_finished);
CREATE INDEX IF NOT EXISTS message_idx_isRead_isFromMe_itemType ON message(is_read, is_from_me, item_type);
CREATE INDEX IF NOT EXISTS message_idx_failed ON message(is_finished, is_from_me, error);
CREATE INDEX IF NOT EXISTS message_idx_expire_state ON message(expire_state);
CREATE INDEX IF NOT EXISTS message_idx_other_handle ON message(other_handle);
CREATE INDEX IF NOT EXISTS message_idx_was_downgraded ON message(was_downgraded);
CREATE INDEX IF NOT EXISTS message_idx_cache_has_attachments ON message(cache_has_attachments);
CREATE INDEX IF NOT EXISTS message_idx_thread_originator_guid ON message(thread_originator_guid);
CREATE INDEX IF NOT EXISTS message_idx_associated_message2 ON message(associated_message_guid) WHERE associated_message_guid IS NOT NULL;
CREATE INDEX IF NOT EXISTS message_idx_undelivered_one_to_one_imessage ON message(cache_roomnames, service, is_sent, is_delivered, was_downgraded, item_type) WHERE cache_roomnames IS NULL AND service = 'iMessage' AND is_sent = 1 AND is_delivered = 0 AND was_downgraded = 0 AND item_type == 0;
CREATE INDEX IF NOT EXISTS attachment_idx_purged_attachments_v2 ON attachment(hide_attachment, ck_sync_state, transfer_state) WHERE hide_attachment = 0 AND (ck_sync_state = 1 OR ck_sync_state = 4) AND transfer_state = 0;
)sql";

constexpr std::string_view kInsertHandle = "INSERT INTO handle (id, country, service, uncanonicalized_id, "
                                           "person_centric_id) VALUES (?1, ?2, ?3, NULL, NULL)";

constexpr std::string_view kInsertChat =
    "INSERT INTO chat (guid, style, state, account_id, properties, chat_identifier, service_name, room_name, "
    "account_login, is_archived, last_addressed_handle, display_name, group_id, is_filtered, "
    "successful_query, "
    "ck_sync_state, original_group_id, last_read_message_timestamp) "
    "VALUES (?1, ?2, 3, NULL, NULL, ?3, ?4, ?5, NULL, 0, NULL, ?6, NULL, 0, 1, 0, NULL, 0)";

constexpr std::string_view kInsertMessage =
    "INSERT INTO message (guid, text, handle_id, attributedBody, version, service, account, date, date_read, "
    "date_delivered, is_delivered, is_finished, is_from_me, is_empty, is_read, is_sent, item_type, "
    "other_handle, "
    "group_title, group_action_type, associated_message_guid, associated_message_type, cache_roomnames, "
    "part_count) "
    "VALUES (?1, ?2, ?3, ?4, 10, ?5, ?6, ?7, ?8, ?9, 1, 1, ?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17, ?18, ?19, "
    "?20, "
    "?21)";

} // namespace

struct MessagesDatabase::Statements {
    explicit Statements(const SqliteConnection& db)
        : insertHandle(db, kInsertHandle)
        , insertChat(db, kInsertChat)
        , joinChatHandle(db, "INSERT INTO chat_handle_join (chat_id, handle_id) VALUES (?1, ?2)")
        , insertMessage(db, kInsertMessage)
        , joinChatMessage(
              db, "INSERT INTO chat_message_join (chat_id, message_id, message_date) VALUES (?1, ?2, ?3)")
        , setProperty(db, "INSERT OR REPLACE INTO _SqliteDatabaseProperties (key, value) VALUES (?1, ?2)") {}

    SqliteStatement insertHandle;
    SqliteStatement insertChat;
    SqliteStatement joinChatHandle;
    SqliteStatement insertMessage;
    SqliteStatement joinChatMessage;
    SqliteStatement setProperty;
};

MessagesDatabase::MessagesDatabase(const std::filesystem::path& path, Indexes indexes)
    : db_(path) {
    db_.exec(kSchema);
    if (indexes == Indexes::Now) {
        db_.exec(kIndexes);
    }
    prepare();
}

void MessagesDatabase::createIndexes() {
    connection().exec(kIndexes);
}

MessagesDatabase::~MessagesDatabase() = default;
MessagesDatabase::MessagesDatabase(MessagesDatabase&&) noexcept = default;
MessagesDatabase& MessagesDatabase::operator=(MessagesDatabase&&) noexcept = default;

void MessagesDatabase::prepare() {
    statements_ = std::make_unique<Statements>(db_);
}

MessagesDatabase::Statements& MessagesDatabase::statements() {
    if (!statements_) {
        throw std::logic_error("MessagesDatabase is closed");
    }
    return *statements_;
}

SqliteConnection& MessagesDatabase::connection() {
    if (!db_.isOpen()) {
        throw std::logic_error("MessagesDatabase is closed");
    }
    return db_;
}

std::int64_t MessagesDatabase::addHandle(std::string_view id, std::string_view service,
                                         const std::optional<std::string>& country) {
    auto& s = statements().insertHandle;
    s.bindText(1, id);
    s.bindOptionalText(2, country);
    s.bindText(3, service);
    s.run();
    return db_.lastInsertRowid();
}

std::int64_t MessagesDatabase::addChat(std::string_view guid, int style,
                                       const std::optional<std::string>& displayName,
                                       std::string_view chatIdentifier, std::string_view serviceName) {
    auto& s = statements().insertChat;
    s.bindText(1, guid);
    s.bindInt(2, style);
    s.bindText(3, chatIdentifier);
    s.bindText(4, serviceName);
    if (style == kChatStyleGroup) {
        s.bindText(5, chatIdentifier);
    } else {
        s.bindNull(5);
    }
    s.bindOptionalText(6, displayName);
    s.run();
    return db_.lastInsertRowid();
}

void MessagesDatabase::joinChatHandle(std::int64_t chatId, std::int64_t handleId) {
    auto& s = statements().joinChatHandle;
    s.bindInt(1, chatId);
    s.bindInt(2, handleId);
    s.run();
}

std::int64_t MessagesDatabase::addMessage(const MessageRow& row) {
    auto& s = statements().insertMessage;
    s.bindText(1, row.guid);
    s.bindOptionalText(2, row.text);
    s.bindInt(3, row.handleId);
    if (row.attributedBody) {
        s.bindBlob(4, *row.attributedBody);
    } else {
        s.bindNull(4);
    }
    s.bindText(5, row.service);
    s.bindOptionalText(6, row.account);
    s.bindInt(7, row.date);
    s.bindInt(8, row.dateRead);
    s.bindInt(9, row.dateDelivered);
    s.bindInt(10, row.isFromMe ? 1 : 0);
    s.bindInt(11, !row.text && !row.attributedBody ? 1 : 0);
    s.bindInt(12, row.isRead ? 1 : 0);
    s.bindInt(13, row.isFromMe ? 1 : 0);
    s.bindInt(14, row.itemType);
    s.bindInt(15, row.otherHandle);
    s.bindOptionalText(16, row.groupTitle);
    s.bindInt(17, row.groupActionType);
    s.bindOptionalText(18, row.associatedMessageGuid);
    s.bindInt(19, row.associatedMessageType);
    s.bindOptionalText(20, row.cacheRoomnames);
    if (row.itemType == 0 && (row.text || row.attributedBody)) {
        s.bindInt(21, 1);
    } else {
        s.bindNull(21);
    }
    s.run();
    return db_.lastInsertRowid();
}

void MessagesDatabase::joinChatMessage(std::int64_t chatId, std::int64_t messageId,
                                       std::int64_t messageDate) {
    auto& s = statements().joinChatMessage;
    s.bindInt(1, chatId);
    s.bindInt(2, messageId);
    s.bindInt(3, messageDate);
    s.run();
}

void MessagesDatabase::setProperty(std::string_view key, std::string_view value) {
    auto& s = statements().setProperty;
    s.bindText(1, key);
    s.bindText(2, value);
    s.run();
}

void MessagesDatabase::begin() {
    connection().exec("BEGIN");
}
void MessagesDatabase::commit() {
    connection().exec("COMMIT");
}
void MessagesDatabase::rollback() {
    connection().exec("ROLLBACK");
}

void MessagesDatabase::useBulkLoadSettings() {
    connection().exec("PRAGMA journal_mode=MEMORY; PRAGMA synchronous=OFF; PRAGMA cache_size=-262144; PRAGMA "
                      "mmap_size=4294967296; PRAGMA threads=4; "
                      "PRAGMA temp_store=MEMORY");
}

void MessagesDatabase::switchToWal() {
    SqliteStatement mode(connection(), "PRAGMA journal_mode=WAL");
    if (!mode.step() || mode.columnText(0) != "wal") {
        throw std::runtime_error("could not switch the Messages database to WAL mode");
    }
    mode.reset();
    db_.exec("PRAGMA synchronous=NORMAL; PRAGMA wal_autocheckpoint=0");
}

void MessagesDatabase::closeLeavingWal() {
    statements_.reset();
    if (sqlite3_db_config(connection().get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1,
                          static_cast<int*>(nullptr)) != SQLITE_OK) {
        throw std::runtime_error("sqlite: cannot disable the checkpoint on close");
    }
    db_.close();
}

void MessagesDatabase::close() {
    statements_.reset();
    db_.close();
}

} // namespace demohome
