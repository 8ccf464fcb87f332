// The engines as a host uses them.

#include <algorithm>
#include <map>

#include "base/mapi_extra.h"
#include "store/named_properties.h"
#include "tests/support/definitions.h"
#include "tests/sweep/SweepTest.h"

using store::ComPtr;

namespace {

/// The letter of an item by its identifier: identifiers differ from run to run.
std::string LetterOf(const std::vector<TestItem>& items, const std::string& id) {
    for (size_t i = 0; i < items.size(); ++i) {
        if (items[i].Id() == id) return std::string(1, static_cast<char>('a' + i));
    }
    return "?";
}

struct TSearchSetup {
    std::vector<TComparyProp> properties;
    TOriginalDefinition original;
    unsigned algorithm;
    std::vector<unsigned> exceptions;
    std::vector<TestItem> (*items)(SweepTest& test);
};

/// Adds items one by one, and builds.
class DuplicateScenario : public HostScenario {
  public:
    DuplicateScenario(SweepTest& test, const TSearchSetup& setup)
        : m_storeId(test.Store().Id()), m_items(setup.items(test)) {
        std::vector<TComparyProp> properties = setup.properties;
        const TComparyProps props{static_cast<int>(properties.size()), properties.data()};
        m_search = Search_Create2(test.Session(), &props, &setup.original, setup.algorithm, 0,
                                  setup.exceptions.data(), static_cast<unsigned>(setup.exceptions.size()));
    }
    ~DuplicateScenario() override { Search_Delete(m_search); }

    size_t Steps() const override { return m_items.size() + 1; }

    bool Do(size_t step) override {
        if (step == m_items.size()) return Search_Build(m_search) != 0;
        unsigned found = 0;
        return Search_Add(m_search, m_items[step].Id().c_str(), m_storeId.c_str(), &found, 0) != 0;
    }

    std::string State() override {
        if (!Search_Build(m_search)) return "cannot be built";
        std::string text = "groups:";
        for (int group = 0; group < Search_GetOriginalCount(m_search); ++group) {
            text += " " + Member(group, -1);
            for (int i = 0; i < Search_GetDuplicateCount(m_search, group); ++i) text += Member(group, i);
        }
        return text;
    }

  private:
    std::string Member(int group, int duplicate) {
        char id[512] = "", store[512] = "";
        unsigned idSize = sizeof id, storeSize = sizeof store;
        if (duplicate < 0) {
            Search_GetOriginal(m_search, group, id, &idSize, store, &storeSize);
        } else {
            Search_GetDuplicate(m_search, group, duplicate, id, &idSize, store, &storeSize);
        }
        return LetterOf(m_items, id);
    }

