#include "TextBank.h"

#include <array>
#include <string>

namespace demohome {
namespace {

const std::vector<std::string> kOpeners = {
    "hey",
    "hey!",
    "heyy",
    "you around?",
    "ok so",
    "morning",
    "good morning!",
    "guess what",
    "omg",
    "did you see this",
    "quick question",
    "are you home yet",
    "hiii",
    "so update",
    "are you up",
    "random but",
    "just landed",
    "thinking about you",
    "how's your day going",
    "wanna get food later",
    "yo",
    "ok i have news",
    "you free this weekend?",
    "call me when you can",
};

const std::vector<std::string> kReplies = {
    "ok",
    "ok cool",
    "sounds good",
    "yes",
    "yeah",
    "yep",
    "nope",
    "same",
    "totally",
    "no way",
    "wait what",
    "for real",
    "that's amazing",
    "ugh",
    "honestly same",
    "i know right",
    "love that",
    "nice",
    "perfect",
    "works for me",
    "that's so funny",
    "i can't believe that",
    "makes sense",
    "not sure yet",
    "maybe",
    "let me check",
    "on my way",
    "running 10 min late",
    "just got home",
    "almost there",
    "i'm at the café near work",
    "still at the office",
    "just woke up",
    "eating rn",
    "the jalapeño poppers were incredible",
    "we got crème brûlée for dessert",
    "she loved the piñata",
    "he sent his résumé yesterday",
    "it was kind of naïve of me tbh",
    "the train is delayed again",
    "i'll bring snacks",
    "traffic is insane",
    "i finally finished that book",
    "the new season is so good",
    "i need a nap",
    "we should do that again",
    "miss you",
    "that place was packed",
    "i'm so tired",
    "sure thing",
    "haven't decided",
    "100%",
    "it's fine",
    "i'll text you after",
    "he's coming too",
    "i owe you one",
    "good call",
    "thank you!!",
    "thanks",
    "yesss",
    "can't wait",
    "that's wild",
    "so good",
    "not bad",
    "oh no",
    "lucky",
    "tell me everything",
    "my mom says hi",
    "the dog ate my sock again",
    "it's raining again",
    "i got the tickets",
    "we're at the usual spot",
};

const std::vector<std::string> kQuestions = {
    "what time works?",
    "did you eat yet?",
    "how was it?",
    "wanna grab dinner?",
    "are we still on for saturday?",
    "where are you?",
    "can you send me the address?",
    "did you watch it yet?",
    "how's your mom doing?",
    "what are you up to tonight?",
    "is it cold there?",
    "should i bring anything?",
    "do you want to split an uber?",
    "which one did you pick?",
    "have you talked to her?",
    "can you call me later?",
    "did you get my email?",
    "what did he say?",
    "you coming?",
    "how much was it?",
    "are you feeling better?",
    "want me to pick you up?",
    "when do you land?",
    "thoughts?",
    "how did the interview go?",
    "is the café on 5th open late?",
    "who else is going?",
    "why not?",
    "really?",
};

const std::vector<std::string> kClosers = {
    "night!",
    "good night",
    "ttyl",
    "talk tomorrow",
    "love you",
    "see you then",
    "ok see you soon",
    "bye!",
    "later",
    "sleep well",
    "text me when you get home",
    "have fun!",
    "thanks again",
    "👋",
};

const std::vector<std::string> kSentences = {
    "So the meeting ran way over and I didn't get out until almost seven.",
    "Anyway I ended up taking the long way home because the bridge was closed again.",
    "I keep thinking about what you said last week and honestly I think you're right.",
    "We tried that new place on Elm, the one with the crème brûlée everyone talks about.",
    "It was fine but definitely not worth a forty minute wait.",
    "My sister is coming to visit next month so I have to clean the entire apartment.",
    "Also the landlord finally fixed the heater, which only took three weeks.",
    "I started running again and my legs are not happy about it.",
    "The flight was delayed twice and then they changed the gate at the last minute.",
    "I think we should book the cabin before prices go up for the summer.",
    "Work has been a lot lately but I'm trying to leave on time more often.",
    "Let me know what you think when you get a chance, no rush at all.",
    "I found the photos from the São Paulo trip and we look so young.",
    "He said the résumé looked great and they want to set up a second interview.",
    "The kids at the party went completely wild for the piñata.",
    "I know it sounds naïve but I really think it could work this time.",
    "We should plan something for her birthday, maybe dinner and then karaoke?",
    "I'm going to try to make it but I might be a little late.",
    "The weather app said sunny all day and it has not stopped raining.",
    "Honestly I needed that laugh today, thank you for sending it.",
    "Remember when we got lost looking for that jalapeño festival?",
    "I'll send you the link to the apartment listing, it has a balcony!",
};

const std::vector<std::string> kShouts = {
    "NO WAY", "I'M SO EXCITED", "OMG", "YES", "WHAT", "STOP IT", "THIS IS THE BEST NEWS", "WE WON",
};

const std::vector<std::string> kShortCodeTexts = {
    "FreshMart: Your order #{5} is ready for pickup. Reply STOP to opt out.",
    "Your verification code is {6}. Do not share it with anyone.",
    "CityBank alert: a purchase of ${3}.{2} was made on your card ending {4}. Reply NO if this wasn't you.",
    "Reminder: your appointment is tomorrow at {1}:30 PM. Reply C to confirm.",
    "FreshMart: Save 20% this weekend with code SPRING{2}. Msg&data rates may apply.",
    "Your ride is arriving in {1} min. Look for a grey sedan, plate {4}.",
};

const std::vector<std::string> kNoReplyTexts = {
    "Your package is out for delivery 📦 Track it at shipalerts.example/t/{6}",
    "Delivered: your package was left at the front door.",
    "Your order {6} has shipped and should arrive in {1} days.",
    "We couldn't deliver your package today. We'll try again tomorrow.",
    "Your return has been received. A refund of ${2}.{2} is on its way.",
};

const std::vector<std::string> kGroupNames = {
    "Weekend Plans 🌮", "Office Crew",      "Trivia Night 🧠", "Cousins",
    "Hiking 🥾",        "Neighbors",        "College Friends",   "Fantasy League 🏈",
    "Road Trip 🚗",        "Brunch Club 🥂", "Dog Park Pals 🐶",   "Band Practice 🎸",
};

const std::vector<std::string> kFirstNames = {
    "Ava",   "Liam",  "Olivia", "Ethan", "Mia",  "Lucas",  "Isabel", "Mateo",  "Chloe",
    "Samir", "Nora",  "Julian", "Layla", "Owen", "Camila", "Felix",  "Ruby",   "Tariq",
    "Elise", "Hugo",  "Maren",  "Diego", "Anya", "Theo",   "Iris",   "Rafael", "Selin",
    "Caleb", "Freya", "Nikhil", "Lucía", "Bram", "Yara",   "Emil",   "Noémie", "Kofi",
};

const std::vector<std::string> kLastNames = {
    "Alvarez", "Brennan",  "Castillo", "Dubois",   "Eriksen",   "Farouk",   "García",
    "Hollis",  "Ivanova",  "Jensen",   "Kowalski", "Lindqvist", "Mbeki",    "Nakamura",
    "O'Neill", "Petrov",   "Quinn",    "Rossi",    "Sato",      "Thornton", "Uzun",
    "Varga",   "Whitaker", "Xu",       "Yilmaz",   "Zeller",    "Müller",   "Ó Briain",
};

std::string asciiUpper(std::string text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return text;
}

void capitaliseFirst(std::string& text) {
    if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') {
        text[0] = static_cast<char>(text[0] - 'a' + 'A');
    }
}

std::string digits(Random& random, int count) {
    std::string out;
    for (int i = 0; i < count; ++i) {
        out += static_cast<char>('0' + (i == 0 ? random.betweenInt(1, 9) : random.betweenInt(0, 9)));
    }
    return out;
}

// Replaces each {n} with n random digits.
std::string fillDigits(Random& random, const std::string& pattern) {
    std::string out;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == '{' && i + 2 < pattern.size() && pattern[i + 2] == '}') {
            out += digits(random, pattern[i + 1] - '0');
            i += 2;
        } else {
            out += pattern[i];
        }
    }
    return out;
}

