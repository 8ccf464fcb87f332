#include "matrix/CAttachMatrix.h"

#include <windows.h>

#include <algorithm>

#include "base/text.h"
#include "log/CLog.h"

namespace matrix {

using logging::g_Log;

namespace {

constexpr int kNone = -1;
constexpr char kInfo[] = "CAttachMatrix.Info";

bool SameOutside(const TMatrixAttachment& a, const TMatrixAttachment& b) {
    return a.comparable && b.comparable && a.method == b.method && a.size == b.size &&
           (a.photo || CompareStringOrdinal(a.name.c_str(), -1, b.name.c_str(), -1, TRUE) == CSTR_EQUAL);
}

}  // namespace

CAttachMatrix::CAttachMatrix(const std::vector<const std::vector<TMatrixAttachment>*>& rows, bool photos,
                             const SameContents& same)
    : m_nRows(static_cast<int>(rows.size())) {
    std::vector<TPlace> firsts;  // of each column
    for (int row = 0; row < m_nRows; ++row) {
        for (const TMatrixAttachment& attachment : *rows[static_cast<size_t>(row)]) {
            if (attachment.photo != photos) continue;
            const TPlace place{row, &attachment};
            size_t column = 0;
            while (column < firsts.size() &&
                   !(m_columns[column].numbers[static_cast<size_t>(row)] == kNone &&
                     SameOutside(*firsts[column].attachment, attachment) && same(firsts[column], place))) {
                ++column;
            }
            if (column == firsts.size()) {
                firsts.push_back(place);
                m_columns.push_back({base::Narrow(attachment.name), attachment.name, attachment.size,
                                     std::vector<int>(rows.size(), kNone)});
            }
            m_columns[column].numbers[static_cast<size_t>(row)] = attachment.number;
        }
    }
}

int CAttachMatrix::EqualCount() const {
    return static_cast<int>(std::count_if(m_columns.begin(), m_columns.end(), [](const TColumn& column) {
        return std::find(column.numbers.begin(), column.numbers.end(), kNone) == column.numbers.end();
    }));
}

const CAttachMatrix::TColumn* CAttachMatrix::At(const char* routine, int row, int column) const {
    if (row >= 0 && row < m_nRows && column >= 0 && column < Count()) {
        return &m_columns[static_cast<size_t>(column)];
    }
    g_Log.Error(routine, "out of bounds\n");
    return nullptr;
}

int CAttachMatrix::Info(int column, const char** name, unsigned* size) const {
    const TColumn* at = At(kInfo, 0, column);
    if (!at) return 0;
    if (name) *name = at->name.c_str();
    if (size) *size = at->size;
    return 1;
}

int CAttachMatrix::Info(int column, const wchar_t** name, unsigned* size) const {
    const TColumn* at = At(kInfo, 0, column);
    if (!at) return 0;
    if (name) *name = at->nameW.c_str();
    if (size) *size = at->size;
    return 1;
}

int CAttachMatrix::Value(int row, int column) const {
    const TColumn* at = At("CAttachMatrix.Value", row, column);
    return at ? at->numbers[static_cast<size_t>(row)] : kNone;
}

}  // namespace matrix
