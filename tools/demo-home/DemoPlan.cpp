#include "DemoPlan.h"

#include "Calendar.h"
#include "MessagesDatabase.h"
#include "Random.h"
#include "TextBank.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <stdexcept>

namespace demohome {
namespace {

constexpr std::int64_t kSecond = kNanosPerSecond;
constexpr std::int64_t kMinute = 60 * kSecond;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;
constexpr std::int64_t kPeriodDays = 426; // fourteen months
constexpr std::size_t kRowsInSeconds = 12;
constexpr std::int64_t kWalWindow = 2 * kDay;
// A laughing reply is written only this soon after the line it laughs at, well inside the ten minutes
// within which readers credit it.
constexpr std::int64_t kLaughReplyWithin = 9 * kMinute;

// Local hour weights (America/New_York) for when conversations start.
constexpr double kDaytimeHours[24] = {0.25, 0.12, 0.06, 0.04, 0.04, 0.08, 0.3, 0.8, 1.2, 1.3, 1.3, 1.4,
                                      1.6,  1.4,  1.2,  1.2,  1.3,  1.5,  1.8, 2.0, 2.0, 1.8, 1.2, 0.6};
constexpr double kNightHours[24] = {4.0, 4.0, 3.5, 1.0, 0.2, 0.05, 0.05, 0.05, 0.1, 0.1, 0.15, 0.2,
                                    0.2, 0.2, 0.2, 0.2, 0.2, 0.25, 0.3,  0.4,  0.5, 0.7, 1.2,  4.0};

struct Draft {
    std::int64_t offset = 0;
    bool fromMe = false;
    std::int32_t member = -1; // groups: handle index of the sender; -1 for the owner
    EventKind kind = EventKind::Message;
    Body body = Body::Text;
    bool bodyFixed = false;
    std::int16_t associatedType = 0;
    std::int8_t itemType = 0;
    std::int32_t targetDraft = -1;
    std::int32_t otherHandle = -1;
    bool bpPrefix = false;
    bool laughReply = false;
    std::string text;
};

struct Session {
    std::vector<Draft> drafts;
    std::int64_t duration = 0;
    std::uint32_t chat = 0;
};

std::int64_t clampNanos(double seconds, double lo, double hi) {
    return static_cast<std::int64_t>(std::clamp(seconds, lo, hi) * static_cast<double>(kSecond));
}

// What readers of group chats take for laughter: these anywhere in the lower-cased text.
bool containsLaughWord(std::string_view text) {
    static const std::string_view kWords[] = {"haha",       "lmao",  "lol",       "\U0001F602", "\U0001F923",
                                              "\U0001F480", "dying", "im crying", "i'm crying"};
    std::string lower(text);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    for (std::string_view word : kWords) {
        if (lower.find(word) != std::string::npos) {
            return true;
        }
    }
    return false;
}

std::string laughingReply(Random& random, const WritingStyle& style) {
    static const std::vector<std::string> kReplies = {"I'm crying",
                                                      "dying \U0001F480",
                                                      "stop it \U0001F602",
                                                      "lmao what",
                                                      "HAHAHA",
                                                      "im crying \U0001F923",
                                                      "\U0001F602\U0001F602\U0001F602",
                                                      "lol no way",
                                                      "hahaha stop"};
    if (style.laugh != Laugh::None && random.chance(0.5)) {
        return laughToken(random, style.laugh);
    }
    return random.choice(kReplies);
}

int tapbackType(Random& random) {
    static const std::vector<double> weights = {35, 25, 3, 25, 8, 4};
    return 2000 + static_cast<int>(random.weighted(weights));
}

int sessionLength(Random& random, double mean) {
    if (mean <= 2.0) {
        return 1 + static_cast<int>(random.exponential(std::max(0.1, mean - 1.0)));
    }
    const double draw = 2.0 + random.exponential(mean - 2.0);
    return static_cast<int>(std::min(draw, mean * 6.0));
}

class PlanBuilder {
public:
    PlanBuilder(std::uint64_t seed, std::int64_t messages, std::int64_t nowUnixSeconds)
        : messages_(messages)
        , random_(seed) {
        plan_.seed = seed;
        plan_.nowNanos = unixSecondsToAppleNanos(nowUnixSeconds);
        plan_.cast = makeCast(seed, messages);
        periodStart_ = plan_.nowNanos - kPeriodDays * kDay;
        scale_ = std::max(1.0, static_cast<double>(messages) / 30000.0);
    }

    DemoPlan build() {
        createHandlesAndChats();
        budgetAndGenerate();
        finish();
        return std::move(plan_);
    }

private:
    std::uint32_t addHandle(const std::string& id, const std::string& service) {
        const auto index = static_cast<std::uint32_t>(plan_.handles.size());
        if (!handleIndex_.emplace(id, index).second) {
            throw std::logic_error("duplicate handle " + id);
        }
        plan_.handles.push_back({id, service});
        styleByHandle_.push_back(nullptr);
        return index;
    }

    std::uint32_t addChat(PlannedChat chat) {
        plan_.chats.push_back(std::move(chat));
        return static_cast<std::uint32_t>(plan_.chats.size() - 1);
    }

