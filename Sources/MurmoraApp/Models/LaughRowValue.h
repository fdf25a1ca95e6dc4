#pragma once

#ifndef Q_MOC_RUN
#include "Output/LaughRows.h"
#endif

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

namespace murmora {

// One way of laughing, with its share of all laughs and of the most used one.
class LaughRowValue {
    Q_GADGET
    QML_VALUE_TYPE(laughRow)

    Q_PROPERTY(QString label MEMBER label CONSTANT)
    Q_PROPERTY(int count MEMBER count CONSTANT)
    Q_PROPERTY(int percentOfAll MEMBER percentOfAll CONSTANT)
    Q_PROPERTY(int percentOfTop MEMBER percentOfTop CONSTANT)

public:
    LaughRowValue() = default;
    explicit LaughRowValue(const dovrel::LaughRow& row)
        : label(QString::fromStdString(row.label))
        , count(row.count)
        , percentOfAll(row.percentOfAll)
        , percentOfTop(row.percentOfTop) {}

    QString label;
    int count = 0;
    int percentOfAll = 0;
    int percentOfTop = 0;
};

} // namespace murmora
