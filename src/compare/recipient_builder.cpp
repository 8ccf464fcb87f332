#include "compare/recipient_builder.h"

#include <algorithm>
#include <cwchar>
#include <span>
#include <utility>
#include <vector>

#include "compare/derived_value.h"
#include "compare/recipients.h"
#include "log/CPlatformCalls.h"
#include "store/checked_calls.h"

namespace compare {

using logging::CPlatformCalls;
using logging::g_Log;
using store::ComPtr;
using store::CTagList;
using store::MapiBuffer;
using store::RowSet;

namespace {

constexpr char kTag[] = "MailItem_Recipients";
constexpr ULONG kNoType = 0xFFFFFFFF;

// Columns in the order that they are asked for.
enum EColumn : ULONG { colName, colEmail, colType };

/// All rows: a list that lacks some would equal others that it does not. A table may give them piece by piece.
HRESULT ReadRows(IMessage* item, std::vector<RowSet>& pieces) {
    constexpr char kQueryRows[] = "lpTable->QueryRows return 0x%x\n";
    // The address type is asked for along with the e-mail that it qualifies, though nothing reads it.
    CTagList columns(PR_DISPLAY_NAME_W, PR_EMAIL_ADDRESS_W, PR_RECIPIENT_TYPE, PR_ADDRTYPE_W);
    CPlatformCalls calls(kTag);
    ComPtr<IMAPITable> table;
    ULONG count = 0;
    if (!calls.Gives(table, item->GetRecipientTable(0, table.GetAddressOf()),
                     "lpItem->GetRecipientTable return 0x%x\n") ||
        !calls(table->SetColumns(columns, 0), "lpTable->SetColumns return 0x%x\n") ||
        !calls(table->GetRowCount(0, &count), "lpTable->GetRowCount return 0x%x\n")) {
        return calls.result;
    }
    while (count > 0) {
        RowSet rows;
        if (!calls(store::QueryRows(table.Get(), count, rows), kQueryRows)) break;
        if (rows->cRows == 0 && !calls(MAPI_E_CALL_FAILED, kQueryRows)) break;
        count -= std::min(count, rows->cRows);
        pieces.push_back(std::move(rows));
    }
    return calls.result;
}

/// The column's value, or null when the row has none; any other error than that is logged with the format.
const SPropValue* Find(const SRow& row, unsigned rowNumber, EColumn column, ULONG type, const char* format,
                       const char* typeText) {
    const SPropValue* const found = store::ColumnOf(row, column);
    if (!found) return nullptr;
    const SPropValue& value = *found;
    if (PROP_TYPE(value.ulPropTag) == PT_ERROR) {
        if (value.Value.err != MAPI_E_NOT_FOUND) {
            g_Log.Error(kTag, format, rowNumber, static_cast<unsigned>(value.Value.err));
        }
        return nullptr;
    }
    g_Log.Assert(PROP_TYPE(value.ulPropTag) == type, kTag, 0, typeText);
    return PROP_TYPE(value.ulPropTag) == type ? &value : nullptr;
}

wchar_t* TextOf(const SPropValue* value) {
    static wchar_t empty[1] = {};
    return value && value->Value.lpszW ? value->Value.lpszW : empty;
}

/// The row as a recipient whose texts are still the row's.
TMessageRecipient FromRow(const SRow& row, unsigned i) {
    const SPropValue* name = Find(row, i, colName, PT_UNICODE,
                                  "Recipient[%d].DisplayName failed, error=0x%x, assuming its empty\n",
                                  "PROP_TYPE(PR_DISPLAY_NAME) == PT_UNICODE");
    const SPropValue* email = Find(row, i, colEmail, PT_UNICODE,
                                   "Recipient[%d].EmailAddress failed, error=0x%x, assuming its empty\n",
                                   "PROP_TYPE(PR_EMAIL_ADDRESS) == PT_UNICODE");
    const SPropValue* type =
        Find(row, i, colType, PT_LONG, "Recipient[%d].RecipientType failed, error=0x%x, assuming its empty\n",
             "PROP_TYPE(PR_RECIPIENT_TYPE) == PT_LONG");
    return {TextOf(name), TextOf(email), type ? type->Value.ul : kNoType};
}

std::vector<TMessageRecipient> FromRows(const std::vector<RowSet>& pieces) {
    std::vector<TMessageRecipient> recipients;
    unsigned number = 0;
    for (const RowSet& rows : pieces) {
        recipients.reserve(recipients.size() + rows->cRows);
        for (const SRow& row : std::span(rows->aRow, rows->cRows)) {
            const TMessageRecipient recipient = FromRow(row, number++);
            if (*recipient.name == 0 && *recipient.email == 0) {
                g_Log.Error(kTag, "Skiping empty recipient( name & email )\n");
                continue;
            }
            recipients.push_back(recipient);
        }
    }
    return recipients;
}

size_t Characters(const TMessageRecipient& r) {
    return std::wcslen(r.name) + 1 + std::wcslen(r.email) + 1;
}

wchar_t* CopyText(const wchar_t* text, wchar_t*& at) {
    wchar_t* const copy = at;
    const size_t length = std::wcslen(text) + 1;
    std::wmemcpy(copy, text, length);
    at += length;
    return copy;
}

}  // namespace

// One block: the value, the list's header, the records, the texts.
HRESULT MailItem_Recipients(IMessage* item, SPropValue** value) {
    *value = nullptr;
    std::vector<RowSet> pieces;  // the recipients' texts are theirs until they are copied
    if (const HRESULT hr = ReadRows(item, pieces); hr != S_OK) return hr;
    const std::vector<TMessageRecipient> recipients = FromRows(pieces);

    size_t characters = 0;
    for (const TMessageRecipient& r : recipients) characters += Characters(r);
    const size_t bytes = recipients.empty() ? sizeof(SPropValue)
                                            : sizeof(SPropValue) + sizeof(TRecipientList) +
                                                  recipients.size() * sizeof(TMessageRecipient) +
                                                  characters * sizeof(wchar_t);

    CPlatformCalls calls(kTag);
    MapiBuffer<SPropValue> block;
    if (!calls(AllocateValue(bytes, &block), "MAPIAllocateBuffer return 0x%x\n")) return calls.result;
    if (recipients.empty()) {
        SetNotFound(*block, kIdRecipients);
        *value = block.release();
        return S_OK;
    }

    auto* list = reinterpret_cast<TRecipientList*>(block.get() + 1);
    auto* records = reinterpret_cast<TMessageRecipient*>(list + 1);
    auto* text = reinterpret_cast<wchar_t*>(records + recipients.size());
    list->count = static_cast<ULONG>(recipients.size());
    list->recipients = records;
    for (size_t i = 0; i < recipients.size(); ++i) {
        records[i].name = CopyText(recipients[i].name, text);
        records[i].email = CopyText(recipients[i].email, text);
        records[i].type = recipients[i].type;
    }
    g_Log.Assert(reinterpret_cast<BYTE*>(text) == reinterpret_cast<BYTE*>(block.get()) + bytes, kTag, 0,
                 "the texts end at the block's end");

    block->ulPropTag = PROP_TAG(PT_BINARY, kIdRecipients);
    block->Value.bin.cb = static_cast<ULONG>(bytes - sizeof(SPropValue));
    block->Value.bin.lpb = reinterpret_cast<BYTE*>(list);
    *value = block.release();
    return S_OK;
}

}  // namespace compare