    std::uint32_t oneToOneChat(const std::string& prefix, std::uint32_t handle,
                               std::optional<std::string> name) {
        const PlannedHandle& h = plan_.handles[handle];
        return addChat(
            {prefix + ";-;" + h.id, kChatStyleOneToOne, std::move(name), h.id, h.service, {handle}});
    }

    void createHandlesAndChats() {
        Random random = random_.fork(1);
        const Cast& cast = plan_.cast;
        personChats_.resize(cast.people.size());
        for (std::size_t i = 0; i < cast.people.size(); ++i) {
            const Person& p = cast.people[i];
            const std::uint32_t handle = addHandle(p.handle, p.service);
            styleByHandle_[handle] = &p.style;
            // Messages leaves display_name '' on most one-to-one chats and NULL on some.
            std::optional<std::string> usual =
                random.chance(0.7) ? std::optional<std::string>("") : std::nullopt;
            switch (p.chatSetup) {
            case ChatSetup::Single:
                personChats_[i].push_back(
                    oneToOneChat(p.service, handle, p.chatDisplayName ? p.chatDisplayName : usual));
                break;
            case ChatSetup::TwoHandles: {
                personChats_[i].push_back(oneToOneChat(p.service, handle, usual));
                const std::uint32_t second = addHandle(p.secondHandle, "SMS");
                personChats_[i].push_back(oneToOneChat("SMS", second, std::string()));
                break;
            }
            case ChatSetup::RenamedLaterChat:
                personChats_[i].push_back(oneToOneChat(p.service, handle, std::nullopt));
                personChats_[i].push_back(oneToOneChat("any", handle, p.chatDisplayName));
                break;
            }
        }
        for (const GroupOnlyContact& g : cast.groupOnly) {
            styleByHandle_[addHandle(g.handle, "iMessage")] = &g.style;
        }
        for (const CastGroup& group : cast.groups) {
            std::string identifier = "chat";
            for (int d = 0; d < 18; ++d) {
                identifier +=
                    static_cast<char>('0' + (d == 0 ? random.betweenInt(1, 9) : random.betweenInt(0, 9)));
            }
            PlannedChat chat{identifier, kChatStyleGroup, group.name, identifier, "iMessage", {}};
            for (const std::string& member : group.members) {
                chat.handles.push_back(handleIndex_.at(member));
            }
            groupChats_.push_back(addChat(std::move(chat)));
        }
    }

    void budgetAndGenerate() {
        const Cast& cast = plan_.cast;
        std::int64_t fixedRows = 0;
        double weights = 0.0;
        for (const Person& p : cast.people) {
            fixedRows += p.fixedRows;
            if (p.tier == Tier::Heavy || p.tier == Tier::Mid) {
                weights += p.weight;
            }
        }
        double groupWeights = 0.0;
        for (const CastGroup& g : cast.groups) {
            groupWeights += g.weight;
        }
        const auto groupRows = static_cast<std::int64_t>(std::llround(0.22 * static_cast<double>(messages_)));
        const std::int64_t mainRows = std::max<std::int64_t>(0, messages_ - fixedRows - groupRows);

        for (std::size_t i = 0; i < cast.people.size(); ++i) {
            const Person& p = cast.people[i];
            std::int64_t budget = p.fixedRows;
            if (p.tier == Tier::Heavy || p.tier == Tier::Mid) {
                budget = std::max<std::int64_t>(
                    8, std::llround(static_cast<double>(mainRows) * p.weight / weights));
            }
            Random random = random_.fork(1000 + i);
            generatePerson(i, budget, random);
        }
        for (std::size_t g = 0; g < cast.groups.size(); ++g) {
            const auto budget = std::max<std::int64_t>(
                12, std::llround(static_cast<double>(groupRows) * cast.groups[g].weight / groupWeights));
            Random random = random_.fork(5000 + g);
            generateGroup(g, budget, random);
        }
    }

    // ---- one-to-one ----

    int turnLength(Random& random, double doubleTextShare) {
        if (random.chance(doubleTextShare)) {
            return random.betweenInt(2, 4);
        }
        return random.chance(0.12) ? 2 : 1;
    }

