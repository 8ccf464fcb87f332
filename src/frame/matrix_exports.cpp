// Exports of the comparison matrix.

#include <memory>

#include "frame/trace.h"
#include "matrix/CCmpMatrix.h"
#include "quorvel.h"

using frame::Trace;
using matrix::CAttachMatrix;
using matrix::CCmpMatrix;

namespace {

CCmpMatrix* Matrix(HCmpMatrix handle) {
    return reinterpret_cast<CCmpMatrix*>(handle);
}

HCmpMatrix Create(IMAPISession* session, const TComparyProps* props, unsigned option) {
    auto matrix = std::make_unique<CCmpMatrix>();
    return matrix->Create(session, props, option) ? reinterpret_cast<HCmpMatrix>(matrix.release()) : nullptr;
}

// Without an arrangement the attachment matrices have no columns.
const CAttachMatrix& Arranged(const CAttachMatrix* matrix) {
    static const CAttachMatrix none({}, false, {});
    return matrix ? *matrix : none;
}
const CAttachMatrix& Attachments(HCmpMatrix handle) {
    return Arranged(handle ? Matrix(handle)->Attachments() : nullptr);
}
const CAttachMatrix& Photos(HCmpMatrix handle) {
    return Arranged(handle ? Matrix(handle)->PhotoAttachments() : nullptr);
}

}  // namespace

HCmpMatrix CmpMatrix_Create(IMAPISession* session, const TComparyProps* props) {
    Trace("CmpMatrix_Create");
    return Create(session, props, 0);
}

HCmpMatrix CmpMatrix_CreateEx(IMAPISession* session, const TComparyProps* props, unsigned option) {
    Trace("CmpMatrix_CreateEx");
    return Create(session, props, option);
}

void CmpMatrix_Delete(HCmpMatrix handle) {
    Trace("CmpMatrix_Delete");
    delete Matrix(handle);
}

int CmpMatrix_Add(HCmpMatrix handle, const char* entryId, const char* storeId) {
    return handle && Matrix(handle)->Add(entryId, storeId);
}

unsigned CmpMatrix_Size(HCmpMatrix handle, unsigned* rows, unsigned* columns) {
    const unsigned rowCount = handle ? static_cast<unsigned>(Matrix(handle)->RowCount()) : 0;
    const unsigned columnCount = handle ? static_cast<unsigned>(Matrix(handle)->ColumnCount()) : 0;
    if (rows) *rows = rowCount;
    if (columns) *columns = columnCount;
    return columnCount;
}

unsigned CmpMatrix_Value(HCmpMatrix handle, int row, int column) {
    return handle ? Matrix(handle)->GetMatrixValue(row, column) : 0;
}

unsigned CmpMatrix_ValueSize(HCmpMatrix handle, int row, int column) {
    return handle ? Matrix(handle)->GetMatrixValueLen(row, column) : 0;
}

int CmpMatrix_BuildAttachMatrix(HCmpMatrix handle) {
    if (!handle) return 0;
    Matrix(handle)->BuildAttachMatrix();
    return 1;
}

int CmpMatrix_AttachCount(HCmpMatrix handle) {
    return Attachments(handle).Count();
}

int CmpMatrix_AttachEqualCount(HCmpMatrix handle) {
    return Attachments(handle).EqualCount();
}

int CmpMatrix_AttachInfo(HCmpMatrix handle, int column, const char** name, unsigned* size) {
    return Attachments(handle).Info(column, name, size);
}

int CmpMatrix_AttachInfoW(HCmpMatrix handle, int column, const wchar_t** name, unsigned* size) {
    return Attachments(handle).Info(column, name, size);
}

int CmpMatrix_AttachValue(HCmpMatrix handle, int row, int column) {
    return Attachments(handle).Value(row, column);
}

int CmpMatrix_PhotoAttachCount(HCmpMatrix handle) {
    return Photos(handle).Count();
}

int CmpMatrix_PhotoAttachEqualCount(HCmpMatrix handle) {
    return Photos(handle).EqualCount();
}

int CmpMatrix_PhotoAttachInfo(HCmpMatrix handle, int column, const char** name, unsigned* size) {
    return Photos(handle).Info(column, name, size);
}

int CmpMatrix_PhotoAttachInfoW(HCmpMatrix handle, int column, const wchar_t** name, unsigned* size) {
    return Photos(handle).Info(column, name, size);
}

int CmpMatrix_PhotoAttachValue(HCmpMatrix handle, int row, int column) {
    return Photos(handle).Value(row, column);
}
