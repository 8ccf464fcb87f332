#include "host/attachments.h"

#include <mapitags.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>

#include "host/digest.h"
#include "host/text.h"
#include "quorvel.h"

namespace host {

namespace {

struct TMatrixDeleter {
    using pointer = HCmpMatrix;
    void operator()(HCmpMatrix matrix) const { CmpMatrix_Delete(matrix); }
};
using Matrix = std::unique_ptr<HCmpMatrix, TMatrixDeleter>;

// A matrix of any one property: only its attachments are looked at.
Matrix MakeMatrix(IMAPISession* session) {
    TComparyProp subject{};
    subject.lpszKey = L"Mail.Subject";
    subject.ulPropTag = PR_SUBJECT_W;
    subject.nType = PT_UNICODE;
    TComparyProps list{1, &subject};
    return Matrix(CmpMatrix_Create(session, &list));
}

using CountFunction = int (*)(HCmpMatrix);
using ValueFunction = int (*)(HCmpMatrix, int, int);
using InfoFunction = int (*)(HCmpMatrix, int, const wchar_t**, unsigned*);

// The columns that a row fills, photos apart from the others.
struct TFamily {
    CountFunction count;
    ValueFunction value;
    InfoFunction info;
};
const TFamily kFamilies[] = {
    {CmpMatrix_AttachCount, CmpMatrix_AttachValue, CmpMatrix_AttachInfoW},
    {CmpMatrix_PhotoAttachCount, CmpMatrix_PhotoAttachValue, CmpMatrix_PhotoAttachInfoW},
};

const std::string& StoreId(const TCatalog& catalog, const TItem& item) {
    return catalog.stores[catalog.folders[item.folder].store].entryId;
}

// An attachment of one or more items.
struct TColumn {
    bool isPhoto = false;
    std::string name;
    std::vector<int> numbers;  // by item, as the matrix gives them: -1 for none
};

ComPtr<IMessage> OpenMessage(IMAPISession* session, const TCatalog& catalog, const TItem& item) {
    ComPtr<IMessage> message;
    if (Quorvel_OpenItem(session, item.entryId.c_str(), StoreId(catalog, item).c_str(),
                         message.GetAddressOf()) != S_OK)
        message.Reset();
    return message;
}

bool HoldsAnItem(IMAPISession* session, const TCatalog& catalog, const std::vector<TItem>& items,
                 const TColumn& column) {
    const auto filled = std::ranges::find_if(column.numbers, [](int number) { return number >= 0; });
    if (filled == column.numbers.end()) return false;
    const ComPtr<IMessage> message =
        OpenMessage(session, catalog, items[static_cast<size_t>(filled - column.numbers.begin())]);
    ComPtr<IAttach> attachment;
    return message && Quorvel_OpenAttachment(message.Get(), *filled, attachment.GetAddressOf()) == S_OK &&
           LongOf(ReadValue(attachment.Get(), PR_ATTACH_METHOD).get()) == ATTACH_EMBEDDED_MSG;
}

// Attached items are one to the matrix when subject and text are: one notice looks like the next. Here they are what
// their owner has in them, recipients and attachments included.
void PartAttachedItems(IMAPISession* session, const TCatalog& catalog, const std::vector<TItem>& items,
                       std::vector<TColumn>& columns) {
    const auto isShared = [](const TColumn& column) {
        return std::ranges::count_if(column.numbers, [](int number) { return number != -1; }) > 1;
    };
    if (std::ranges::none_of(columns, isShared)) return;
    std::vector<TColumn> parted, attached;
    for (TColumn& column : columns) {
        const bool isItem = !column.isPhoto && HoldsAnItem(session, catalog, items, column);
        (isItem ? attached : parted).push_back(std::move(column));
    }
    if (std::ranges::any_of(attached, isShared)) {
        const TBookkeeping bookkeeping = LoadBookkeeping();
        CItemReader reader(session, catalog, bookkeeping);
        std::vector<TColumn> columnsOfItems;
        std::vector<std::string> digests;
        for (const TColumn& column : attached) {
            for (size_t i = 0; i < items.size(); ++i) {
                const int number = column.numbers[i];
                if (number == -1) continue;
                const std::string digest = DigestOfAttachedItem(reader, items[i], number);
                size_t at = 0;
                // An item may have the same twice. What cannot be read equals nothing.
                while (at < digests.size() &&
                       (digest.empty() || digests[at] != digest || columnsOfItems[at].name != column.name ||
                        columnsOfItems[at].numbers[i] != -1)) {
                    ++at;
                }
                if (at == digests.size()) {
                    digests.push_back(digest);
                    columnsOfItems.push_back({false, column.name, std::vector<int>(items.size(), -1)});
                }
                columnsOfItems[at].numbers[i] = number;
            }
        }
        attached = std::move(columnsOfItems);
    }
    std::ranges::move(attached, std::back_inserter(parted));
    columns = std::move(parted);
}

// rows: by item the row of the matrix, -1 for none.
std::vector<TColumn> ColumnsOf(IMAPISession* session, const TCatalog& catalog, HCmpMatrix matrix,
                               const std::vector<TItem>& items, const std::vector<int>& rows) {
    CmpMatrix_BuildAttachMatrix(matrix);
    std::vector<TColumn> columns;
    for (const TFamily& family : kFamilies) {
        for (int column = 0; column < family.count(matrix); ++column) {
            const wchar_t* name = nullptr;
            family.info(matrix, column, &name, nullptr);
            TColumn one{&family == &kFamilies[1], name ? Narrow(name) : std::string(), {}};
            for (const int row : rows)
                one.numbers.push_back(row < 0 ? -1 : family.value(matrix, row, column));
            columns.push_back(std::move(one));
        }
    }
    PartAttachedItems(session, catalog, items, columns);
    return columns;
}

// How many attachments the item's table counts; none when it cannot be read.
std::optional<ULONG> CountAttachments(IMAPISession* session, const std::string& entryId,
                                      const std::string& storeId) {
    ComPtr<IMessage> message;
    ComPtr<IMAPITable> table;
    ULONG count = 0;
    if (Quorvel_OpenItem(session, entryId.c_str(), storeId.c_str(), message.GetAddressOf()) != S_OK ||
        message->GetAttachmentTable(0, table.GetAddressOf()) != S_OK || !table ||
        table->GetRowCount(0, &count) != S_OK) {
        return std::nullopt;
    }
    return count;
}

}  // namespace

TAttachmentMarks CompareAttachments(IMAPISession* session, const TCatalog& catalog,
                                    const std::vector<TItem>& items) {
    TAttachmentMarks result{std::vector<unsigned>(items.size(), 0), std::vector<std::string>(items.size())};
    std::vector<std::optional<ULONG>> counts;
    counts.reserve(items.size());
    for (const TItem& item : items)
        counts.push_back(CountAttachments(session, item.entryId, StoreId(catalog, item)));
    if (std::ranges::all_of(counts, [](const auto& count) { return count == 0u; })) return result;
    const Matrix matrix = MakeMatrix(session);
    std::vector<int> rows(items.size(), -1);
    int next = 0;
    for (size_t i = 0; i < items.size(); ++i) {
        if (CmpMatrix_Add(matrix.get(), items[i].entryId.c_str(), StoreId(catalog, items[i]).c_str()))
            rows[i] = next++;
    }
    const std::vector<TColumn> columns = ColumnsOf(session, catalog, matrix.get(), items, rows);
    std::map<std::vector<int>, unsigned> first;
    for (size_t i = 0; i < items.size(); ++i) {
        const unsigned own = static_cast<unsigned>(i + 1);
        std::vector<int> filled;
        for (const TColumn& column : columns) {
            filled.push_back(column.numbers[i] != -1);
            if (filled.back() != 0) result.names[i] += (result.names[i].empty() ? "" : ", ") + column.name;
        }
        const auto listed = static_cast<ULONG>(std::ranges::count(filled, 1));
        if (rows[i] < 0 || listed != counts[i]) {
            result.marks[i] = own;
            result.names[i] = kUnlisted;
            continue;
        }
        if (listed != 0) result.marks[i] = first.emplace(filled, own).first->second;
    }
    return result;
}

std::vector<TAttachmentName> MissingAttachments(IMAPISession* session, const TCatalog& catalog,
                                                const TItem& item, const TItem& other) {
    const Matrix matrix = MakeMatrix(session);
    const bool hasItem = CmpMatrix_Add(matrix.get(), item.entryId.c_str(), StoreId(catalog, item).c_str());
    if (!CmpMatrix_Add(matrix.get(), other.entryId.c_str(), StoreId(catalog, other).c_str()))
        return {{"unreadable", false, -1}};
    const std::vector<int> rows{hasItem ? 0 : -1, hasItem ? 1 : 0};
    std::vector<TAttachmentName> missing;
    for (const TColumn& column : ColumnsOf(session, catalog, matrix.get(), {item, other}, rows)) {
        if (column.numbers[0] == -1 && column.numbers[1] != -1)
            missing.push_back({OneLine(column.name), column.isPhoto, column.numbers[1]});
    }
    return missing;
}

namespace {

constexpr ULONG kContentId = PROP_TAG(PT_UNICODE, 0x3712);
constexpr ULONG kMimeType = PROP_TAG(PT_UNICODE, 0x370E);

struct TTraits {
    std::string name, type, contentId;
};

std::optional<std::vector<TTraits>> TraitsOf(IMAPISession* session, const TCatalog& catalog,
                                             const TItem& item) {
    ComPtr<IMessage> message;
    ComPtr<IMAPITable> table;
    if (Quorvel_OpenItem(session, item.entryId.c_str(), StoreId(catalog, item).c_str(),
                         message.GetAddressOf()) != S_OK ||
        message->GetAttachmentTable(MAPI_UNICODE, table.GetAddressOf()) != S_OK || !table) {
        return {};
    }
    std::vector<TTraits> traits;
    const auto visit = [&](const SRow& row) {
        const auto text = [&](ULONG tag) {
            return OneLine(TextOf(FindValue(row.lpProps, row.cValues, tag)));
        };
        traits.push_back({text(PR_ATTACH_LONG_FILENAME_W), text(kMimeType), text(kContentId)});
        if (traits.back().name.empty()) traits.back().name = text(PR_ATTACH_FILENAME_W);
        return true;
    };
    try {
        ForEachRow(table.Get(), {PR_ATTACH_LONG_FILENAME_W, PR_ATTACH_FILENAME_W, kMimeType, kContentId},
                   "attachments", visit);
    } catch (const TFailure&) {
        return {};
    }
    return traits;
}

}  // namespace

std::vector<TAttachmentTrait> MissingTraits(IMAPISession* session, const TCatalog& catalog, const TItem& item,
                                            const TItem& other, const std::string& html) {
    const std::optional<std::vector<TTraits>> others = TraitsOf(session, catalog, other);
    const std::optional<std::vector<TTraits>> own = others ? TraitsOf(session, catalog, item) : std::nullopt;
    std::vector<TAttachmentTrait> missing;
    if (!own) return missing;
    const auto look = [&](const TTraits& trait, const std::string TTraits::*member, const char* property,
                          const char* id) {
        const std::string* kept = nullptr;
        for (const TTraits& one : *own) {
            if (!EqualNoCase(one.name, trait.name)) continue;
            if (EqualNoCase(one.*member, trait.*member)) return;
            if (!kept) kept = &(one.*member);
        }
        const std::string whole = id + trait.name;
        // Without one of that name the attachment itself is missing.
        if (!kept || std::ranges::find(missing, whole, &TAttachmentTrait::id) != missing.end()) return;
        missing.push_back({property, whole, trait.name + ": " + trait.*member, *kept});
    };
    for (const TTraits& trait : *others) {
        if (!trait.type.empty() && !EqualNoCase(trait.type, "application/octet-stream"))
            look(trait, &TTraits::type, "Attachment type", "attachment-type:");
        if (!trait.contentId.empty() && html.find("cid:" + trait.contentId) != std::string::npos)
            look(trait, &TTraits::contentId, "Attachment content id", "attachment-id:");
    }
    return missing;
}

std::vector<TSharedAttachment> SharedAttachments(IMAPISession* session, const TCatalog& catalog,
                                                 const std::vector<TItem>& items) {
    const Matrix matrix = MakeMatrix(session);
    std::vector<int> rows;
    for (const TItem& item : items) {
        if (!CmpMatrix_Add(matrix.get(), item.entryId.c_str(), StoreId(catalog, item).c_str())) return {};
        rows.push_back(static_cast<int>(rows.size()));
    }
    std::vector<TSharedAttachment> shared;
    for (TColumn& column : ColumnsOf(session, catalog, matrix.get(), items, rows))
        shared.push_back({column.isPhoto, std::move(column.numbers)});
    return shared;
}

namespace {

// Method, name and what it holds run into one number: against accidents, not against malice.
std::string HashText(const std::string& text) {
    unsigned long long hash = 0xCBF29CE484222325u;
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
    char number[20];
    snprintf(number, sizeof number, "%016llX", hash);
    return number;
}

std::optional<std::string> StreamBytes(IMAPIProp* object, ULONG tag) {
    void* raw = nullptr;
    unsigned long bytes = 0;
    const HRESULT hr = Quorvel_GetStreamPropValue(object, static_cast<long>(tag), &raw, &bytes, 0);
    const MapiPtr<void> content(raw);
    if (hr != S_OK) return {};
    return content ? std::string(static_cast<const char*>(content.get()), bytes) : std::string();
}

std::optional<std::string> EmbeddedBytes(IAttach* attachment) {
    ComPtr<IMessage> message;
    if (attachment->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IMessage, 0, 0,
                                 reinterpret_cast<IUnknown**>(message.GetAddressOf())) != S_OK ||
        !message)
        return {};
    const std::optional<std::string> body = StreamBytes(message.Get(), PR_BODY_W);
    if (!body) return {};
    return TextOf(ReadValue(message.Get(), PR_SUBJECT_W).get()) + '\n' + *body;
}

}  // namespace

