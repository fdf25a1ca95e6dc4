#include "MessageSources/AppleDate.h"
#include "MessageSources/MessageStore.h"
#include "MessageSources/TypedStream.h"

#include <algorithm>
#include <unordered_map>

namespace dovrel {
namespace {

const std::string groupSQL = "SELECT c.ROWID AS chat_rowid, c.guid AS chat_guid,\n"
                             "       c.display_name AS display_name,\n"
                             "       h.id AS sender, m.guid AS guid,\n"
                             "       m.associated_message_guid AS assoc_guid,\n"
                             "       m.associated_message_type AS assoc_type,\n"
                             "       m.text AS text, m.attributedBody AS body,\n"
                             "       m.date AS date, m.is_from_me AS is_from_me\n"
                             "FROM chat c\n"
                             "JOIN chat_message_join cmj ON cmj.chat_id = c.ROWID\n"
                             "JOIN message m ON m.ROWID = cmj.message_id\n"
                             "LEFT JOIN handle h ON h.ROWID = m.handle_id\n"
                             "WHERE c.style = 43\n"
                             "  AND m.item_type = 0\n"
                             "  AND m.associated_message_type IN (0, 2003)\n"
                             "ORDER BY m.date ASC";

const std::string participantsSQL = "SELECT chj.chat_id AS chat_id, h.id AS handle\n"
                                    "FROM chat_handle_join chj\n"
                                    "JOIN handle h ON h.ROWID = chj.handle_id";

constexpr std::int64_t laughReactionType = 2003;

struct LaughReact {
    std::string target;                 // guid of the message laughed at
    std::optional<std::string> reactor; // absent: the user
};

// One chat while its rows are walked.
struct Builder {
    std::int64_t rowid = 0;
    std::string guid; // empty until the chat's first row
    std::optional<std::string> displayName;
    std::vector<GroupMessage> messages;
    // Where in `messages` the kept message with a guid is; its sender is the author a laugh credits.
    std::unordered_map<std::string, std::size_t> messageByGUID;
    std::vector<LaughReact> laughReacts;
};

bool isExactlyOne(const std::optional<std::int64_t>& value) {
    return value.has_value() && *value == 1;
}

// Where the statement's columns stand, looked up once.
struct Columns {
    explicit Columns(const SQLRowView& row)
        : chatRowid(row.columnIndex("chat_rowid"))
        , chatGUID(row.columnIndex("chat_guid"))
        , displayName(row.columnIndex("display_name"))
        , sender(row.columnIndex("sender"))
        , guid(row.columnIndex("guid"))
        , assocGUID(row.columnIndex("assoc_guid"))
        , assocType(row.columnIndex("assoc_type"))
        , text(row.columnIndex("text"))
        , body(row.columnIndex("body"))
        , date(row.columnIndex("date"))
        , isFromMe(row.columnIndex("is_from_me")) {}