    std::string m_storeId;
    std::vector<TestItem> m_items;
    HSearch m_search;
};

std::vector<TestItem> Mails(SweepTest& test) {
    std::vector<TestItem> items;
    for (const wchar_t* subject : {L"plan", L"Plan", L"other", L"plan"}) {
        TestItem item = test.Inbox().Item().Subject(subject).Body(std::wstring(700, L'x') + L" body");
        item.Text(PR_SENDER_NAME_W, L"Ann").Time(PR_CLIENT_SUBMIT_TIME, Utc(2024, 1, 2));
        item.To(L"Bob", L"bob@example.org").Cc(L"Cy", L"cy@example.org").Attach(L"a.txt", "data");
        item.Long(PR_MESSAGE_FLAGS, MSGFLAG_READ);
        items.push_back(item);
    }
    return items;
}

std::vector<TestItem> Contacts(SweepTest& test) {
    mailbox::CProperties entry;
    entry.Text(PR_SMTP_ADDRESS_W, L"ann@example.org");
    const std::string address = test.AddAddress(entry);
    std::vector<TestItem> items;
    for (const wchar_t* given : {L"Ann", L"Ann", L"Ann", L"Zoe", L"Ann"}) {
        TestItem item = test.Inbox().Item(L"IPM.Contact");
        item.Text(PR_GIVEN_NAME_W, given).Text(PR_SURNAME_W, L"Lee").Text(PR_COMPANY_NAME_W, L"Acme");
        item.Text(PR_DISPLAY_NAME_W, std::wstring(given) + L" Lee")
            .Text(PR_MOBILE_TELEPHONE_NUMBER_W, L"555 1234");
        item.Named(base::kSetAddress, 0x8083, L"/o=acme/cn=ann")
            .NamedBinary(base::kSetAddress, 0x8085, address);
        item.Named(base::kSetAddress, 0x801A, L"1 Main Street").Named(base::kSetAddress, 0x8005, L"Lee, Ann");
        item.Body(L"notes").Time(PR_LAST_MODIFICATION_TIME, Utc(2024, 1, 2));
        (void)item.NamedTag(base::kSetPublicStrings, L"crmid", PT_STRING8);
        items.push_back(item);
    }
    items[2].Remove(PR_SURNAME_W);
    items[4].Remove(PR_GIVEN_NAME_W).Remove(PR_SURNAME_W);
    return items;
}

std::vector<TestItem> Appointments(SweepTest& test) {
    std::vector<TestItem> items;
    for (const wchar_t* subject : {L"Ann Lee's birthday", L"Lee Ann's birthday", L"Lunch"}) {
        TestItem item = test.Inbox().Item(L"IPM.Appointment").Subject(subject);
        item.Named(base::kSetAppointment, 0x820D, Utc(2024, 3, 4))
            .Named(base::kSetAppointment, 0x820E, Utc(2024, 3, 5));
        item.Named(base::kSetAppointment, 0x8213, LONG{1440}).Named(base::kSetAppointment, 0x8215, true);
        item.Named(base::kSetAppointment, 0x8223, false);
        items.push_back(item);
    }
    return items;
}

std::vector<TSearchSetup> SearchSetups() {
    constexpr ULONG kHeadline = PR_COMPANY_NAME_W;
    return {
        {{Tagged(L"subject", PR_SUBJECT_W), Tagged(L"body", PR_BODY_W, cmExact, 1),
          Derived(L"recipients", 6, cmRecipients), Derived(L"senders", 5),
          Tagged(L"sent", PR_CLIENT_SUBMIT_TIME, cmTimeWithin10Min)},
         {okLargestItem, 0, 0, {}, nullptr},
         saIdentical,
         {cleMailSubjectEmptyOnOneSide},
         Mails},
        {{Tagged(L"subject", PR_SUBJECT_W), Tagged(L"unread", PR_CONTENT_UNREAD, cmExact, 0, 0)},
         {okLargestValues, 0, 0, {}, nullptr},
         saSimilar,
         {},
         Mails},
        {{Tagged(L"given", PR_GIVEN_NAME_W), Tagged(L"surname", PR_SURNAME_W), Derived(L"email", 2),
          Derived(L"phone", 3, cmLast7Digits), Derived(L"address", 1), Derived(L"company", 4)},
         {okHasCrmId, 0, 0, {}, nullptr},
         saSimilar,
         {cleContCompanyContact, cleContFirstLastOnDiffSides, cleContFirstLast},
         Contacts},
        {{Tagged(L"display", PR_DISPLAY_NAME_W), Named(L"email", base::kSetAddress, 0x8083, PT_UNICODE),
          Tagged(L"notes", PR_BODY_W, cmExact, 1, 0)},
         {okFieldValue, 1, PT_UNICODE, {}, L"ann@"},
         saIdentical,
         {},
         Contacts},
        {{Tagged(L"display", kHeadline)},
         {okFieldValue, 0, PT_UNICODE, {}, L"acme"},
         saIdentical,
         {},
         Contacts},
        {{Tagged(L"subject", PR_SUBJECT_W, cmApntAlldaylikeSubject),
          Named(L"start", base::kSetAppointment, 0x820D, PT_SYSTIME, cmApntAlldaylikeStart),
          Named(L"about", base::kSetAppointment, 0x820E, PT_SYSTIME, cmApntApproxStart)},
         {okApntRecurrence, 0, 0, {}, nullptr},
         saIdentical,
         {cleApntSubject},
         Appointments},
    };
}

/// One contact against others, opened and by identifier.
class SimilarScenario : public HostScenario {
  public:
    explicit SimilarScenario(SweepTest& test)
        : m_items(Contacts(test)),
          m_search(SimilarSearch_Create(test.Session(), test.Store().Id().c_str(), 1)) {
        for (const TestItem& item : m_items) m_messages.push_back(test.Open(item));
    }
    ~SimilarScenario() override { SimilarSearch_Delete(m_search); }

    size_t Steps() const override { return 4; }

