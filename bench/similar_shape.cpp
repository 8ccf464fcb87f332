#include "bench/similar_shape.h"

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "base/mapi_extra.h"
#include "bench/contact_items.h"
#include "mailbox/CDatabase.h"
#include "mailbox/platform.h"
#include "quorvel.h"
#include "store/sessions.h"

using store::ComPtr;

namespace {

const wchar_t* const kFirstNames[] = {L"Anna",  L"Ben",  L"Carla", L"David", L"Eva",   L"Felix",
                                      L"Gesa",  L"Hugo", L"Ida",   L"Jonas", L"Karin", L"Lukas",
                                      L"Maria", L"Nils", L"Olga",  L"Peter", L"Rosa",  L"Stefan",
                                      L"Tanja", L"Uwe",  L"Vera",  L"Walter"};
const wchar_t* const kLastNames[] = {L"Ahlers",  L"Brandt", L"Claasen", L"Dietrich", L"Ernst",   L"Fischer",
                                     L"Graf",    L"Huber",  L"Jansen",  L"Keller",   L"Lehmann", L"Meier",
                                     L"Neumann", L"Otto",   L"Peters",  L"Richter",  L"Schmidt", L"Thomsen",
                                     L"Vogel",   L"Weber",  L"Zimmer"};
const wchar_t* const kCompanies[] = {L"Nordwerft", L"Brandt & Co.", L"Quayside Ltd.", L"Lindqvist AB",
                                     L"Alpenblick"};
const wchar_t* const kStreets[] = {L"Main St.", L"Hafenstrasse", L"Rue du Port", L"Mill Lane", L"Am Markt"};

/// Text fields by tag that a contact may fill, phones first.
constexpr ULONG kTextTags[] = {PR_BUSINESS_TELEPHONE_NUMBER_W,
                               PR_MOBILE_TELEPHONE_NUMBER_W,
                               PR_HOME_TELEPHONE_NUMBER_W,
                               PR_ASSISTANT_TELEPHONE_NUMBER_W,
                               PR_BUSINESS_FAX_NUMBER_W,
                               PR_BUSINESS2_TELEPHONE_NUMBER_W,
                               PR_CALLBACK_TELEPHONE_NUMBER_W,
                               PR_CAR_TELEPHONE_NUMBER_W,
                               PR_COMPANY_MAIN_PHONE_NUMBER_W,
                               PR_HOME_FAX_NUMBER_W,
                               PR_HOME2_TELEPHONE_NUMBER_W,
                               PR_ISDN_NUMBER_W,
                               PR_PRIMARY_FAX_NUMBER_W,
                               PR_OTHER_TELEPHONE_NUMBER_W,
                               PR_PAGER_TELEPHONE_NUMBER_W,
                               PR_PRIMARY_TELEPHONE_NUMBER_W,
                               PR_RADIO_TELEPHONE_NUMBER_W,
                               PR_TELEX_NUMBER_W,
                               PR_TTYTDD_PHONE_NUMBER_W,
                               PR_DISPLAY_NAME_PREFIX_W,
                               PR_MIDDLE_NAME_W,
                               PR_GENERATION_W,
                               PR_HOME_ADDRESS_STREET_W,
                               PR_OTHER_ADDRESS_STREET_W,
                               PR_ACCOUNT_W,
                               PR_ASSISTANT_W,
                               PR_CUSTOMER_ID_W,
                               PR_DEPARTMENT_NAME_W,
                               PR_FTP_SITE_W,
                               PR_GOVERNMENT_ID_NUMBER_W,
                               PR_HOBBIES_W,
                               PR_TITLE_W,
                               PR_LANGUAGE_W,
                               PR_LOCATION_W,
                               PR_MANAGER_NAME_W,
                               PR_NICKNAME_W,
                               PR_OFFICE_LOCATION_W,
                               PR_ORGANIZATIONAL_ID_NUMBER_W,
                               PR_PERSONAL_HOME_PAGE_W,
                               PR_PROFESSION_W,
                               PR_PREFERRED_BY_NAME_W,
                               PR_SPOUSE_NAME_W,
                               PR_BUSINESS_HOME_PAGE_W};
constexpr size_t kPhones = 19;

class CContacts {
  public:
    explicit CContacts(mailbox::TStore& store) : m_store(store) {}

