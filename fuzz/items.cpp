// Items with damaged properties, on a platform that fails now and then: whatever a host does with them, nothing is left
// alive, and without failures the same items give the same groups.

#include <windows.h>

#include <mapix.h>

#include "base/mapi_extra.h"
#include "compare/propex.h"
#include "fuzz/fuzz.h"
#include "mailbox/platform.h"
#include "mailbox/file_reader.h"
#include "mailbox/text.h"
#include "quorvel.h"
#include "store/named_properties.h"
#include "store/resources.h"

using enum compare::EPropEx;
using store::CMapiProvider;
using store::ComPtr;

namespace fuzz {
namespace {

/// Keeps the platform's functions in the program, from where the library binds them.
[[gnu::used]] const volatile void* const g_functions[] = {
    reinterpret_cast<void*>(MAPIInitialize), reinterpret_cast<void*>(MAPIUninitialize),
    reinterpret_cast<void*>(MAPILogonEx),    reinterpret_cast<void*>(MAPIAllocateBuffer),
    reinterpret_cast<void*>(MAPIFreeBuffer), reinterpret_cast<void*>(FreeProws)};

TComparyProp Tagged(ULONG tag, unsigned method = cmExact, unsigned nInterface = 0) {
    return {L"Key", L"Name", 0, tag, nullptr, 0, nullptr, PROP_TYPE(tag), nInterface, 1, method, 0};
}
TComparyProp Named(const char* set, int id, ULONG type, unsigned method = cmExact,
                   const wchar_t* key = L"Key") {
    return {key, L"Name", 0, 0, set, id, nullptr, type, 0, 1, method, 0};
}

const TComparyProp kDefinitions[] = {
    Tagged(PR_SUBJECT_W),
    Tagged(PR_SUBJECT_W, cmApntAlldaylikeSubject),
    Tagged(PR_SUBJECT_A),
    Tagged(PR_BODY_W, cmExact, 1),
    Tagged(PR_GIVEN_NAME_W),
    Tagged(PR_SURNAME_W),
    Tagged(PR_BIRTHDAY, cmDayAndMonth),
    Tagged(PR_CLIENT_SUBMIT_TIME, cmTimeWithin10Min),
    Tagged(PR_MESSAGE_SIZE),
    Tagged(PR_CONTENT_UNREAD),
    Tagged(PR_SEARCH_KEY),
    Named(base::kSetAppointment, 0x820D, PT_SYSTIME, cmApntApproxStart),
    Named(base::kSetAppointment, 0x820D, PT_SYSTIME, cmApntAlldaylikeStart),
    Named(base::kSetAppointment, 0x8215, PT_BOOLEAN, cmExact, L"Appointment.AllDayEventLike"),
    Named(base::kSetAppointment, 0x8223, PT_BOOLEAN),
    Named(base::kSetAddress, 0x8083, PT_UNICODE),
    Named(base::kPrivateSet, propexAnyAddress, PT_MV_UNICODE),
    Named(base::kPrivateSet, propexAnyEmail, PT_MV_UNICODE),
    Named(base::kPrivateSet, propexAnyPhone, PT_MV_UNICODE, cmLast7Digits),
    Named(base::kPrivateSet, propexCompanyContact, PT_BOOLEAN),
    Named(base::kPrivateSet, propexSenders, PT_MV_UNICODE),
    Named(base::kPrivateSet, propexRecipients, PT_BINARY, cmRecipients),
};
constexpr ULONG kOtherTypes[] = {PT_I2,     PT_LONG,   PT_BOOLEAN,    PT_SYSTIME,   PT_STRING8, PT_UNICODE,
                                 PT_BINARY, PT_DOUBLE, PT_MV_UNICODE, PT_MV_BINARY, PT_ERROR,   PT_OBJECT};

/// Changes some properties: gone, an error, another type, other bytes, as long as its type wants them.
void Damage(mailbox::CProperties& properties, CChoices& choices) {
    const std::vector<mailbox::CProperties::TSlot> slots(properties.Slots().begin(),
                                                         properties.Slots().end());
    for (const auto& slot : slots) {
        if (!choices.OneIn(8)) continue;
        const ULONG type = choices.OneIn(2) ? PROP_TYPE(slot.tag) : choices.Of(kOtherTypes);
        if (choices.OneIn(4)) {
            properties.Remove(PROP_ID(slot.tag));
        } else if (choices.OneIn(3) || (type & MV_FLAG) || type == PT_ERROR) {
            static const HRESULT errors[] = {MAPI_E_NOT_FOUND, MAPI_E_NO_ACCESS, MAPI_E_NOT_ENOUGH_MEMORY,
                                             E_FAIL};
            properties.Error(slot.tag, choices.Of(errors));
        } else {
            size_t size = mailbox::FixedSize(type);
            if (size == 0) size = choices.OneIn(5) ? 400 + choices.Below(900) : choices.Below(12);
            std::string bytes(size, 'x');
            for (char& byte : bytes) {
                if (choices.OneIn(3)) byte = static_cast<char>(choices.Any());
            }
            properties.Set(CHANGE_PROP_TYPE(slot.tag, type), bytes);
        }
    }
}

void Damage(mailbox::TMessageData& data, CChoices& choices) {
    Damage(data.properties, choices);
    for (mailbox::CProperties& row : data.recipients) Damage(row, choices);
    for (auto& attachment : data.attachments) {
        auto changed = std::make_shared<mailbox::TAttachment>(*attachment);
        Damage(changed->properties, choices);
        if (changed->message) {
            auto inner = std::make_shared<mailbox::TMessageData>(*changed->message);
            Damage(*inner, choices);
            changed->message = std::move(inner);
        }
        attachment = std::move(changed);
    }
}

struct TItem {
    std::string id, storeId;
};

/// Every item of the mailbox some times over, each time damaged otherwise.
std::vector<TItem> Multiply(mailbox::CDatabase& database, CChoices& choices) {
    std::vector<TItem> items;
    for (const auto& store : database.stores) {
        std::vector<mailbox::TFolder*> folders{store->root.get()};
        for (size_t at = 0; at < folders.size(); ++at) {
            for (const auto& below : folders[at]->folders) folders.push_back(below.get());
        }
        for (mailbox::TFolder* folder : folders) {
            std::vector<std::shared_ptr<const mailbox::TMessageData>> originals;
            for (const auto& item : folder->items) originals.push_back(item->data);
            for (const auto& original : originals) {
                for (uint32_t copies = choices.Below(3); copies > 0; --copies) {
                    auto data = std::make_shared<mailbox::TMessageData>(*original);
                    if (!choices.OneIn(3)) Damage(*data, choices);
                    database.AddItem(*folder, {}, std::move(data));
                }
            }
            for (const auto& item : folder->items)
                items.push_back({mailbox::ToHex(item->id), mailbox::ToHex(store->id)});
        }
    }
    return items;
}

struct TSearch {
    std::vector<TComparyProp> definitions;
    TOriginalDefinition original;
    unsigned algorithm;
    int grouped;
    std::vector<unsigned> rules;
};

TSearch AnySearch(CChoices& choices) {
    TSearch search{};
    for (uint32_t count = 1 + choices.Below(6); count > 0; --count) {
        search.definitions.push_back(choices.Of(kDefinitions));
        search.definitions.back().nGroup = static_cast<int>(choices.Below(3));
        search.definitions.back().bCompare = choices.OneIn(6) ? 0 : 1;
    }
    search.original = {
        choices.Below(okHasCrmId + 2), choices.Below(4), choices.OneIn(2) ? PT_UNICODE : PT_LONG, {}, L"a"};
    search.algorithm = choices.Below(2);
    search.grouped = static_cast<int>(choices.Below(2));
    for (unsigned rule = 1; rule < 10; ++rule) {
        if (choices.OneIn(4)) search.rules.push_back(rule);
    }
    return search;
}

/// Who has equals, and the groups.
std::string Groups(IMAPISession* session, const TSearch& wanted, const std::vector<TItem>& items) {
    std::vector<TComparyProp> definitions = wanted.definitions;
    const TComparyProps list{static_cast<int>(definitions.size()), definitions.data()};
    HSearch const search = Search_Create2(session, &list, &wanted.original, wanted.algorithm, wanted.grouped,
                                          wanted.rules.data(), static_cast<unsigned>(wanted.rules.size()));
    std::string text;
    for (const TItem& item : items) {
        unsigned found = 7;
        const int added = Search_Add(search, item.id.c_str(), item.storeId.c_str(), &found, 0);
        text += std::to_string(added) + std::to_string(found) + " ";
    }
    Search_Build(search);
    for (int group = 0; group < Search_GetOriginalCount(search); ++group) {
        for (int i = -1; i < Search_GetDuplicateCount(search, group); ++i) {
            char id[600] = "", store[600] = "";
            unsigned idSize = sizeof id, storeSize = sizeof store;
            if (i < 0)
                Search_GetOriginal(search, group, id, &idSize, store, &storeSize);
            else
                Search_GetDuplicate(search, group, i, id, &idSize, store, &storeSize);
            text += id + std::string(i < 0 ? ": " : ", ");
        }
    }
    Search_Delete(search);
    return text;
}

std::string Cells(IMAPISession* session, const TSearch& wanted, const std::vector<TItem>& items) {
    std::vector<TComparyProp> definitions = wanted.definitions;
    const TComparyProps list{static_cast<int>(definitions.size()), definitions.data()};
    HCmpMatrix const matrix = CmpMatrix_CreateEx(session, &list, wanted.algorithm);
    for (const TItem& item : items) CmpMatrix_Add(matrix, item.id.c_str(), item.storeId.c_str());
    CmpMatrix_BuildAttachMatrix(matrix);
    std::string text;
    unsigned rows = 0, columns = 0;
    CmpMatrix_Size(matrix, &rows, &columns);
    for (unsigned row = 0; row < rows; ++row) {
        for (unsigned column = 0; column < columns; ++column)
            text += std::to_string(CmpMatrix_Value(matrix, static_cast<int>(row), static_cast<int>(column))) +
                    " ";
    }
    text += std::to_string(CmpMatrix_AttachCount(matrix)) + " " +
            std::to_string(CmpMatrix_PhotoAttachCount(matrix));
    CmpMatrix_Delete(matrix);
    return text;
}

std::string Verdicts(IMAPISession* session, const TSearch& wanted, const std::vector<TItem>& items) {
    HSimilarSearch const search =
        SimilarSearch_Create(session, items[0].storeId.c_str(), wanted.algorithm + 1);
    std::string text;
    for (const TItem& item : items) {
        IMessage* message = nullptr;
        if (Quorvel_OpenItem(session, item.id.c_str(), item.storeId.c_str(), &message) != S_OK) continue;
        unsigned verdict = 0, filled = 0;
        const char *why = nullptr, *fields = nullptr;
        if (text.empty()) SimilarSearch_SetSearchByItem(search, message, &filled);
        text += std::to_string(SimilarSearch_CheckItem(search, message, &verdict, &filled, &why, &fields));
        text += std::to_string(verdict) + "/" + std::to_string(filled) + " ";
        int like = 0, flag = 0;
        Appointment_AllDayEventLikeEx(message, &like, 1, &flag);
        text += std::to_string(Quorvel_GetSubjectBodyAttachmentsSize(message, 1, nullptr, 0)) + "; ";
        Quorvel_CloseItem(message);
    }
    SimilarSearch_Delete(search);
    return text;
}

using TUse = std::string (*)(IMAPISession*, const TSearch&, const std::vector<TItem>&);

}  // namespace

void Items(const TCorpus& corpus, CChoices& choices) {
    const auto database = std::make_shared<mailbox::CDatabase>();
    std::wstring why;
    const std::string& text = choices.Of(corpus);
    Require(mailbox::ReadMailbox(std::make_shared<mailbox::CFileText>(text), *database, why),
            "the corpus is no mailbox", text);
    const std::vector<TItem> items = Multiply(*database, choices);
    if (items.empty()) return;
    CMapiProvider::Bind(GetModuleHandleW(nullptr));
    mailbox::Install(database);
    store::mapi::Initialize(nullptr);
    {
        ComPtr<IMAPISession> session;
        Require(store::mapi::LogonEx(0, nullptr, nullptr, MAPI_EXTENDED, session.GetAddressOf()) == S_OK,
                "no logon", text);
        const TSearch search = AnySearch(choices);
        for (const TUse use : {Groups, Cells, Verdicts}) {
            const std::string once = use(session.Get(), search, items);
            Require(use(session.Get(), search, items) == once, "the second time something else is found",
                    once);
            static const HRESULT results[] = {E_FAIL, MAPI_E_NOT_FOUND, S_OK, S_FALSE,
                                              MAPI_W_ERRORS_RETURNED};
            mailbox::TFault fault;
            fault.nth = 1 + choices.Below(60);
            fault.times = 1 + choices.Below(3);
            fault.result = choices.Of(results);
            fault.perform = choices.OneIn(2);
            if (fault.perform && choices.OneIn(2)) fault.limit = choices.Below(4);
            mailbox::calls::Fail(fault);
            use(session.Get(), search, items);
            mailbox::calls::Reset();
            Require(use(session.Get(), search, items) == once, "after failures something else is found",
                    once);
        }
        session->Logoff(0, 0, 0);
    }
    store::mapi::Uninitialize();
    mailbox::Install(nullptr);
    Require(mailbox::DescribeAlive().empty(), "the platform's objects and buffers still alive",
            mailbox::DescribeAlive());
}

}  // namespace fuzz