    bool Do(size_t step) override {
        unsigned verdict = 9, filled = 9;
        const wchar_t *text = nullptr, *fields = nullptr;
        switch (step) {
            case 0:
                return SimilarSearch_SetSearchByItem(m_search, m_messages[0].Get(), &filled) != 0;
            case 1:
                return SimilarSearch_AddToCache(m_search, m_messages[1].Get()) != 0;
            case 2:
                return SimilarSearch_CheckItemW(m_search, m_messages[2].Get(), &verdict, &filled, &text,
                                                &fields) != 0;
            default:
                return SimilarSearch_CheckItemFastW(m_search, m_items[3].Id().c_str(), &verdict, &filled,
                                                    &text, &fields) != 0;
        }
    }

    std::string State() override {
        std::string state = "verdicts:";
        for (const TestItem& item : m_items) {
            unsigned verdict = 9, filled = 9;
            const char *text = nullptr, *fields = nullptr;
            const unsigned made =
                SimilarSearch_CheckItemFast(m_search, item.Id().c_str(), &verdict, &filled, &text, &fields);
            state += " " + std::to_string(made) + std::to_string(verdict) + "/" + std::to_string(filled) +
                     "/" + (text ? text : "");
        }
        return state;
    }

  private:
    std::vector<TestItem> m_items;
    HSimilarSearch m_search;
    std::vector<ComPtr<IMessage>> m_messages;
};

std::vector<TestItem> WithAttachments(SweepTest& test) {
    std::vector<TestItem> items = Mails(test);
    for (TestItem& item : items) {
        mailbox::CProperties photo, reference, ole;
        photo.Long(PR_ATTACH_METHOD, ATTACH_BY_VALUE).Bool(PR_ATTACHMENT_CONTACTPHOTO, true);
        photo.Text(PR_ATTACH_FILENAME_W, L"face.jpg").Binary(PR_ATTACH_DATA_BIN, "a face");
        reference.Long(PR_ATTACH_METHOD, ATTACH_BY_REF_ONLY).Text(PR_ATTACH_PATHNAME_W, L"c:\\a");
        ole.Long(PR_ATTACH_METHOD, ATTACH_OLE).Binary(PR_ATTACH_DATA_BIN, "an object");
        item.Attach(photo).Attach(reference).Attach(ole);
        item.AttachMessage(L"inner", test.Inbox().Item().Subject(L"inner").Body(L"inner body"));
    }
    return items;
}

/// Rows, then their attachments side by side.
class MatrixScenario : public HostScenario {
  public:
    explicit MatrixScenario(SweepTest& test) : m_storeId(test.Store().Id()), m_items(WithAttachments(test)) {
        TComparyProp list[] = {Tagged(L"subject", PR_SUBJECT_W), Tagged(L"body", PR_BODY_W, cmExact, 1),
                               Named(L"place", base::kSetAppointment, 0x8208, PT_UNICODE)};
        const TComparyProps props{static_cast<int>(std::size(list)), list};
        m_matrix = CmpMatrix_CreateEx(test.Session(), &props, 0);
    }
    ~MatrixScenario() override { CmpMatrix_Delete(m_matrix); }

    size_t Steps() const override { return m_items.size() + 1; }

    bool Do(size_t step) override {
        if (step == m_items.size()) return CmpMatrix_BuildAttachMatrix(m_matrix) != 0;
        return CmpMatrix_Add(m_matrix, m_items[step].Id().c_str(), m_storeId.c_str()) != 0;
    }

    std::string State() override {
        unsigned rows = 0, columns = 0;
        CmpMatrix_Size(m_matrix, &rows, &columns);
        std::string text = "cells:";
        for (unsigned row = 0; row < rows; ++row) {
            for (unsigned column = 0; column < columns; ++column) {
                text += " " + std::to_string(
                                  CmpMatrix_Value(m_matrix, static_cast<int>(row), static_cast<int>(column)));
            }
        }
        return text + " attachments: " + std::to_string(CmpMatrix_AttachCount(m_matrix));
    }

  private:
    std::string m_storeId;
    std::vector<TestItem> m_items;
    HCmpMatrix m_matrix;
};

}  // namespace

std::vector<TScenario> EngineScenarios(SweepTest& test) {
    std::vector<TScenario> scenarios;
    for (const TSearchSetup& setup : SearchSetups()) {
        const std::string key = "search " + std::to_string(scenarios.size());
        scenarios.push_back(
            {key, [&test, setup] { return std::make_unique<DuplicateScenario>(test, setup); }});
    }
    scenarios.push_back({"similar contacts", [&test] { return std::make_unique<SimilarScenario>(test); }});
    scenarios.push_back({"matrix", [&test] { return std::make_unique<MatrixScenario>(test); }});
    return scenarios;
}
