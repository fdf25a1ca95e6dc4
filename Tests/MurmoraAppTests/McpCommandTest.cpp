// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "CliProcess.h"
#include "Coach/AgentTools.h"
#include "TestHome.h"

#include <fstream>
#include <nlohmann/json.hpp>

using json = nlohmann::ordered_json;
#endif

#include <QDateTime>
#include <QFileInfo>
#include <QProcess>
#include <QTest>

// `murmora-cli mcp` as an MCP client runs it: the real binary on a demo home, over stdio.
class McpCommandTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        home_ = std::make_unique<TestHome>();
        qputenv("TZ", "UTC");
        qunsetenv("MURMORA_RELAY_URL");
        qunsetenv("MURMORA_RELAY_SECRET");
        // The binary reads the real clock, so the demo year ends today.
        demohome::DemoHomeOptions options;
        options.outDir = home_->home();
        options.seed = 11;
        options.messages = 4000;
        options.nowUnixSeconds = QDateTime::currentSecsSinceEpoch() / 86400 * 86400;
        options.force = true;
        summary_ = json::parse(std::ifstream(demohome::generateDemoHome(options).summary));
    }

    // The official client sees the catalogue's eleven tools as they are, calls each at once, and gets what
    // `murmora-cli tool` prints for the same input; the database is not touched.
    void officialClientGetsWhatTheToolCommandPrints() {
        const QByteArray database = TestHome::contents(home_->databasePath());
        std::string person;
        std::int64_t most = 0;
        for (const auto& [handle, thread] : summary_.at("oneToOne").at("threads").items()) {
            const json& names = summary_.at("contacts").at("names");
            if (names.contains(handle) && thread.at("messages").get<std::int64_t>() > most) {
                most = thread.at("messages").get<std::int64_t>();
                person = names.at(handle).get<std::string>();
            }
        }
        std::string group;
        for (const json& each : summary_.at("groups")) {
            if (group.empty() && each.contains("name")) {
                group = each.at("name").get<std::string>();
            }
        }
        QVERIFY(!person.empty() && !group.empty());
        const std::string around =
            QDateTime::currentDateTimeUtc().addDays(-20).toString(QStringLiteral("yyyy-MM-dd")).toStdString();
        const std::string other = person.substr(0, 1);

        const json calls = {
            {{"name", "search"}, {"arguments", {{"terms", "dinner|drinks"}, {"from", "me"}, {"limit", 5}}}},
            {{"name", "count"}, {"arguments", {{"terms", "love"}}}},
            {{"name", "sample"}, {"arguments", {{"limit", 4}, {"group", group}}}},
            {{"name", "timeline"}, {"arguments", {{"person", person}}}},
            {{"name", "window"}, {"arguments", {{"person", person}, {"around", around}, {"limit", 6}}}},
            {{"name", "person_stats"}, {"arguments", {{"person", person}}}},
            {{"name", "compare"}, {"arguments", {{"person", person}, {"person2", other}}}},
            {{"name", "overview"}},
            {{"name", "unanswered"}, {"arguments", json::object()}},
            {{"name", "groups"}},
            {{"name", "group_stats"}, {"arguments", {{"group", group}}}},
            {{"name", "search"}, {"arguments", {{"terms", "dinner"}, {"start", "2025-02-30"}}}},
            {{"name", "nope"}},
            {{"name", "search"}, {"arguments", {{"terms", "dinner"}, {"limit", "5"}}}},
        };
        const QString callsFile = home_->path() + QStringLiteral("/calls.json");
        std::ofstream(callsFile.toStdString()) << calls.dump();

        QVERIFY2(
            QFileInfo::exists(QStringLiteral(MURMORA_MCP_CLIENT "/node_modules/@modelcontextprotocol/sdk")),
            "the MCP client is not installed: run ./scripts/setup");
        QProcess node;
        node.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        node.start(QStringLiteral(MURMORA_NODE),
                   {QStringLiteral(MURMORA_MCP_CLIENT "/drive.mjs"), QStringLiteral(MURMORA_CLI), callsFile});
        QVERIFY(node.waitForFinished(180000));
        QCOMPARE(node.exitCode(), 0);
        const json report = json::parse(node.readAllStandardOutput().toStdString());

        QVERIFY(report.at("server").at("name") == "murmora");
        const std::vector<dovrel::Agent::ToolDef>& defs = dovrel::AgentTools::defs();
        QCOMPARE(report.at("tools").size(), defs.size());
        for (std::size_t i = 0; i < defs.size(); ++i) {
            const json& tool = report.at("tools").at(i);
            QVERIFY(tool.at("name") == defs[i].name);
            QVERIFY(tool.at("description") == defs[i].description);
            // Key order too: the schema goes out as the catalogue writes it.
            QCOMPARE(QString::fromStdString(tool.at("inputSchema").dump()),
                     QString::fromStdString(defs[i].inputSchemaJSON));
        }

        for (std::size_t i = 0; i < 12; ++i) {
            const std::string name = calls[i].at("name");
            const json& result = report.at("calls").at(i).at("result");
            const std::string text = result.at("content").at(0).at("text");
            const std::string status = result.at("content").at(1).at("text");
            QCOMPARE(result.at("isError").get<bool>(), i == 11);
            const CliRun tool =
                CliRun::of(QStringLiteral(MURMORA_CLI),
                           {QStringLiteral("tool"), QString::fromStdString(name),
                            QString::fromStdString(calls[i].value("arguments", json::object()).dump())});
            QCOMPARE(tool.code, 0);
            QCOMPARE(tool.out, QString::fromStdString(status + "\n" + text + "\n"));
            QVERIFY2(!status.starts_with("Reading your group chats"), status.c_str());
        }
        QCOMPARE(report.at("calls").at(12).at("error").at("code").get<int>(), -32602);
        QCOMPARE(report.at("calls").at(13).at("error").at("code").get<int>(), -32602);
        QCOMPARE(TestHome::contents(home_->databasePath()), database);
    }

    // Lines no client should send: each answered with its error, and reading goes on after them.
    void badLinesGetProtocolErrors() {
        struct Row {
            std::string line;
            json id;  // null: an error about a line whose id could not be read
            int code; // 0: a result
            std::string version = {};
        };
        const std::string huge = "{\"jsonrpc\":\"2.0\",\"id\":90,\"method\":\"ping\",\"params\":{\"pad\":\"" +
                                 std::string(1024 * 1024, 'x') + "\"}}";
        const std::vector<Row> rows = {
            {"not json", nullptr, -32700},
            {R"([{"jsonrpc":"2.0","id":1,"method":"ping"}])", nullptr, -32600},
            {R"({"jsonrpc":"2.0","id":{"a":1},"method":"ping"})", nullptr, -32600},
            {huge, nullptr, -32600},
            {R"({"id":2,"method":"ping"})", 2, -32600},
            {R"({"jsonrpc":"2.0","id":3,"method":"frobnicate"})", 3, -32601},
            {R"({"jsonrpc":"2.0","method":"frobnicate"})", json(), 1},
            {"", json(), 1},
            {R"({"jsonrpc":"2.0","id":4,"method":"tools/call","params":{"name":"count","arguments":{}}})", 4,
             -32602},
            {R"({"jsonrpc":"2.0","id":5,"method":"tools/call","params":{"name":"overview","arguments":[]}})",
             5, -32602},
            {R"({"jsonrpc":"2.0","id":6,"method":"initialize","params":{}})", 6, -32602},
            {R"({"jsonrpc":"2.0","id":7,"method":"initialize","params":{"protocolVersion":"1999-01-01"}})", 7,
             0, "2025-06-18"},
            {R"({"jsonrpc":"2.0","id":"8","method":"initialize","params":{"protocolVersion":"2024-11-05"}})",
             "8", 0, "2024-11-05"},
            {"{\"jsonrpc\":\"2.0\",\"id\":9,\"method\":\"ping\"}\r", 9, 0},
        };
        QProcess mcp;
        mcp.start(QStringLiteral(MURMORA_CLI), {QStringLiteral("mcp")});
        for (const Row& row : rows) {
            mcp.write(QByteArray::fromStdString(row.line + "\n"));
        }
        mcp.closeWriteChannel();
        QVERIFY(mcp.waitForFinished(60000));
        QCOMPARE(mcp.exitCode(), 0);

        const QList<QByteArray> lines = mcp.readAllStandardOutput().trimmed().split('\n');
        std::vector<json> unnamed;
        for (const QByteArray& line : lines) {
            if (json each = json::parse(line.toStdString()); each.at("id").is_null()) {
                unnamed.push_back(std::move(each));
            }
        }
        std::size_t expected = 0;
        auto nextUnnamed = unnamed.begin();
        for (const Row& row : rows) {
            if (row.code == 1) {
                continue; // a notification or a blank line: no answer at all
            }
            ++expected;
            json reply;
            if (row.id.is_null()) {
                reply = nextUnnamed == unnamed.end() ? json() : *nextUnnamed++;
            } else {
                for (const QByteArray& line : lines) {
                    if (const json each = json::parse(line.toStdString()); each.at("id") == row.id) {
                        reply = each;
                    }
                }
            }
            QVERIFY2(reply.value("id", json()) == row.id, row.line.substr(0, 80).c_str());
            if (row.code != 0) {
                QCOMPARE(reply.at("error").at("code").get<int>(), row.code);
            } else if (!row.version.empty()) {
                QVERIFY(reply.at("result").at("protocolVersion") == row.version);
            } else {
                QVERIFY(reply.at("result") == json::object());
            }
        }
        QCOMPARE(static_cast<std::size_t>(lines.size()), expected);
    }

private:
    std::unique_ptr<TestHome> home_;
    json summary_;
};

QTEST_GUILESS_MAIN(McpCommandTest)
#include "McpCommandTest.moc"
