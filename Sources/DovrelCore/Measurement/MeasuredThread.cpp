#include "Measurement/MeasuredThread.h"

#include <atomic>
#include <exception>
#include <thread>

namespace dovrel {

MeasuredThread measure(const ContactThread& thread, const Calendar& calendar,
                       std::optional<DateInterval> scope) {
    MeasuredThread result;
    result.thread = &thread;
    result.scope = scope;
    const std::size_t count = thread.messages.size();
    result.times.resize(count);
    result.texts.resize(count);
    result.emojiStart.reserve(count + 1);
    LocalClock clock(calendar);
    for (std::size_t i = 0; i < count; ++i) {
        result.emojiStart.push_back(static_cast<std::uint32_t>(result.emojis.size()));
        const RawMessage& message = thread.messages[i];
        if (!result.measured(i)) {
            continue;
        }
        result.times[i] = clock.at(message.date);
        if (message.isFromMe) {
            result.texts[i] = TextStyle::features(message.text, result.emojis);
        }
    }
    result.emojiStart.push_back(static_cast<std::uint32_t>(result.emojis.size()));
    return result;
}

std::vector<MeasuredThread> measureThreads(std::span<const ContactThread> threads, const Calendar& calendar,
                                           unsigned workers) {
    std::vector<MeasuredThread> results(threads.size());
    if (workers <= 1 || threads.size() < 2) {
        for (std::size_t i = 0; i < threads.size(); ++i) {
            results[i] = measure(threads[i], calendar);
        }
        return results;
    }
    std::atomic<std::size_t> next{0};
    std::vector<std::exception_ptr> failures(workers);
    std::vector<std::thread> pool;
    pool.reserve(workers);
    for (unsigned w = 0; w < workers; ++w) {
        pool.emplace_back([&, w, own = calendar] {
            try {
                for (std::size_t i = next++; i < threads.size(); i = next++) {
                    results[i] = measure(threads[i], own);
                }
            } catch (...) {
                failures[w] = std::current_exception();
            }
        });
    }
    for (std::thread& worker : pool) {
        worker.join();
    }
    for (const std::exception_ptr& failure : failures) {
        if (failure) {
            std::rethrow_exception(failure);
        }
    }
    return results;
}

std::optional<double> myAverageLength(std::span<const MeasuredThread> threads) {
    TextStyle::Tally tally;
    for (const MeasuredThread& measured : threads) {
        const std::vector<RawMessage>& messages = measured.thread->messages;
        for (std::size_t i = 0; i < messages.size(); ++i) {
            if (messages[i].isFromMe && measured.measured(i)) {
                tally.add(measured.texts[i]);
            }
        }
    }
    return tally.averageLength();
}

} // namespace dovrel
