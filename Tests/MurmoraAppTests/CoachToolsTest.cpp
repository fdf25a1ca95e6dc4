// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "Coach/CoachEngine.h"
#include "Foundation/ShortAgo.h"
#include "Measurement/PriorityInbox.h"
#include "State/AppState.h"
#include "TestHome.h"

#include <map>
#endif

#include <QDateTime>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>
#include <QTextBoundaryFinder>

using murmora::AppState;
using murmora::CoachEngine;
using Output = CoachEngine::ToolOutput;

namespace {

QString day(dovrel::Date date) {
    return QDateTime::fromSecsSinceEpoch(static_cast<qint64>(std::floor(date.unixTime())), Qt::UTC)
        .toString(QStringLiteral("yyyy-MM-dd"));
}

QString month(dovrel::Date date) {
    return day(date).left(7);
}

QStringList lines(const std::string& text) {
    return QString::fromStdString(text).split(QLatin1Char('\n'));
}

// The text on one line, cut to `characters` user-perceived characters.
QString flattened(const std::string& text, int characters) {
    QString flat = QString::fromStdString(text);
    flat.replace(QStringLiteral("\r\n"), QStringLiteral(" "));
    flat.replace(QRegularExpression(QStringLiteral("[\n\r\v\f\u0085\u2028\u2029]")), QStringLiteral(" "));
    QTextBoundaryFinder graphemes(QTextBoundaryFinder::Grapheme, flat);
    for (int i = 0; i < characters; ++i) {
        if (graphemes.toNextBoundary() < 0) {
            return flat;
        }
    }
    return flat.left(graphemes.position());
}

bool holdsAny(const std::string& text, const QStringList& terms) {
    const QString lower = QString::fromStdString(text).toLower();
    return std::any_of(terms.begin(), terms.end(), [&](const QString& term) { return lower.contains(term); });
}

QString qs(const std::string& text) {
    return QString::fromStdString(text);
}

} // namespace

namespace murmora {
// Lets QCOMPARE print a tool's output when it differs.
char* toString(const CoachEngine::ToolOutput& output) {
    return QTest::toString(QString::fromStdString(output.status + " | " + output.result));
}
} // namespace murmora

