// Exports of the comparison matrix.

#include <memory>

#include "frame/trace.h"
#include "matrix/CCmpMatrix.h"
#include "quorvel.h"

namespace {

const CCmpMatrix* Matrix(const void* handle) {
    return static_cast<const CCmpMatrix*>(handle);
}

void* Create(IMAPISession* session, const TComparyProps* props, unsigned option) {
    auto matrix = std::make_unique<CCmpMatrix>();
    return matrix->Create(session, props, option) ? matrix.release() : nullptr;
}

// Without an arrangement the attachment matrices have no columns.
const CAttachMatrix& Arranged(const CAttachMatrix* matrix) {
    static const CAttachMatrix none({}, false, {});
    return matrix ? *matrix : none;
}
const CAttachMatrix& Attachments(const void* handle) {
    return Arranged(handle ? Matrix(handle)->Attachments() : nullptr);
}
const CAttachMatrix& Photos(const void* handle) {
    return Arranged(handle ? Matrix(handle)->PhotoAttachments() : nullptr);
}

}  // namespace

void* CmpMatrix_Create(IMAPISession* session, const TComparyProps* props) {
    Trace("CmpMatrix_Create");
    return Create(session, props, 0);
}

void* CmpMatrix_CreateEx(IMAPISession* session, const TComparyProps* props, unsigned option) {
    Trace("CmpMatrix_CreateEx");
    return Create(session, props, option);
}

void CmpMatrix_Delete(void* handle) {
    Trace("CmpMatrix_Delete");
    delete static_cast<CCmpMatrix*>(handle);
}

int CmpMatrix_Add(void* handle, const char* entryId, const char* storeId) {
    return handle && static_cast<CCmpMatrix*>(handle)->Add(entryId, storeId);
}

unsigned CmpMatrix_Size(void* handle, unsigned* rows, unsigned* columns) {
    const unsigned rowCount = handle ? static_cast<unsigned>(Matrix(handle)->RowCount()) : 0;
    const unsigned columnCount = handle ? static_cast<unsigned>(Matrix(handle)->ColumnCount()) : 0;
    if (rows) *rows = rowCount;
    if (columns) *columns = columnCount;
    return columnCount;
}

unsigned CmpMatrix_Value(void* handle, int row, int column) {
    return handle ? Matrix(handle)->GetMatrixValue(row, column) : 0;
}

unsigned CmpMatrix_ValueSize(void* handle, int row, int column) {
    return handle ? Matrix(handle)->GetMatrixValueLen(row, column) : 0;
}

int CmpMatrix_BuildAttachMatrix(void* handle) {
    if (!handle) return 0;
    static_cast<CCmpMatrix*>(handle)->BuildAttachMatrix();
    return 1;
}

int CmpMatrix_AttachCount(void* handle) {
    return Attachments(handle).Count();
}

int CmpMatrix_AttachEqualCount(void* handle) {
    return Attachments(handle).EqualCount();
}

int CmpMatrix_AttachInfo(void* handle, int column, const char** name, unsigned* size) {
    return Attachments(handle).Info(column, name, size);
}

int CmpMatrix_AttachInfoW(void* handle, int column, const wchar_t** name, unsigned* size) {
    return Attachments(handle).Info(column, name, size);
}

int CmpMatrix_AttachValue(void* handle, int row, int column) {
    return Attachments(handle).Value(row, column);
}

int CmpMatrix_PhotoAttachCount(void* handle) {
    return Photos(handle).Count();
}

int CmpMatrix_PhotoAttachEqualCount(void* handle) {
    return Photos(handle).EqualCount();
}

int CmpMatrix_PhotoAttachInfo(void* handle, int column, const char** name, unsigned* size) {
    return Photos(handle).Info(column, name, size);
}

int CmpMatrix_PhotoAttachInfoW(void* handle, int column, const wchar_t** name, unsigned* size) {
    return Photos(handle).Info(column, name, size);
}

int CmpMatrix_PhotoAttachValue(void* handle, int row, int column) {
    return Photos(handle).Value(row, column);
}
