#pragma once

#include "TestSupport.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace demohome::testing {

// A from-scratch reader of one-to-one threads, written against the database alone, to check the
// generator's summary against.
struct ReadMessage {
    double date = 0.0;
    std::int64_t rawDate = 0;
    bool fromMe = false;
    bool isRead = false;
    std::string text;
};

struct ReadThread {
    std::optional<std::string> displayName;
    std::vector<ReadMessage> messages; // date order
};

struct OneToOneRead {
    std::map<std::string, ReadThread> threads;
    std::int64_t emptyText = 0;
    std::int64_t noReadableText = 0;
};

inline OneToOneRead readOneToOne(const Db& db) {
    struct Row {
        std::string handle;
        std::int64_t date;
        std::optional<std::string> text; // set when the column is TEXT
        std::optional<std::vector<std::uint8_t>> body;
        bool fromMe;
        bool isRead;
        std::optional<std::string> displayName;
    };
    std::vector<Row> rows;
    auto q = db.query(R"(
        SELECT h.id, m.date, m.text, m.attributedBody, m.is_from_me, m.is_read, c.display_name
        FROM chat c
        JOIN chat_handle_join chj ON chj.chat_id = c.ROWID
        JOIN handle h ON h.ROWID = chj.handle_id
        JOIN chat_message_join cmj ON cmj.chat_id = c.ROWID
        JOIN message m ON m.ROWID = cmj.message_id
        WHERE c.style = 45 AND m.associated_message_type = 0 AND m.item_type = 0)");
    while (q.next()) {
        if (q.type(0) != SQLITE_TEXT || q.type(1) != SQLITE_INTEGER) {
            continue;
        }
        Row row{q.text(0),
                q.integer(1),
                q.type(2) == SQLITE_TEXT ? std::optional<std::string>(q.text(2)) : std::nullopt,
                q.type(3) == SQLITE_BLOB ? q.blob(3) : std::nullopt,
                q.integer(4) == 1,
                q.integer(5) == 1,
                q.optionalText(6)};
        rows.push_back(std::move(row));
    }
    std::stable_sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
        return a.handle != b.handle ? a.handle < b.handle : dateSeconds(a.date) < dateSeconds(b.date);
    });

    OneToOneRead read;
    std::map<std::string, bool> seen;
    for (const Row& row : rows) {
        ReadThread& thread = read.threads[row.handle];
        if (!seen[row.handle]) {
            seen[row.handle] = true;
            if (row.displayName && !row.displayName->empty()) {
                thread.displayName = row.displayName;
            }
        }
        std::optional<std::string> text = row.text;
        if (!text && row.body) {
            text = decodeAttributedBody(*row.body);
        }
        if (!text) {
            ++read.noReadableText;
            continue;
        }
        if (text->empty()) {
            ++read.emptyText;
            continue;
        }
        thread.messages.push_back(
            {dateSeconds(row.date), row.date, row.fromMe, row.fromMe || row.isRead, *text});
    }
    return read;
}

} // namespace demohome::testing