// The coach's tools over a state that learned a demo home, checked against what the test reads from the same
// threads by itself.
class CoachToolsTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        home_ = std::make_unique<TestHome>();
        home_->generate(5, 4000);
    }

    void init() {
        qunsetenv("MURMORA_RELAY_URL");
        qunsetenv("MURMORA_RELAY_SECRET");
        state_ = std::make_unique<AppState>(nullptr);
        state_->setEnvironment(home_->environment());
        state_->setRevealPause(std::chrono::milliseconds(0));
        QSignalSpy finished(state_.get(), &AppState::runFinished);
        state_->learn(365, true);
        QVERIFY(finished.wait(60000));
        QVERIFY(finished.first().first().toBool());
        QVERIFY(state_->people().size() >= 3);
        engine_ = std::make_unique<CoachEngine>();
        engine_->setState(state_.get());
    }

    void cleanup() {
        engine_.reset();
        state_.reset();
    }

    // Search and count find what a plain scan of the threads finds, newest first, cut to the limit.
    void searchAndCountAgreeWithTheThreads() {
        const QStringList terms{QStringLiteral("dinner"), QStringLiteral("drinks"), QStringLiteral("haha")};
        std::vector<std::pair<std::string, dovrel::RawMessage>> matches;
        std::map<QString, int> perMonth;
        for (const auto& [handle, thread] : state_->threadsByHandle()) {
            for (const dovrel::RawMessage& message : thread.messages) {
                if (holdsAny(message.text, terms)) {
                    matches.emplace_back(handle, message);
                    ++perMonth[month(message.date)];
                }
            }
        }
        QVERIFY(matches.size() > 40);
        std::stable_sort(matches.begin(), matches.end(),
                         [](const auto& a, const auto& b) { return a.second.date > b.second.date; });
        QStringList expectedLines;
        for (std::size_t i = 0; i < 40; ++i) {
            const auto& [handle, message] = matches[i];
            expectedLines.append(day(message.date) + QStringLiteral(" \u00B7 ") +
                                 (message.isFromMe ? QStringLiteral("me") : qs(state_->name(handle))) +
                                 QStringLiteral(": ") + flattened(message.text, 140));
        }

        const Output search = run("search", "{\"terms\":\"Dinner | drinks|HAHA\"}");
        QCOMPARE(
            qs(search.status),
            qs("Searched your texts for \u201CDinner | drinks|HAHA\u201D \u2014 40 matches sent securely."));
        QCOMPARE(lines(search.result), expectedLines);

        const Output count =
            run("count", "{\"terms\":\"dinner|drinks|haha\",\"group\":\"ignored on counts\"}");
        QCOMPARE(qs(count.status), qs("Counted matches for \u201Cdinner|drinks|haha\u201D \u2014 " +
                                      std::to_string(matches.size()) + " total."));
        QStringList expected{QStringLiteral("total: %1").arg(matches.size())};
        for (const auto& [name, n] : perMonth) {
            expected.append(QStringLiteral("%1: %2").arg(name).arg(n));
        }
        QCOMPARE(lines(count.result), expected);

        // One month by dates, one side by `from`; an unknown side is both.
        int december = 0;
        int mine = 0;
        for (const auto& [handle, message] : matches) {
            december += month(message.date) == QStringLiteral("2025-12") ? 1 : 0;
            mine += message.isFromMe ? 1 : 0;
        }
        QCOMPARE(qs(run("count",
                        "{\"terms\":\"dinner|drinks|haha\",\"start\":\"2025-12-01\",\"end\":\"2025-12-31\"}")
                        .status),
                 qs("Counted matches for \u201Cdinner|drinks|haha\u201D \u2014 " + std::to_string(december) +
                    " total."));
        QCOMPARE(qs(run("count", "{\"terms\":\"dinner|drinks|haha\",\"from\":\"me\"}").status),
                 qs("Counted matches for \u201Cdinner|drinks|haha\u201D \u2014 " + std::to_string(mine) +
                    " total."));
        QCOMPARE(run("search", "{\"terms\":\"Dinner | drinks|HAHA\",\"from\":\"everyone\"}"), search);

        // The limit is cut to 60 and a negative one finds nothing.
        QCOMPARE(lines(run("search", "{\"terms\":\"e\",\"limit\":500}").result).size(), 60);
        QCOMPARE(lines(run("search", "{\"terms\":\"e\",\"limit\":7}").result).size(), 7);
        QCOMPARE(
            run("search", "{\"terms\":\"e\",\"limit\":-3}"),
            (Output{"Searched your texts for \u201Ce\u201D \u2014 0 matches sent securely.", "No matches."}));
        QCOMPARE(run("count", "{\"terms\":\"zzqqxx\"}"),
                 (Output{"Counted matches for \u201Czzqqxx\u201D \u2014 0 total.", "No matches."}));
        // No terms are no needles: nothing matches, rather than everything.
        QCOMPARE(
            run("search", "{}"),
            (Output{"Searched your texts for \u201C\u201D \u2014 0 matches sent securely.", "No matches."}));
        QCOMPARE(qs(run("search", "{\"terms\":\"| |\"}").result), qs(std::string("No matches.")));
    }

    // A named person narrows a search to their thread; a name that matches nobody searches everyone, and so
    // does a focused chat that names nobody.
    void searchesOverOnePersonOrEveryone() {
        const dovrel::PersonInsights& top = state_->people().front();
        const std::string name = state_->name(top.handleID, top.displayName);
        const dovrel::ContactThread& thread = state_->threadsByHandle().at(top.handleID);
        const auto count = [](const dovrel::ContactThread& t) {
            return std::count_if(t.messages.begin(), t.messages.end(), [](const dovrel::RawMessage& m) {
                return holdsAny(m.text, {QStringLiteral("a")});
            });
        };
        long long everyone = 0;
        for (const auto& [handle, each] : state_->threadsByHandle()) {
            everyone += count(each);
        }
        const std::string upper = QString::fromStdString(name).toUpper().toStdString();
        QCOMPARE(qs(run("count", "{\"terms\":\"a\",\"person\":\"" + upper + "\"}").status),
                 qs("Counted matches for \u201Ca\u201D \u2014 " + std::to_string(count(thread)) + " total."));
        QCOMPARE(qs(run("count", "{\"terms\":\"a\",\"person\":\"Zzyzx\"}").status),
                 qs("Counted matches for \u201Ca\u201D \u2014 " + std::to_string(everyone) + " total."));
        QCOMPARE(qs(run("count", "{\"terms\":\"a\"}", top).status),
                 qs("Counted matches for \u201Ca\u201D \u2014 " + std::to_string(everyone) + " total."));
    }

    void sampleWindowAndTimelineReadOnePerson() {
        const dovrel::PersonInsights& top = state_->people().front();
        const std::string name = state_->name(top.handleID, top.displayName);
        const dovrel::ContactThread& thread = state_->threadsByHandle().at(top.handleID);

        // Samples are the user's own by default.
        const Output sample = run("sample", "{}");
        QCOMPARE(qs(sample.status), qs(std::string("Pulled 40 recent messages as style examples.")));
        for (const QString& line : lines(sample.result)) {
            QVERIFY2(line.mid(10).startsWith(QStringLiteral(" \u00B7 me: ")), qPrintable(line));
        }
        const Output theirs = run("sample", "{\"from\":\"them\",\"limit\":3}");
        QCOMPARE(qs(theirs.status), qs(std::string("Pulled 3 recent messages as style examples.")));
        for (const QString& line : lines(theirs.result)) {
            QVERIFY(!line.mid(10).startsWith(QStringLiteral(" \u00B7 me: ")));
        }

        // The window falls back to the focused person, takes the 30 nearest, and shows them oldest first.
        const dovrel::Date around = dovrel::Date::fromUnix(TestHome::nowUnix - 40 * 86400.0);
        const std::string aroundText = day(around).toStdString();
        std::vector<dovrel::RawMessage> nearest = thread.messages;
        std::stable_sort(nearest.begin(), nearest.end(), [&](const auto& a, const auto& b) {
            return std::abs(a.date - around) < std::abs(b.date - around);
        });
        nearest.resize(std::min<std::size_t>(nearest.size(), 30));
        std::stable_sort(nearest.begin(), nearest.end(),
                         [](const auto& a, const auto& b) { return a.date < b.date; });
        const Output window = run("window", "{\"around\":\"" + aroundText + "\"}", top);
        QCOMPARE(qs(window.status), qs("Read your conversation with " + name + " around " + aroundText +
                                       " \u2014 sent securely."));
        const QStringList shown = lines(window.result);
        QCOMPARE(static_cast<std::size_t>(shown.size()), nearest.size());
        for (std::size_t i = 0; i < nearest.size(); ++i) {
            QVERIFY2(shown[static_cast<qsizetype>(i)].startsWith(day(nearest[i].date)),
                     qPrintable(shown[static_cast<qsizetype>(i)]));
        }
        // The status repeats the date as it was asked.
        QCOMPARE(qs(run("window", "{\"around\":\"2025-11-1\",\"limit\":500}", top).status),
                 qs("Read your conversation with " + name + " around 2025-11-1 \u2014 sent securely."));
        QCOMPARE(lines(run("window", "{\"around\":\"2025-11-1\",\"limit\":500}", top).result).size(),
                 static_cast<qsizetype>(std::min<std::size_t>(thread.messages.size(), 60)));
        QCOMPARE(run("window", "{\"around\":\"2025-11-01\"}"),
                 (Output{"Opened a conversation window.", "No one found named ?."}));
        // A bad date is reported before any group is looked up, so no group load starts.
        QCOMPARE(run("window", "{\"around\":\"2025-11-01T10:00\",\"group\":\"Anyone\"}"),
                 (Output{"Opened a conversation window.", "Need \"around\" as YYYY-MM-DD."}));
        QVERIFY(!state_->insights()->groupsLoading());

        // The timeline computes the month points once and keeps them for the person.
        QVERIFY(!state_->insights()->trendsCache().contains(top.handleID));
        const Output timeline = run("timeline", "{}", top);
        QCOMPARE(qs(timeline.status), qs("Pulled your month-by-month history with " + name + "."));
        std::map<QString, std::pair<int, int>> months;
        for (const dovrel::RawMessage& message : thread.messages) {
            auto& [count, mine] = months[month(message.date)];
            ++count;
            mine += message.isFromMe ? 1 : 0;
        }
        const QStringList timelineLines = lines(timeline.result);
        QCOMPARE(static_cast<std::size_t>(timelineLines.size()), std::min<std::size_t>(months.size(), 18));
        const auto& [lastMonth, lastCounts] = *months.rbegin();
        const QRegularExpression form(
            QStringLiteral("^(\\d{4}-\\d{2}): (\\d+) msgs, (\\d+)% mine, warmth ([+-]\\d\\.\\d\\d|\u2013)$"));
        const QRegularExpressionMatch last = form.match(timelineLines.last());
        QVERIFY2(last.hasMatch(), qPrintable(timelineLines.last()));
        QCOMPARE(last.captured(1), lastMonth);
        QCOMPARE(last.captured(2).toInt(), lastCounts.first);
        QCOMPARE(last.captured(3).toInt(), lastCounts.second * 100 / lastCounts.first);
        QVERIFY(state_->insights()->trendsCache().contains(top.handleID));

        // Cached points are used as they stand.
        const dovrel::PersonInsights& second = state_->people()[1];
        state_->insights()->storeTrends(second.handleID, {{dovrel::Date::fromUnix(1'740'787'200), 7, 0.579, std::nullopt},
                                              {dovrel::Date::fromUnix(1'743'465'600), 3, 0.0, -0.456}});
        QCOMPARE(
            qs(run("timeline", "{\"person\":\"" + state_->name(second.handleID, second.displayName) + "\"}")
                   .result),
            qs(std::string(
                "2025-03: 7 msgs, 57% mine, warmth \u2013\n2025-04: 3 msgs, 0% mine, warmth -0.46")));
        QCOMPARE(run("timeline", "{\"person\":\"Zzyzx\"}"),
                 (Output{"Looked up a timeline.", "No one found named Zzyzx."}));
    }

    void statsToolsAndMisses() {
        const dovrel::PersonInsights& top = state_->people().front();
        const dovrel::PersonInsights& second = state_->people()[1];
        const std::string topName = state_->name(top.handleID, top.displayName);
        const std::string secondName = state_->name(second.handleID, second.displayName);

        const Output stats = run("person_stats", "{}", top);
        QCOMPARE(qs(stats.status), qs("Pulled your stats with " + topName + "."));
        const QStringList statLines = lines(stats.result);
        QCOMPARE(statLines.first(),
                 QStringLiteral("%1 messages together").arg(top.report.sentCount + top.report.receivedCount));
        QCOMPARE(
            statLines.last(),
            QStringLiteral("balance: %1% of messages are mine").arg(static_cast<int>(top.balance * 100.0)));
        QCOMPARE(statLines.size(), 2 + (top.report.myMedianReplySeconds ? 1 : 0) +
                                       (top.report.theirMedianReplySeconds ? 1 : 0) +
                                       (top.report.myInitiationRate ? 1 : 0) +
                                       (top.report.myDoubleTextRate ? 1 : 0));
        QCOMPARE(run("person_stats", "{\"person\":\"Zzyzx\"}", top),
                 (Output{"Looked up a person.", "No one found named Zzyzx."}));
        QCOMPARE(run("person_stats", "{}"), (Output{"Looked up a person.", "No one found named ?."}));

        // Compare never falls back to the focused person.
        const Output compared =
            run("compare", "{\"person\":\"" + topName + "\",\"person2\":\"" + secondName + "\"}");
        QCOMPARE(qs(compared.status), qs("Compared " + topName + " and " + secondName + "."));
        QVERIFY(compared.result.starts_with(topName + ":\n" + stats.result + "\n\n" + secondName + ":\n"));
        QCOMPARE(run("compare", "{\"person2\":\"Someone\"}", top),
                 (Output{"Compared two people.", "Couldn't find both of ? and Someone."}));

        const Output overview = run("overview", "{}");
        QCOMPARE(qs(overview.status), qs(std::string("Pulled your overall stats.")));
        const QStringList overviewLines = lines(overview.result);
        QCOMPARE(overviewLines.first(), QStringLiteral("%1 messages, %2 people (last year)")
                                            .arg(state_->stats()->totalMessages)
                                            .arg(state_->stats()->peopleCount));
        QVERIFY(overviewLines.last().startsWith(QStringLiteral("top people: %1 (%2), ")
                                                    .arg(QString::fromStdString(topName))
                                                    .arg(top.report.sentCount + top.report.receivedCount)));
        QCOMPARE(overviewLines.last().count(QStringLiteral("), ")) + 1,
                 static_cast<qsizetype>(std::min<std::size_t>(state_->people().size(), 10)));

        // Who waits: the ranking over every thread, spam left out.
        std::vector<dovrel::ContactThread> all;
        for (const auto& [handle, thread] : state_->threadsByHandle()) {
            all.push_back(thread);
        }
        std::vector<dovrel::PriorityInbox::Item> items =
            dovrel::PriorityInbox::candidates(all, dovrel::Date::fromUnix(TestHome::nowUnix), 8);
        QVERIFY(!items.empty());
        const Output waiting = run("unanswered", "{}");
        QCOMPARE(qs(waiting.status), qs(std::string("Checked who's waiting on you.")));
        const QStringList waitingLines = lines(waiting.result);
        QCOMPARE(static_cast<std::size_t>(waitingLines.size()), items.size());
        for (std::size_t i = 0; i < items.size(); ++i) {
            const QString line = waitingLines[static_cast<qsizetype>(i)];
            QVERIFY2(line.startsWith(
                         QString::fromStdString(state_->name(items[i].handleID, items[i].displayName)) +
                         QStringLiteral(" \u2014 waiting %1h, last: \"")
                             .arg(static_cast<int>(items[i].waitingHours))),
                     qPrintable(line));
            QVERIFY(!line.mid(line.indexOf(QStringLiteral("last: "))).contains(QLatin1Char('\n')));
        }

        QCOMPARE(run("frobnicate", "{}"), (Output{"Tool skipped.", "Unknown tool frobnicate."}));
        QCOMPARE(run("search", "{\"terms\":\"a\",\"limit\":\"5\"}"),
                 (Output{"Tool skipped.", "Malformed tool input."}));
        QCOMPARE(run("search", "[1]"), (Output{"Tool skipped.", "Malformed tool input."}));
        state_.reset();
        QCOMPARE(engine_->execute({"t", "overview", "{}"}, std::nullopt),
                 (Output{"Tool skipped.", "App state unavailable."}));
    }

    // Group tools answer "still loading" until the load has finished, then read the groups.
    void groupToolsWaitForTheLoad() {
        const Output loading{"Reading your group chats\u2026",
                             "Group data is still loading \u2014 call this tool again."};
        QSignalSpy loaded(state_->insights(), &murmora::Insights::groupsChanged);
        QCOMPARE(run("groups", "{}"), loading);
        QVERIFY(state_->insights()->groupsLoading());
        QCOMPARE(run("search", "{\"terms\":\"a\",\"group\":\"x\"}"), loading);
        QCOMPARE(run("group_stats", "{\"group\":\"x\"}"), loading);
        QVERIFY(loaded.wait(30000));
        QVERIFY(!state_->insights()->groups().empty());
        const dovrel::Date now = dovrel::Date::fromUnix(TestHome::nowUnix);

        const Output groups = run("groups", "{}");
        QCOMPARE(qs(groups.status), qs(std::string("Pulled your group chats.")));
        const QStringList groupLines = lines(groups.result);
        QCOMPARE(static_cast<std::size_t>(groupLines.size()),
                 std::min<std::size_t>(state_->insights()->groups().size(), 10));
        for (qsizetype i = 0; i < groupLines.size(); ++i) {
            const dovrel::GroupThread& group = state_->insights()->groups()[static_cast<std::size_t>(i)];
            QVERIFY2(groupLines[i].startsWith(
                         QString::fromStdString(state_->insights()->groupName(group)) +
                         QStringLiteral(" \u2014 %1 people, %2 msgs, last active %3")
                             .arg(group.participants.size() + 1)
                             .arg(group.messages.size())
                             .arg(qs(dovrel::PeopleView::shortAgo(now - group.messages.back().date)))),
                     qPrintable(groupLines[i]));
        }

        const dovrel::GroupThread& group = state_->insights()->groups().front();
        const std::string title = state_->insights()->groupName(group);
        const Output story = run(
            "group_stats", "{\"group\":\"" + QString::fromStdString(title).toUpper().toStdString() + "\"}");
        QCOMPARE(qs(story.status), qs("Pulled the story of " + title + "."));
        const QStringList storyLines = lines(story.result);
        QCOMPARE(storyLines[0], QString::fromStdString(title) + QStringLiteral(": %1 people, %2 messages")
                                                                    .arg(group.participants.size() + 1)
                                                                    .arg(group.messages.size()));
        QCOMPARE(storyLines[1],
                 qs("last active " + dovrel::PeopleView::shortAgo(now - group.messages.back().date)));
        QVERIFY(storyLines[2].startsWith(QStringLiteral("my role: The ")));
        QCOMPARE(storyLines[3],
                 QStringLiteral("members (share of messages, laughs earned, conversations started):"));
        std::map<QString, int> perMonth;
        for (const dovrel::GroupMessage& message : group.messages) {
            ++perMonth[month(message.date)];
        }
        QStringList pulse;
        for (const auto& [name, n] : perMonth) {
            pulse.append(QStringLiteral("%1: %2").arg(name).arg(n));
        }
        QCOMPARE(storyLines.last(),
                 QStringLiteral("messages per month: ") +
                     pulse.mid(std::max<qsizetype>(0, pulse.size() - 6)).join(QStringLiteral(", ")));
        QCOMPARE(run("group_stats", "{\"group\":\"Zzyzx\"}"),
                 (Output{"Looked up a group.", "No group found matching Zzyzx."}));

        // The group search stops at the first match when the limit is 0, and ignores `from`.
        const dovrel::GroupMessage& newest = group.messages.back();
        const std::string term = QString::fromStdString(newest.text).left(12).trimmed().toStdString();
        const Output one = run("search", "{\"terms\":\"" + term + "\",\"group\":\"" + title +
                                             "\",\"from\":\"me\",\"limit\":0}");
        QCOMPARE(qs(one.status),
                 qs("Searched " + title + " for \u201C" + term + "\u201D \u2014 1 matches sent securely."));
        QVERIFY2(lines(one.result).first().startsWith(day(newest.date)), one.result.c_str());

        const Output sample = run("sample", "{\"group\":\"" + title + "\",\"limit\":5}");
        QCOMPARE(qs(sample.status), qs("Read the last 5 messages in " + title + " \u2014 sent securely."));
        const QStringList sampled = lines(sample.result);
        QCOMPARE(sampled.size(), 5);
        const QString lastWho =
            newest.senderHandle
                ? QString::fromStdString(state_->name(*newest.senderHandle)).section(QLatin1Char(' '), 0, 0)
                : QStringLiteral("me");
        QCOMPARE(sampled.last().section(QStringLiteral(": "), 0, 0),
                 day(newest.date) + QStringLiteral(" \u00B7 ") + lastWho);

        const Output window = run("window", "{\"group\":\"" + title + "\",\"around\":\"" +
                                                day(newest.date).toStdString() + "\"}");
        QCOMPARE(qs(window.status), qs("Read " + title + " around " + day(newest.date).toStdString() +
                                       " \u2014 sent securely."));
        QCOMPARE(lines(window.result).size(),
                 static_cast<qsizetype>(std::min<std::size_t>(group.messages.size(), 30)));
        QVERIFY(lines(window.result).last().startsWith(day(newest.date)));

        // A member's name finds the first group they are in, when no title holds it.
        for (const dovrel::GroupThread& each : state_->insights()->groups()) {
            for (const std::string& handle : each.participants) {
                const std::string member = state_->name(handle);
                const bool inTitle =
                    std::any_of(state_->insights()->groups().begin(), state_->insights()->groups().end(), [&](const auto& g) {
                        return QString::fromStdString(state_->insights()->groupName(g))
                            .contains(QString::fromStdString(member), Qt::CaseInsensitive);
                    });
                if (member == handle || inTitle) {
                    continue;
                }
                const auto first =
                    std::find_if(state_->insights()->groups().begin(), state_->insights()->groups().end(), [&](const auto& g) {
                        return std::any_of(
                            g.participants.begin(), g.participants.end(), [&](const std::string& h) {
                                return QString::fromStdString(state_->name(h))
                                    .contains(QString::fromStdString(member), Qt::CaseInsensitive);
                            });
                    });
                QCOMPARE(engine_->findGroup(member), &*first);
                QCOMPARE(qs(run("group_stats", "{\"group\":\"" + member + "\"}").status),
                         qs("Pulled the story of " + state_->insights()->groupName(*first) + "."));
                return;
            }
        }
        QFAIL("no member without a title of their own");
    }

    // The system prompt: the person prompt with the thread's last 100 messages and both memories, else the
    // general prompt; the tool protocol only when there is no relay.
    void systemPromptsGatherFromTheState() {
        const dovrel::PersonInsights& top = state_->people().front();
        const std::string name = state_->name(top.handleID, top.displayName);
        const dovrel::ContactThread& thread = state_->threadsByHandle().at(top.handleID);
        const auto entry = [](std::string text) {
            return dovrel::MemoryEntry{"00000000-0000-0000-0000-000000000001",
                                       dovrel::MemoryEntry::Kind::fact, std::move(text), dovrel::Date{0},
                                       false};
        };
        state_->coachStore()->setMemory("", {entry("I hate phone calls")});
        state_->coachStore()->setMemory(top.handleID, {entry("We met at school")});
        QTRY_VERIFY_WITH_TIMEOUT(!state_->insights()->proactive().empty(), 30000);

        const std::optional<std::string> person = engine_->buildSystem(top);
        QVERIFY(person.has_value());
        QVERIFY(person->find("We are working on my texting relationship with " + name + ".") !=
                std::string::npos);
        const std::size_t general = person->find("I hate phone calls");
        const std::size_t own = person->find("We met at school");
        QVERIFY(general != std::string::npos && own != std::string::npos && general < own);
        const QString recent = qs(person->substr(person->find("Our recent messages (oldest first):\n")));
        const QRegularExpression opener(
            QStringLiteral("\n\\[[^\\]\n]+ \u00B7 (me|%1)\\] ").arg(QRegularExpression::escape(qs(name))));
        QCOMPARE(recent.count(opener),
                 static_cast<qsizetype>(std::min<std::size_t>(thread.messages.size(), 100)));
        QVERIFY(person->ends_with(thread.messages.back().text));
        QVERIFY(person->find("```tool") != std::string::npos);

        for (const std::optional<dovrel::PersonInsights>& nobody :
             {std::optional<dovrel::PersonInsights>{},
              std::optional(dovrel::PersonInsights{"+19999999999", {}, {}, {}, {}, 0.5})}) {
            const std::optional<std::string> prompt = engine_->buildSystem(nobody);
            QVERIFY(prompt.has_value());
            QVERIFY(prompt->find("No single conversation is loaded") != std::string::npos);
            QVERIFY(prompt->find("I hate phone calls") != std::string::npos);
            QVERIFY(prompt->find("We met at school") == std::string::npos);
            QVERIFY(prompt->find(state_->insights()->proactive().front().text) != std::string::npos);
            QVERIFY(prompt->find(
                        "My overall stats (last year): " + std::to_string(state_->stats()->totalMessages) +
                        " messages") != std::string::npos);
        }

        qputenv("MURMORA_RELAY_URL", "https://relay.example.com");
        qputenv("MURMORA_RELAY_SECRET", "secret");
        QVERIFY(engine_->buildSystem(top)->find("```tool") == std::string::npos);
        QVERIFY(engine_->buildSystem(std::nullopt)->find("```tool") == std::string::npos);

        state_.reset();
        QCOMPARE(engine_->buildSystem(std::nullopt), std::nullopt);
    }

private:
    Output run(const std::string& tool, const std::string& input,
               const std::optional<dovrel::PersonInsights>& person = std::nullopt) {
        return engine_->execute(dovrel::Agent::ToolUse{"toolu_1", tool, input}, person);
    }

    std::unique_ptr<TestHome> home_;
    std::unique_ptr<AppState> state_;
    std::unique_ptr<CoachEngine> engine_;
};

QTEST_MAIN(CoachToolsTest)
#include "CoachToolsTest.moc"
