#pragma once
// The attachments of several items arranged into columns: two share a column when they are the same, and within
// one row an attachment fills one column only. What could not be read is the same as no other attachment. Columns
// stand in order of first appearance.
//
// Once arranged it does not change; the texts that it hands out live as long as it does.

#include <functional>
#include <string>
#include <vector>

#include "matrix/attachment_list.h"

namespace matrix {

class CAttachMatrix {
  public:
    /// An attachment and the row that it is in.
    struct TPlace {
        int row;
        const TMatrixAttachment* attachment;
    };
    /// Asked only about two attachments that agree in everything else.
    using SameContents = std::function<bool(const TPlace& first, const TPlace& second)>;

    /// rows: the attachments of each row, alive during the call. Photos are arranged by themselves, whatever
    /// their names; with photos false everything else is.
    CAttachMatrix(const std::vector<const std::vector<TMatrixAttachment>*>& rows, bool photos,
                  const SameContents& same);

    int Count() const { return static_cast<int>(m_columns.size()); }
    /// Columns that are filled in every row.
    int EqualCount() const;
    /// Name and size of a column; either output may be null. 0, with an Error line, outside.
    int Info(int column, const char** name, unsigned* size) const;
    int Info(int column, const wchar_t** name, unsigned* size) const;
    /// The attachment's number in the row's item; -1 where the row has none, and, with an Error line,
    /// outside; store::kUnknownAttachment where it has one whose number cannot be read.
    int Value(int row, int column) const;

  private:
    struct TColumn {
        std::string name;  // in the ANSI code page
        std::wstring nameW;
        unsigned size;
        std::vector<int> numbers;  // one a row, -1 for none
    };

    const TColumn* At(const char* routine, int row, int column) const;

    int m_nRows;
    std::vector<TColumn> m_columns;
};

}  // namespace matrix
