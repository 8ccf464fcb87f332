#include "matrix/CCmpMatrix.h"

#include <utility>

#include "compare/CThreadLocale.h"
#include "compare/item_compare.h"
#include "compare/value_operations.h"
#include "items/CItemRequest.h"
#include "log/CLog.h"
#include "matrix/attachment_contents.h"
#include "store/attachments.h"
#include "store/checked_calls.h"
#include "store/sessions.h"
#include "store/streams.h"

namespace matrix {

using compare::CThreadLocale;
using items::CItemRequest;
using logging::g_Log;
using store::ComPtr;

namespace {

constexpr char kCreate[] = "CCmpMatrix.Create";
constexpr char kAdd[] = "CCmpMatrix.Add";
constexpr char kFindStreamEqual[] = "CCmpMatrix.FindStreamEqual";
constexpr char kBuildAttachMatrix[] = "CCmpMatrix.BuildAttachMatrix";
constexpr int kNotFound = -1;
constexpr unsigned kPlain = 0;
constexpr unsigned kStream = 1;

}  // namespace

bool CCmpMatrix::Create(IMAPISession* session, const TComparyProps* props, unsigned option) {
    const CThreadLocale locale(m_locale);
    if (!session || !props || props->n <= 0 || !props->lpProps) {
        g_Log.Error(kCreate, "Invalid Param(s)\n");
        return false;
    }
    m_nOption = option;
    m_pSession = session;
    for (int i = 0; i < props->n; ++i) {
        const TComparyProp& definition = props->lpProps[i];
        if (definition.nInterface > kStream) {
            g_Log.Error(kCreate, "Ignoring prop with not supported interface(%d)\n", definition.nInterface);
        } else {
            m_columns.definitions.Add(definition);
        }
    }
    return true;
}

bool CCmpMatrix::Add(const char* entryId, const char* storeId) {
    const CThreadLocale locale(m_locale);
    TRow row;
    row.entryId = base::OrEmpty(entryId);
    row.storeId = base::OrEmpty(storeId);
    row.store = m_reader.StoreOf(row.storeId.c_str()).number;
    // The first row's columns are prepared aside: an item that fails does not decide anything.
    TColumns columns;
    const bool first = m_rows.empty();
    if (first) columns = m_columns;
    if (!ReadRow(first ? columns : m_columns, row)) {
        g_Log.Warning(kAdd, "bad item - ignoring\n");
        return false;
    }
    m_rows.push_back(std::move(row));
    if (first) std::swap(m_columns, columns);
    m_pAttachMatrix.reset();
    m_pPhotoAttachMatrix.reset();
    return true;
}

bool CCmpMatrix::ReadRow(TColumns& columns, TRow& row) const {
    ComPtr<IMessage> item;
    if (!OpenRow(kAdd, row, item)) return false;
    if (m_rows.empty() && !PrepareColumns(item.Get(), row.store, columns)) return false;
    if (!ReadValues(item.Get(), columns, row) || !FillCells(item.Get(), columns, row)) return false;
    row.attachments = ListAttachments(kAdd, item.Get(), row.entryId.c_str());
    return true;
}

bool CCmpMatrix::OpenRow(const char* routine, const TRow& row, ComPtr<IMessage>& item) const {
    if (store::OpenItem(m_pSession, row.entryId.c_str(), row.storeId.c_str(), &item) == S_OK) return true;
    g_Log.Error(routine, "cant open message\n");
    return false;
}

// Names to tags, and tags to the lists that they are read by.
bool CCmpMatrix::PrepareColumns(IMessage* item, size_t store, TColumns& columns) {
    const TComparyProps list = columns.definitions.List();
    columns.tags.Resolve(item, store, list);
    for (int i = 0; i < list.n; ++i) {
        const TComparyProp& definition = list.lpProps[i];
        if (definition.ulPropTag == 0) {
            g_Log.ErrorW(kAdd, L"remove comparation by prop(key=%s,name=%s) from dublicate search\n",
                         compare::KeyOf(definition), compare::NameOf(definition));
        } else if (definition.nInterface == kPlain) {
            columns.plainTags.Append(definition.ulPropTag);
        } else if (definition.nInterface == kStream) {
            columns.streamTags.Append(definition.ulPropTag);
        } else {
            g_Log.ErrorW(kAdd, L"Invalid interface(%d) for propprop(key=%s, name=%s)\n",
                         definition.nInterface, compare::KeyOf(definition), compare::NameOf(definition));
        }
    }
    if (columns.plainTags.Count() + columns.streamTags.Count() > 0) return true;
    g_Log.Error(kAdd, "Number of props = 0\n");
    return false;
}

bool CCmpMatrix::ReadValues(IMessage* item, TColumns& columns, TRow& row) {
    HRESULT hr = columns.tags.Settle(item, row.store);
    if (hr != S_OK) {
        g_Log.Error(kAdd, "Quorvel_GetIDsFromNames returned 0x%x, EntryID = %s\n", static_cast<unsigned>(hr),
                    row.entryId.c_str());
        return false;
    }
    if (columns.plainTags.Count() == 0) return true;
    hr = CItemRequest(columns.tags, row.store, columns.plainTags).ReadPlain(item, row.values);
    if (store::IsReadSuccess(hr)) return true;
    g_Log.Error(kAdd, "Quorvel_GetPropValues returned 0x%x, EntryID = %s\n", static_cast<unsigned>(hr),
                row.entryId.c_str());
    return false;
}

bool CCmpMatrix::FillCells(IMessage* item, const TColumns& columns, TRow& row) const {
    row.cells.resize(static_cast<size_t>(columns.definitions.Count()));
    ULONG position = 0;  // among the plain values
    for (size_t column = 0; column < row.cells.size(); ++column) {
        const TComparyProp& definition = columns.definitions[static_cast<int>(column)];
        const ULONG tag = definition.ulPropTag;
        if (tag == 0) continue;
        if (definition.nInterface == kPlain) {
            const SPropValue* value = row.values.values + position;
            if (position >= row.values.cValues || PROP_ID(value->ulPropTag) != PROP_ID(tag)) {
                g_Log.ErrorW(kAdd, L"value for prop(%s) not found\n", compare::KeyOf(definition));
                return false;
            }
            row.cells[column] = PlainCell(value, column, position++);
        } else if (definition.nInterface == kStream) {
            row.cells[column] = StreamCell(item, columns, row, column);
        } else {
            g_Log.Error(kAdd, "Invalid interface(%d)\n", definition.nInterface);
        }
    }
    return true;
}

CCmpMatrix::TCell CCmpMatrix::PlainCell(const SPropValue* value, size_t column, ULONG position) const {
    int empty = 1;
    ULONG size = 0;
    if (!compare::IsEmptyValue(value, &empty, &size) || empty) return {};
    return FilledCell(FindValueEqual(value, column, position), size);
}

CCmpMatrix::TCell CCmpMatrix::StreamCell(IMessage* item, const TColumns& columns, const TRow& row,
                                         size_t column) const {
    const ULONG tag = columns.tags.TagIn(row.store, columns.definitions[static_cast<int>(column)].ulPropTag);
    int empty = 1;
    ULONG size = 0;
    if (tag == 0 || store::StreamPropEmpty(item, tag, &empty, &size) != S_OK || empty) return {};
    return FilledCell(FindStreamEqual(item, columns, row, column), size);
}

CCmpMatrix::TCell CCmpMatrix::FilledCell(int equalRow, ULONG size) const {
    return {static_cast<unsigned>(equalRow == kNotFound ? RowCount() : equalRow) + 1, size};
}

int CCmpMatrix::FindValueEqual(const SPropValue* value, size_t column, ULONG position) const {
    for (int row = 0; row < RowCount(); ++row) {
        const TRow& earlier = m_rows[static_cast<size_t>(row)];
        long result = 0;
        if (earlier.cells[column].value != 0 &&
            compare::ComparePropValues(value, earlier.values.values + position, &result, cmExact) &&
            result == 0) {
            return row;
        }
    }
    return kNotFound;
}

int CCmpMatrix::FindStreamEqual(IMessage* item, const TColumns& columns, const TRow& row,
                                size_t column) const {
    const ULONG canonical = columns.definitions[static_cast<int>(column)].ulPropTag;
    for (int index = 0; index < RowCount(); ++index) {
        const TRow& earlier = m_rows[static_cast<size_t>(index)];
        ComPtr<IMessage> candidate;
        if (earlier.cells[column].value == 0 || !OpenRow(kFindStreamEqual, earlier, candidate)) continue;
        long result = 0;
        bool bCmpWritten = false;
        const HRESULT hr =
            compare::CompareStreamProp(item, columns.tags.TagIn(row.store, canonical), candidate.Get(),
                                       columns.tags.TagIn(earlier.store, canonical), &result, &bCmpWritten);
        if (hr != S_OK || !bCmpWritten) {
            g_Log.Warning(kFindStreamEqual, "bCmpWritten = false\n");
        } else if (result == 0) {
            return index;
        }
    }
    return kNotFound;
}

const CCmpMatrix::TCell* CCmpMatrix::CellAt(const char* routine, int row, int column) const {
    if (row >= 0 && row < RowCount() && column >= 0 && column < ColumnCount()) {
        return &m_rows[static_cast<size_t>(row)].cells[static_cast<size_t>(column)];
    }
    g_Log.Error(routine, "out of bounds\n");
    return nullptr;
}

unsigned CCmpMatrix::GetMatrixValue(int row, int column) const {
    const TCell* cell = CellAt("CCmpMatrix::GetMatrixValue", row, column);
    return cell ? cell->value : 0;
}

unsigned CCmpMatrix::GetMatrixValueLen(int row, int column) const {
    const TCell* cell = CellAt("CCmpMatrix::GetMatrixValueLen", row, column);
    return cell ? cell->size : 0;
}

void CCmpMatrix::BuildAttachMatrix() {
    const CThreadLocale locale(m_locale);
    // Each item is opened once at most, and only when a content decides.
    struct TOpened {
        bool tried = false;
        ComPtr<IMessage> item;
    };
    std::vector<TOpened> opened(m_rows.size());
    const auto open = [&](const CAttachMatrix::TPlace& place, ComPtr<IAttach>& attachment) {
        TOpened& row = opened[static_cast<size_t>(place.row)];
        if (!row.tried) {
            row.tried = true;
            OpenRow(kBuildAttachMatrix, m_rows[static_cast<size_t>(place.row)], row.item);
        }
        return row.item &&
               store::OpenAttachment(row.item.Get(), place.attachment->number, &attachment) == S_OK;
    };
    const auto same = [&](const CAttachMatrix::TPlace& first, const CAttachMatrix::TPlace& second) {
        if (m_nOption & moContentsUncompared) return true;
        ComPtr<IAttach> attachment1, attachment2;
        return open(first, attachment1) && open(second, attachment2) &&
               SameContents(kBuildAttachMatrix, attachment1.Get(), attachment2.Get(),
                            first.attachment->method);
    };
    std::vector<const std::vector<TMatrixAttachment>*> rows;
    for (const TRow& row : m_rows) rows.push_back(&row.attachments);
    auto attachments = std::make_unique<CAttachMatrix>(rows, false, same);
    auto photos = std::make_unique<CAttachMatrix>(rows, true, same);
    m_pAttachMatrix = std::move(attachments);
    m_pPhotoAttachMatrix = std::move(photos);
}

}  // namespace matrix