std::string longMessage(Random& random) {
    // Most long messages just pass 127 bytes (the two-byte length form of attributedBody); some
    // pass 300.
    const std::size_t target = random.chance(0.6) ? static_cast<std::size_t>(random.between(130, 260))
                                                  : static_cast<std::size_t>(random.between(300, 600));
    std::string out;
    while (out.size() < target) {
        if (!out.empty()) {
            out += ' ';
        }
        out += random.choice(kSentences);
    }
    return out;
}

bool endsWithLetter(const std::string& text) {
    if (text.empty()) {
        return false;
    }
    const char c = text.back();
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

} // namespace

std::string laughToken(Random& random, Laugh laugh) {
    switch (laugh) {
    case Laugh::Haha: {
        static const std::vector<std::string> tokens = {"haha", "hahaha", "haha", "hahahaha", "ahaha"};
        return random.choice(tokens);
    }
    case Laugh::CapsHaha: {
        static const std::vector<std::string> tokens = {"HAHA", "HAHAHA", "HAHAHAHA", "HAHA"};
        return random.choice(tokens);
    }
    case Laugh::Lol: {
        static const std::vector<std::string> tokens = {"lol", "lmao", "lol", "lmaooo", "lolol"};
        return random.choice(tokens);
    }
    case Laugh::Emoji: {
        static const std::vector<std::string> tokens = {"😂", "🤣", "😂😂", "🤣🤣🤣", "😂😂😂"};
        return random.choice(tokens);
    }
    case Laugh::None:
        break;
    }
    return {};
}

