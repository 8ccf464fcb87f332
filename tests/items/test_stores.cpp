// Items of several stores, through the exports: each store knows the names by tags of its own.

#include <functional>
#include <memory>
#include <sstream>

#include "base/mapi_extra.h"
#include "quorvel.h"
#include "store/named_properties.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/MailboxFixture.h"
#include "tests/support/definitions.h"
#include "tests/support/store_names.h"

using enum logging::ESeverity;
using store::ComPtr;

namespace {

constexpr LONG kStart = 0x820D, kDuration = 0x8213, kPlace = 0x8208;

/// Owns what a create function made.
template <typename Handle>
using Owner = std::unique_ptr<std::remove_pointer_t<Handle>, void (*)(Handle)>;

/// A meeting of a given day in July; no minutes and no place: without the property.
struct Meeting {
    const wchar_t* subject;
    int day;
    LONG minutes;
    const wchar_t* place;
};

std::vector<TComparyProp> MeetingDefinitions() {
    return {Tagged(L"Subject", PR_SUBJECT_W), Named(L"Start", base::kSetAppointment, kStart, PT_SYSTIME),
            Named(L"Duration", base::kSetAppointment, kDuration, PT_LONG),
            Named(L"Place", base::kSetAppointment, kPlace, PT_UNICODE)};
}

class Stores : public MailboxTest {
  protected:
    struct Added {
        TestItem item;
        std::string storeId;
    };

    Added Add(TestFolder folder, const Meeting& meeting) {
        TestItem item = folder.Item(L"IPM.Appointment").Subject(meeting.subject);
        item.Named(base::kSetAppointment, kStart, Utc(2024, 7, meeting.day));
        if (meeting.minutes) item.Named(base::kSetAppointment, kDuration, meeting.minutes);
        if (meeting.place) item.Named(base::kSetAppointment, kPlace, meeting.place);
        return {item, folder.StoreId()};
    }

    /// A store whose first identifiers stand for these names.
    TestFolder StoreThatKnows(const std::vector<LONG>& names) {
        const TestStore store = AddStore(L"Archive");
        for (const LONG name : names) TeachNames(store, {{base::kSetAppointment, name}});
        return store.Root();
    }

    /// The groups as numbers of items, the original first: "0 2;1 3;". An item that was refused: "!4".
    std::string Groups(const std::vector<Added>& items, std::vector<TComparyProp> definitions,
                       unsigned algorithm = saIdentical, std::vector<unsigned> rules = {},
                       unsigned kind = okCallerOrder) {
        const TComparyProps props{static_cast<int>(definitions.size()), definitions.data()};
        const TOriginalDefinition original{kind, 2, PT_UNICODE, {}, L"room"};
        const Owner<HSearch> search(Search_Create2(Session(), &props, &original, algorithm, 0, rules.data(),
                                                   static_cast<unsigned>(rules.size())),
                                    Search_Delete);
        std::ostringstream text;
        for (size_t i = 0; i < items.size(); ++i) {
            unsigned found = 0;
            if (!Search_Add(search.get(), items[i].item.Id().c_str(), items[i].storeId.c_str(), &found, 0))
                text << "!" << i << " ";
        }
        Search_Build(search.get());
        const auto number = [&](const char* entryId) {
            for (size_t i = 0; i < items.size(); ++i)
                if (items[i].item.Id() == entryId) return i;
            return items.size();
        };
        for (int group = 0; group < Search_GetOriginalCount(search.get()); ++group) {
            char entryId[200], storeId[200];
            for (int i = -1; i < Search_GetDuplicateCount(search.get(), group); ++i) {
                unsigned entrySize = sizeof entryId, storeSize = sizeof storeId;
                if (i < 0)
                    Search_GetOriginal(search.get(), group, entryId, &entrySize, storeId, &storeSize);
                else
                    Search_GetDuplicate(search.get(), group, i, entryId, &entrySize, storeId, &storeSize);
                text << (i < 0 ? "" : " ") << number(entryId);
                EXPECT_EQ(items[number(entryId)].storeId, storeId);
            }
            text << ";";
        }
        return text.str();
    }

