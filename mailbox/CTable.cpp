#include "mailbox/CTable.h"

#include <algorithm>
#include <numeric>

#include "mailbox/buffers.h"
#include "mailbox/CPropObject.h"
#include "mailbox/restriction.h"
#include "mailbox/text.h"

namespace mailbox {

namespace {

/// What a row sorts by in one column: nothing, or a value that compares by type.
struct TSortKey {
    bool isThere = false;
    ULONG type = PT_UNSPECIFIED;
    std::string bytes;
};

TSortKey MakeSortKey(const CPropertySource& source, ULONG tag) {
    CScratch scratch;
    TView view;
    if (!source.Get(PROP_ID(tag), view, scratch) || view.type == PT_ERROR) return {};
    if (view.type != PT_UNICODE && view.type != PT_STRING8) return {true, view.type, std::string(view.bytes)};
    const std::wstring text = ToWide(Converted(view, PT_UNICODE, scratch).bytes);
    const int length = static_cast<int>(text.size());
    const DWORD how = LCMAP_SORTKEY | NORM_IGNORECASE;
    const int size =
        length == 0 ? 0 : LCMapStringW(LOCALE_USER_DEFAULT, how, text.data(), length, nullptr, 0);
    TSortKey key{true, PT_BINARY, std::string(static_cast<size_t>(size), '\0')};
    if (size != 0)
        LCMapStringW(LOCALE_USER_DEFAULT, how, text.data(), length,
                     reinterpret_cast<wchar_t*>(key.bytes.data()), size);
    return key;
}

/// Rows without the property come first.
int Compare(const TSortKey& left, const TSortKey& right) {
    if (left.isThere != right.isThere) return left.isThere ? 1 : -1;
    if (left.type != right.type) return left.type < right.type ? -1 : 1;
    return left.isThere ? CompareViews({left.type, left.bytes}, {right.type, right.bytes}) : 0;
}

class CTable final : public CComObject<IMAPITable, okTable> {
  public:
    CTable(std::shared_ptr<CDatabase> database, std::unique_ptr<CRows> rows, std::vector<ULONG> columns,
           bool wide)
        : m_database(std::move(database)),
          m_rows(std::move(rows)),
          m_columns(columns),
          m_defaultColumns(std::move(columns)),
          m_bWide(wide) {
        ShowAll();
    }

    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, MAPIERROR** error) override {
        if (error == nullptr) return MAPI_E_INVALID_PARAMETER;
        *error = nullptr;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Advise(ULONG, IMAPIAdviseSink*, ULONG*) override {
        return Unsupported("IMAPITable::Advise");
    }
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG) override { return Unsupported("IMAPITable::Unadvise"); }