std::string composeMessage(Random& random, const WritingStyle& style, Role role) {
    if (random.chance(style.capsRate)) {
        return random.chance(0.5) ? random.choice(kShouts) : asciiUpper(random.choice(kReplies));
    }
    if (role == Role::Reply && style.laugh != Laugh::None && random.chance(style.laughRate * 0.4)) {
        return laughToken(random, style.laugh); // a laugh on its own
    }

    std::string text;
    bool isLong = false;
    if (role != Role::Closer && random.chance(style.longRate)) {
        text = longMessage(random);
        isLong = true;
    } else if (role == Role::Opener) {
        text = random.chance(style.questionRate) ? random.choice(kQuestions) : random.choice(kOpeners);
    } else if (role == Role::Question) {
        text = random.choice(kQuestions);
    } else if (role == Role::Closer) {
        text = random.choice(kClosers);
    } else {
        text = random.chance(style.questionRate * 0.5) ? random.choice(kQuestions) : random.choice(kReplies);
    }

    if (!isLong) {
        if (!style.lowercase) {
            capitaliseFirst(text);
        }
        if (endsWithLetter(text) && random.chance(style.exclaimRate)) {
            text += '!';
        }
        if (style.laugh != Laugh::None && random.chance(style.laughRate)) {
            text = random.chance(0.5) ? laughToken(random, style.laugh) + " " + text
                                      : text + " " + laughToken(random, style.laugh);
        }
    }
    if (!style.emojis.empty() && random.chance(style.emojiRate)) {
        text += ' ';
        text += random.choice(style.emojis);
        if (random.chance(0.2)) {
            text += random.choice(style.emojis);
        }
    }
    return text;
}

std::string composeSpam(Random& random, SpamVoice voice) {
    return fillDigits(random, random.choice(voice == SpamVoice::ShortCode ? kShortCodeTexts : kNoReplyTexts));
}

std::string reactionText(int associatedMessageType, std::string_view targetText) {
    static const std::array<const char*, 6> added = {"Loved",      "Liked",      "Disliked",
                                                     "Laughed at", "Emphasized", "Questioned"};
    static const std::array<const char*, 6> removed = {
        "Removed a heart from", "Removed a like from",         "Removed a dislike from",
        "Removed a laugh from", "Removed an exclamation from", "Removed a question mark from"};
    const bool isRemoval = associatedMessageType >= 3000;
    const auto kind = static_cast<std::size_t>((associatedMessageType % 1000) % 6);
    std::string out = isRemoval ? removed[kind] : added[kind];
    if (targetText.empty()) {
        return out + " a message";
    }
    // Long targets are cut at a character boundary and marked with an ellipsis.
    std::string quoted(targetText);
    constexpr std::size_t kMaxQuoted = 80;
    if (quoted.size() > kMaxQuoted) {
        std::size_t cut = kMaxQuoted;
        while (cut > 0 && (static_cast<unsigned char>(quoted[cut]) & 0xC0) == 0x80) {
            --cut;
        }
        quoted = quoted.substr(0, cut) + "…";
    }
    return out + " “" + quoted + "”";
}

const std::vector<std::string>& extraGroupNames() {
    return kGroupNames;
}
const std::vector<std::string>& extraFirstNames() {
    return kFirstNames;
}
const std::vector<std::string>& extraLastNames() {
    return kLastNames;
}

} // namespace demohome