    Session personSession(const Person& p, int length, Random& random) {
        const Cast& cast = plan_.cast;
        Session s;
        bool meTurn = p.spam ? false : !random.chance(p.initiateShare);
        std::int64_t t = 0;
        int emitted = 0;
        while (emitted < length) {
            const int run = meTurn ? turnLength(random, 0.1) : turnLength(random, p.doubleTextShare);
            for (int j = 0; j < run && emitted < length; ++j) {
                if (emitted > 0) {
                    if (j == 0) {
                        const double median = meTurn ? cast.myReplyMedianSeconds : p.replyMedianSeconds;
                        const double sigma = meTurn ? cast.myReplySigma : p.replySigma;
                        t += clampNanos(random.logNormal(median, sigma), 3.0, 14.0 * 3600.0);
                    } else {
                        t += clampNanos(random.logNormal(18.0, 0.7), 2.0, 600.0);
                    }
                }
                const WritingStyle& style = meTurn ? cast.myStyle : p.style;
                Draft d;
                d.offset = t;
                d.fromMe = meTurn;
                if (p.spam) {
                    d.text = composeSpam(random, *p.spam);
                } else {
                    Role role = Role::Reply;
                    if (emitted == 0) {
                        role = Role::Opener;
                    } else if (emitted == length - 1 && random.chance(0.3)) {
                        role = Role::Closer;
                    } else if (random.chance(style.questionRate * 0.5)) {
                        role = Role::Question;
                    }
                    d.text = composeMessage(random, style, role);
                }
                s.drafts.push_back(std::move(d));
                ++emitted;
                if (p.spam) {
                    continue;
                }
                const auto target = static_cast<std::int32_t>(s.drafts.size() - 1);
                if (random.chance(0.035)) {
                    Draft r;
                    r.kind = EventKind::Reaction;
                    r.fromMe = !meTurn;
                    r.associatedType = static_cast<std::int16_t>(tapbackType(random));
                    r.offset = t + clampNanos(random.logNormal(30.0, 0.8), 1.0, 3600.0);
                    r.targetDraft = target;
                    r.bpPrefix = random.chance(0.4);
                    r.text = reactionText(r.associatedType, s.drafts[static_cast<std::size_t>(target)].text);
                    s.drafts.push_back(r);
                    if (random.chance(0.12)) { // changed their mind
                        r.associatedType = static_cast<std::int16_t>(r.associatedType + 1000);
                        r.offset += clampNanos(random.logNormal(20.0, 0.8), 1.0, 600.0);
                        r.text =
                            reactionText(r.associatedType, s.drafts[static_cast<std::size_t>(target)].text);
                        s.drafts.push_back(r);
                    }
                }
                if (random.chance(0.003)) {
                    Draft item;
                    item.kind = EventKind::Item;
                    item.fromMe = random.chance(0.5);
                    item.itemType = static_cast<std::int8_t>(random.betweenInt(1, 3));
                    item.body = Body::Nothing;
                    item.bodyFixed = true;
                    item.offset = t + clampNanos(random.logNormal(5.0, 0.5), 1.0, 60.0);
                    s.drafts.push_back(item);
                }
            }
            if (p.spam == std::nullopt) {
                meTurn = !meTurn;
            }
        }
        for (const Draft& d : s.drafts) {
            s.duration = std::max(s.duration, d.offset);
        }
        return s;
    }

    double meanSessionLength(const Person& p) const {
        if (p.tier == Tier::Heavy || p.tier == Tier::Mid) {
            return p.sessionLength * std::sqrt(scale_);
        }
        return p.sessionLength;
    }

    // A start time on a random local day of [from, to), at an hour the person tends to text.
    std::int64_t drawStart(Random& random, Hours hours, std::int64_t from, std::int64_t to) {
        const double* weights = hours == Hours::Night ? kNightHours : kDaytimeHours;
        const std::vector<double> hourWeights(weights, weights + 24);
        for (int attempt = 0; attempt < 32; ++attempt) {
            const std::int64_t unixFrom = from / kSecond + kAppleEpochUnixSeconds - kSecondsPerDay;
            const std::int64_t unixTo = to / kSecond + kAppleEpochUnixSeconds + kSecondsPerDay;
            const std::int64_t localDay = random.between(unixFrom / kSecondsPerDay, unixTo / kSecondsPerDay);
            const auto hour = static_cast<std::int64_t>(random.weighted(hourWeights));
            const std::int64_t local = localDay * kSecondsPerDay + hour * 3600 + random.between(0, 3599);
            const std::int64_t nanos =
                unixSecondsToAppleNanos(newYorkLocalToUnix(local)) + random.between(0, kSecond - 1);
            if (nanos >= from && nanos < to) {
                return nanos;
            }
        }
        return random.between(from, to - 1);
    }

    void generatePerson(std::size_t personIndex, std::int64_t budget, Random& random) {
        const Person& p = plan_.cast.people[personIndex];
        std::vector<Session> sessions;
        std::int64_t rows = 0;
        const double mean = meanSessionLength(p);
        while (rows < budget) {
            int length = p.spam ? random.betweenInt(1, 2) : std::max(1, sessionLength(random, mean));
            length = static_cast<int>(std::min<std::int64_t>(length, budget - rows));
            Session s = personSession(p, length, random);
            rows += static_cast<std::int64_t>(s.drafts.size());
            sessions.push_back(std::move(s));
        }

        // When in the fourteen months this person texts.
        const std::int64_t end = plan_.nowNanos - 10 * kMinute;
        const auto span =
            static_cast<std::int64_t>(static_cast<double>(end - periodStart_) * p.activeFraction);
        std::int64_t from = end - span;
        if (p.tier == Tier::Tail || p.tier == Tier::Rare) {
            from = random.between(periodStart_, end - span);
        }
        const std::int64_t to =
            std::max(from + kHour, p.tier == Tier::Tail || p.tier == Tier::Rare ? from + span : end);

        std::vector<std::int64_t> starts;
        for (std::size_t i = 0; i < sessions.size(); ++i) {
            starts.push_back(drawStart(random, p.hours, from, to));
        }
        std::sort(starts.begin(), starts.end());
        // The people the owner talks to most have something in the last two days, which is what
        // ends up in the WAL.
        const bool recent = p.tier == Tier::Heavy || (p.tier == Tier::Mid && p.weight >= 4.0) || p.spam;
        if (recent && !starts.empty()) {
            starts.back() =
                drawStart(random, p.hours, plan_.nowNanos - 44 * kHour, plan_.nowNanos - 2 * kHour);
            std::sort(starts.begin(), starts.end());
        }
        if (recent && !p.spam && random.chance(0.6) && !sessions.empty()) {
            // Leave their last message unanswered (and unread).
            Session& last = sessions.back();
            if (last.drafts.empty() || last.drafts.back().fromMe ||
                last.drafts.back().kind != EventKind::Message) {
                Draft d;
                d.offset = last.duration +
                           clampNanos(random.logNormal(p.replyMedianSeconds, p.replySigma), 3.0, 3600.0);
                d.text = composeMessage(random, p.style, Role::Reply);
                last.drafts.push_back(std::move(d));
                last.duration = last.drafts.back().offset;
            }
        }

        assignPersonChats(personIndex, sessions, starts, random);
        const std::size_t firstEvent = plan_.events.size();
        // -2 stands for the handle of the session's chat.
        placeSessions(sessions, starts, to, random, [](const Draft& d) { return d.fromMe ? kMe : -2; });
        markUnread(p, firstEvent, random);
    }

