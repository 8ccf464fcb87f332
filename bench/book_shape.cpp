#include "bench/book_shape.h"

#include <windows.h>
#include <psapi.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "base/mapi_extra.h"
#include "base/ticks.h"
#include "bench/contact_items.h"
#include "mailbox/platform.h"
#include "quorvel.h"
#include "similar/CSimilarSearch.h"
#include "store/sessions.h"

using store::ComPtr;

namespace {

/// How often the k-th of many names is held: as in life, a few by thousands, most by one or two.
class CFrequent {
  public:
    CFrequent(size_t count, double offset) {
        double sum = 0;
        for (size_t k = 0; k < count; ++k) m_sums.push_back(sum += 1 / (static_cast<double>(k) + offset));
    }
    size_t Draw(std::mt19937& random) const {
        const double at = std::uniform_real_distribution<double>(0, m_sums.back())(random);
        return static_cast<size_t>(std::lower_bound(m_sums.begin(), m_sums.end(), at) - m_sums.begin());
    }

  private:
    std::vector<double> m_sums;
};

/// Words that can be spoken, the same for the same number.
std::wstring Word(size_t number, size_t syllables) {
    static const wchar_t* const kBegins[] = {L"b", L"br", L"d", L"f",   L"g",  L"h", L"k", L"kr", L"l", L"m",
                                             L"n", L"p",  L"r", L"sch", L"st", L"t", L"v", L"w",  L"z", L""};
    static const wchar_t* const kMiddles[] = {L"a", L"e", L"i", L"o", L"u", L"ei", L"au", L"\u00fc"};
    static const wchar_t* const kEnds[] = {L"", L"n", L"r", L"ll", L"ck", L"s", L"mann", L"t"};
    std::mt19937 random(static_cast<unsigned>(number * 7 + syllables));
    std::wstring word;
    for (size_t i = 0; i < syllables; ++i)
        word = word + kBegins[random() % std::size(kBegins)] + kMiddles[random() % std::size(kMiddles)] +
               kEnds[random() % std::size(kEnds)];
    CharUpperBuffW(word.data(), 1);
    return word;
}

std::wstring Digits(std::mt19937& random, size_t count) {
    std::wstring digits;
    while (digits.size() < count) digits += static_cast<wchar_t>(L'0' + random() % 10);
    return digits;
}

struct TPerson {
    std::wstring first, last, firm, mobile, business, email, domain, job;
    bool hasMobile, hasBusiness, hasEmail, hasBirthday;
    unsigned birthday;
};

class CPeople {
  public:
    explicit CPeople(size_t count)
        : m_first(500, 8),
          m_last(std::max<size_t>(count / 10, 500), 6),
          m_firm(std::max<size_t>(count / 25, 100), 4) {}

