#include "DemoHomeGenerator.h"
#include "MessageSources/DatabaseCopier.h"
#include "MessageSources/MessageStore.h"
#include "TempDir.h"

#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace dovrel;
namespace fs = std::filesystem;

// The generator records what it put in; the reader must find exactly that, through a copy of the live files
// (whose newest rows are still in the write-ahead log).
TEST(DemoHomeReadTest, ReaderAgreesWithWhatTheGeneratorWrote) {
    const TempDir home;
    demohome::DemoHomeOptions options;
    options.outDir = home.path();
    options.seed = 11;
    options.messages = 6000;
    options.nowUnixSeconds = 1'780'000'000;
    const demohome::DemoHomeResult written = demohome::generateDemoHome(options);
    ASSERT_GT(written.rowsInWal, 0);

    const nlohmann::json summary = nlohmann::json::parse(std::ifstream(written.summary));
    const nlohmann::json& expected = summary.at("oneToOne");

    const ReadingCopy copy = MessageStore::copyForReading(home.path() / "Library" / "Messages" / "chat.db");
    MessageStore store(copy.string());
    ReadCounts counts;
    const std::vector<ContactThread> threads = store.oneToOneThreads(&counts);
    const nlohmann::json& expectedThreads = expected.at("threads");
    ASSERT_EQ(threads.size(), expectedThreads.size());
    std::size_t kept = 0;
    for (std::size_t i = 0; i < threads.size(); ++i) {
        const ContactThread& thread = threads[i];
        SCOPED_TRACE(thread.handleID);
        ASSERT_TRUE(expectedThreads.contains(thread.handleID));
        const nlohmann::json& want = expectedThreads.at(thread.handleID);
        EXPECT_EQ(thread.messages.size(), want.at("messages").get<std::size_t>());
        std::size_t fromMe = 0;
        std::size_t unreadReceived = 0;
        for (std::size_t m = 0; m < thread.messages.size(); ++m) {
            const RawMessage& message = thread.messages[m];
            fromMe += message.isFromMe ? 1 : 0;
            unreadReceived += !message.isFromMe && !message.isRead ? 1 : 0;
            EXPECT_FALSE(message.text.empty());
            if (m > 0) {
                EXPECT_LE(thread.messages[m - 1].date, message.date);
            }
        }
        EXPECT_EQ(fromMe, want.at("fromMe").get<std::size_t>());
        EXPECT_EQ(unreadReceived, want.at("unreadReceived").get<std::size_t>());
        if (want.contains("displayName")) {
            EXPECT_EQ(thread.displayName, want.at("displayName").get<std::string>());
        } else {
            EXPECT_EQ(thread.displayName, std::nullopt);
        }
        EXPECT_NEAR(thread.messages.front().date.seconds, want.at("firstDate").get<double>(), 1e-3);
        EXPECT_NEAR(thread.messages.back().date.seconds, want.at("lastDate").get<double>(), 1e-3);
        if (i > 0) {
            EXPECT_GE(threads[i - 1].messages.size(), thread.messages.size());
        }
        kept += thread.messages.size();
    }
    EXPECT_EQ(kept, expected.at("keptMessages").get<std::size_t>());
    const nlohmann::json& dropped = expected.at("droppedRows");
    EXPECT_EQ(counts.dropped,
              dropped.at("emptyText").get<std::size_t>() + dropped.at("noReadableText").get<std::size_t>());
    EXPECT_EQ(counts.rows, kept + counts.dropped);
}