    void assignPersonChats(std::size_t personIndex, std::vector<Session>& sessions,
                           const std::vector<std::int64_t>& starts, Random& random) {
        const Person& p = plan_.cast.people[personIndex];
        const auto& chats = personChats_[personIndex];
        for (std::size_t i = 0; i < sessions.size(); ++i) {
            std::uint32_t chat = chats[0];
            if (p.chatSetup == ChatSetup::TwoHandles && i > 0 &&
                (i + 1 == sessions.size() || random.chance(0.3))) {
                chat = chats[1];
            } else if (p.chatSetup == ChatSetup::RenamedLaterChat && i > 0 &&
                       (i + 1 == sessions.size() ||
                        starts[i] > starts.front() + (starts.back() - starts.front()) * 6 / 10)) {
                chat = chats[1];
            }
            sessions[i].chat = chat;
        }
    }

    // Lays sessions out in time without overlaps and turns their drafts into events.
    template <typename SenderOf>
    void placeSessions(std::vector<Session>& sessions, const std::vector<std::int64_t>& starts,
                       std::int64_t end, Random& random, SenderOf senderOf) {
        std::int64_t previousEnd = std::numeric_limits<std::int64_t>::min() / 2;
        for (std::size_t i = 0; i < sessions.size(); ++i) {
            Session& s = sessions[i];
            const std::int64_t gap = 15 * kMinute + static_cast<std::int64_t>(random.exponential(30.0) *
                                                                              static_cast<double>(kMinute));
            std::int64_t start = std::max(starts[i], previousEnd + gap);
            if (start + s.duration > end) {
                start = end - s.duration;
                if (start < previousEnd + kMinute) {
                    continue; // no room left before now
                }
            }
            previousEnd = start + s.duration;
            const auto firstId = static_cast<std::uint32_t>(plan_.events.size());
            for (const Draft& d : s.drafts) {
                PlannedEvent e;
                e.nanos = start + d.offset;
                e.id = static_cast<std::uint32_t>(plan_.events.size());
                e.chat = s.chat;
                std::int32_t sender = senderOf(d);
                if (sender == -2) {
                    sender = static_cast<std::int32_t>(plan_.chats[s.chat].handles.front());
                }
                e.sender = sender;
                e.kind = d.kind;
                e.body = d.body;
                e.bodyFixed = d.bodyFixed;
                e.associatedType = d.associatedType;
                e.itemType = d.itemType;
                e.bpPrefix = d.bpPrefix;
                e.laughReply = d.laughReply;
                e.otherHandle = d.otherHandle;
                if (d.targetDraft >= 0) {
                    e.target = firstId + static_cast<std::uint32_t>(d.targetDraft);
                }
                e.guid = Uuid::random(random);
                e.text = d.text;
                plan_.events.push_back(std::move(e));
            }
        }
    }

    void markUnread(const Person& p, std::size_t firstEvent, Random& random) {
        std::vector<std::size_t> order;
        for (std::size_t i = firstEvent; i < plan_.events.size(); ++i) {
            order.push_back(i);
        }
        std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
            return plan_.events[a].nanos != plan_.events[b].nanos
                       ? plan_.events[a].nanos < plan_.events[b].nanos
                       : a < b;
        });
        const std::int64_t recentFrom = plan_.nowNanos - 3 * kDay;
        for (std::size_t k = order.size(); k-- > 0;) {
            PlannedEvent& e = plan_.events[order[k]];
            if (e.kind != EventKind::Message) {
                continue;
            }
            if (e.sender == kMe || e.nanos < recentFrom) {
                break;
            }
            e.isRead = false;
        }
        for (std::size_t i : order) {
            PlannedEvent& e = plan_.events[i];
            if (e.kind != EventKind::Message || e.sender == kMe) {
                continue;
            }
            if (p.spam ? (e.nanos > plan_.nowNanos - 30 * kDay && random.chance(0.6))
                       : random.chance(0.001)) {
                e.isRead = false;
            }
        }
    }

    // ---- groups ----

    const WritingStyle& styleOf(std::int32_t handle) const {
        if (handle == kMe) {
            return plan_.cast.myStyle;
        }
        const WritingStyle* style = styleByHandle_[static_cast<std::size_t>(handle)];
        return style != nullptr ? *style : plan_.cast.myStyle;
    }