    TPerson Next() {
        TPerson p;
        p.first = Word(m_first.Draw(m_random), 2);
        p.last = Word(1000 + m_last.Draw(m_random), 2 + m_random() % 2 * 0);
        const size_t firm = m_firm.Draw(m_random);
        const bool isPrivate = OneIn(3);
        p.firm = isPrivate ? L"" : Word(100'000 + firm, 3) + (firm % 2 ? L" GmbH" : L" & Co.");
        p.domain = isPrivate ? (OneIn(2) ? L"mail.example" : L"post.example")
                             : Word(100'000 + firm, 3) + L".example";
        p.mobile = Digits(m_random, 8);
        // The firm's own number, with an extension, or the exchange itself.
        p.business = std::to_wstring(2'000'000 + firm * 97) + (OneIn(4) ? L"" : Digits(m_random, 3));
        p.email = p.first + L"." + p.last + (OneIn(3) ? Digits(m_random, 2) : L"");
        static const wchar_t* const kJobs[] = {L"Sales", L"Engineer", L"Director", L"Assistant", L"Buyer"};
        p.job = OneIn(2) ? kJobs[m_random() % std::size(kJobs)] : L"";
        p.hasMobile = !OneIn(3);
        p.hasBusiness = !isPrivate && !OneIn(4);
        p.hasEmail = !OneIn(5);
        p.hasBirthday = OneIn(8);
        p.birthday = m_random() % 25'000;
        return p;
    }
    /// The same person as somebody else writes it.
    TPerson Rewritten(TPerson p) {
        switch (m_random() % 4) {
            case 0:
                std::swap(p.first, p.last);
                break;
            case 1:
                p.last.erase(p.last.size() / 2, 1);
                break;
            case 2:
                p.first = p.first.substr(0, 1) + L".";
                break;
            default:
                p.email += L"x";
        }
        p.mobile.insert(4, L"-");
        if (OneIn(2)) p.firm.clear();
        p.hasBirthday = p.hasBirthday && OneIn(2);
        return p;
    }
    bool OneIn(unsigned n) { return m_random() % n == 0; }

  private:
    CFrequent m_first, m_last, m_firm;
    std::mt19937 m_random{1};
};

std::string AddPerson(mailbox::CDatabase& database, mailbox::TStore& store, mailbox::TFolder& folder,
                      const TPerson& p) {
    mailbox::CProperties values;
    values.Text(PR_DISPLAY_NAME_W, p.first + L" " + p.last)
        .Text(PR_GIVEN_NAME_W, p.first)
        .Text(PR_SURNAME_W, p.last);
    values.Text(bench::AddressTag(store, 0x8005, PT_UNICODE), p.last + L", " + p.first);
    if (!p.firm.empty()) values.Text(PR_COMPANY_NAME_W, p.firm);
    if (p.hasMobile) values.Text(PR_MOBILE_TELEPHONE_NUMBER_W, L"+49 171 " + p.mobile);
    if (p.hasBusiness) values.Text(PR_BUSINESS_TELEPHONE_NUMBER_W, L"+49 (40) " + p.business);
    if (p.hasEmail) values.Text(bench::AddressTag(store, 0x8083, PT_UNICODE), p.email + L"@" + p.domain);
    if (!p.job.empty()) values.Text(PR_TITLE_W, p.job);
    if (p.hasBirthday) values.Time(PR_BIRTHDAY, bench::Day(p.birthday));
    return bench::AddContact(database, folder, std::move(values));
}

/// What the process has worked, whatever else the machine does.
double Worked() {
    FILETIME created, ended, kernel, user;
    GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user);
    return static_cast<double>(base::Ticks(kernel) + base::Ticks(user)) / base::kTicksPerSecond;
}

double Elapsed(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

size_t PrivateBytes() {
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
    return counters.PagefileUsage;
}

class CBook {
  public:
    explicit CBook(unsigned people) : m_database(std::make_shared<mailbox::CDatabase>()) {
        mailbox::TStore* store = m_database->AddStore({}, L"Contacts");
        mailbox::TFolder* folder = m_database->AddFolder(*store->root, {}, {});
        CPeople make(people);
        TPerson earlier = make.Next();
        while (m_ids.size() < people) {
            const TPerson person = make.OneIn(20) ? make.Rewritten(earlier) : make.Next();
            m_ids.push_back(AddPerson(*m_database, *store, *folder, person));
            if (make.OneIn(50)) earlier = person;
        }
        mailbox::Install(m_database);
        store::Logon(&m_pSession, 0, 0);
        m_storeId = bench::HexOf(store->id);
        m_opener.emplace(m_pSession, m_storeId);
    }
    CBook(const CBook&) = delete;
    ~CBook() {
        m_opener.reset();
        store::Logoff(m_pSession);
        mailbox::Install(nullptr);
    }

    const std::vector<std::string>& Ids() const { return m_ids; }
    ComPtr<IMessage> Open(size_t contact) const { return m_opener->Open(m_ids[contact]); }
    HSimilarSearch NewSearch() const { return SimilarSearch_Create(m_pSession, m_storeId.c_str(), 0); }

  private:
    std::shared_ptr<mailbox::CDatabase> m_database;
    IMAPISession* m_pSession = nullptr;
    std::string m_storeId;
    std::optional<bench::COpener> m_opener;
    std::vector<std::string> m_ids;
};

unsigned Check(HSimilarSearch search, const std::string& id) {
    unsigned verdict = 0, filled = 0;
    SimilarSearch_CheckItemFast(search, id.c_str(), &verdict, &filled, nullptr, nullptr);
    return verdict;
}

void SearchBy(HSimilarSearch search, const CBook& book, size_t contact) {
    unsigned filled = 0;
    SimilarSearch_SetSearchByItem(search, book.Open(contact).Get(), &filled);
}

unsigned long long Compared(HSimilarSearch search) {
    return reinterpret_cast<const similar::CSimilarSearch*>(search)->Compared();
}

/// Microseconds of caching a contact, the median.
double Fill(HSimilarSearch search, const CBook& book) {
    std::vector<double> times;
    for (size_t i = 0; i < book.Ids().size(); ++i) {
        const ComPtr<IMessage> item = book.Open(i);
        const auto start = std::chrono::steady_clock::now();
        SimilarSearch_AddToCache(search, item.Get());
        times.push_back(Elapsed(start) * 1e6);
    }
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

void MeasurePairs(HSimilarSearch search, const CBook& book, unsigned searchedBy, TBookFigures& figures) {
    const size_t people = book.Ids().size();
    const unsigned long long before = Compared(search);
    const double begin = Worked();
    for (size_t n = 0; n < searchedBy; ++n) {
        const size_t a = n * people / searchedBy;
        SearchBy(search, book, a);
        for (size_t b = a + 1; b < people; ++b) ++figures.verdicts[Check(search, book.Ids()[b])];
        figures.pairs += people - a - 1;
    }
    figures.candidates = static_cast<double>(Compared(search) - before) / static_cast<double>(figures.pairs);
    figures.pairsSeconds = (Worked() - begin) * static_cast<double>(people) / searchedBy;
}

/// The contacts that are no candidates of the one searched by last, one after another.
double MeasureNonCandidates(HSimilarSearch search, const CBook& book) {
    std::vector<std::string> others;
    for (const std::string& id : book.Ids()) {
        const unsigned long long before = Compared(search);
        Check(search, id);
        if (Compared(search) == before) others.push_back(id);
    }
    double fastest = 1e9;
    for (int round = 0; round < 9 && !others.empty(); ++round) {
        const auto start = std::chrono::steady_clock::now();
        for (const std::string& id : others) Check(search, id);
        fastest = std::min(fastest, Elapsed(start) / static_cast<double>(others.size()) * 1e6);
    }
    return fastest;
}

/// Every contact compared, as without an index: what is cached after the first check is compared always.
double MeasureComparing(const CBook& book) {
    constexpr size_t kSearchedBy = 5;
    const size_t people = book.Ids().size();
    double worked = 0;
    for (size_t n = 0; n < kSearchedBy; ++n) {
        const size_t a = n * people / kSearchedBy;
        const HSimilarSearch search = book.NewSearch();
        SearchBy(search, book, a);
        Check(search, book.Ids()[a]);
        Fill(search, book);
        const double begin = Worked();
        for (int round = 0; round < 10; ++round)
            for (const std::string& id : book.Ids()) Check(search, id);
        worked += Worked() - begin;
        SimilarSearch_Delete(search);
    }
    return worked / 10 / kSearchedBy / static_cast<double>(people) * 1e6;
}

}  // namespace

TBookFigures MeasureBook(unsigned people, unsigned searchedBy) {
    TBookFigures figures{};
    const CBook book(people);
    const size_t before = PrivateBytes();
    const HSimilarSearch search = book.NewSearch();
    figures.add = Fill(search, book);
    figures.bytes = static_cast<double>(PrivateBytes() - before) / people;
    MeasurePairs(search, book, searchedBy, figures);
    figures.nonCandidate = MeasureNonCandidates(search, book);
    SimilarSearch_Delete(search);
    figures.compared = MeasureComparing(book);
    return figures;
}
