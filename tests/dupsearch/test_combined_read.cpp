// Items read with one request against the same items read value by value.

#include <random>

#include "compare/propex_text.h"
#include "log/value_text.h"
#include "tests/dupsearch/search_fixture.h"

using dupsearch::CDuplicateSearch;
using dupsearch::TItem;
using dupsearch::TPlan;
using enum compare::EPropEx;
using enum logging::ESeverity;

namespace {

class CombinedRead : public SearchTest {
  protected:
    static constexpr LONG kAddressSetIds[] = {0x801A, 0x801B, 0x801C, 0x8083, 0x8093, 0x80A3};
    static constexpr ULONG kTexts[] = {PR_HOME_TELEPHONE_NUMBER_W, PR_CAR_TELEPHONE_NUMBER_W,
                                       PR_TTYTDD_PHONE_NUMBER_W,   PR_SENDER_NAME_W,
                                       PR_SENDER_EMAIL_ADDRESS_W,  PR_SENT_REPRESENTING_NAME_W};

    std::vector<TComparyProp> Definitions() {
        return {Tagged(L"Subject", PR_SUBJECT_W),
                Derived(L"Phone", propexAnyPhone),
                Tagged(L"Time", PR_CLIENT_SUBMIT_TIME),
                Derived(L"Address", propexAnyAddress),
                Tagged(L"Key", PR_SEARCH_KEY),
                Derived(L"Company", propexCompanyContact),
                Tagged(L"Home", PR_HOME_TELEPHONE_NUMBER_W),
                Derived(L"From", propexSenders, cmExact),
                Tagged(L"Number", PR_IMPORTANCE),
                Derived(L"Mail", propexAnyEmail)};
    }

    /// An item of which each property is there or not; the first has every name, so that the store knows them.
    TestItem RandomItem(std::mt19937& random, bool all) {
        const auto has = [&] { return all || random() % 2 == 0; };
        const auto text = [&] {
            return std::wstring(random() % 12, L'a') + (random() % 3 ? L"-\u00e9" : L"");
        };
        TestItem item = Inbox().Item();
        if (has()) item.Subject(L"  " + text() + L" ");
        if (has()) item.Time(PR_CLIENT_SUBMIT_TIME, Utc(2024, 1, 1));
        if (has()) item.Binary(PR_SEARCH_KEY, std::string(random() % 20, 'k'));
        if (has()) item.Long(PR_IMPORTANCE, 2);
        for (const LONG id : kAddressSetIds) {
            if (has()) item.Named(base::kSetAddress, id, text());
        }
        for (const ULONG tag : kTexts) {
            if (has()) item.Text(tag, text());
        }
        return item;
    }