std::string AttachmentMark(IMessage* message, long number) {
    ComPtr<IAttach> attachment;
    if (Quorvel_OpenAttachment(message, number, attachment.GetAddressOf()) != S_OK) return {};
    const auto text = [&](ULONG tag) { return TextOf(ReadValue(attachment.Get(), tag).get()); };
    const long method = LongOf(ReadValue(attachment.Get(), PR_ATTACH_METHOD).get());
    std::optional<std::string> bytes = text(PR_ATTACH_LONG_PATHNAME_W) + '\n' + text(PR_ATTACH_PATHNAME_W);
    if (method == ATTACH_EMBEDDED_MSG) {
        bytes = EmbeddedBytes(attachment.Get());
    } else if (method == ATTACH_BY_VALUE || method == ATTACH_OLE) {
        bytes = StreamBytes(attachment.Get(), PR_ATTACH_DATA_BIN);
        if (bytes && bytes->empty()) bytes = StreamBytes(attachment.Get(), PR_ATTACH_DATA_OBJ);
    }
    if (!bytes) return {};
    return std::to_string(method) + ' ' +
           HashText(text(PR_ATTACH_LONG_FILENAME_W) + '\n' + text(PR_ATTACH_FILENAME_W) + '\n' +
                    text(PR_DISPLAY_NAME_W) + '\n' + *bytes);
}

std::vector<std::vector<size_t>> PartByAttachments(IMAPISession* session, const TCatalog& catalog,
                                                   const std::vector<TItem>& items,
                                                   const std::vector<size_t>& group) {
    std::vector<TItem> members;
    members.reserve(group.size());
    for (const size_t item : group) members.push_back(items[item]);
    const std::vector<unsigned> marks = CompareAttachments(session, catalog, members).marks;
    std::vector<std::vector<size_t>> parts;
    std::map<unsigned, size_t> partOf;
    for (size_t i = 0; i < group.size(); ++i) {
        const auto [part, isNew] = partOf.emplace(marks[i], parts.size());
        if (isNew) parts.emplace_back();
        parts[part->second].push_back(group[i]);
    }
    return parts;
}

}  // namespace host