    void addLaugh(Session& s, std::int32_t target, std::int32_t reactor, Random& random) {
        const Draft& t = s.drafts[static_cast<std::size_t>(target)];
        Draft r;
        r.kind = EventKind::Reaction;
        r.fromMe = reactor == kMe;
        r.member = reactor;
        r.associatedType = 2003;
        r.targetDraft = target;
        r.bpPrefix = random.chance(0.4);
        r.offset = t.offset + clampNanos(random.logNormal(40.0, 0.8), 1.0, 1800.0);
        r.text = reactionText(2003, t.body == Body::EmptyTextWithBlob ? std::string_view()
                                                                      : std::string_view(t.text));
        s.drafts.push_back(std::move(r));
    }

    void generateGroup(std::size_t groupIndex, std::int64_t budget, Random& random) {
        const PlannedChat& chat = plan_.chats[groupChats_[groupIndex]];
        std::vector<std::int32_t> speakers = {kMe};
        std::vector<double> weights = {0.8};
        for (std::uint32_t h : chat.handles) {
            speakers.push_back(static_cast<std::int32_t>(h));
            weights.push_back(random.uniform(0.4, 1.6));
        }
        const double mean = 10.0 * std::sqrt(scale_);

        std::vector<Session> sessions;
        std::int64_t rows = 0;
        while (rows < budget) {
            const std::size_t sessionIndex = sessions.size();
            Session s;
            s.chat = groupChats_[groupIndex];
            const int length = static_cast<int>(std::min<std::int64_t>(
                std::max(2, sessionLength(random, mean)), std::max<std::int64_t>(2, budget - rows)));
            std::int64_t t = 0;
            std::size_t speaker = random.weighted(weights);
            for (int m = 0; m < length; ++m) {
                if (m > 0) {
                    if (!random.chance(0.25)) {
                        std::size_t next = speaker;
                        while (next == speaker) {
                            next = random.weighted(weights);
                        }
                        speaker = next;
                    }
                    t += clampNanos(random.logNormal(75.0, 1.1), 2.0, 3.0 * 3600.0);
                }
                Draft d;
                d.offset = t;
                d.member = speakers[speaker];
                d.fromMe = d.member == kMe;
                d.text = composeMessage(random, styleOf(d.member), m == 0 ? Role::Opener : Role::Reply);
                s.drafts.push_back(std::move(d));
                const auto target = static_cast<std::int32_t>(s.drafts.size() - 1);

                if (random.chance(0.09)) {
                    std::vector<std::size_t> others;
                    for (std::size_t k = 0; k < speakers.size(); ++k) {
                        if (k != speaker) {
                            others.push_back(k);
                        }
                    }
                    random.shuffle(others);
                    const auto laughers = static_cast<std::size_t>(
                        random.betweenInt(1, static_cast<int>(std::min<std::size_t>(3, others.size()))));
                    for (std::size_t k = 0; k < laughers; ++k) {
                        addLaugh(s, target, speakers[others[k]], random);
                    }
                } else if (random.chance(0.03)) {
                    Draft love;
                    love.kind = EventKind::Reaction;
                    std::size_t who = speaker;
                    while (who == speaker) {
                        who = random.index(speakers.size());
                    }
                    love.member = speakers[who];
                    love.fromMe = love.member == kMe;
                    love.associatedType = static_cast<std::int16_t>(random.chance(0.7) ? 2000 : 2001);
                    love.targetDraft = target;
                    love.bpPrefix = random.chance(0.4);
                    love.offset = t + clampNanos(random.logNormal(40.0, 0.8), 1.0, 1800.0);
                    love.text =
                        reactionText(love.associatedType, s.drafts[static_cast<std::size_t>(target)].text);
                    s.drafts.push_back(std::move(love));
                }
            }

            if (sessionIndex == 0) {
                injectGroupEdges(groupIndex, s, speakers, t, random);
            }
            if (sessionIndex % 97 == 5) {
                Draft item;
                item.kind = EventKind::Item;
                item.member = speakers[random.index(speakers.size())];
                item.fromMe = item.member == kMe;
                item.itemType = static_cast<std::int8_t>(random.betweenInt(1, 3));
                item.body = Body::Nothing;
                item.bodyFixed = true;
                if (item.itemType == 1) {
                    item.otherHandle = speakers[1 + random.index(speakers.size() - 1)];
                }
                item.offset = t + clampNanos(random.logNormal(30.0, 0.5), 1.0, 600.0);
                s.drafts.push_back(std::move(item));
            }
            for (const Draft& d : s.drafts) {
                s.duration = std::max(s.duration, d.offset);
            }
            rows += static_cast<std::int64_t>(s.drafts.size());
            sessions.push_back(std::move(s));
        }
        shapeGroup(groupIndex, sessions, speakers, weights);

        const std::int64_t end = plan_.nowNanos - 10 * kMinute;
        const std::int64_t from =
            groupIndex < 6 ? periodStart_ : end - (end - periodStart_) * random.betweenInt(4, 10) / 10;
        std::vector<std::int64_t> starts;
        for (std::size_t i = 0; i < sessions.size(); ++i) {
            starts.push_back(drawStart(random, Hours::Daytime, from, end));
        }
        std::sort(starts.begin(), starts.end());
        if (groupIndex == 0 && !starts.empty()) {
            starts.back() =
                drawStart(random, Hours::Daytime, plan_.nowNanos - 40 * kHour, plan_.nowNanos - 2 * kHour);
            std::sort(starts.begin(), starts.end());
        }
        placeSessions(sessions, starts, end, random, [](const Draft& d) { return d.member; });
    }

