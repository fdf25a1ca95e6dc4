#include "TestSupport.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace demohome {
namespace {

namespace fs = std::filesystem;
using testing::TempDir;

struct Outcome {
    bool exited = false; // false when killed by a signal
    int code = -1;
    std::string out;
    std::string err;
};

std::string slurp(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string quoted(const std::string& arg) {
    std::string out = "'";
    for (char c : arg) {
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return out + "'";
}

Outcome runDemoHome(const std::vector<std::string>& args) {
    static TempDir logs;
    std::string command = quoted(DEMO_HOME_EXECUTABLE);
    for (const std::string& arg : args) {
        command += " " + quoted(arg);
    }
    const fs::path out = logs.path() / "stdout";
    const fs::path err = logs.path() / "stderr";
    command += " >" + quoted(out.string()) + " 2>" + quoted(err.string());
    const int status = std::system(command.c_str());
    Outcome run;
    run.exited = WIFEXITED(status);
    run.code = run.exited ? WEXITSTATUS(status) : -1;
    run.out = slurp(out);
    run.err = slurp(err);
    return run;
}

const std::string kNow = "1767225600";

TEST(CommandLine, WritesTheHomeAndRefusesToOverwriteItWithoutForce) {
    TempDir dir;
    const std::string out = dir.path().string();
    const Outcome first = runDemoHome({"--out", out, "--messages", "1200", "--now", kNow});
    ASSERT_EQ(first.code, 0) << first.err;
    const auto summary = nlohmann::json::parse(slurp(dir.path() / "summary.json"));
    EXPECT_NE(first.out.find(out), std::string::npos);
    EXPECT_NE(first.out.find(std::to_string(summary.at("messageRows").get<int>()) + " messages"),
              std::string::npos);
    EXPECT_EQ(std::count(first.out.begin(), first.out.end(), '\n'), 1);

    const fs::path chatDb = dir.path() / "Library" / "Messages" / "chat.db";
    const fs::path unrelated = dir.path() / "Library" / "Messages" / "notes.txt";
    std::ofstream(unrelated) << "keep me";
    const auto before = fs::last_write_time(chatDb);

    const Outcome refused = runDemoHome({"--out", out, "--seed", "9", "--messages", "1200", "--now", kNow});
    EXPECT_EQ(refused.code, 2);
    EXPECT_NE(refused.err.find("--force"), std::string::npos) << refused.err;
    EXPECT_EQ(fs::last_write_time(chatDb), before);
    EXPECT_EQ(nlohmann::json::parse(slurp(dir.path() / "summary.json")).at("seed"), 1);

    const Outcome forced =
        runDemoHome({"--out", out, "--seed", "9", "--messages", "1200", "--now", kNow, "--force"});
    ASSERT_EQ(forced.code, 0) << forced.err;
    EXPECT_EQ(nlohmann::json::parse(slurp(dir.path() / "summary.json")).at("seed"), 9);
    EXPECT_EQ(slurp(unrelated), "keep me");
    EXPECT_GT(testing::Db(chatDb).scalar("SELECT COUNT(*) FROM message"), 1000);
}

TEST(CommandLine, BadArgumentsFailWithAMessageAndWriteNothing) {
    TempDir dir;
    const std::string out = (dir.path() / "home").string();
    const std::vector<std::vector<std::string>> cases = {
        {},
        {"--out"},
        {"--out", out, "--messages", "lots"},
        {"--out", out, "--messages", "10"},
        {"--out", out, "--seed", "-1"},
        {"--out", out, "--now", "yesterday"},
        {"--out", out, "--now", "5"},
        {"--out", out, "--colour"},
    };
    for (const auto& args : cases) {
        std::string joined;
        for (const auto& a : args) {
            joined += a + " ";
        }
        SCOPED_TRACE(joined);
        const Outcome run = runDemoHome(args);
        EXPECT_TRUE(run.exited);
        EXPECT_NE(run.code, 0);
        EXPECT_FALSE(run.err.empty());
        EXPECT_FALSE(fs::exists(fs::path(out) / "Library" / "Messages" / "chat.db"));
    }
}

TEST(CommandLine, UnwritableOutputIsAnErrorNotACrash) {
    TempDir dir;
    const fs::path blocker = dir.path() / "file";
    std::ofstream(blocker) << "not a folder";
    const Outcome run =
        runDemoHome({"--out", (blocker / "home").string(), "--messages", "1000", "--now", kNow});
    EXPECT_TRUE(run.exited);
    EXPECT_EQ(run.code, 1);
    EXPECT_NE(run.err.find("demo-home"), std::string::npos);
}

} // namespace
} // namespace demohome
