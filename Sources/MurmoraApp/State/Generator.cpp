#include "State/Generator.h"

#include "MessageSources/DatabaseCopier.h"

namespace murmora::Generator {

std::filesystem::path messagesDatabasePath(const std::filesystem::path& home) {
    return home / "Library" / "Messages" / "chat.db";
}

Result run(const std::filesystem::path& home, int days, const Progress& progress) {
    (void)days; // all history is read whatever the day count; the measurements apply it
    progress("Copying your Messages database\u2026");
    const std::filesystem::path copy = dovrel::DatabaseCopier::copyForReading(messagesDatabasePath(home));

    progress("Reading your conversations\u2026");
    dovrel::MessageStore store(copy.string());
    Result result;
    std::vector<dovrel::ContactThread> threads = store.oneToOneThreads(&result.readCounts);

    result.threadsByHandle.reserve(threads.size());
    for (dovrel::ContactThread& thread : threads) {
        std::string key = thread.handleID;
        result.threadsByHandle.emplace(std::move(key), std::move(thread));
    }
    return result;
}

} // namespace murmora::Generator
