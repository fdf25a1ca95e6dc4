#include <QQmlComponent>
#include <QQmlEngine>
#include <QTest>

// The screens reach the shared formatters as the `Fmt` singleton: the same words as the core, a dash for a
// value with none, and dates from QML's own Date values.
class FmtTest : public QObject {
    Q_OBJECT

private slots:
    void formatsFromQml() {
        QQmlEngine engine;
        QQmlComponent component(&engine);
        component.setData(R"(import QtQuick
import Murmora
Item {
    property string text: [Fmt.thousands(12345), Fmt.replySpeed(5400), Fmt.clockTime(780), Fmt.hourLabel(0),
                           Fmt.percent(0.759), Fmt.replySpeed(NaN), Fmt.clockTime(1440),
                           Fmt.ratioChip(0.5, "faster than", "slower than", "your usual"),
                           Fmt.waitingLabel(48), Fmt.shortAgo(new Date(Date.now() - 7200 * 1000)),
                           Fmt.oneLine("a\nb", 9), Fmt.monthYear(new Date(2021, 2, 15))].join("|")
})",
                          QUrl());
        std::unique_ptr<QObject> object(component.create());
        QVERIFY2(object != nullptr, qPrintable(component.errorString()));
        QCOMPARE(object->property("text").toString(),
                 QStringLiteral("12,345|1.5 hours|1:00 PM|12am|75|\u2013|\u2013|50% faster than your usual|"
                                "waiting 2d|2h ago|a b|Mar 2021"));
    }
};

QTEST_MAIN(FmtTest)
#include "FmtTest.moc"
