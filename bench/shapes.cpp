#include "bench/shapes.h"

#include <algorithm>
#include <numeric>
#include <random>

#include "base/mapi_extra.h"
#include "compare/propex.h"
#include "log/identifier_text.h"
#include "mailbox/platform_headers.h"
#include "store/named_properties.h"

using enum compare::EPropEx;

namespace {

using Random = std::mt19937;

const wchar_t* const kWords[] = {L"meeting", L"invoice", L"report", L"holiday",  L"draft",
                                 L"agenda",  L"budget",  L"travel", L"notes",    L"request",
                                 L"update",  L"minutes", L"plan",   L"order",    L"review",
                                 L"photos",  L"lunch",   L"offer",  L"contract", L"results"};

/// Some words and the number that makes the text its own.
std::wstring Words(Random& random, unsigned words, unsigned number) {
    std::wstring text;
    for (unsigned i = 0; i < words; ++i) text.append(kWords[random() % std::size(kWords)]).append(L" ");
    return text + std::to_wstring(number);
}

FILETIME Minutes(unsigned minutes) {
    ULARGE_INTEGER time{};
    time.QuadPart = 133000000000000000ull + minutes * 600000000ull;
    return {time.LowPart, time.HighPart};
}

/// 0 to n - 1 in random order.
std::vector<unsigned> Shuffled(unsigned n, Random& random) {
    std::vector<unsigned> order(n);
    std::iota(order.begin(), order.end(), 0u);
    std::shuffle(order.begin(), order.end(), random);
    return order;
}

void AddItem(mailbox::CDatabase& database, mailbox::TStore& store, mailbox::CProperties properties,
             std::vector<mailbox::CProperties> recipients = {}) {
    auto data = std::make_shared<mailbox::TMessageData>();
    data->properties = std::move(properties);
    data->properties.Compact();
    data->recipients = std::move(recipients);
    database.AddItem(*store.root, {}, std::move(data));
}

// ---- Mails

/// What the five properties of a mail are made of; equal numbers give equal values.
struct TMailNumbers {
    unsigned subject, sender, time, size, id;
    unsigned missing = 0;  // a bit a property
};

mailbox::CProperties Mail(const TMailNumbers& numbers) {
    mailbox::CProperties mail;
    const auto has = [&](unsigned property) { return (numbers.missing >> property & 1) == 0; };
    Random subject(numbers.subject), sender(numbers.sender * 7 + 1), id(numbers.id * 13 + 5);
    if (has(0)) mail.Text(PR_SUBJECT_W, Words(subject, 4, numbers.subject));
    if (has(1)) mail.Text(PR_SENDER_NAME_W, Words(sender, 2, numbers.sender));
    if (has(2)) mail.Time(PR_CLIENT_SUBMIT_TIME, Minutes(numbers.time));
    if (has(3)) mail.Long(PR_IMPORTANCE, numbers.size);
    if (has(4)) mail.Text(PR_ACCOUNT_W, L"<" + Words(id, 1, numbers.id) + L"@example.org>");
    return mail;
}

template <typename Numbers>
void FillMails(mailbox::CDatabase& database, mailbox::TStore& store, unsigned n, Numbers&& numbersOf) {
    for (unsigned i = 0; i < n; ++i) AddItem(database, store, Mail(numbersOf(i)));
}

void FillDistinct(mailbox::CDatabase& database, mailbox::TStore& store, unsigned n, unsigned seed) {
    Random random(seed);
    const auto order = Shuffled(n, random);
    FillMails(database, store, n, [&](unsigned i) {
        const unsigned k = order[i];
        return TMailNumbers{k, k, k, k, k};
    });
}

void FillAscending(mailbox::CDatabase& database, mailbox::TStore& store, unsigned n, unsigned seed) {
    Random random(seed);
    const auto order = Shuffled(n, random);
    FillMails(database, store, n, [&](unsigned i) {
        return TMailNumbers{order[i], order[i], i, order[i], order[i]};
    });
}

void FillCommon(mailbox::CDatabase& database, mailbox::TStore& store, unsigned n, unsigned seed) {
    Random random(seed);
    const auto order = Shuffled(n, random);
    const auto few = [&] { return static_cast<unsigned>(random() % 3); };
    FillMails(database, store, n, [&](unsigned i) {
        return TMailNumbers{few(), few(), few(), few(), order[i]};
    });
}

void FillSparse(mailbox::CDatabase& database, mailbox::TStore& store, unsigned n, unsigned seed) {
    Random random(seed);
    const auto order = Shuffled(n, random);
    FillMails(database, store, n, [&](unsigned i) {
        unsigned missing = 0;
        for (unsigned p = 0; p < 5; ++p) missing |= (random() % 10 < 6 ? 1u : 0u) << p;
        const unsigned k = order[i];
        return TMailNumbers{k, k, k, k, k, missing};
    });
}

void FillPairs(mailbox::CDatabase& database, mailbox::TStore& store, unsigned n, unsigned seed) {
    Random random(seed);
    const auto order = Shuffled(n, random);
    FillMails(database, store, n, [&](unsigned i) {
        const unsigned k = order[i] / 2;
        return TMailNumbers{k, k, k, k, k};
    });
}

void FillClumps(mailbox::CDatabase& database, mailbox::TStore& store, unsigned n, unsigned seed) {
    Random random(seed);
    const auto order = Shuffled(n, random);
    FillMails(database, store, n, [&](unsigned i) {
        const unsigned k = order[i] / 1000;
        return TMailNumbers{k, k, k, k, k};
    });
}

void FillStreams(mailbox::CDatabase& database, mailbox::TStore& store, unsigned n, unsigned seed,
                 unsigned copies) {
    constexpr size_t kCharacters = 2048;  // 4 KB
    Random random(seed);
    for (const unsigned i : Shuffled(n, random)) {
        const unsigned k = i / copies;
        mailbox::CProperties mail = Mail({k, k, k, k, k});
        std::wstring body = L"Dear all, ";
        for (Random words(k); body.size() < kCharacters;) body += Words(words, 10, words() % 1000);
        body.resize(kCharacters);
        mail.Text(PR_BODY_W, body);
        AddItem(database, store, std::move(mail));
    }
}

void FillStreamsOnce(mailbox::CDatabase& database, mailbox::TStore& store, unsigned n, unsigned seed) {
    FillStreams(database, store, n, seed, 1);
}

void FillStreamsTwice(mailbox::CDatabase& database, mailbox::TStore& store, unsigned n, unsigned seed) {
    FillStreams(database, store, n, seed, 2);
}

// Bodies that begin alike for a kilobyte, as newsletters and replies do, and then go on otherwise.
void FillHeads(mailbox::CDatabase& database, mailbox::TStore& store, unsigned n, unsigned seed) {
    Random random(seed);
    for (const unsigned k : Shuffled(n, random)) {
        mailbox::CProperties mail = Mail({k, k, k, k, k});
        std::wstring body(600, L'-');
        for (Random words(k); body.size() < 1024;) body += Words(words, 10, k);
        mail.Text(PR_BODY_W, body);
        AddItem(database, store, std::move(mail));
    }
}

// Each mail twice, its recipients in another order.
void FillRecipients(mailbox::CDatabase& database, mailbox::TStore& store, unsigned n, unsigned seed) {
    constexpr unsigned kRecipients = 500;
    Random random(seed);
    for (const unsigned i : Shuffled(n, random)) {
        const unsigned k = i / 2;
        std::vector<mailbox::CProperties> recipients;
        for (const unsigned r : Shuffled(kRecipients, random)) {
            const std::wstring name = L"person" + std::to_wstring(k + r);
            mailbox::CProperties recipient;
            recipient.Text(PR_DISPLAY_NAME_W, name);
            recipient.Text(PR_EMAIL_ADDRESS_W, name + L"@example.org");
            recipient.Long(PR_RECIPIENT_TYPE, MAPI_TO);
            recipients.push_back(std::move(recipient));
        }
        AddItem(database, store, Mail({k, k, k, k, k}), std::move(recipients));
    }
}

// ---- Contacts

constexpr LONG kEmailIds[] = {0x8083, 0x8093, 0x80A3};

mailbox::TName EmailName(LONG id) {
    GUID set{};
    CLSIDFromString(L"{00062004-0000-0000-C000-000000000046}", &set);
    return {set, true, id, {}};
}

// One in ten shares an e-mail or a phone with another contact.
void FillContacts(mailbox::CDatabase& database, mailbox::TStore& store, unsigned n, unsigned seed) {
    Random random(seed);
    ULONG emailTags[3];
    for (int e = 0; e < 3; ++e)
        emailTags[e] = PROP_TAG(PT_UNICODE, store.names.FindOrAdd(EmailName(kEmailIds[e])));
    for (const unsigned k : Shuffled(n, random)) {
        const unsigned person = k % 10 == 0 && k > 0 ? k - 1 : k;
        Random first(person * 3 + 1), last(person * 5 + 2);
        mailbox::CProperties contact;
        contact.Text(PR_GIVEN_NAME_W, Words(first, 1, person));
        contact.Text(PR_SURNAME_W, Words(last, 1, person));
        contact.Text(PR_COMPANY_NAME_W, Words(first, 2, person));
        const auto email = [](unsigned number) {
            return L"person" + std::to_wstring(number) + L"@example.org";
        };
        contact.Text(emailTags[0], email(person));
        if (k % 3 == 0) contact.Text(emailTags[1], email(1000000 + k));
        const auto phone = [](unsigned number) { return L"+49 (30) " + std::to_wstring(1000000 + number); };
        contact.Text(PR_HOME_TELEPHONE_NUMBER_W, phone(person));
        if (k % 2 == 0) contact.Text(PR_MOBILE_TELEPHONE_NUMBER_W, phone(2000000 + k));
        AddItem(database, store, std::move(contact));
    }
}

void FillRuled(mailbox::CDatabase& database, mailbox::TStore& store, unsigned n, unsigned) {
    for (unsigned i = 0; i < n; ++i) {
        mailbox::CProperties contact;
        contact.Text(PR_GIVEN_NAME_W, L"Ann");
        contact.Text(PR_SURNAME_W, L"Lee");
        contact.Text(PR_COMPANY_NAME_W, L"Acme");
        AddItem(database, store, std::move(contact));
    }
}

// The company alone is like each of its people, and they are not like each other.
void FillHub(mailbox::CDatabase& database, mailbox::TStore& store, unsigned n, unsigned seed) {
    Random random(seed);
    for (const unsigned k : Shuffled(n, random)) {
        mailbox::CProperties contact;
        contact.Text(PR_COMPANY_NAME_W, L"Acme");
        if (k % 2 == 0) {
            Random first(k * 3 + 1);
            contact.Text(PR_GIVEN_NAME_W, Words(first, 1, k));
        }
        AddItem(database, store, std::move(contact));
    }
}

// ---- Stores

constexpr LONG kTextNames[] = {0x8208, 0x8210, 0x8212};

/// Mails with three named texts, all values distinct. Each store has the names in another order.
void FillOneOfStores(mailbox::CDatabase& database, mailbox::TStore& store, unsigned n, unsigned seed) {
    GUID set;
    logging::Str2GUID(base::kSetAppointment, &set);
    Random random(seed);
    const auto order = Shuffled(n, random);
    const auto stores = static_cast<unsigned>(database.stores.size());
    ULONG tags[std::size(kTextNames)];
    for (unsigned i = 0; i < std::size(tags); ++i) {
        const auto name = static_cast<unsigned>((i + stores) % std::size(tags));
        tags[name] = PROP_TAG(PT_UNICODE, store.names.FindOrAdd({set, true, kTextNames[name], {}}));
    }
    for (unsigned i = 0; i < n; ++i) {
        const unsigned k = order[i] * 4 + stores - 1;
        mailbox::CProperties mail = Mail({k, k, k, k, k});
        for (const ULONG tag : tags) mail.Text(tag, L"text " + std::to_wstring(k));
        AddItem(database, store, std::move(mail));
    }
}

// ---- The shapes

TComparyProp Compared(ULONG tag, unsigned nInterface = 0) {
    return {L"Key", L"Name", 0, tag, nullptr, 0, nullptr, PROP_TYPE(tag), nInterface, 1, cmExact, 0};
}
TComparyProp Derived(unsigned id, unsigned method) {
    return {L"Key", L"Name", 0,      0, base::kPrivateSet, static_cast<int>(id), nullptr, PT_MV_UNICODE,
            0,      1,       method, 0};
}

TComparyProp Named(LONG id) {
    return {L"Key", L"Name", 0,       0, base::kSetAppointment, static_cast<int>(id), nullptr, PT_UNICODE,
            0,      1,       cmExact, 0};
}

const std::vector<ULONG> kMailTags{PR_SUBJECT_W, PR_SENDER_NAME_W, PR_CLIENT_SUBMIT_TIME, PR_IMPORTANCE,
                                   PR_ACCOUNT_W};
const std::vector<TComparyProp> kMail{Compared(PR_SUBJECT_W), Compared(PR_SENDER_NAME_W),
                                      Compared(PR_CLIENT_SUBMIT_TIME), Compared(PR_IMPORTANCE),
                                      Compared(PR_ACCOUNT_W)};

const std::vector<TComparyProp> kContact{Compared(PR_GIVEN_NAME_W), Compared(PR_SURNAME_W),
                                         Compared(PR_COMPANY_NAME_W), Derived(propexAnyEmail, cmExact),
                                         Derived(propexAnyPhone, cmLast7Digits)};
const std::vector<unsigned> kContactRules{cleContCompanyContact, cleContFirstLastOnDiffSides,
                                          cleContFirstLast};

template <typename T>
std::vector<T> With(std::vector<T> list, std::initializer_list<T> more) {
    list.insert(list.end(), more);
    return list;
}

// Names are given out in order of their first use, so these are the e-mail addresses in the benchmark's
// store.
const std::vector<ULONG> kContactTags{PR_GIVEN_NAME_W,
                                      PR_SURNAME_W,
                                      PR_COMPANY_NAME_W,
                                      PROP_TAG(PT_UNICODE, 0x8000),
                                      PROP_TAG(PT_UNICODE, 0x8001),
                                      PROP_TAG(PT_UNICODE, 0x8002),
                                      PR_CAR_TELEPHONE_NUMBER_W,
                                      PR_HOME_TELEPHONE_NUMBER_W,
                                      PR_HOME2_TELEPHONE_NUMBER_W,
                                      PR_HOME_FAX_NUMBER_W,
                                      PR_MOBILE_TELEPHONE_NUMBER_W,
                                      PR_PAGER_TELEPHONE_NUMBER_W,
                                      PR_RADIO_TELEPHONE_NUMBER_W,
                                      PR_BUSINESS_TELEPHONE_NUMBER_W,
                                      PR_BUSINESS2_TELEPHONE_NUMBER_W,
                                      PR_BUSINESS_FAX_NUMBER_W,
                                      PR_COMPANY_MAIN_PHONE_NUMBER_W,
                                      PR_TELEX_NUMBER_W,
                                      PR_ASSISTANT_TELEPHONE_NUMBER_W,
                                      PR_CALLBACK_TELEPHONE_NUMBER_W,
                                      PR_ISDN_NUMBER_W,
                                      PR_PRIMARY_TELEPHONE_NUMBER_W,
                                      PR_OTHER_TELEPHONE_NUMBER_W,
                                      PR_PRIMARY_FAX_NUMBER_W,
                                      PR_TTYTDD_PHONE_NUMBER_W};

}  // namespace