    std::ptrdiff_t chatRowid, chatGUID, displayName, sender, guid, assocGUID, assocType, text, body, date,
        isFromMe;
};

std::optional<std::string> messageText(const SQLRowView& row, const Columns& columns) {
    if (const std::optional<std::string_view> text = row.text(columns.text)) {
        return std::string(*text);
    }
    if (const auto body = row.blob(columns.body)) {
        return TypedStream::extractText(*body);
    }
    return std::nullopt;
}

std::optional<std::string> ownedText(const SQLRowView& row, std::ptrdiff_t column) {
    if (const std::optional<std::string_view> text = row.text(column)) {
        return std::string(*text);
    }
    return std::nullopt;
}

// A reaction names its target as "p:0/GUID" (the part index before the slash) or, in older rows, "bp:GUID".
std::string laughTarget(const std::string& associatedGUID) {
    if (const std::size_t slash = associatedGUID.find('/'); slash != std::string::npos) {
        return associatedGUID.substr(slash + 1);
    }
    if (associatedGUID.starts_with("bp:")) {
        return associatedGUID.substr(3);
    }
    return associatedGUID;
}

} // namespace

std::vector<GroupThread> MessageStore::groupThreads(int minMessages) {
    std::vector<Builder> builders;
    std::unordered_map<std::int64_t, std::size_t> builderByRowid;

    std::optional<Columns> columns;
    read(
        groupSQL,
        [&](const SQLRowView& row) {
            if (!columns) {
                columns.emplace(row);
            }
            const std::optional<std::int64_t> rowid = row.int64(columns->chatRowid);
            const std::optional<std::int64_t> rawDate = row.int64(columns->date);
            if (!rowid || !rawDate || !AppleDate::isPlausible(*rawDate)) {
                return;
            }
            const auto [entry, inserted] = builderByRowid.try_emplace(*rowid, builders.size());
            if (inserted) {
                builders.emplace_back().rowid = *rowid;
            }
            Builder& chat = builders[entry->second];
            if (chat.guid.empty()) {
                if (std::optional<std::string> guid = ownedText(row, columns->chatGUID)) {
                    chat.guid = std::move(*guid);
                } else {
                    chat.guid = "chat-" + std::to_string(*rowid);
                }
                const std::optional<std::string_view> name = row.text(columns->displayName);
                chat.displayName = name && !name->empty() ? std::optional<std::string>(*name) : std::nullopt;
            }
            // A damaged sender flag or row type tells neither who nor what: the row is left out.
            if (row.unusable(columns->isFromMe) || row.unusable(columns->assocType)) {
                return;
            }

            std::optional<std::string> sender;
            if (!isExactlyOne(row.int64(columns->isFromMe))) {
                sender = ownedText(row, columns->sender);
            }

            if (row.int64(columns->assocType) == laughReactionType) {
                if (const std::optional<std::string_view> associated = row.text(columns->assocGUID)) {
                    chat.laughReacts.push_back({laughTarget(std::string(*associated)), std::move(sender)});
                }
                return;
            }

            std::optional<std::string> text = messageText(row, *columns);
            if (!text || text->empty()) {
                return;
            }
            if (const std::optional<std::string_view> guid = row.text(columns->guid)) {
                chat.messageByGUID[std::string(*guid)] = chat.messages.size();
            }
            chat.messages.push_back(
                GroupMessage{AppleDate::date(*rawDate), std::move(sender), std::move(*text)});
        },
        true);

    std::unordered_map<std::int64_t, std::vector<std::string>> participantsByChat;
    read(
        participantsSQL,
        [&](const SQLRowView& row) {
            const std::optional<std::int64_t> chat = row.int64(row.columnIndex("chat_id"));
            const std::optional<std::string_view> handle = row.text(row.columnIndex("handle"));
            if (!chat || !handle) {
                return;
            }
            std::vector<std::string>& participants = participantsByChat[*chat];
            if (std::find(participants.begin(), participants.end(), *handle) == participants.end()) {
                participants.emplace_back(*handle);
            }
        },
        true);

    std::vector<GroupThread> groups;
    for (Builder& chat : builders) {
        if (static_cast<std::int64_t>(chat.messages.size()) < minMessages) {
            continue;
        }
        const auto participants = participantsByChat.find(chat.rowid);
        if (participants == participantsByChat.end() || participants->second.size() < 2) {
            continue;
        }

        // Resolved only now, so a reaction dated before its message still finds it.
        std::map<std::string, int> laughReactions;
        for (const LaughReact& laugh : chat.laughReacts) {
            const auto target = chat.messageByGUID.find(laugh.target);
            if (target == chat.messageByGUID.end()) {
                continue; // the message laughed at was not kept
            }
            const std::optional<std::string>& author = chat.messages[target->second].senderHandle;
            if (author == laugh.reactor) {
                continue; // laughing at oneself does not count
            }
            ++laughReactions[author ? *author : std::string(GroupThread::meKey)];
        }

        groups.push_back(GroupThread{std::move(chat.guid), std::move(chat.displayName),
                                     std::move(participants->second), std::move(chat.messages),
                                     std::move(laughReactions)});
    }

    std::stable_sort(groups.begin(), groups.end(), [](const GroupThread& a, const GroupThread& b) {
        return a.messages.size() > b.messages.size();
    });
    return groups;
}

} // namespace dovrel
