#include "People.h"

#include "AddressBookDatabase.h"
#include "Random.h"

#include <cmath>
#include <set>
#include <stdexcept>

namespace demohome {
namespace {

const std::string kHeart = "\u2764\uFE0F";
const std::string kThumbsMedium = "\U0001F44D\U0001F3FD";
const std::string kRaisedHandsDark = "\U0001F64C\U0001F3FE";
const std::string kPrayLight = "\U0001F64F\U0001F3FB";
const std::string kFlagUs = "\U0001F1FA\U0001F1F8";
const std::string kKeycapOne = "1\uFE0F\u20E3";

const std::vector<std::string> kEverydayEmoji = {"😅", "🙃", "👀", "🎉", "😭", "👍", kHeart, "🙏"};
const std::vector<std::string> kEmojiLover = {kHeart, kThumbsMedium, kFlagUs,    kKeycapOne, kRaisedHandsDark,
                                              "😍",    "✨",           kPrayLight, "🎉",        "💯"};

const std::vector<std::string> kHabitsForExtras = {
    "fast replier",   "slow replier", "initiator",     "never initiates", "double texter", "night owl",
    "question asker", "emoji user",   "long messages", "regular",         "regular",       "regular"};

std::string phone(int line) {
    std::string digits = std::to_string(line);
    return "+1555123" + std::string(4 - digits.size(), '0') + digits;
}

Card card(std::optional<std::string> first, std::optional<std::string> last) {
    Card c;
    c.firstName = std::move(first);
    c.lastName = std::move(last);
    return c;
}

void giveEverydayHabits(Person& p, Random& random) {
    static const Laugh kLaughs[] = {Laugh::Haha, Laugh::Lol, Laugh::Emoji, Laugh::None, Laugh::Haha};
    p.style.laugh = random.choice(kLaughs);
    p.style.laughRate = random.uniform(0.03, 0.09);
    p.style.emojis = kEverydayEmoji;
    p.style.emojiRate = random.uniform(0.02, 0.08);
    p.style.questionRate = random.uniform(0.08, 0.2);
    p.style.lowercase = random.chance(0.5);
    p.style.exclaimRate = random.uniform(0.05, 0.3);
    p.replyMedianSeconds = random.logNormal(240.0, 0.5);
    p.replySigma = random.uniform(0.8, 1.2);
    p.initiateShare = random.uniform(0.35, 0.6);
    p.doubleTextShare = random.uniform(0.1, 0.3);
    p.sessionLength = random.uniform(6.0, 10.0);
}

// Sets what makes someone with this habit stand out from the everyday defaults.
void applyHabit(Person& p, const std::string& habit) {
    p.habit = habit;
    if (habit == "fast replier") {
        p.replyMedianSeconds = 40.0;
        p.replySigma = 0.6;
        p.sessionLength = 14.0;
    } else if (habit == "slow replier") {
        p.replyMedianSeconds = 2.5 * 3600.0;
        p.replySigma = 0.6;
        p.sessionLength = 5.0;
        p.initiateShare = 0.4;
    } else if (habit == "initiator") {
        p.initiateShare = 0.92;
    } else if (habit == "never initiates") {
        p.initiateShare = 0.0;
    } else if (habit == "double texter") {
        p.doubleTextShare = 0.85;
    } else if (habit == "night owl") {
        p.hours = Hours::Night;
        p.replyMedianSeconds = 100.0;
    } else if (habit == "question asker") {
        p.style.questionRate = 0.55;
    } else if (habit == "emoji user") {
        p.style.emojis = kEmojiLover;
        p.style.emojiRate = 0.5;
    } else if (habit == "long messages") {
        p.style.longRate = 0.35;
    } else if (habit == "laughs haha") {
        p.style.laugh = Laugh::Haha;
        p.style.laughRate = 0.2;
    } else if (habit == "laughs HAHA") {
        p.style.laugh = Laugh::CapsHaha;
        p.style.laughRate = 0.2;
        p.style.capsRate = 0.08;
    } else if (habit == "laughs lol") {
        p.style.laugh = Laugh::Lol;
        p.style.laughRate = 0.2;
    } else if (habit == "laughs with emoji") {
        p.style.laugh = Laugh::Emoji;
        p.style.laughRate = 0.2;
    }
}

struct Entry {
    const char* habit;
    const char* first;
    const char* last;
    int line; // 0 for e-mail handles
    Tier tier;
    double weightOrRows;
};

} // namespace

std::string Card::displayName() const {
    std::string out;
    for (const auto* part : {&firstName, &lastName}) {
        if (*part && !(*part)->empty()) {
            if (!out.empty()) {
                out += ' ';
            }
            out += **part;
        }
    }
    return out;
}

std::string formatPhone(const std::string& e164, int variant) {
    if (e164.size() != 12 || e164.rfind("+1", 0) != 0) {
        return e164;
    }
    const std::string area = e164.substr(2, 3);
    const std::string exchange = e164.substr(5, 3);
    const std::string line = e164.substr(8, 4);
    switch (((variant % 7) + 7) % 7) {
    case 0:
        return "+1 (" + area + ") " + exchange + "-" + line;
    case 1:
        return "(" + area + ") " + exchange + "-" + line;
    case 2:
        return area + "." + exchange + "." + line;
    case 3:
        return "1-" + area + "-" + exchange + "-" + line;
    case 4:
        return area + "-" + exchange + "-" + line;
    case 5:
        return e164;
    default:
        return area + " " + exchange + " " + line;
    }
}

Cast makeCast(std::uint64_t seed, std::int64_t messages) {
    Random random = Random(seed).fork(0xCA57);
    Cast cast;
    cast.myPhone = phone(0);
    cast.myEmail = "sam.rivera@icloud.com";
    cast.myStyle.laugh = Laugh::Haha;
    cast.myStyle.laughRate = 0.08;
    cast.myStyle.emojis = {kHeart, kThumbsMedium, "😅"};
    cast.myStyle.emojiRate = 0.06;
    cast.myStyle.questionRate = 0.15;
    cast.myStyle.longRate = 0.02;
    cast.myStyle.exclaimRate = 0.1;
    cast.myStyle.lowercase = true;
    cast.myReplyMedianSeconds = 150.0;
    cast.myReplySigma = 1.1;
    cast.myCard = card("Sam", "Rivera");
    cast.myCard.phones = {{formatPhone(cast.myPhone, 0), std::string(kLabelIPhone)}};
    cast.myCard.emails = {{"Sam.Rivera@icloud.com", std::string(kLabelHome)}};

    static const Entry kEntries[] = {
        {"two handles", "Chris", "Novak", 1, Tier::Mid, 4},
        {"fast replier", "Maya", "Okafor", 2, Tier::Heavy, 30},
        {"double texter", "Jordan", "Reyes", 3, Tier::Heavy, 24},
        {"night owl", "Priya", "Nair", 4, Tier::Heavy, 16},
        {"question asker", "Leo", "Marchetti", 5, Tier::Mid, 10},
        {"initiator", "Marcus", "Bell", 6, Tier::Mid, 8},
        {"never initiates", "Elena", "Vasquez", 7, Tier::Mid, 6},
        {"slow replier", "Hannah", "Kim", 8, Tier::Mid, 4},
        {"laughs HAHA", "Tom", "Becker", 9, Tier::Mid, 6},
        {"emoji user", "Aisha", "Bello", 10, Tier::Mid, 7},
        {"long messages", "Ben", "Carter", 11, Tier::Mid, 5},
        {"named chat", "Linda", "Rivera", 12, Tier::Mid, 5},
        {"regular", "Robert", "Rivera", 13, Tier::Mid, 2},
        {"renamed chat", "Sofia", "Moreno", 14, Tier::Mid, 3},
        {"e-mail handle", "Grace", "Liu", 0, Tier::Mid, 3},
        {"e-mail handle", "Noah", "Fischer", 0, Tier::Mid, 1.5},
        {"regular", "Daniel", "Rivera", 15, Tier::Mid, 2.5},
        {"regular", "Kwame", "Mensah", 16, Tier::Mid, 0},
        {"regular", "Lucy", "Hartman", 17, Tier::Mid, 0},
        {"regular", "Diego", "Ramos", 18, Tier::Mid, 0},
        {"regular", "Fatima", "Zahra", 19, Tier::Mid, 0},
        {"regular", "Ollie", "Grant", 20, Tier::Mid, 0},
        {"regular", "Raj", "Patel", 21, Tier::Mid, 0},
        {"regular", "Mei", "Tanaka", 22, Tier::Mid, 0},
        {"regular", "Claire", "Dubois", 23, Tier::Mid, 0},
        {"regular", "Jonah", "Weiss", 24, Tier::Mid, 0},
        {"first name only", "Zoe", nullptr, 25, Tier::Tail, 0},
        {"last name only", nullptr, "Okonkwo", 26, Tier::Tail, 0},
        {"occasional", "Beatriz", "Souza", 27, Tier::Tail, 0},
        {"occasional", "Henry", "Walsh", 28, Tier::Tail, 0},
        {"occasional", "Amara", "Obi", 29, Tier::Tail, 0},
        {"occasional", "Lena", "Fischer", 30, Tier::Tail, 0},
        {"occasional", "Pete", "Dawson", 31, Tier::Tail, 0},
        {"occasional", "Sana", "Qureshi", 32, Tier::Tail, 0},
        {"occasional", "Will", "Harper", 33, Tier::Tail, 0},
        {"unknown number", nullptr, nullptr, 34, Tier::Tail, 0},
        {"unknown number", nullptr, nullptr, 35, Tier::Tail, 0},
        {"unknown number", nullptr, nullptr, 36, Tier::Tail, 0},
        {"rare", "Kenji", "Watanabe", 37, Tier::Rare, 5},
        {"rare", "Ingrid", "Solberg", 38, Tier::Rare, 7},
        {"rare", "Omar", "Haddad", 39, Tier::Rare, 3},
    };

    int phoneVariant = 0;
    for (const Entry& entry : kEntries) {
        Person p;
        p.tier = entry.tier;
        giveEverydayHabits(p, random);
        applyHabit(p, entry.habit);
        if (entry.tier == Tier::Heavy || entry.tier == Tier::Mid) {
            p.weight = entry.weightOrRows > 0 ? entry.weightOrRows : random.uniform(0.6, 2.5);
            p.activeFraction = entry.tier == Tier::Heavy ? 1.0 : random.uniform(0.55, 1.0);
        } else if (entry.tier == Tier::Tail) {
            p.fixedRows = random.betweenInt(10, 30);
            p.sessionLength = 4.0;
            p.activeFraction = random.uniform(0.05, 0.25);
        } else {
            p.fixedRows = static_cast<int>(entry.weightOrRows);
            p.sessionLength = 3.0;
            p.activeFraction = random.uniform(0.02, 0.1);
        }

        if (entry.line > 0) {
            p.handle = phone(entry.line);
        } else {
            p.handle =
                std::string(entry.first) == "Grace" ? "grace.liu@icloud.com" : "noah.fischer@gmail.com";
        }
        if (entry.first != nullptr || entry.last != nullptr) {
            Card c = card(entry.first != nullptr ? std::optional<std::string>(entry.first) : std::nullopt,
                          entry.last != nullptr ? std::optional<std::string>(entry.last) : std::nullopt);
            if (entry.line > 0) {
                c.phones.emplace_back(formatPhone(p.handle, phoneVariant++), std::string(kLabelMobile));
                if (random.chance(0.2)) {
                    c.phones.emplace_back(formatPhone(phone(100 + entry.line), phoneVariant++),
                                          std::string(kLabelWork));
                }
            }
            p.card = std::move(c);
        }
        cast.people.push_back(std::move(p));
    }

    auto find = [&](const std::string& handle) -> Person& {
        for (Person& p : cast.people) {
            if (p.handle == handle) {
                return p;
            }
        }
        throw std::logic_error("no person with handle " + handle);
    };

    Person& chris = find(phone(1));
    chris.chatSetup = ChatSetup::TwoHandles;
    chris.secondHandle = "5551230001";
    find(phone(12)).chatDisplayName = "Mom";
    Person& sofia = find(phone(14));
    sofia.chatSetup = ChatSetup::RenamedLaterChat;
    sofia.chatDisplayName = "Sofia 🎾";
    find(phone(2)).style.laugh = Laugh::Haha;
    find(phone(2)).style.laughRate = 0.18;
    find(phone(3)).style.laugh = Laugh::Lol;
    find(phone(3)).style.laughRate = 0.15;
    find(phone(4)).style.laugh = Laugh::Emoji;
    find(phone(4)).style.laughRate = 0.18;
    Person& grace = find("grace.liu@icloud.com");
    grace.card->emails.emplace_back("Grace.Liu@iCloud.com", std::string(kLabelHome));
    Person& noah = find("noah.fischer@gmail.com");
    noah.card->emails.emplace_back("Noah.Fischer@Gmail.com", std::string(kLabelHome));
    noah.card->phones.emplace_back(formatPhone(phone(99), 1), std::string(kLabelMobile));

    Person shortCode;
    shortCode.habit = "spam";
    shortCode.tier = Tier::Spam;
    shortCode.handle = "72345";
    shortCode.service = "SMS";
    shortCode.fixedRows = 30 + static_cast<int>(messages / 3000);
    shortCode.spam = SpamVoice::ShortCode;
    shortCode.activeFraction = 1.0;
    cast.people.push_back(shortCode);

    Person noReply;
    noReply.habit = "spam";
    noReply.tier = Tier::Spam;
    noReply.handle = "noreply@shipalerts.example";
    noReply.fixedRows = 25 + static_cast<int>(messages / 4000);
    noReply.spam = SpamVoice::NoReply;
    noReply.activeFraction = 0.8;
    cast.people.push_back(noReply);

    GroupOnlyContact dev;
    dev.handle = phone(41);
    dev.card = card("Dev", "Malhotra");
    dev.card->phones.emplace_back(formatPhone(dev.handle, 1), std::string(kLabelMobile));
    dev.style = cast.people.front().style;
    cast.groupOnly.push_back(dev);
    GroupOnlyContact stranger;
    stranger.handle = phone(42);
    stranger.style = cast.people.front().style;
    stranger.style.laugh = Laugh::Lol;
    cast.groupOnly.push_back(stranger);

    Card walter = card("Walter", "Ng"); // a name, but nothing to reach him by
    cast.otherCards.push_back(walter);
    Card dentist = card(std::nullopt, std::nullopt);
    dentist.organization = "Brightside Dental";
    cast.otherCards.push_back(dentist);
    Card ray = card("Ray", "Rivera");
    ray.phones.emplace_back(formatPhone(phone(77), 2), std::string(kLabelHome));
    cast.otherCards.push_back(ray);
    Card julia = card("Julia", "Chen");
    julia.emails.emplace_back("julia.chen@example.com", std::string(kLabelWork));
    cast.otherCards.push_back(julia);

    cast.groups = {
        {"Roommates 🏠", {phone(2), phone(3), phone(5)}, 35},
        {"Family " + kHeart, {phone(12), phone(13), phone(15)}, 14},
        {std::nullopt, {phone(4), phone(9), phone(10), phone(11), phone(41)}, 20},
        {std::string(), {phone(6), phone(7), phone(8)}, 8},
        {"Book Club 📚",
         {"grace.liu@icloud.com", "noah.fischer@gmail.com", phone(10), phone(8), phone(16), phone(17),
          phone(22)},
         13},
        {"Sunday Soccer ⚽️", {phone(6), phone(3), phone(1), phone(18), phone(42), phone(20)}, 10},
    };

    // Larger message counts grow the cast slowly rather than making everyone chattier.
    const double scale = static_cast<double>(messages) / 30000.0;
    if (scale > 1.0) {
        const auto extraPeople = std::min<long>(600, std::lround(40.0 * (std::sqrt(scale) - 1.0)));
        const auto& firstNames = extraFirstNames();
        const auto& lastNames = extraLastNames();
        std::vector<std::string> extraHandles;
        for (long i = 0; i < extraPeople; ++i) {
            Person p;
            p.tier = Tier::Mid;
            giveEverydayHabits(p, random);
            applyHabit(p, random.choice(kHabitsForExtras));
            p.weight = random.logNormal(1.2, 0.6);
            p.activeFraction = random.uniform(0.4, 1.0);
            std::string digits = std::to_string(i);
            p.handle = "+1555124" + std::string(4 - digits.size(), '0') + digits;
            if (random.chance(0.9)) {
                Card c = card(random.choice(firstNames), random.choice(lastNames));
                c.phones.emplace_back(formatPhone(p.handle, phoneVariant++), std::string(kLabelMobile));
                p.card = std::move(c);
            }
            extraHandles.push_back(p.handle);
            cast.people.push_back(std::move(p));
        }
        const auto extraGroups = std::min<long>(100, std::lround(6.0 * (std::sqrt(scale) - 1.0)));
        const auto& names = extraGroupNames();
        for (long g = 0; g < extraGroups && extraHandles.size() >= 8; ++g) {
            CastGroup group;
            if (random.chance(0.8)) {
                group.name = random.choice(names);
            }
            const int size = random.betweenInt(3, 8);
            std::set<std::string> chosen;
            while (static_cast<int>(group.members.size()) < size) {
                const std::string& handle = random.choice(extraHandles);
                if (chosen.insert(handle).second) {
                    group.members.push_back(handle);
                }
            }
            group.weight = random.uniform(6.0, 15.0);
            cast.groups.push_back(std::move(group));
        }
    }
    return cast;
}

} // namespace demohome
