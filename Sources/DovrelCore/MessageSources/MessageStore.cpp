#include "MessageSources/MessageStore.h"

#include "MessageSources/AppleDate.h"
#include "MessageSources/TypedStream.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string_view>
#include <unordered_map>

namespace dovrel {
namespace {

const std::string oneToOneSQL = "SELECT h.id AS handle, c.display_name AS display_name,\n"
                                "       m.text AS text, m.attributedBody AS body,\n"
                                "       m.date AS date, m.is_from_me AS is_from_me, m.is_read AS is_read\n"
                                "FROM chat c\n"
                                "JOIN chat_handle_join chj ON chj.chat_id = c.ROWID\n"
                                "JOIN handle h ON h.ROWID = chj.handle_id\n"
                                "JOIN chat_message_join cmj ON cmj.chat_id = c.ROWID\n"
                                "JOIN message m ON m.ROWID = cmj.message_id\n"
                                "WHERE c.style = 45\n"
                                "  AND m.associated_message_type = 0\n"
                                "  AND m.item_type = 0\n"
                                "ORDER BY m.date ASC";

bool isExactlyOne(const std::optional<std::int64_t>& value) {
    return value.has_value() && *value == 1;
}

struct HandleHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view handle) const { return std::hash<std::string_view>{}(handle); }
};

// Where the statement's columns stand, looked up once.
struct Columns {
    explicit Columns(const SQLRowView& row)
        : handle(row.columnIndex("handle"))
        , displayName(row.columnIndex("display_name"))
        , text(row.columnIndex("text"))
        , body(row.columnIndex("body"))
        , date(row.columnIndex("date"))
        , isFromMe(row.columnIndex("is_from_me"))
        , isRead(row.columnIndex("is_read")) {}

    std::ptrdiff_t handle, displayName, text, body, date, isFromMe, isRead;
};

// The text column wins whenever it holds text, even empty text; only a missing text falls back to the body,
// which is not even read otherwise.
std::optional<std::string> messageText(const SQLRowView& row, const Columns& columns) {
    if (const std::optional<std::string_view> text = row.text(columns.text)) {
        return std::string(*text);
    }
    if (const auto body = row.blob(columns.body)) {
        return TypedStream::extractText(*body);
    }
    return std::nullopt;
}

// Reading walks `message` in date order, which is not quite the order of its pages, so the same pages are
// fetched again and again; a cache of about 1/64 of the file, bounded, keeps most of them. (Mapping the file
// instead saves a little more time but makes every page read count as resident memory.) The setting changes
// no row, and if SQLite refuses it the read works as before.
void tuneForBulkReading(SQLiteDB& db, const std::string& dbPath) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(dbPath, error);
    if (error) {
        return;
    }
    constexpr std::uintmax_t minCacheKiB = 8 * 1024;
    constexpr std::uintmax_t maxCacheKiB = 64 * 1024;
    const std::uintmax_t cacheKiB = std::clamp(size / 1024 / 64, minCacheKiB, maxCacheKiB);
    try {
        db.execute("PRAGMA cache_size = -" + std::to_string(cacheKiB) + ";");
    } catch (const SQLiteError&) {
    }
}

// Left to guess, SQLite's planner takes the join table for small next to `message` and drives the one-to-one
// statement chat by chat, then sorts every row by date: a sort that spills to disk and grows faster than the
// history. Told the real sizes (the statistics ANALYZE would find, at the cost of a whole scan), it walks
// `message` through its date index instead and needs no sort. Rows and their order stay what the statement
// says. Only the copy step writes them, into the copy it owns; when it cannot, the read goes on with the
// planner's guess.
void describeSizesToPlanner(const std::string& dbPath) {
    static const char* const statistics = R"sql(
ANALYZE sqlite_schema;
DELETE FROM sqlite_stat1 WHERE idx IN ('message_idx_date', 'chat_message_join_idx_message_id_only',
                                       'sqlite_autoindex_chat_message_join_1');
INSERT INTO sqlite_stat1
SELECT 'message', 'message_idx_date', (SELECT max(ROWID) FROM message) || ' 1'
WHERE EXISTS (SELECT 1 FROM sqlite_schema WHERE type = 'index' AND name = 'message_idx_date');
INSERT INTO sqlite_stat1
SELECT 'chat_message_join', 'chat_message_join_idx_message_id_only',
       (SELECT max(ROWID) FROM chat_message_join) || ' 1'
WHERE EXISTS (SELECT 1 FROM sqlite_schema WHERE type = 'index'
                                            AND name = 'chat_message_join_idx_message_id_only');
INSERT INTO sqlite_stat1
SELECT 'chat_message_join', 'sqlite_autoindex_chat_message_join_1',
       (SELECT max(ROWID) FROM chat_message_join) || ' ' ||
       max(1, (SELECT max(ROWID) FROM chat_message_join) / max(1, (SELECT count(*) FROM chat))) || ' 1'
WHERE EXISTS (SELECT 1 FROM sqlite_schema WHERE type = 'index'
                                            AND name = 'sqlite_autoindex_chat_message_join_1');
)sql";
    try {
        SQLiteDB db(dbPath, false);
        db.execute(std::string("PRAGMA synchronous = OFF; BEGIN;") + statistics + "COMMIT;");
    } catch (const SQLiteError&) {
    }
}

// What a statement reads: each table with the columns it names (a table's ROWID is always there).
using Needs = std::vector<std::pair<std::string_view, std::vector<std::string_view>>>;

