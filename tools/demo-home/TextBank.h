#pragma once

#include "Random.h"

#include <string>
#include <string_view>
#include <vector>

namespace demohome {

enum class Laugh { None, Haha, CapsHaha, Lol, Emoji };

// How one person writes. Rates are per message.
struct WritingStyle {
    Laugh laugh = Laugh::None;
    double laughRate = 0.0;
    std::vector<std::string> emojis;
    double emojiRate = 0.0;
    double questionRate = 0.12;
    double capsRate = 0.01; // whole message in capitals
    double longRate = 0.01; // several sentences, 130 to 600 bytes
    double exclaimRate = 0.15;
    bool lowercase = false; // never capitalises the first letter
};

enum class Role { Opener, Reply, Question, Closer };
enum class SpamVoice { ShortCode, NoReply };

std::string composeMessage(Random& random, const WritingStyle& style, Role role);
std::string composeSpam(Random& random, SpamVoice voice);
std::string laughToken(Random& random, Laugh laugh);

// Text Messages puts on a tapback row, e.g. Laughed at “see you there”.
std::string reactionText(int associatedMessageType, std::string_view targetText);

// Names of the extra group chats made for large message counts.
const std::vector<std::string>& extraGroupNames();
const std::vector<std::string>& extraFirstNames();
const std::vector<std::string>& extraLastNames();

} // namespace demohome
