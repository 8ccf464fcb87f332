#pragma once
// Which properties agree among a handful of items: one row an item, one column a property definition.
//
// A cell's value is 0 when the property is empty on the item; otherwise it is 1 + the row of the first item
// whose value is equal to this one's, the item's own row included. Its size is the value's: characters,
// bytes, elements or 1, as the emptiness test counts, and bytes for a property that is read through a stream.
//
// Rows only grow. The first item that becomes a row decides which definitions take part: one whose named
// property it cannot resolve keeps its column, empty in all rows. Items of other stores are read by the tags that
// the names have there. An item that does not become a row leaves everything as it was.
//
// The session stays the caller's and has to outlive the matrix: rows keep values in the platform's buffers,
// and items are opened again to compare streams and attachments.

#include <memory>
#include <string>
#include <vector>

#include "compare/CDefinitions.h"
#include "compare/CTagArray.h"
#include "items/CDefinedTags.h"
#include "items/CItemReader.h"
#include "items/TItemValues.h"
#include "matrix/CAttachMatrix.h"
#include "matrix/attachment_list.h"
#include "store/resources.h"

namespace matrix {

/// Bits of the option word; the others mean nothing.
enum EMatrixOption : unsigned { moContentsUncompared = 1 };

class CCmpMatrix {
  public:
    CCmpMatrix() = default;
    CCmpMatrix(const CCmpMatrix&) = delete;
    CCmpMatrix& operator=(const CCmpMatrix&) = delete;
    virtual ~CCmpMatrix() = default;

    /// False, with an Error line, without a session or definitions.
    bool Create(IMAPISession* session, const TComparyProps* props, unsigned option);
    /// True when the item became a row.
    bool Add(const char* entryId, const char* storeId);

    int RowCount() const { return static_cast<int>(m_rows.size()); }
    int ColumnCount() const { return m_columns.definitions.Count(); }
    unsigned GetMatrixValue(int row, int column) const;
    unsigned GetMatrixValueLen(int row, int column) const;

    /// Arranges the attachments of all rows, photos apart. What cannot be opened again stands in a column of
    /// its own. The next row that is added drops the arrangement.
    void BuildAttachMatrix();
    /// As arranged last; null when there is no arrangement.
    const CAttachMatrix* Attachments() const { return m_pAttachMatrix.get(); }
    const CAttachMatrix* PhotoAttachments() const { return m_pPhotoAttachMatrix.get(); }

  private:
    struct TColumns {
        compare::CDefinitions definitions;
        items::CDefinedTags tags;
        compare::CTagArray plainTags;
        compare::CTagArray streamTags;
    };
    struct TCell {
        unsigned value = 0;
        unsigned size = 0;
    };
    struct TRow {
        std::string entryId;
        std::string storeId;
        size_t store = 0;            // by number
        items::TPlainValues values;  // in the order of the plain tags
        std::vector<TCell> cells;
        std::vector<TMatrixAttachment> attachments;
    };

    static bool PrepareColumns(IMessage* item, size_t store, TColumns& columns);
    bool ReadRow(TColumns& columns, TRow& row) const;
    static bool ReadValues(IMessage* item, TColumns& columns, TRow& row);
    bool FillCells(IMessage* item, const TColumns& columns, TRow& row) const;
    TCell PlainCell(const SPropValue* value, size_t column, ULONG position) const;
    TCell StreamCell(IMessage* item, const TColumns& columns, const TRow& row, size_t column) const;
    int FindValueEqual(const SPropValue* value, size_t column, ULONG position) const;
    int FindStreamEqual(IMessage* item, const TColumns& columns, const TRow& row, size_t column) const;
    TCell FilledCell(int equalRow, ULONG size) const;
    bool OpenRow(const char* routine, const TRow& row, store::ComPtr<IMessage>& item) const;
    const TCell* CellAt(const char* routine, int row, int column) const;

    const LCID m_locale = GetThreadLocale();  // that texts are compared by
    unsigned m_nOption = 0;
    IMAPISession* m_pSession = nullptr;
    // For the stores' numbers alone: an item is opened with its store, and by itself.
    items::CItemReader m_reader;
    TColumns m_columns;
    std::vector<TRow> m_rows;
    std::unique_ptr<CAttachMatrix> m_pAttachMatrix;
    std::unique_ptr<CAttachMatrix> m_pPhotoAttachMatrix;
};

}  // namespace matrix