    // Which part the owner plays in a group; the seed decides which group gets which. Of the cast's own
    // groups the two biggest take the comedian and the instigator, who need many lines and many
    // conversations to show, and the others the engine, the lurker and the regular, so every part turns up.
    GroupPart partFor(std::size_t groupIndex) const {
        static constexpr GroupPart kBig[] = {GroupPart::Comedian, GroupPart::Instigator};
        static constexpr GroupPart kSmall[] = {GroupPart::Engine, GroupPart::Lurker, GroupPart::Regular,
                                               GroupPart::Regular};
        static constexpr GroupPart kAll[] = {GroupPart::Comedian, GroupPart::Engine, GroupPart::Instigator,
                                             GroupPart::Lurker, GroupPart::Regular};
        constexpr std::size_t kCastGroups = 6;
        const auto& groups = plan_.cast.groups;
        const auto turn = static_cast<std::size_t>(plan_.seed % 20);
        if (groupIndex >= std::min(kCastGroups, groups.size())) {
            return kAll[(groupIndex + turn) % 5];
        }
        std::size_t rank = 0;
        for (std::size_t g = 0; g < std::min(kCastGroups, groups.size()); ++g) {
            const double weight = groups[g].weight;
            const double own = groups[groupIndex].weight;
            rank += weight > own || (weight == own && g < groupIndex) ? 1 : 0;
        }
        return rank < 2 ? kBig[(rank + turn) % 2] : kSmall[(rank - 2 + turn) % 4];
    }

    // Rewrites who says what in a group so the owner plays the group's part: who opens the conversations,
    // how much the owner says, and whose lines the others laugh at. Only senders and texts change, never
    // times or the number of rows, and the draws come from a stream of their own, so everything else the
    // seed produces stays as it was.
    void shapeGroup(std::size_t groupIndex, std::vector<Session>& sessions,
                    const std::vector<std::int32_t>& speakers, const std::vector<double>& weights) {
        Random random = random_.fork(7000 + groupIndex);
        const GroupPart part = partFor(groupIndex);
        plan_.chats[groupChats_[groupIndex]].ownerPart = part;

        const std::vector<double> otherWeights(weights.begin() + 1, weights.end());
        auto someoneElse = [&] { return speakers[1 + random.weighted(otherWeights)]; };
        std::map<std::int32_t, std::int64_t> said;
        for (std::int32_t speaker : speakers) {
            said[speaker] = 0;
        }
        auto give = [&](Draft& d, std::int32_t to) {
            --said[d.member];
            ++said[to];
            d.member = to;
            d.fromMe = to == kMe;
        };

        // The conversation itself; the planted edge cases keep their senders.
        std::vector<Draft*> openers;
        std::vector<Draft*> lines;
        for (Session& s : sessions) {
            for (Draft& d : s.drafts) {
                if (d.kind != EventKind::Message || d.bodyFixed) {
                    continue;
                }
                (&d == &s.drafts.front() ? openers : lines).push_back(&d);
                ++said[d.member];
            }
        }
        const auto total = static_cast<double>(openers.size() + lines.size());
        const double fairShare = 1.0 / static_cast<double>(speakers.size());

        // Conversations are opened by the owner only as the instigator.
        for (Draft* d : openers) {
            if (part == GroupPart::Instigator) {
                give(*d, kMe);
            } else if (d->member == kMe) {
                give(*d, someoneElse());
            }
        }

        random.shuffle(lines);
        if (part == GroupPart::Engine) {
            // Take lines from whoever talks most until the owner clearly leads.
            auto topOther = [&] {
                std::int64_t top = 0;
                for (const auto& [speaker, count] : said) {
                    top = speaker == kMe ? top : std::max(top, count);
                }
                return top;
            };
            auto leads = [&] {
                return static_cast<double>(said[kMe]) >= total * fairShare * 1.6 &&
                       static_cast<double>(said[kMe]) >= static_cast<double>(topOther()) * 1.2 + 1.0;
            };
            for (bool moved = true; moved && !leads();) {
                moved = false;
                for (Draft* d : lines) {
                    if (leads()) {
                        break;
                    }
                    if (d->member != kMe && said[d->member] == topOther()) {
                        give(*d, kMe);
                        moved = true;
                    }
                }
            }
        } else {
            // The comedian needs enough lines for the laughs to show.
            const double share = part == GroupPart::Lurker     ? 0.25
                                 : part == GroupPart::Regular  ? 0.85
                                 : part == GroupPart::Comedian ? 1.25
                                                               : 1.0;
            const auto wanted = static_cast<std::int64_t>(std::llround(total * fairShare * share));
            for (Draft* d : lines) {
                if (said[kMe] < wanted && d->member != kMe) {
                    give(*d, kMe);
                } else if (said[kMe] > wanted && d->member == kMe) {
                    give(*d, someoneElse());
                }
            }
        }

        // Laughing replies: at every line of the owner's that someone answers within minutes when the owner
        // is the comedian; otherwise at every such line of one member's, the one with the most, so tapback
        // laughs alone never make the owner the comedian. Any other laugh in the text is written out, so each
        // laugh a reader finds is one placed here.
        auto canLaughAt = [](const Draft* previous, const Draft& d) {
            return previous != nullptr && !d.bodyFixed && !previous->bodyFixed &&
                   previous->member != d.member && d.offset - previous->offset < kLaughReplyWithin;
        };
        std::map<std::int32_t, std::int64_t> answered;
        for (const Session& s : sessions) {
            const Draft* previous = nullptr;
            for (const Draft& d : s.drafts) {
                if (d.kind != EventKind::Message) {
                    continue;
                }
                if (canLaughAt(previous, d)) {
                    ++answered[previous->member];
                }
                previous = &d;
            }
        }
        std::int32_t clown = speakers[1];
        for (const auto& [speaker, count] : answered) {
            clown = speaker != kMe && count > answered[clown] ? speaker : clown;
        }
        auto laughChance = [&](std::int32_t at) {
            if (part == GroupPart::Comedian) {
                return at == kMe ? 1.0 : 0.03;
            }
            return at == clown ? 1.0 : 0.03;
        };
        for (Session& s : sessions) {
            std::vector<bool> rewritten(s.drafts.size(), false);
            const Draft* previous = nullptr;
            for (std::size_t i = 0; i < s.drafts.size(); ++i) {
                Draft& d = s.drafts[i];
                if (d.kind != EventKind::Message) {
                    continue;
                }
                if (canLaughAt(previous, d) && random.chance(laughChance(previous->member))) {
                    d.text = laughingReply(random, styleOf(d.member));
                    d.laughReply = true;
                    rewritten[i] = true;
                } else if (containsLaughWord(d.text)) {
                    WritingStyle plain = styleOf(d.member);
                    plain.laugh = Laugh::None;
                    std::string text = "sounds good";
                    for (int attempt = 0; attempt < 8; ++attempt) {
                        std::string candidate =
                            composeMessage(random, plain, i == 0 ? Role::Opener : Role::Reply);
                        if (!containsLaughWord(candidate)) {
                            text = std::move(candidate);
                            break;
                        }
                    }
                    d.text = std::move(text);
                    rewritten[i] = true;
                }
                previous = &d;
            }
            for (Draft& r : s.drafts) {
                if (r.kind == EventKind::Reaction && rewritten[static_cast<std::size_t>(r.targetDraft)]) {
                    const Draft& target = s.drafts[static_cast<std::size_t>(r.targetDraft)];
                    r.text = reactionText(r.associatedType, target.body == Body::EmptyTextWithBlob
                                                                ? std::string_view()
                                                                : std::string_view(target.text));
                }
            }
        }
    }

