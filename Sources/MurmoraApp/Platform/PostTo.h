#pragma once

#include <QCoreApplication>
#include <QMetaObject>
#include <QPointer>
#include <utility>

namespace murmora {

// Runs `step` with the object on the GUI thread, unless the object is gone by then. Background work and
// future continuations end with this; they never touch a GUI-thread object themselves.
template <typename T, typename Step> void postTo(QPointer<T> target, Step step) {
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [target, step = std::move(step)]() mutable {
            if (target) {
                step(*target);
            }
        },
        Qt::QueuedConnection);
}

} // namespace murmora
