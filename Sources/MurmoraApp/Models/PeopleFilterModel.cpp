#include "Models/PeopleFilterModel.h"

#include "Models/PeopleModel.h"

#include <QDateTime>
#include <limits>
#include <string_view>
#include <unicode/coll.h>
#include <unicode/stsearch.h>
#include <unicode/tblcoll.h>

namespace murmora {
namespace {

// The user's locale. The POSIX locale of a bare C environment orders every capital before every small letter,
// which would make the search case-sensitive; the root locale stands in for it.
icu::Locale searchLocale() {
    const icu::Locale& locale = icu::Locale::getDefault();
    if (std::string_view(locale.getVariant()) == "POSIX" || std::string_view(locale.getLanguage()) == "c") {
        return icu::Locale::getRoot();
    }
    return locale;
}

} // namespace

// Finds the query inside a text by collation at primary strength, so "jose" matches "José" and "ZOE" "Zoë".
// One search object serves every row; only its text changes. The search reads the buffers of the pattern and
// text it is given rather than copies, so both live here as long as it does.
class PeopleFilterModel::Matcher {
public:
    explicit Matcher(const QString& query)
        : pattern_(reinterpret_cast<const char16_t*>(query.utf16()), static_cast<int32_t>(query.size()))
        , text_(u" ")
        , folded_(query.toCaseFolded()) {
        UErrorCode status = U_ZERO_ERROR;
        collator_.reset(icu::Collator::createInstance(searchLocale(), status));
        if (U_FAILURE(status) || !collator_) {
            return;
        }
        collator_->setStrength(icu::Collator::PRIMARY);
        auto* rules = dynamic_cast<icu::RuleBasedCollator*>(collator_.get());
        if (rules == nullptr) {
            return;
        }
        search_ = std::make_unique<icu::StringSearch>(pattern_, text_, rules, nullptr, status);
        if (U_FAILURE(status)) {
            search_.reset();
        }
    }

    bool matches(const QString& text) const {
        if (text.isEmpty()) {
            return false;
        }
        if (!search_) {
            return text.toCaseFolded().contains(folded_);
        }
        UErrorCode status = U_ZERO_ERROR;
        text_.setTo(reinterpret_cast<const char16_t*>(text.utf16()), static_cast<int32_t>(text.size()));
        search_->setText(text_, status);
        if (U_FAILURE(status)) {
            return text.toCaseFolded().contains(folded_);
        }
        return search_->first(status) != USEARCH_DONE && U_SUCCESS(status);
    }

private:
    icu::UnicodeString pattern_;
    mutable icu::UnicodeString text_;
    QString folded_;
    std::unique_ptr<icu::Collator> collator_;
    std::unique_ptr<icu::StringSearch> search_;
};

PeopleFilterModel::PeopleFilterModel(QObject* parent)
    : QSortFilterProxyModel(parent) {
    setDynamicSortFilter(true);
    sort(0);
}

PeopleFilterModel::~PeopleFilterModel() = default;

void PeopleFilterModel::setQuery(const QString& query) {
    if (query_ == query) {
        return;
    }
    query_ = query;
    matcher_ = query.isEmpty() ? nullptr : std::make_unique<Matcher>(query);
    invalidateFilter();
    emit queryChanged();
}

void PeopleFilterModel::setSortMode(SortMode mode) {
    if (sortMode_ == mode) {
        return;
    }
    sortMode_ = mode;
    invalidate();
    emit sortModeChanged();
}

bool PeopleFilterModel::filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const {
    if (!matcher_) {
        return true;
    }
    const QModelIndex row = sourceModel()->index(sourceRow, 0, sourceParent);
    return matcher_->matches(row.data(PeopleModel::NameRole).toString()) ||
           matcher_->matches(row.data(PeopleModel::HandleIDRole).toString());
}

bool PeopleFilterModel::lessThan(const QModelIndex& left, const QModelIndex& right) const {
    // Every order falls back to the source's, which is by message volume.
    const auto byVolume = [&] { return left.row() < right.row(); };
    const auto byRecent = [&] {
        const QDateTime a = left.data(PeopleModel::LastDateRole).toDateTime();
        const QDateTime b = right.data(PeopleModel::LastDateRole).toDateTime();
        return a != b ? a > b : byVolume();
    };
    switch (sortMode_) {
    case SortMode::Volume:
        return byVolume();
    case SortMode::Recent:
        return byRecent();
    case SortMode::Attention: {
        const auto rank = [](const QModelIndex& index) {
            const int attention = index.data(PeopleModel::AttentionRole).toInt();
            return attention < 0 ? std::numeric_limits<int>::max() : attention;
        };
        const int a = rank(left);
        const int b = rank(right);
        return a != b ? a < b : byRecent();
    }
    }
    return byVolume();
}

} // namespace murmora
