#pragma once
// A matrix over items of the test's mailbox, through the exports.

#include <memory>
#include <string>
#include <vector>

#include "quorvel.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/MailboxFixture.h"
#include "tests/support/definitions.h"

inline TComparyProp Plain(ULONG tag, const wchar_t* key = L"key") {
    return Tagged(key, tag);
}
inline TComparyProp Streamed(ULONG tag) {
    return Tagged(L"stream", tag, cmExact, 1);
}

class MatrixTest : public MailboxTest {
  protected:
    struct Deleter {
        using pointer = HCmpMatrix;
        void operator()(HCmpMatrix handle) const { CmpMatrix_Delete(handle); }
    };
    using Matrix = std::unique_ptr<HCmpMatrix, Deleter>;

    Matrix Make(std::vector<TComparyProp> definitions, unsigned option = 0) {
        const TComparyProps props{static_cast<int>(definitions.size()), definitions.data()};
        return Matrix(CmpMatrix_CreateEx(Session(), &props, option));
    }
    int Add(const Matrix& matrix, const TestItem& item) {
        return CmpMatrix_Add(matrix.get(), item.Id().c_str(), Inbox().StoreId().c_str());
    }
    static int Rows(const Matrix& matrix) {
        unsigned rows = 0;
        CmpMatrix_Size(matrix.get(), &rows, nullptr);
        return static_cast<int>(rows);
    }

    /// "1 2 1": the values of a column, row by row; sizes in the same form.
    static std::string Values(const Matrix& matrix, int column) {
        return Column(matrix, column, CmpMatrix_Value);
    }
    static std::string Sizes(const Matrix& matrix, int column) {
        return Column(matrix, column, CmpMatrix_ValueSize);
    }
    /// Everything that can be read from the cells.
    static std::string Cells(const Matrix& matrix) {
        std::string text;
        const unsigned columns = CmpMatrix_Size(matrix.get(), nullptr, nullptr);
        for (int column = 0; column < static_cast<int>(columns); ++column) {
            text += Values(matrix, column) + " | " + Sizes(matrix, column) + "\n";
        }
        return text;
    }

  private:
    template <typename Getter>
    static std::string Column(const Matrix& matrix, int column, Getter getter) {
        std::string text;
        for (int row = 0; row < Rows(matrix); ++row) {
            text += (row ? " " : "") + std::to_string(getter(matrix.get(), row, column));
        }
        return text;
    }
};
