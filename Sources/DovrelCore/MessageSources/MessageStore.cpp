#include "MessageSources/MessageStore.h"

#include "MessageSources/AppleDate.h"
#include "MessageSources/TypedStream.h"

#include <algorithm>
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

// The text column wins whenever it holds text, even empty text; only a missing text falls back to the body.
std::optional<std::string> messageText(SQLRow& row) {
    if (auto text = row.takeString("text")) {
        return text;
    }
    if (const Bytes* body = row.blobRef("body")) {
        return TypedStream::extractText(*body);
    }
    return std::nullopt;
}

} // namespace

MessageStore::MessageStore(const std::string& dbPath)
    : db_(dbPath, true) {}

const std::string& MessageStore::oneToOneStatement() {
    return oneToOneSQL;
}

std::vector<ContactThread> MessageStore::oneToOneThreads(ReadCounts* counts) {
    std::vector<ContactThread> threads;
    std::unordered_map<std::string, std::size_t> indexByHandle;
    ReadCounts seen;

    db_.forEachRow(oneToOneSQL, [&](SQLRow& row) {
        ++seen.rows;
        const std::string* handle = row.stringRef("handle");
        const std::optional<std::int64_t> rawDate = row.int64("date");
        if (handle == nullptr || !rawDate) {
            ++seen.dropped;
            return;
        }
        std::optional<std::string> text = messageText(row);
        if (!text || text->empty()) {
            ++seen.dropped;
            return;
        }
        const bool isFromMe = isExactlyOne(row.int64("is_from_me"));
        RawMessage message{AppleDate::date(*rawDate), isFromMe, std::move(*text),
                           isFromMe || isExactlyOne(row.int64("is_read"))};

        auto [entry, inserted] = indexByHandle.try_emplace(*handle, threads.size());
        if (inserted) {
            // The first row of a handle decides its display name, even when it has none.
            std::optional<std::string> displayName;
            if (const std::string* name = row.stringRef("display_name"); name != nullptr && !name->empty()) {
                displayName = *name;
            }
            threads.push_back(ContactThread{*handle, std::move(displayName), {}});
        }
        threads[entry->second].messages.push_back(std::move(message));
    });

    std::stable_sort(threads.begin(), threads.end(), [](const ContactThread& a, const ContactThread& b) {
        return a.messages.size() > b.messages.size();
    });
    if (counts != nullptr) {
        *counts = seen;
    }
    return threads;
}

} // namespace dovrel