    HRESULT STDMETHODCALLTYPE GetStatus(ULONG* status, ULONG* type) override {
        if (status == nullptr || type == nullptr) return MAPI_E_INVALID_PARAMETER;
        return Call({"IMAPITable::GetStatus"}, [&] {
            *status = TBLSTAT_COMPLETE;
            *type = TBLTYPE_SNAPSHOT;
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE SetColumns(SPropTagArray* tags, ULONG) override {
        if (tags == nullptr || tags->cValues == 0) return MAPI_E_INVALID_PARAMETER;
        return Call({"IMAPITable::SetColumns", {}, tags->aulPropTag, tags->cValues}, [&] {
            m_columns.assign(tags->aulPropTag, tags->aulPropTag + tags->cValues);
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE QueryColumns(ULONG flags, SPropTagArray** tags) override {
        if (tags == nullptr) return MAPI_E_INVALID_PARAMETER;
        *tags = nullptr;
        return Call({"IMAPITable::QueryColumns"}, [&] {
            const std::vector<ULONG>& columns = (flags & TBL_ALL_COLUMNS) != 0 ? m_defaultColumns : m_columns;
            auto* out = static_cast<SPropTagArray*>(NewBuffer(CbNewSPropTagArray(columns.size())));
            if (out == nullptr) return MAPI_E_NOT_ENOUGH_MEMORY;
            out->cValues = static_cast<ULONG>(columns.size());
            std::ranges::copy(columns, out->aulPropTag);
            *tags = out;
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE GetRowCount(ULONG, ULONG* count) override {
        if (count == nullptr) return MAPI_E_INVALID_PARAMETER;
        *count = 0;
        return Call({"IMAPITable::GetRowCount"}, [&] {
            *count = static_cast<ULONG>(m_shown.size());
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE SeekRow(BOOKMARK origin, LONG count, LONG* sought) override {
        if (sought != nullptr) *sought = 0;
        return Call({"IMAPITable::SeekRow"}, [&] {
            size_t from = 0;
            if (!PositionOf(origin, from)) return MAPI_E_INVALID_BOOKMARK;
            const long long last = static_cast<long long>(m_shown.size());
            const long long target = std::clamp(static_cast<long long>(from) + count, 0LL, last);
            m_nPosition = static_cast<size_t>(target);
            if (sought != nullptr) *sought = static_cast<LONG>(target - static_cast<long long>(from));
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE SeekRowApprox(ULONG numerator, ULONG denominator) override {
        if (denominator == 0) return MAPI_E_INVALID_PARAMETER;
        return Call({"IMAPITable::SeekRowApprox"}, [&] {
            const unsigned long long place =
                m_shown.size() * static_cast<unsigned long long>(numerator) / denominator;
            m_nPosition = std::min<size_t>(m_shown.size(), static_cast<size_t>(place));
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE QueryPosition(ULONG* row, ULONG* numerator, ULONG* denominator) override {
        if (row == nullptr || numerator == nullptr || denominator == nullptr) return MAPI_E_INVALID_PARAMETER;
        return Call({"IMAPITable::QueryPosition"}, [&] {
            *row = *numerator = static_cast<ULONG>(m_nPosition);
            *denominator = std::max<ULONG>(1, static_cast<ULONG>(m_shown.size()));
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE FindRow(SRestriction* restriction, BOOKMARK origin, ULONG flags) override {
        if (restriction == nullptr) return MAPI_E_INVALID_PARAMETER;
        return Call({"IMAPITable::FindRow"}, [&] {
            const HRESULT hr = CheckRestriction(*restriction);
            if (hr != S_OK) return hr;
            size_t from = 0;
            if (!PositionOf(origin, from)) return MAPI_E_INVALID_BOOKMARK;
            const bool backward = (flags & DIR_BACKWARD) != 0;
            // Backward, the search begins with the row in front of the origin.
            for (size_t row = from; backward ? row-- > 0 : row < m_shown.size(); row += backward ? 0 : 1) {
                if (!Matches(m_rows->Row(m_shown[row]), *restriction)) continue;
                m_nPosition = row;
                return S_OK;
            }
            return MAPI_E_NOT_FOUND;
        });
    }

    HRESULT STDMETHODCALLTYPE Restrict(SRestriction* restriction, ULONG) override {
        return Call({"IMAPITable::Restrict"}, [&] {
            const HRESULT hr = restriction != nullptr ? CheckRestriction(*restriction) : S_OK;
            if (hr != S_OK) return hr;
            ShowAll();
            if (restriction != nullptr)
                std::erase_if(m_shown, [&](size_t row) { return !Matches(m_rows->Row(row), *restriction); });
            if (!m_sort.empty()) Sort();
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE CreateBookmark(BOOKMARK* bookmark) override {
        if (bookmark == nullptr) return MAPI_E_INVALID_PARAMETER;
        return Call({"IMAPITable::CreateBookmark"}, [&] {
            m_bookmarks.push_back(m_nPosition);
            *bookmark = static_cast<BOOKMARK>(m_bookmarks.size() - 1) + kFirstBookmark;
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE FreeBookmark(BOOKMARK bookmark) override {
        return Call({"IMAPITable::FreeBookmark"}, [&] {
            size_t position = 0;
            if (!PositionOf(bookmark, position)) return MAPI_E_INVALID_BOOKMARK;
            if (bookmark >= kFirstBookmark) m_bookmarks[bookmark - kFirstBookmark] = kFreedBookmark;
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE SortTable(SSortOrderSet* order, ULONG) override {
        if (order == nullptr) return MAPI_E_INVALID_PARAMETER;
        return Call({"IMAPITable::SortTable"}, [&] {
            if (order->cCategories != 0 || order->cExpanded != 0) return MAPI_E_TOO_COMPLEX;
            for (ULONG index = 0; index < order->cSorts; ++index)
                if ((PROP_TYPE(order->aSort[index].ulPropTag) & MV_FLAG) != 0 ||
                    order->aSort[index].ulOrder > TABLE_SORT_DESCEND)
                    return MAPI_E_TOO_COMPLEX;
            m_sort.assign(order->aSort, order->aSort + order->cSorts);
            // The snapshot's own order comes back first: without sort keys it is the order.
            std::ranges::sort(m_shown);
            Sort();
            ForgetPositions();
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE QuerySortOrder(SSortOrderSet** order) override {
        if (order == nullptr) return MAPI_E_INVALID_PARAMETER;
        *order = nullptr;
        return Call({"IMAPITable::QuerySortOrder"}, [&] {
            auto* out = static_cast<SSortOrderSet*>(NewBuffer(CbNewSSortOrderSet(m_sort.size())));
            if (out == nullptr) return MAPI_E_NOT_ENOUGH_MEMORY;
            out->cSorts = static_cast<ULONG>(m_sort.size());
            out->cCategories = out->cExpanded = 0;
            std::ranges::copy(m_sort, out->aSort);
            *order = out;
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE QueryRows(LONG count, ULONG flags, SRowSet** rows) override {
        if (rows == nullptr) return MAPI_E_INVALID_PARAMETER;
        *rows = nullptr;
        return Call({"IMAPITable::QueryRows"}, [&] {
            size_t first = m_nPosition;
            size_t taken = 0;
            // A negative count asks for the rows in front of the position.
            if (count >= 0) {
                taken = std::min<size_t>(static_cast<size_t>(count), m_shown.size() - m_nPosition);
            } else {
                taken = std::min<size_t>(static_cast<size_t>(-static_cast<long long>(count)), m_nPosition);
                first = m_nPosition - taken;
            }
            if (g_striking != nullptr && g_striking->limit)
                taken = std::min<size_t>(taken, *g_striking->limit);
            const HRESULT hr = GiveRows(first, taken, rows);
            if (hr == S_OK && (flags & TBL_NOADVANCE) == 0) m_nPosition = count >= 0 ? first + taken : first;
            return hr;
        });
    }

    HRESULT STDMETHODCALLTYPE Abort() override {
        return Call({"IMAPITable::Abort"}, [] { return S_OK; });
    }
    HRESULT STDMETHODCALLTYPE ExpandRow(ULONG, BYTE*, ULONG, ULONG, SRowSet** rows, ULONG*) override {
        if (rows != nullptr) *rows = nullptr;
        return Unsupported("IMAPITable::ExpandRow");
    }
    HRESULT STDMETHODCALLTYPE CollapseRow(ULONG, BYTE*, ULONG, ULONG*) override {
        return Unsupported("IMAPITable::CollapseRow");
    }
    HRESULT STDMETHODCALLTYPE WaitForCompletion(ULONG, ULONG, ULONG* status) override {
        return Call({"IMAPITable::WaitForCompletion"}, [&] {
            if (status != nullptr) *status = TBLSTAT_COMPLETE;
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE GetCollapseState(ULONG, ULONG, BYTE*, ULONG*, BYTE** state) override {
        if (state != nullptr) *state = nullptr;
        return Unsupported("IMAPITable::GetCollapseState");
    }
    HRESULT STDMETHODCALLTYPE SetCollapseState(ULONG, ULONG, BYTE*, BOOKMARK*) override {
        return Unsupported("IMAPITable::SetCollapseState");
    }

  protected:
    bool Implements(REFIID iid) const override { return iid == IID_IMAPITable; }

  private:
    static constexpr BOOKMARK kFirstBookmark = BOOKMARK_END + 1;
    static constexpr size_t kFreedBookmark = SIZE_MAX;

    void ShowAll() {
        m_shown.resize(m_rows->Count());
        std::iota(m_shown.begin(), m_shown.end(), size_t{0});
        ForgetPositions();
    }

    /// Positions mean nothing any more when other rows are shown or their order changes.
    void ForgetPositions() {
        m_nPosition = 0;
        std::ranges::fill(m_bookmarks, kFreedBookmark);
    }

    void Sort() {
        const size_t columns = m_sort.size();
        std::vector<TSortKey> keys(m_rows->Count() * columns);
        for (const size_t row : m_shown)
            for (size_t column = 0; column < columns; ++column)
                keys[row * columns + column] = MakeSortKey(m_rows->Row(row), m_sort[column].ulPropTag);
        std::ranges::stable_sort(m_shown, [&](size_t left, size_t right) {
            for (size_t column = 0; column < columns; ++column) {
                const int order = Compare(keys[left * columns + column], keys[right * columns + column]);
                if (order != 0) return m_sort[column].ulOrder == TABLE_SORT_DESCEND ? order > 0 : order < 0;
            }
            return false;
        });
    }

    bool PositionOf(BOOKMARK bookmark, size_t& position) const {
        if (bookmark == BOOKMARK_BEGINNING)
            position = 0;
        else if (bookmark == BOOKMARK_CURRENT)
            position = m_nPosition;
        else if (bookmark == BOOKMARK_END)
            position = m_shown.size();
        else if (bookmark - kFirstBookmark < m_bookmarks.size())
            position = m_bookmarks[bookmark - kFirstBookmark];
        else
            return false;
        return position != kFreedBookmark;
    }

    HRESULT GiveRows(size_t first, size_t count, SRowSet** rows) {
        auto* out = static_cast<SRowSet*>(NewBuffer(CbNewSRowSet(count)));
        if (out == nullptr) return MAPI_E_NOT_ENOUGH_MEMORY;
        out->cRows = 0;
        for (size_t row = 0; row < count; ++row) {
            SRow& target = out->aRow[row];
            target = {};
            // Errors in single values are usual in tables and no warning of the call.
            const HRESULT hr =
                ReadValues(m_rows->Row(m_shown[first + row]), m_columns.data(),
                           static_cast<ULONG>(m_columns.size()), m_bWide, &target.cValues, &target.lpProps);
            if (FAILED(hr)) {
                FreeRows(out);
                return hr;
            }
            out->cRows = static_cast<ULONG>(row + 1);
        }
        *rows = out;
        return S_OK;
    }

    std::shared_ptr<CDatabase> m_database;
    std::unique_ptr<CRows> m_rows;
    std::vector<ULONG> m_columns;
    std::vector<ULONG> m_defaultColumns;
    bool m_bWide;
    /// Indices of the rows that pass the restriction, in order.
    std::vector<size_t> m_shown;
    std::vector<SSortOrder> m_sort;
    std::vector<size_t> m_bookmarks;
    size_t m_nPosition = 0;
};

}  // namespace

IMAPITable* NewTable(std::shared_ptr<CDatabase> database, std::unique_ptr<CRows> rows,
                     std::vector<ULONG> columns, bool wide) {
    return new CTable(std::move(database), std::move(rows), std::move(columns), wide);
}

}  // namespace mailbox
