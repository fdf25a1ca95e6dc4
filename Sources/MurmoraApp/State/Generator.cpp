#include "State/Generator.h"

#include "Measurement/MeasuredThread.h"
#include "MessageSources/ContactsDB.h"
#include "MessageSources/DatabaseCopier.h"
#include "Output/WrappedHTML.h"

#include <QDir>
#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace murmora {

DomainError::DomainError(std::string domain, int code, std::string description)
    : std::runtime_error("Error Domain=" + domain + " Code=" + std::to_string(code) + " \"" + description +
                         "\"")
    , domain_(std::move(domain))
    , code_(code)
    , description_(std::move(description)) {}

namespace Generator {

Environment Environment::current() {
    const QByteArray home = qgetenv("HOME");
    std::filesystem::path folder = home.isEmpty() ? std::filesystem::path(QDir::homePath().toStdString())
                                                  : std::filesystem::path(home.toStdString());
    return Environment{std::move(folder), dovrel::Calendar::current(), std::nullopt};
}

std::filesystem::path messagesDatabasePath(const std::filesystem::path& home) {
    return home / "Library" / "Messages" / "chat.db";
}

DatabaseAccess databaseAccess(const std::filesystem::path& database) {
    struct stat status {};
    if (::stat(database.c_str(), &status) != 0) {
        return errno == ENOENT || errno == ENOTDIR ? DatabaseAccess::missing : DatabaseAccess::unreadable;
    }
    if (!S_ISREG(status.st_mode)) {
        return DatabaseAccess::notAFile;
    }
    const int fd = ::open(database.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        return DatabaseAccess::unreadable;
    }
    ::close(fd);
    return DatabaseAccess::readable;
}

Result run(int days, const Progress& progress, const Environment& environment) {
    Result result;
    std::vector<dovrel::ContactThread> threads;
    {
        progress("Copying your Messages database\u2026");
        // The copy goes as soon as the threads are read.
        const dovrel::ReadingCopy copy =
            dovrel::MessageStore::copyForReading(messagesDatabasePath(environment.home));

        progress("Reading your conversations\u2026");
        dovrel::MessageStore store(copy.string());
        threads = store.oneToOneThreads(&result.readCounts);
    }

    progress("Learning how you write\u2026");
    const dovrel::Date now = environment.now.value_or(dovrel::Date::now());
    const double span = static_cast<double>(days) * 86400.0;
    const dovrel::DateInterval period{now - span, span};
    // Each message's local time and text features are worked out once and shared by every measurement.
    const std::vector<dovrel::MeasuredThread> measured = dovrel::measureThreads(
        threads, environment.calendar, std::max(1u, std::thread::hardware_concurrency()));
    result.stats = dovrel::WrappedStats::compute(measured, period, environment.calendar);
    if (result.stats.totalMessages < 1) {
        throw DomainError("murmora", 1, "No messages found in the last " + std::to_string(days) + " days.");
    }

    const std::optional<double> baselineLength = dovrel::myAverageLength(measured);
    for (const dovrel::MeasuredThread& thread : measured) {
        if (auto insights =
                dovrel::PersonInsights::compute(thread, baselineLength, result.stats.myMedianReplySeconds)) {
            result.people.push_back(std::move(*insights));
        }
    }
    dovrel::PersonInsights::sortByMessages(result.people);

    progress("Matching names from Contacts\u2026");
    std::vector<std::string> handles;
    handles.reserve(result.people.size());
    for (const dovrel::PersonInsights& person : result.people) {
        handles.push_back(person.handleID);
    }
    result.names = resolveNames(handles, environment.home);
    result.archetype = dovrel::LocalArchetype::name(result.stats);
    const std::string page =
        dovrel::WrappedHTML::render(result.stats, result.names, result.archetype, environment.calendar);
    result.wrappedURL = dovrel::WrappedHTML::writeToTemporaryFolder(page);
    result.reveals = reveals(result.stats, result.names);

    result.threadsByHandle.reserve(threads.size());
    for (dovrel::ContactThread& thread : threads) {
        std::string key = thread.handleID;
        result.threadsByHandle.emplace(std::move(key), std::move(thread));
    }
    return result;
}

std::map<std::string, std::string> resolveNames(const std::vector<std::string>& handles,
                                                const std::filesystem::path& home) {
    std::map<std::string, std::string> names;
    const std::optional<std::filesystem::path> book = dovrel::ContactsDB::defaultPath(home);
    if (!book) {
        return names;
    }
    std::vector<dovrel::ContactCard> cards;
    try {
        const dovrel::ReadingCopy copy = dovrel::DatabaseCopier::copyForReading(*book);
        dovrel::ContactsDB contacts(copy.string());
        cards = contacts.allCards();
    } catch (const std::exception&) {
        return names; // names are a nicety; the run goes on without them
    }
    for (const std::string& handle : handles) {
        const auto match =
            std::find_if(cards.begin(), cards.end(),
                         [&handle](const dovrel::ContactCard& card) { return card.matchesHandle(handle); });
        if (match != cards.end()) {
            names.emplace(handle, match->fullName);
        }
    }
    return names;
}

std::vector<std::string> reveals(const dovrel::WrappedStats& stats,
                                 const std::map<std::string, std::string>& names) {
    using dovrel::WrappedHTML::thousands;
    std::vector<std::string> lines;
    lines.push_back(thousands(stats.totalMessages) + " messages \u00b7 " + std::to_string(stats.peopleCount) +
                    " people. Learning your style\u2026");

    if (!stats.topContacts.empty()) {
        const dovrel::WrappedStats::TopContact& top = stats.topContacts.front();
        // A damaged database can leave the name, the chat's name and even the handle empty; the line still
        // needs someone to name.
        std::string name = top.handleID.empty() ? std::string("Someone") : top.handleID;
        if (const auto named = names.find(top.handleID); named != names.end() && !named->second.empty()) {
            name = named->second;
        } else if (top.displayName && !top.displayName->empty()) {
            name = *top.displayName;
        }
        lines.push_back(name + " is your person \u2014 " + thousands(top.count) + " messages together.");
    }
    if (stats.myMedianReplySeconds) {
        lines.push_back("You typically reply in " +
                        dovrel::WrappedHTML::replySpeed(*stats.myMedianReplySeconds) + ".");
    }

    const dovrel::LaughterProfile& laughter = stats.laughter;
    const std::pair<int, const char*> laughs[] = {{laughter.hahaCount, "haha"},
                                                  {laughter.capsHahaCount, "HAHAHA"},
                                                  {laughter.lolCount, "lol"},
                                                  {laughter.laughEmojiCount, "\U0001F602"}};
    if (laughter.hahaCount + laughter.capsHahaCount + laughter.lolCount + laughter.laughEmojiCount >= 1) {
        // On equal counts the earlier row wins, so only a strictly larger count replaces it.
        const auto* best = &laughs[0];
        for (const auto& laugh : laughs) {
            if (laugh.first > best->first) {
                best = &laugh;
            }
        }
        lines.push_back(std::string("Your signature laugh: \u201c") + best->second + "\u201d.");
    }
    lines.push_back("Profile ready.");
    return lines;
}

} // namespace Generator
} // namespace murmora