    // The cases a group reader must get right: a laugh at one's own message, a laugh at a message
    // with no text, and a row with no body at all. None of them count.
    void injectGroupEdges(std::size_t groupIndex, Session& s, const std::vector<std::int32_t>& speakers,
                          std::int64_t& t, Random& random) {
        const std::int32_t member = speakers[1 + random.index(speakers.size() - 1)];
        std::int32_t other = member;
        while (other == member) {
            other = speakers[random.index(speakers.size())];
        }
        auto message = [&](Body body) {
            t += clampNanos(random.logNormal(60.0, 0.8), 2.0, 1800.0);
            Draft d;
            d.offset = t;
            d.member = member;
            d.text = composeMessage(random, styleOf(member), Role::Reply);
            d.body = body;
            d.bodyFixed = true;
            s.drafts.push_back(std::move(d));
            return static_cast<std::int32_t>(s.drafts.size() - 1);
        };
        if (groupIndex == 0) {
            addLaugh(s, message(Body::Text), member, random);
        } else if (groupIndex == 1) {
            message(Body::Nothing);
        } else if (groupIndex == 2) {
            addLaugh(s, message(Body::EmptyTextWithBlob), other, random);
        }
    }

    // ---- whole plan ----

    void finish() {
        auto& events = plan_.events;
        std::sort(events.begin(), events.end(), [](const PlannedEvent& a, const PlannedEvent& b) {
            return a.nanos != b.nanos ? a.nanos < b.nanos : a.id < b.id;
        });
        for (std::size_t i = 1; i < events.size(); ++i) {
            events[i].nanos = std::max(events[i].nanos, events[i - 1].nanos + 1);
        }
        plan_.positionOfId.assign(events.size(), 0);
        for (std::size_t i = 0; i < events.size(); ++i) {
            plan_.positionOfId[events[i].id] = static_cast<std::uint32_t>(i);
        }
        assignBodies();
        markSecondsRows();
        plan_.walStart = events.size();
        for (std::size_t i = 0; i < events.size(); ++i) {
            if (events[i].nanos >= plan_.nowNanos - kWalWindow) {
                plan_.walStart = i;
                break;
            }
        }
        if (plan_.walStart == events.size() && !events.empty()) {
            plan_.walStart = events.size() - std::max<std::size_t>(1, events.size() / 100);
        }
    }

    // One-to-one threads are keyed by handle, groups by chat.
    std::size_t threadKey(const PlannedEvent& e) const {
        const PlannedChat& chat = plan_.chats[e.chat];
        return chat.style == kChatStyleOneToOne ? chat.handles.front() : plan_.handles.size() + e.chat;
    }