    /// The columns of a matrix, one mark an item: "112/121/".
    std::string Matrix(const std::vector<Added>& items, std::vector<TComparyProp> definitions) {
        const TComparyProps props{static_cast<int>(definitions.size()), definitions.data()};
        const Owner<HCmpMatrix> matrix(CmpMatrix_Create(Session(), &props), CmpMatrix_Delete);
        std::ostringstream text;
        for (const Added& added : items) {
            if (!CmpMatrix_Add(matrix.get(), added.item.Id().c_str(), added.storeId.c_str())) text << "!";
        }
        unsigned rows = 0, columns = 0;
        CmpMatrix_Size(matrix.get(), &rows, &columns);
        for (unsigned column = 0; column < columns; ++column) {
            for (unsigned row = 0; row < rows; ++row)
                text << CmpMatrix_Value(matrix.get(), static_cast<int>(row), static_cast<int>(column));
            text << "/";
        }
        return text.str();
    }
};

TEST_F(Stores, MeetingsAreToldApartAndFoundAcrossStores) {
    using Names = std::vector<LONG>;
    const Names mailbox = {kStart, kDuration, kPlace};
    const Names reversed = {kPlace, kDuration, kStart};
    const Names withoutPlace = {kStart, kDuration};
    const struct {
        const char* about;
        Names first, second;
        std::vector<Meeting> inFirst, inSecond;
        const char* groups;
        const char* matrix;  // subject, start, duration, place
    } cases[] = {
        {"false friends in the archive",
         mailbox,
         reversed,
         {{L"Other", 1, 30, L"Hall"}},
         {{L"Team meeting", 10, 60, L"Room 1"}, {L"Team meeting", 14, 120, L"Room 2"}},
         "",
         "122/123/123/123/"},
        {"one meeting in both stores",
         mailbox,
         reversed,
         {{L"Team meeting", 10, 60, L"Room 1"}},
         {{L"Team meeting", 10, 60, L"room 1"}, {L"Team meeting", 10, 60, L"Room 2"}},
         "0 1;",
         "111/111/111/113/"},
        {"the first store never used a place",
         withoutPlace,
         reversed,
         {{L"Lunch", 1, 30, nullptr}, {L"Interview", 3, 45, nullptr}},
         {{L"Interview", 3, 45, L"Room 1"},
          {L"Interview", 3, 45, L"Room 2"},
          {L"Interview", 3, 45, L"room 1"}},
         "2 4;",
         "12222/12222/12222/00000/"},
        {"a place that the second store knows and no item has",
         {},
         mailbox,
         {{L"Team meeting", 10, 60, nullptr}},
         {{L"Team meeting", 10, 60, nullptr}, {L"Team meeting", 10, 60, nullptr}},
         "0 1 2;",
         "111/111/111/000/"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.about);
        TestFolder first = StoreThatKnows(c.first), second = StoreThatKnows(c.second);
        std::vector<Added> items;
        for (const Meeting& meeting : c.inFirst) items.push_back(Add(first, meeting));
        for (const Meeting& meeting : c.inSecond) items.push_back(Add(second, meeting));
        CapturedLog log(0);
        EXPECT_EQ(Groups(items, MeetingDefinitions()), c.groups);
        EXPECT_EQ(Matrix(items, MeetingDefinitions()), c.matrix);
        const bool lacksPlace = c.first != mailbox;
        EXPECT_EQ(log.Count(sevError, "CDuplicateSearch.OnFirstAdd",
                            "remove cmp prop(key=Place,name=Name) from search\n"),
                  lacksPlace ? 1u : 0u);
        EXPECT_EQ(log.Lines(sevError).size(), lacksPlace ? 6u : 0u) << "of the first store's look-ups alone";
    }
}

/// Until then the originals are those with the most values.
TEST_F(Stores, AFieldIsTakenForOriginalsOnceAStoreKnowsIt) {
    TestFolder first = StoreThatKnows({kStart}), second = StoreThatKnows({kStart, kDuration, kPlace});
    const std::vector<Added> items = {Add(first, {L"A", 4, 0, nullptr}), Add(first, {L"A", 4, 0, nullptr}),
                                      Add(second, {L"A", 4, 30, L"Hall"}),
                                      Add(second, {L"A", 4, 30, L"Room"})};
    std::vector<TComparyProp> definitions = MeetingDefinitions();
    definitions[2] = definitions[3];
    definitions.pop_back();
    definitions[2].bCompare = 0;
    EXPECT_EQ(Groups(items, definitions, saIdentical, {}, okFieldValue), "3 2 0 1;");
}

/// A second store is asked once.
TEST_F(Stores, EachStoreIsAskedForNamesOnce) {
    std::vector<TestFolder> folders;
    for (int i = 0; i < 4; ++i) folders.push_back(StoreThatKnows({i % 2 ? kPlace : kStart, kDuration}));
    std::vector<Added> items;
    for (int i = 0; i < 40; ++i)
        items.push_back(Add(folders[static_cast<size_t>(i % 4)], {L"A", 1, 5, L"x"}));
    mailbox::calls::Record();
    EXPECT_NE(Groups(items, MeetingDefinitions()), "");
    EXPECT_EQ(mailbox::calls::Count("IMAPIProp::GetIDsFromNames"), 3u + 3u)
        << "three names in the first store, one request for all in each of the others";
}

/// Each look-up fails once: nothing is to be seen of it. When it fails for good, the item is refused.
TEST_F(Stores, ALookUpThatFailsOnceLeavesNoTrace) {
    TestFolder first = StoreThatKnows({kStart, kDuration, kPlace});
    TestFolder second = StoreThatKnows({kPlace, kStart, kDuration});
    std::vector<Added> items;
    for (TestFolder* folder : {&first, &second, &first, &second}) {
        items.push_back(Add(*folder, {L"Ann's birthday", 10, 1440, L"Room 1"}));
        items.push_back(Add(*folder, {L"Meeting", 10, 60, folder == &first ? L"Room 1" : L"Room 2"}));
        for (Added* added : {&items[items.size() - 2], &items.back()}) {
            added->item.Named(base::kSetAddress, 0x8083, L"ann")
                .Named(base::kSetAddress, 0x8005, added->item.Id().c_str());
            added->item.NamedBinary(base::kSetAddress, 0x8085, "nobody")
                .Named(base::kSetAppointment, 0x8223, true);
        }
    }
    TestFolder third = StoreThatKnows({kStart});
    const std::vector<Added> late = {Add(third, {L"Meeting", 10, 0, nullptr}), items[3], items[1],
                                     Add(third, {L"Meeting", 10, 0, nullptr}), items[7]};
    std::vector<TComparyProp> definitions = MeetingDefinitions();
    definitions[0].nCompareMethod = cmApntAlldaylikeSubject;
    definitions[1].nCompareMethod = cmApntAlldaylikeStart;
    TComparyProp emails = Named(L"Mail", base::kSetAppointment, 2, PT_UNICODE);
    emails.lpszGuid = base::kPrivateSet;
    definitions.push_back(emails);
    const std::function<std::string()> runs[] = {
        [&] { return Groups(items, definitions, saIdentical, {cleApntSubject}, okApntRecurrence); },
        [&] { return Groups(items, definitions, saSimilar, {cleTaskStartAndDueOnDiffSides}, okHasCrmId); },
        [&] { return Groups(late, MeetingDefinitions(), saIdentical, {cleApntSubject}, okFieldValue); },
        [&] { return Matrix(items, MeetingDefinitions()); },
        [&] {
            const Owner<HSimilarSearch> search(SimilarSearch_Create(Session(), items[0].storeId.c_str(), 1),
                                               SimilarSearch_Delete);
            std::string verdicts;
            for (const Added& added : items) {
                const ComPtr<IMessage> contact = Open(added.item);
                unsigned verdict = 0, filled = 0;
                if (verdicts.empty()) SimilarSearch_SetSearchByItem(search.get(), contact.Get(), &filled);
                const unsigned checked =
                    SimilarSearch_CheckItem(search.get(), contact.Get(), &verdict, &filled, nullptr, nullptr);
                verdicts +=
                    std::to_string(checked) + std::to_string(verdict) + "/" + std::to_string(filled) + " ";
            }
            return verdicts;
        }};
    for (const auto& run : runs) {
        CapturedLog log(0);
        const std::string undisturbed = run();
        EXPECT_NE(undisturbed, "");
        for (unsigned nth = 1;; ++nth) {
            mailbox::calls::Reset();
            mailbox::calls::Fail(
                {.method = "IMAPIProp::GetIDsFromNames", .nth = nth, .result = MAPI_E_NETWORK_ERROR});
            EXPECT_EQ(run(), undisturbed) << "look-up " << nth;
            const bool struck = mailbox::calls::Struck() != 0;
            mailbox::calls::Reset();
            if (!struck) break;
        }
    }
    // Three look-ups in the first store; the second fails at its first item, twice, and answers at the next.
    mailbox::calls::Fail({.method = "IMAPIProp::GetIDsFromNames", .nth = 4, .times = 2});
    CapturedLog log(0);
    EXPECT_EQ(Groups(items, MeetingDefinitions()), "!2 0 4 6;1 5;3 7;");
    mailbox::calls::Reset();
    EXPECT_EQ(
        log.Count(sevError, "CDuplicateSearch.Add",
                  "Quorvel_GetIDsFromNames returned 0x80004005, EntryID = " + items[2].item.Id() + "\n"),
        1u);
}

}  // namespace
