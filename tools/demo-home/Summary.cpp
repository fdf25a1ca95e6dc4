#include "Summary.h"

#include "MessagesDatabase.h"
#include "Random.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>

namespace demohome {
namespace {

struct ThreadTally {
    std::int64_t messages = 0;
    std::int64_t fromMe = 0;
    std::int64_t unreadReceived = 0;
    bool seen = false;
    std::optional<std::string> displayName;
    double firstDate = 0.0;
    double lastDate = 0.0;
};

struct GroupTally {
    std::int64_t messages = 0;
    std::map<std::string, std::int64_t> laughs;
    std::vector<std::size_t> kept; // positions in plan.events
};

bool isKept(const PlannedEvent& e) {
    const auto text = readableText(e);
    return text && !text->empty();
}

// The date exactly as a reader computes it from the stored value (nanoseconds divided as a double), so a
// gap of exactly three hours compares the same on both sides.
double storedSeconds(const PlannedEvent& e) {
    const std::int64_t raw = storedDate(e);
    return raw < 10'000'000'000 ? static_cast<double>(raw) : static_cast<double>(raw) / 1e9;
}

std::string senderKey(const DemoPlan& plan, std::int32_t sender) {
    return sender == kMe ? "me" : plan.handles[static_cast<std::size_t>(sender)].id;
}

// Who wrote the kept messages of one group, who opened its conversations (the first message, and any
// after more than three hours of silence), and whom the laughing replies the plan placed credit: the
// sender of the message just before, when that is someone else and less than ten minutes earlier.
void addConversationTallies(const DemoPlan& plan, std::vector<std::size_t> kept, nlohmann::json& out) {
    std::stable_sort(kept.begin(), kept.end(), [&](std::size_t a, std::size_t b) {
        return storedDate(plan.events[a]) < storedDate(plan.events[b]);
    });
    std::map<std::string, std::int64_t> senders;
    std::map<std::string, std::int64_t> initiations;
    std::map<std::string, std::int64_t> laughReplies;
    const PlannedEvent* previous = nullptr;
    for (std::size_t position : kept) {
        const PlannedEvent& e = plan.events[position];
        const std::string key = senderKey(plan, e.sender);
        ++senders[key];
        if (previous == nullptr) {
            ++initiations[key];
        } else {
            const double gap = storedSeconds(e) - storedSeconds(*previous);
            if (gap > 10800.0) {
                ++initiations[key];
            } else if (e.laughReply && gap < 600.0 && e.sender != previous->sender) {
                ++laughReplies[senderKey(plan, previous->sender)];
            }
        }
        previous = &e;
    }
    out["senders"] = senders;
    out["initiations"] = initiations;
    out["laughReplies"] = laughReplies;
}

} // namespace

std::vector<Card> mainAddressBookCards(const Cast& cast) {
    std::vector<Card> cards;
    for (const Person& p : cast.people) {
        if (p.card) {
            cards.push_back(*p.card);
        }
    }
    for (const GroupOnlyContact& g : cast.groupOnly) {
        if (g.card) {
            cards.push_back(*g.card);
        }
    }
    for (const Card& c : cast.otherCards) {
        cards.push_back(c);
    }
    // Contacts are added over years, not in the order anyone was texted.
    Random random(0xC0DE);
    random.shuffle(cards);
    cards.insert(cards.begin(), cast.myCard);
    return cards;
}

std::vector<Card> secondaryAddressBookCards(const Cast& cast) {
    std::vector<Card> cards = {cast.myCard};
    for (const Person& p : cast.people) {
        if (p.chatDisplayName == std::optional<std::string>("Mom") && p.card) {
            cards.push_back(*p.card);
        }
    }
    return cards;
}

nlohmann::json buildSummary(const DemoPlan& plan) {
    std::map<std::string, ThreadTally> threads;
    std::int64_t emptyText = 0;
    std::int64_t noReadableText = 0;
    std::int64_t reactions = 0;
    std::int64_t nonMessageItems = 0;
    std::map<std::uint32_t, GroupTally> groups;

    for (const PlannedEvent& e : plan.events) {
        const PlannedChat& chat = plan.chats[e.chat];
        if (chat.style == kChatStyleOneToOne) {
            if (e.kind == EventKind::Reaction) {
                ++reactions;
                continue;
            }
            if (e.kind == EventKind::Item) {
                ++nonMessageItems;
                continue;
            }
            ThreadTally& t = threads[plan.handles[chat.handles.front()].id];
            if (!t.seen) {
                t.seen = true;
                if (chat.displayName && !chat.displayName->empty()) {
                    t.displayName = chat.displayName;
                }
            }
            const auto text = readableText(e);
            if (!text) {
                ++noReadableText;
                continue;
            }
            if (text->empty()) {
                ++emptyText;
                continue;
            }
            const double date = readerSeconds(e);
            if (t.messages == 0) {
                t.firstDate = date;
            }
            t.lastDate = date;
            ++t.messages;
            if (e.sender == kMe) {
                ++t.fromMe;
            } else if (!e.isRead) {
                ++t.unreadReceived;
            }
            continue;
        }

        GroupTally& g = groups[e.chat];
        if (e.kind == EventKind::Message && isKept(e)) {
            ++g.messages;
            g.kept.push_back(static_cast<std::size_t>(&e - plan.events.data()));
        } else if (e.kind == EventKind::Reaction && e.associatedType == 2003) {
            const PlannedEvent& target = plan.events[plan.positionOfId[e.target]];
            if (target.kind == EventKind::Message && isKept(target) && target.sender != e.sender) {
                const std::string author =
                    target.sender == kMe ? "me" : plan.handles[static_cast<std::size_t>(target.sender)].id;
                ++g.laughs[author];
            }
        }
    }

    nlohmann::json threadJson = nlohmann::json::object();
    std::int64_t kept = 0;
    for (const auto& [handle, t] : threads) {
        if (t.messages == 0) {
            continue;
        }
        nlohmann::json j = {{"messages", t.messages},
                            {"fromMe", t.fromMe},
                            {"unreadReceived", t.unreadReceived},
                            {"firstDate", t.firstDate},
                            {"lastDate", t.lastDate}};
        if (t.displayName) {
            j["displayName"] = *t.displayName;
        }
        threadJson[handle] = j;
        kept += t.messages;
    }

    std::vector<nlohmann::json> groupList;
    for (std::uint32_t c = 0; c < plan.chats.size(); ++c) {
        const PlannedChat& chat = plan.chats[c];
        if (chat.style != kChatStyleGroup) {
            continue;
        }
        const GroupTally& tally = groups[c];
        nlohmann::json j = {{"guid", chat.guid}, {"messages", tally.messages}};
        if (chat.displayName && !chat.displayName->empty()) {
            j["name"] = *chat.displayName;
        }
        nlohmann::json participants = nlohmann::json::array();
        for (std::uint32_t h : chat.handles) {
            participants.push_back(plan.handles[h].id);
        }
        j["participants"] = participants;
        j["laughReactions"] = tally.laughs; // empty object when nobody laughed
        addConversationTallies(plan, tally.kept, j);
        if (chat.ownerPart) {
            // The part the plan wrote for the owner; a group too small to show it may fall short of it.
            j["myRole"] = std::string(groupPartTitle(*chat.ownerPart));
        }
        groupList.push_back(std::move(j));
    }
    std::sort(groupList.begin(), groupList.end(), [](const nlohmann::json& a, const nlohmann::json& b) {
        const auto ma = a.at("messages").get<std::int64_t>();
        const auto mb = b.at("messages").get<std::int64_t>();
        return ma != mb ? ma > mb : a.at("guid").get<std::string>() < b.at("guid").get<std::string>();
    });

    std::int64_t cardCount = 0;
    for (const Card& c : mainAddressBookCards(plan.cast)) {
        if (c.hasName() && (!c.phones.empty() || !c.emails.empty())) {
            ++cardCount;
        }
    }
    nlohmann::json names = nlohmann::json::object();
    nlohmann::json people = nlohmann::json::array();
    for (const Person& p : plan.cast.people) {
        people.push_back({{"handle", p.handle}, {"habit", p.habit}});
        if (p.card && p.card->hasName()) {
            names[p.handle] = p.card->displayName();
            if (!p.secondHandle.empty()) {
                names[p.secondHandle] = p.card->displayName();
            }
        }
    }
    for (const GroupOnlyContact& g : plan.cast.groupOnly) {
        if (g.card && g.card->hasName()) {
            names[g.handle] = g.card->displayName();
        }
    }

    nlohmann::json summary;
    summary["seed"] = plan.seed;
    summary["now"] = static_cast<double>(plan.nowNanos / 1000000000);
    summary["messageRows"] = static_cast<std::int64_t>(plan.events.size());
    summary["oneToOne"] = {
        {"threads", threadJson},
        {"keptMessages", kept},
        {"droppedRows", {{"emptyText", emptyText}, {"noReadableText", noReadableText}}},
        {"excludedRows", {{"reactions", reactions}, {"nonMessageItems", nonMessageItems}}},
    };
    summary["groups"] = groupList;
    summary["contacts"] = {{"cards", cardCount}, {"names", names}};
    summary["people"] = people;
    return summary;
}

} // namespace demohome