    /// As people fill contacts: names, company, one or two phones, an e-mail, some a street and a birthday.
    mailbox::CProperties Usual() {
        mailbox::CProperties p = Named();
        const std::wstring number = std::to_wstring(1000000 + m_random() % 9000000);
        p.Text(PR_BUSINESS_TELEPHONE_NUMBER_W, L"+49 (40) " + number);
        p.Text(PR_MOBILE_TELEPHONE_NUMBER_W, L"+49 171 " + std::to_wstring(1000000 + m_random() % 9000000));
        p.Text(Tag(0x8083, PT_UNICODE), L"m" + number + L"@example.org");
        if (m_random() % 2)
            p.Text(Tag(0x8045, PT_UNICODE), std::to_wstring(m_random() % 200) + L" " + Of(kStreets));
        if (m_random() % 3 == 0) p.Time(PR_BIRTHDAY, bench::Day(m_random() % 20000));
        if (m_random() % 2) p.Text(PR_TITLE_W, L"Clerk");
        return p;
    }
    /// Every text field filled with what nobody else has, phones with a common country code; names are
    /// missing, so that every rule is tried.
    mailbox::CProperties Filled() {
        mailbox::CProperties p;
        for (size_t i = 0; i < std::size(kTextTags); ++i) {
            const std::wstring number = std::to_wstring(100000 + m_random() % 90000000);
            p.Text(kTextTags[i], (i < kPhones ? L"+49 (40) " : L"value ") + number);
        }
        for (LONG id : {0x8083, 0x8093, 0x80A3})
            p.Text(Tag(id, PT_UNICODE), L"mail" + std::to_wstring(m_random()) + L"@example.org");
        p.Time(PR_BIRTHDAY, bench::Day(m_random() % 20000));
        return p;
    }
    ULONG Tag(LONG id, ULONG type) { return bench::AddressTag(m_store, id, type); }

  private:
    template <size_t N>
    const wchar_t* Of(const wchar_t* const (&texts)[N]) {
        return texts[m_random() % N];
    }
    mailbox::CProperties Named() {
        mailbox::CProperties p;
        const std::wstring first = Of(kFirstNames), last = Of(kLastNames) + std::to_wstring(m_random() % 100);
        p.Text(PR_DISPLAY_NAME_W, first + L" " + last).Text(PR_GIVEN_NAME_W, first).Text(PR_SURNAME_W, last);
        p.Text(PR_COMPANY_NAME_W, Of(kCompanies)).Text(Tag(0x8005, PT_UNICODE), last);
        return p;
    }

    mailbox::TStore& m_store;
    std::mt19937 m_random{1};
};

class CClock {
  public:
    double Microseconds() const {
        return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - m_start).count();
    }

  private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

double Median(std::vector<double> times) {
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

/// A search with all contacts cached; addMicroseconds is the time of caching one.
class CCachedSearch {
  public:
    CCachedSearch(IMAPISession* session, const std::string& storeId, const std::vector<std::string>& ids)
        : m_ids(ids),
          m_opener(session, storeId),
          m_search(SimilarSearch_Create(session, storeId.c_str(), 0)) {
        std::vector<double> times;
        for (const std::string& id : ids) {
            const ComPtr<IMessage> item = Open(id);
            const CClock clock;
            SimilarSearch_AddToCache(m_search, item.Get());
            times.push_back(clock.Microseconds());
        }
        addMicroseconds = Median(times);
    }
    CCachedSearch(const CCachedSearch&) = delete;
    ~CCachedSearch() { SimilarSearch_Delete(m_search); }

    /// Time of one check of all contacts against one of them, a contact.
    double Check(const std::string& searchBy, unsigned (&verdicts)[3]) {
        unsigned filled, verdict;
        SimilarSearch_SetSearchByItem(m_search, Open(searchBy).Get(), &filled);
        std::vector<double> times;
        for (const std::string& id : m_ids) {
            const CClock clock;
            SimilarSearch_CheckItemFast(m_search, id.c_str(), &verdict, &filled, nullptr, nullptr);
            times.push_back(clock.Microseconds());
            ++verdicts[verdict];
        }
        return Median(times);
    }

    double addMicroseconds = 0;

  private:
    ComPtr<IMessage> Open(const std::string& id) const { return m_opener.Open(id); }

    const std::vector<std::string>& m_ids;
    bench::COpener m_opener;
    HSimilarSearch m_search;
};

}  // namespace

TSimilarFigures MeasureSimilar(unsigned contacts) {
    constexpr unsigned kSearchBy = 5, kFilled = 500;
    TSimilarFigures figures{};
    {
        const auto database = std::make_shared<mailbox::CDatabase>();
        mailbox::TStore* msgStore = database->AddStore({}, L"Contacts");
        mailbox::TFolder* folder = database->AddFolder(*msgStore->root, {}, {});
        CContacts make(*msgStore);
        std::vector<std::string> usual, filled;
        for (unsigned i = 0; i < contacts; ++i)
            usual.push_back(bench::AddContact(*database, *folder, make.Usual()));
        for (unsigned i = 0; i < kFilled; ++i)
            filled.push_back(bench::AddContact(*database, *folder, make.Filled()));
        mailbox::Install(database);

        IMAPISession* session = nullptr;
        store::Logon(&session, 0, 0);
        const std::string storeId = bench::HexOf(msgStore->id);
        {
            CCachedSearch search(session, storeId, usual);
            figures.add = search.addMicroseconds;
            for (unsigned i = 0; i < kSearchBy; ++i)
                figures.check = std::max(figures.check,
                                         search.Check(usual[i * usual.size() / kSearchBy], figures.verdicts));
        }
        {
            unsigned verdicts[3] = {};
            CCachedSearch search(session, storeId, filled);
            for (unsigned i = 0; i < kSearchBy; ++i)
                figures.checkFilled = std::max(figures.checkFilled, search.Check(filled[i], verdicts));
        }
        store::Logoff(session);
    }
    mailbox::Install(nullptr);
    return figures;
}
