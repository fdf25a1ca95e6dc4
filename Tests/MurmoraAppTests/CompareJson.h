#pragma once

#include <QTest>
#include <nlohmann/json.hpp>

// QCOMPARE cannot take JSON values; this shows both sides when they differ.
#define COMPARE_JSON(actual, expected)                                                                       \
    do {                                                                                                     \
        const nlohmann::json actualJson = (actual);                                                          \
        const nlohmann::json expectedJson = (expected);                                                      \
        QVERIFY2(actualJson == expectedJson, (actualJson.dump() + "\n  != " + expectedJson.dump()).c_str()); \
    } while (false)
