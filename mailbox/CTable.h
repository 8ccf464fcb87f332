#pragma once
// Tables: a snapshot of records, made when the table is opened.

#include <memory>
#include <vector>

#include "mailbox/platform_headers.h"
#include "mailbox/sources.h"

namespace mailbox {

/// The rows of a table, each a source of properties.
class CRows {
  public:
    virtual ~CRows() = default;
    virtual size_t Count() const = 0;
    /// Valid until the next call.
    virtual const CPropertySource& Row(size_t index) = 0;
};

template <typename Record>
class CRecordRows final : public CRows {
  public:
    explicit CRecordRows(std::vector<Record> records) : m_records(std::move(records)) {}
    size_t Count() const override { return m_records.size(); }
    const CPropertySource& Row(size_t index) override {
        m_current.record = &m_records[index];
        return m_current;
    }

  private:
    std::vector<Record> m_records;
    CRecordSource<Record> m_current;
};

/// A table with one reference. database is kept as long as the table. wide: texts of default columns are
/// wide.
IMAPITable* NewTable(std::shared_ptr<CDatabase> database, std::unique_ptr<CRows> rows,
                     std::vector<ULONG> columns, bool wide);

template <typename Record>
IMAPITable* NewRecordTable(std::shared_ptr<CDatabase> database, std::vector<Record> records,
                           std::vector<ULONG> columns, ULONG flags) {
    return NewTable(std::move(database), std::make_unique<CRecordRows<Record>>(std::move(records)),
                    std::move(columns), (flags & MAPI_UNICODE) != 0);
}

}  // namespace mailbox