const std::vector<TShape>& AllShapes() {
    static const std::vector<TShape> shapes{
        {"distinct", "all values distinct", saIdentical, FillDistinct, kMail, kMailTags},
        {"ascending", "times in order of addition", saIdentical, FillAscending, kMail, kMailTags},
        {"common", "4 of 5 properties take 3 values", saIdentical, FillCommon, kMail, kMailTags},
        {"sparse", "each property missing on 60 %, similar algorithm", saSimilar, FillSparse, kMail,
         kMailTags},
        {"pairs", "every item twice", saIdentical, FillPairs, kMail, kMailTags},
        {"clumps", "groups of 1,000 equal items", saIdentical, FillClumps, kMail, kMailTags},
        {"streams", "bodies of 4 KB compared too", saIdentical, FillStreamsOnce,
         With(kMail, {Compared(PR_BODY_W, 1)}), With(kMailTags, {ULONG{PR_BODY_W}})},
        {"twins", "every item twice, bodies of 4 KB compared too", saIdentical, FillStreamsTwice,
         With(kMail, {Compared(PR_BODY_W, 1)}), With(kMailTags, {ULONG{PR_BODY_W}})},
        {"contacts", "any e-mail and any phone, 1 in 10 similar", saSimilar, FillContacts, kContact,
         kContactTags},
        {"ruled", "equal contacts under the rules for contacts", saSimilar, FillRuled, kContact, kContactTags,
         kContactRules},
        {"hub", "half a company, half company and person, under the rules", saSimilar, FillHub, kContact,
         kContactTags, kContactRules},
        {"heads", "bodies of 2 KB that begin alike", saIdentical, FillHeads,
         With(kMail, {Compared(PR_BODY_W, 1)}), With(kMailTags, {ULONG{PR_BODY_W}})},
        {"recipients", "every mail twice, to 500 recipients", saIdentical, FillRecipients,
         With(kMail, {Derived(propexRecipients, cmRecipients)}), kMailTags},
        {"stores",
         "four stores in turn, three of eight properties by name",
         saIdentical,
         FillOneOfStores,
         With(kMail, {Named(kTextNames[0]), Named(kTextNames[1]), Named(kTextNames[2])}),
         With(kMailTags, {ULONG{PROP_TAG(PT_UNICODE, 0x8000)}, ULONG{PROP_TAG(PT_UNICODE, 0x8001)},
                          ULONG{PROP_TAG(PT_UNICODE, 0x8002)}}),
         {},
         4}};
    return shapes;
}

const TShape* FindShape(const std::string& name) {
    const auto& shapes = AllShapes();
    const auto found =
        std::find_if(shapes.begin(), shapes.end(), [&](const TShape& s) { return s.name == name; });
    return found == shapes.end() ? nullptr : &*found;
}