    /// Values, elements and their kinds.
    static std::wstring ValuesOf(const CDuplicateSearch& search, uint32_t index) {
        const TItem& item = search.Item(index);
        const TPlan& p = *search.Plan();
        std::wstring all;
        wchar_t text[500];
        for (ULONG i = 0; i < item.cValues; ++i) {
            all.append(logging::PropValueText(&item.values[i], text, std::size(text), 1)).append(L"|");
        }
        for (size_t i = 0; i < item.derived.size(); ++i) {
            const auto& [value, own, kinds] = item.derived[i];
            all.append(compare::PropValueToText(value, text, std::size(text), p.derivedIds[i], true))
                .append(L":");
            const bool hasKinds =
                PROP_TYPE(value->ulPropTag) == PT_MV_UNICODE && p.derivedIds[i] <= propexAnyPhone;
            for (ULONG e = 0; hasKinds && e < value->Value.MVszW.cValues; ++e)
                all.append(std::to_wstring(kinds[e])).append(L"|");
        }
        return all;
    }
};

TEST_F(CombinedRead, GivesWhatSeparateReadingGives) {
    std::mt19937 random(7);
    std::vector<TestItem> items;
    for (int i = 0; i < 60; ++i) items.push_back(RandomItem(random, i == 0));
    CDuplicateSearch together, apart;
    Create(together, Definitions(), okMostFilled, {}, saSimilar);
    Create(apart, Definitions(), okMostFilled, {}, saSimilar);
    for (uint32_t i = 0; i < items.size(); ++i) {
        mailbox::calls::Record();
        const int found = Add(together, items[i]);
        EXPECT_EQ(mailbox::calls::Count("IMAPIProp::GetProps"), i == 0 ? 6u : 4u)
            << "one request, three that tell companies from people, and two while names are unknown";
        // The request for all fails: they are read one by one, and nobody hears of it.
        CapturedLog log(3);
        mailbox::calls::Fail({.method = "IMAPIProp::GetProps"});
        EXPECT_EQ(Add(apart, items[i]), found);
        mailbox::calls::Reset();
        EXPECT_EQ(TextOf(log.Lines(sevError)), "");
        ASSERT_EQ(ValuesOf(together, i), ValuesOf(apart, i)) << "item " << i;
        ASSERT_EQ(Describe(together), Describe(apart)) << "item " << i;
    }
    EXPECT_EQ(Groups(together), Groups(apart));
}

TEST_F(CombinedRead, WhatFailsIsSaidByTheSeparateReadings) {
    std::mt19937 random(3);
    const TestItem first = RandomItem(random, true), second = RandomItem(random, true);
    // Requests: for all, plain values, phones ...
    const std::pair<unsigned, const char*> cases[] = {
        {2, "Quorvel_GetPropValues returned 0x80004005, EntryID = "},
        {3, "Failed to read propex = 3; Error = 0x80004005; Item.EntryID = "}};
    for (const auto& [failing, line] : cases) {
        CDuplicateSearch search;
        Create(search, Definitions());
        ASSERT_EQ(Add(search, first), 0);
        const std::string before = Describe(search);
        CapturedLog log(3);
        mailbox::TFault fault{.method = "IMAPIProp::GetProps"};
        mailbox::calls::Fail(fault);
        fault.nth = failing;
        mailbox::calls::Fail(fault);
        EXPECT_EQ(Add(search, second), -1);
        mailbox::calls::Reset();
        EXPECT_EQ(TextOf(log.Lines(sevError, "CDuplicateSearch.Add")), line + second.Id() + "\n");
        EXPECT_EQ(Describe(search), before);
        // Its memory went back and is used again, and nothing of the first is lost.
        CDuplicateSearch undisturbed;
        Create(undisturbed, Definitions());
        for (CDuplicateSearch* const s : {&search, &undisturbed}) {
            if (s == &undisturbed) Add(*s, first);
            EXPECT_EQ(Add(*s, second), 0);
            EXPECT_EQ(Add(*s, first), 1);
        }
        EXPECT_EQ(Describe(search), Describe(undisturbed));
        for (uint32_t i = 0; i < 3; ++i) EXPECT_EQ(ValuesOf(search, i), ValuesOf(undisturbed, i)) << i;
    }
}

TEST_F(CombinedRead, AValueThatTheStoreRefusesIsReadByItself) {
    std::mt19937 random(2);
    const TestItem first = RandomItem(random, true);
    const std::pair<ULONG, int> cases[] = {{PR_TTYTDD_PHONE_NUMBER_W, 0}, {PR_IMPORTANCE, -1}};
    for (const auto& [tag, added] : cases) {
        CDuplicateSearch search;
        Create(search, Definitions());
        ASSERT_EQ(Add(search, first), 0);
        TestItem refused = RandomItem(random, true).Error(tag, MAPI_E_NOT_ENOUGH_MEMORY);
        CapturedLog log(3);
        mailbox::calls::Record();
        EXPECT_EQ(Add(search, refused), added);
        EXPECT_GE(mailbox::calls::Count("IMAPIProp::GetProps"), 3u) << "more than the request for all";
        EXPECT_EQ(TextOf(log.Lines(sevError)),
                  added == 0 ? "" : "Type=PT_ERROR, Value(0x8007000e)!=MAPI_E_NOT_FOUND\n");
    }
}

}  // namespace
