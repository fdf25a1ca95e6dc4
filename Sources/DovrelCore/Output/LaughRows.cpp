#include "Output/LaughRows.h"

#include "Format/Format.h"

#include <algorithm>

namespace dovrel {
namespace {

int percentOf(int part, int whole) {
    const double share = static_cast<double>(part) / static_cast<double>(whole);
    return static_cast<int>(Format::truncated(share * 100).value_or(0));
}

} // namespace

std::vector<LaughRow> laughRows(const LaughterProfile& laughter) {
    std::vector<LaughRow> rows;
    int total = 0;
    for (auto [label, count] : {std::pair<const char*, int>{"haha", laughter.hahaCount},
                                {"HAHAHA", laughter.capsHahaCount},
                                {"lol", laughter.lolCount},
                                {"\U0001F602", laughter.laughEmojiCount}}) {
        total += count;
        if (count > 0) {
            rows.push_back({label, count, 0, 0});
        }
    }
    std::stable_sort(rows.begin(), rows.end(),
                     [](const LaughRow& a, const LaughRow& b) { return a.count > b.count; });
    for (LaughRow& row : rows) {
        row.percentOfAll = percentOf(row.count, total);
        row.percentOfTop = percentOf(row.count, rows.front().count);
    }
    return rows;
}

} // namespace dovrel