const Needs oneToOneNeeds = {
    {"chat", {"display_name", "style"}},
    {"chat_handle_join", {"chat_id", "handle_id"}},
    {"handle", {"id"}},
    {"chat_message_join", {"chat_id", "message_id"}},
    {"message",
     {"text", "attributedBody", "date", "is_from_me", "is_read", "associated_message_type", "item_type"}},
};

const Needs groupNeeds = {
    {"chat", {"guid", "display_name", "style"}},
    {"chat_message_join", {"chat_id", "message_id"}},
    {"message",
     {"guid", "associated_message_guid", "associated_message_type", "text", "attributedBody", "date",
      "is_from_me", "item_type", "handle_id"}},
    {"handle", {"id"}},
    {"chat_handle_join", {"chat_id", "handle_id"}},
};

// SQLite compares names of tables and columns without regard to ASCII case.
std::string folded(std::string_view name) {
    std::string out(name);
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return out;
}

// A statement that cannot be prepared on a readable database most often meets an older layout. Finds the
// first table or column the statement needs that the database lacks and throws that; returns when nothing is
// missing (or the schema itself cannot be read), so that the caller throws the failure as it came.
void throwIfSchemaLacks(SQLiteDB& db, const Needs& needs, const SQLiteError& failure) {
    std::vector<std::string> tables;
    try {
        for (const SQLRow& row : db.query("SELECT name FROM sqlite_schema WHERE type IN ('table', 'view')")) {
            if (const std::string* name = row.stringRef("name")) {
                tables.push_back(folded(*name));
            }
        }
    } catch (const SQLiteError&) {
        return;
    }
    if (tables.empty()) {
        throw MissingSchemaError(failure, "", "");
    }
    for (const auto& [table, columns] : needs) {
        if (std::find(tables.begin(), tables.end(), folded(table)) == tables.end()) {
            throw MissingSchemaError(failure, std::string(table), "");
        }
        std::vector<std::string> present;
        try {
            for (const SQLRow& row : db.query("PRAGMA table_info(\"" + std::string(table) + "\")")) {
                if (const std::string* name = row.stringRef("name")) {
                    present.push_back(folded(*name));
                }
            }
        } catch (const SQLiteError&) {
            return;
        }
        for (std::string_view column : columns) {
            if (std::find(present.begin(), present.end(), folded(column)) == present.end()) {
                throw MissingSchemaError(failure, std::string(table), std::string(column));
            }
        }
    }
}

SQLiteDB openForReading(const std::string& dbPath) {
    SQLiteDB db(dbPath, true);
    tuneForBulkReading(db, dbPath);
    return db;
}

} // namespace

MessageStore::MessageStore(const std::string& dbPath)
    : db_(openForReading(dbPath)) {}

ReadingCopy MessageStore::copyForReading(const std::filesystem::path& database) {
    ReadingCopy copy = DatabaseCopier::copyForReading(database);
    describeSizesToPlanner(copy.string());
    return copy;
}

void MessageStore::read(const std::string& sql, const std::function<void(const SQLRowView&)>& visit,
                        bool groups) {
    try {
        db_.forEachRowInPlace(sql, visit);
    } catch (const SQLiteError& failure) {
        if (failure.errorCase() == SQLiteError::Case::prepareFailed) {
            throwIfSchemaLacks(db_, groups ? groupNeeds : oneToOneNeeds, failure);
        }
        throw;
    }
}

const std::string& MessageStore::oneToOneStatement() {
    return oneToOneSQL;
}

std::vector<ContactThread> MessageStore::oneToOneThreads(ReadCounts* counts) {
    std::vector<ContactThread> threads;
    std::unordered_map<std::string, std::size_t, HandleHash, std::equal_to<>> indexByHandle;
    ReadCounts seen;
    std::optional<Columns> columns;

    read(
        oneToOneSQL,
        [&](const SQLRowView& row) {
            if (!columns) {
                columns.emplace(row);
            }
            ++seen.rows;
            const std::optional<std::string_view> handle = row.text(columns->handle);
            const std::optional<std::int64_t> rawDate = row.int64(columns->date);
            // A damaged sender or read flag leaves nothing to tell the message by, as a damaged date does.
            if (!handle || !rawDate || !AppleDate::isPlausible(*rawDate) || row.unusable(columns->isFromMe) ||
                row.unusable(columns->isRead)) {
                ++seen.dropped;
                return;
            }
            std::optional<std::string> text = messageText(row, *columns);
            if (!text || text->empty()) {
                ++seen.dropped;
                return;
            }
            const bool isFromMe = isExactlyOne(row.int64(columns->isFromMe));
            RawMessage message{AppleDate::date(*rawDate), isFromMe, std::move(*text),
                               isFromMe || isExactlyOne(row.int64(columns->isRead))};

            auto entry = indexByHandle.find(*handle);
            if (entry == indexByHandle.end()) {
                // The first row of a handle decides its display name, even when it has none.
                std::optional<std::string> displayName;
                if (const auto name = row.text(columns->displayName); name && !name->empty()) {
                    displayName = std::string(*name);
                }
                entry = indexByHandle.emplace(std::string(*handle), threads.size()).first;
                threads.push_back(ContactThread{entry->first, std::move(displayName), {}});
            }
            threads[entry->second].messages.push_back(std::move(message));
        },
        false);

    std::stable_sort(threads.begin(), threads.end(), [](const ContactThread& a, const ContactThread& b) {
        return a.messages.size() > b.messages.size();
    });
    if (counts != nullptr) {
        *counts = seen;
    }
    return threads;
}

} // namespace dovrel