    bool isSpamChat(const PlannedChat& chat) const {
        for (const Person& p : plan_.cast.people) {
            if (p.spam && p.handle == plan_.handles[chat.handles.front()].id) {
                return true;
            }
        }
        return false;
    }

    void assignBodies() {
        Random random = random_.fork(9000);
        auto& events = plan_.events;
        std::vector<bool> seenThread(plan_.handles.size() + plan_.chats.size(), false);
        std::vector<bool> spamChat(plan_.chats.size(), false);
        for (std::size_t c = 0; c < plan_.chats.size(); ++c) {
            spamChat[c] = plan_.chats[c].style == kChatStyleOneToOne && isSpamChat(plan_.chats[c]);
        }
        // Rows a reader drops go only where they cannot be a thread's first row, so which row
        // comes first never depends on how the reader orders its filtering.
        std::vector<std::size_t> droppable;
        for (std::size_t i = 0; i < events.size(); ++i) {
            PlannedEvent& e = events[i];
            if (e.kind != EventKind::Message) {
                continue;
            }
            const std::size_t key = threadKey(e);
            const bool first = !seenThread[key];
            seenThread[key] = true;
            if (!e.bodyFixed && !first && plan_.chats[e.chat].style == kChatStyleOneToOne &&
                !spamChat[e.chat]) {
                droppable.push_back(i);
            }
        }
        const auto n = static_cast<double>(messages_);
        const std::pair<Body, std::size_t> dropped[] = {
            {Body::EmptyTextWithBlob, std::max<std::size_t>(3, static_cast<std::size_t>(n * 0.0006))},
            {Body::EmptyText, std::max<std::size_t>(1, static_cast<std::size_t>(n * 0.0002))},
            {Body::Nothing, std::max<std::size_t>(3, static_cast<std::size_t>(n * 0.0005))},
            {Body::UnreadableBlob, std::max<std::size_t>(3, static_cast<std::size_t>(n * 0.0005))},
        };
        std::size_t taken = 0;
        for (const auto& [body, count] : dropped) {
            for (std::size_t k = 0; k < count && taken < droppable.size(); ++k, ++taken) {
                const std::size_t pick = taken + random.index(droppable.size() - taken);
                std::swap(droppable[taken], droppable[pick]);
                events[droppable[taken]].body = body;
                events[droppable[taken]].bodyFixed = true;
            }
        }
        for (PlannedEvent& e : events) {
            if (e.bodyFixed || e.kind != EventKind::Message) {
                continue;
            }
            const double u = random.uniform();
            const double blobOnly = e.text.size() > 127 ? 0.4 : 0.15;
            if (u < blobOnly) {
                e.body = Body::BlobOnly;
            } else if (u < blobOnly + 0.1) {
                e.body = Body::TextAndBlob;
            }
        }
    }

    void markSecondsRows() {
        std::map<std::size_t, double> lastSeen;
        auto& events = plan_.events;
        for (std::size_t i = 0; i < events.size() && i < kRowsInSeconds; ++i) {
            PlannedEvent& e = events[i];
            const std::size_t key = threadKey(e);
            const auto seconds = static_cast<double>(e.nanos / kSecond);
            const auto it = lastSeen.find(key);
            if (e.nanos > 0 && (it == lastSeen.end() || seconds > it->second)) {
                e.dateInSeconds = true;
            }
            lastSeen[key] = readerSeconds(e);
        }
    }

    std::int64_t messages_;
    Random random_;
    DemoPlan plan_;
    std::int64_t periodStart_ = 0;
    double scale_ = 1.0;
    std::map<std::string, std::uint32_t> handleIndex_;
    std::vector<std::vector<std::uint32_t>> personChats_;
    std::vector<std::uint32_t> groupChats_;
    std::vector<const WritingStyle*> styleByHandle_;
};

} // namespace

std::optional<std::string> readableText(const PlannedEvent& event) {
    switch (event.body) {
    case Body::Text:
    case Body::TextAndBlob:
    case Body::BlobOnly:
        return event.text;
    case Body::EmptyText:
    case Body::EmptyTextWithBlob:
        return std::string();
    case Body::Nothing:
    case Body::UnreadableBlob:
        break;
    }
    return std::nullopt;
}

std::int64_t storedDate(const PlannedEvent& event) {
    return event.dateInSeconds ? event.nanos / kNanosPerSecond : event.nanos;
}

double readerSeconds(const PlannedEvent& event) {
    const std::int64_t whole = event.nanos / kNanosPerSecond;
    if (event.dateInSeconds) {
        return static_cast<double>(whole);
    }
    return static_cast<double>(whole) + static_cast<double>(event.nanos % kNanosPerSecond) / 1e9;
}

std::string_view groupPartTitle(GroupPart part) {
    switch (part) {
    case GroupPart::Comedian:
        return "The Comedian";
    case GroupPart::Engine:
        return "The Engine";
    case GroupPart::Instigator:
        return "The Instigator";
    case GroupPart::Lurker:
        return "The Lurker";
    case GroupPart::Regular:
        break;
    }
    return "The Regular";
}

DemoPlan buildDemoPlan(std::uint64_t seed, std::int64_t messages, std::int64_t nowUnixSeconds) {
    return PlanBuilder(seed, messages, nowUnixSeconds).build();
}

} // namespace demohome
