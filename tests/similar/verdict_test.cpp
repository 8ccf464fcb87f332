// Pairs of contacts as people write them, with the verdict and its explanation worked out by hand.

#include "tests/similar/SimilarFixture.h"

namespace {

class SimilarVerdict : public SimilarTest {
  protected:
    struct Case {
        const char* what;
        Contact searchBy;
        Contact checked;
        Verdict expected;
    };
    void Expect(const std::vector<Case>& cases) {
        for (const Case& c : cases) EXPECT_EQ(Compare(c.searchBy, c.checked), c.expected) << c.what;
    }
};

const Contact kThird = {{L"First Name", L"Ann"}, {L"IM Address", L"ann.im"}};

/// Ann, who chats under one address, with one more field; her last names differ unless it is the field.
Contact AnnWith(const wchar_t* lastName, const wchar_t* field, const std::wstring& value) {
    return {{L"First Name", L"Ann"}, {L"Last Name", lastName}, {L"IM Address", L"ann.im"}, {field, value}};
}
Verdict AnnBy(const std::wstring& label, const std::wstring& field) {
    return {2, L"Strict . // FirstName + IMAddress + " + label, L"First Name, IM Address, " + field};
}

TEST_F(SimilarVerdict, OfNames) {
    Expect({
        {"both names nearly the same",
         {{L"First Name", L"Jon"}, {L"Last Name", L"Smith"}, {L"Birthday", L"1980-03-22"}},
         {{L"First Name", L"John"}, {L"Last Name", L"Smyth"}, {L"Birthday", L"1980-03-22"}},
         {1, L"Similar. // FirstName(MissChar) + LastName(DiffChar)", L"First Name, Last Name"}},
        {"a name begins with the other",
         {{L"First Name", L"Anne-Marie"}, {L"Last Name", L"Meier"}},
         {{L"First Name", L"anne"}, {L"Last Name", L"Maier"}},
         {1, L"Similar. // FirstName(StartWith) + LastName(DiffChar)", L"First Name, Last Name"}},
        {"one name nearly the same",
         {{L"First Name", L"REN\u00c9"}, {L"Last Name", L"Weber"}},
         {{L"First Name", L"Ren\u00e9"}, {L"Last Name", L"Webber"}},
         {2, L"Strict . // FirstName + LastName(MissChar)", L"First Name, Last Name"}},
        {"the same last name of other people",
         {{L"First Name", L"Peter"}, {L"Last Name", L"Smith"}},
         {{L"First Name", L"Walter"}, {L"Last Name", L"Smith"}},
         {1, L"Similar. // LastName", L"Last Name"}},
        {"names in the wrong fields of the search-by contact",
         {{L"First Name", L"Smith"}, {L"Last Name", L"John"}},
         {{L"First Name", L"John"}, {L"Last Name", L"Smith"}},
         {2, L"Strict . // FirstName(item1reversed) + LastName(item1reversed)", L"First Name, Last Name"}},
        {"the same, one of them written differently",
         {{L"First Name", L"Smyth"}, {L"Last Name", L"John"}},
         {{L"First Name", L"John"}, {L"Last Name", L"Smith"}},
         {2, L"Strict . // FirstName(item1reversed) + LastName(item1reversed)(DiffChar)",
          L"First Name, Last Name"}},
        {"a first name where the checked contact has its last name",
         {{L"First Name", L"John"}, {L"Department", L"Sales"}},
         {{L"Last Name", L"John"}, {L"Department", L"Sales"}},
         {1, L"Similar. // FirstName(item2reversed) + Department // LastNameOK", L"First Name, Department"}},
        {"the same with first names too: one last name is missing, so no strict rule is kept from it",
         {{L"First Name", L"John"}, {L"Nickname", L"Joe"}, {L"Mobile Phone", L"5551234"}},
         {{L"First Name", L"Walter"},
          {L"Last Name", L"John"},
          {L"Nickname", L"Joe"},
          {L"Mobile Phone", L"5551234"}},
         {2, L"Strict . // Nickname + MobilePhone // LastNameOK", L"Nickname, Mobile Phone"}},
        {"a first name that is the other's last name: taken the other way round, the last names match",
         {{L"First Name", L"Peter"}, {L"Last Name", L"John"}},
         {{L"First Name", L"John"}, {L"Last Name", L"Walter"}},
         {1, L"Similar. // LastName(item2reversed)", L"Last Name"}},
        {"the same from the other side",
         {{L"First Name", L"John"}, {L"Last Name", L"Walter"}},
         {{L"First Name", L"Peter"}, {L"Last Name", L"John"}},
         {1, L"Similar. // LastName(item1reversed)", L"Last Name"}},
        {"a missing first name agrees with any",
         {{L"Last Name", L"Smith"}, {L"Birthday", L"1980-03-22"}},
         {{L"First Name", L"Peter"}, {L"Last Name", L"Smith"}, {L"Birthday", L"1980-03-22"}},
         {2, L"Strict . // LastName + Birthday", L"Last Name, Birthday"}},
        {"other people in every name",
         {{L"First Name", L"Peter"}, {L"Last Name", L"Smith"}},
         {{L"First Name", L"Walter"}, {L"Last Name", L"Jones"}},
         {}},
    });
}

TEST_F(SimilarVerdict, OfGroupsOfFields) {
    Expect({
        {"one e-mail in another place",
         {{L"E-mail", L"ann@example.org"}},
         {{L"E-mail 2", L"ANN@example.org"}},
         {1, L"Similar. // E-mail(item2.E-mail2) // LastNameOK", L"E-mail"}},
        {"two e-mails in each other's place",
         {{L"E-mail", L"ann@example.org"}, {L"E-mail 2", L"b@example.org"}},
         {{L"E-mail", L"b@example.org"}, {L"E-mail 2", L"ann@example.org"}},
         {2, L"Strict . // E-mail(item2.E-mail2) + E-mail2(item2.E-mail)", L"E-mail, E-mail 2"}},
        {"an e-mail that stands twice counts once",
         {{L"E-mail", L"ann@example.org"}, {L"E-mail 2", L"Ann@example.org"}},
         {{L"E-mail", L"ann@example.org"}, {L"E-mail 2", L"ann@example.org"}},
         {1, L"Similar. // E-mail // LastNameOK", L"E-mail"}},
        {"exact pairs are made before near ones",
         {{L"E-mail", L"ann@example.org"}},
         {{L"E-mail", L"an@example.org"}, {L"E-mail 3", L"ann@example.org"}},
         {1, L"Similar. // E-mail(item2.E-mail3) // LastNameOK", L"E-mail"}},
        {"each value pairs at most once",
         {{L"E-mail", L"ann@example.org"}, {L"E-mail 2", L"anne@example.org"}},
         {{L"E-mail 3", L"ann@example.org"}},
         {1, L"Similar. // E-mail(item2.E-mail3) // LastNameOK", L"E-mail"}},
        {"a letter is missing in an e-mail",
         {{L"E-mail", L"ann@example.org"}},
         {{L"E-mail", L"ann@exmple.org"}},
         {1, L"Similar. // E-mail(MissChar) // LastNameOK", L"E-mail"}},
        {"a business phone that is the other's mobile phone",
         {{L"Business Phone", L"+1 (555) 123-4567"}},
         {{L"Mobile Phone", L"555-123-4567"}},
         {1, L"Similar. // BusinessPhone(item2.MobilePhone)(Last7Digits) // LastNameOK", L"Business Phone"}},
        {"a digit is missing",
         {{L"Home Phone", L"123-456"}},
         {{L"Home Phone", L"123-4567"}},
         {1, L"Similar. // HomePhone(Last7Digits1Miss) // LastNameOK", L"Home Phone"}},
        {"a digit differs",
         {{L"Pager", L"123-4568"}},
         {{L"Pager", L"(0) 123-4567"}},
         {1, L"Similar. // Pager(Last7Digits1Diff) // LastNameOK", L"Pager"}},
        {"home phones pair across, home and mobile phone do not make a strict pair",
         {{L"Birthday", L"1980-03-22"}, {L"Home Phone", L"555-1234"}},
         {{L"Birthday", L"1980-03-22"}, {L"Home Phone 2", L"555-1234"}},
         {2, L"Strict . // Birthday + HomePhone(item2.HomePhone2)", L"Birthday, Home Phone"}},
        {"home and mobile phone do not make a strict pair",
         {{L"Birthday", L"1980-03-22"}, {L"Home Phone", L"555-1234"}},
         {{L"Birthday", L"1980-03-22"}, {L"Mobile Phone", L"555-1234"}},
         {1, L"Similar. // HomePhone(item2.MobilePhone) // LastNameOK", L"Home Phone"}},
        {"one street in another place",
         {{L"Home Address Street", L"1 Main St."}},
         {{L"Other Address Street", L"1 main st."}},
         {1, L"Similar. // HomeAddressStreet(item2.OtherAddressStreet) // LastNameOK",
          L"Home Address Street"}},
        {"streets in another place are no strict pair",
         {{L"Birthday", L"1980-03-22"}, {L"Home Address Street", L"1 Main St."}},
         {{L"Birthday", L"1980-03-22"}, {L"Business Address Street", L"1 Main St."}},
         {1, L"Similar. // HomeAddressStreet(item2.BusinessAddressStreet) // LastNameOK",
          L"Home Address Street"}},
    });
}

TEST_F(SimilarVerdict, OfFieldsWithMethodsOfTheirOwn) {
    Expect({
        {"a letter is missing in a company",
         {{L"Company", L"Lindqvist AB"}},
         {{L"Company", L"Lindquvist AB"}},
         {1, L"Similar. // Company(MissChar)", L"Company"}},
        {"a letter differs in a nickname",
         {{L"Nickname", L"Johny"}},
         {{L"Nickname", L"Jonny"}},
         {1, L"Similar. // Nickname(DiffChar) // LastNameOK", L"Nickname"}},
        {"a letter is missing in a nickname", {{L"Nickname", L"Johny"}}, {{L"Nickname", L"Johnny"}}, {}},
        {"a web page written differently", AnnWith(L"Smith", L"Web Page", L"HTTP://WWW.example.org/ann/"),
         AnnWith(L"Jones", L"Web Page", L"example.org/ann"), AnnBy(L"WebPage(HttpUrlCompare)", L"Web Page")},
        {"a secure web page is another one",
         AnnWith(L"Smith", L"Web Page", L"https://example.org"),
         AnnWith(L"Jones", L"Web Page", L"http://example.org"),
         {}},
        {"a personal home page",
         {{L"Personal Home Page", L"www.example.org"}},
         {{L"Personal Home Page", L"http://example.org/"}},
         {1, L"Similar. // PersonalHomePage(HttpUrlCompare) // LastNameOK", L"Personal Home Page"}},
        {"the same categories", AnnWith(L"Smith", L"Categories", L"Friends|Rowing"),
         AnnWith(L"Jones", L"Categories", L"friends|ROWING"), AnnBy(L"Categories", L"Categories")},
        {"categories that have one in common", AnnWith(L"Smith", L"Categories", L"Friends|Rowing"),
         AnnWith(L"Jones", L"Categories", L"Work|rowing|Chess"),
         AnnBy(L"Categories(Intercept)", L"Categories")},
        {"categories that have none",
         AnnWith(L"Smith", L"Categories", L"Friends"),
         AnnWith(L"Jones", L"Categories", L"Family"),
         {}},
        {"children that have one in common are others",
         AnnWith(L"Smith", L"Children", L"Tom|Eva"),
         AnnWith(L"Jones", L"Children", L"Eva"),
         {}},
        {"notes without regard to case and surrounding blanks",
         AnnWith(L"Smith", L"Notes", L" \r\nMet in Oslo.\t"), AnnWith(L"Jones", L"Notes", L"met in OSLO."),
         AnnBy(L"Notes", L"Notes")},
        {"long notes that differ at their end",
         AnnWith(L"Smith", L"Notes", std::wstring(600, L'x') + L"a"),
         AnnWith(L"Jones", L"Notes", std::wstring(600, L'x') + L"b"),
         {}},
        {"blank notes are none",
         AnnWith(L"Smith", L"Notes", L" \r\n"),
         AnnWith(L"Jones", L"Notes", L" \r\n"),
         {}},
        {"a birthday on another day",
         {{L"Last Name", L"Smith"}, {L"Birthday", L"1980-03-22"}},
         {{L"Last Name", L"Smith"}, {L"Birthday", L"1980-03-23"}},
         {1, L"Similar. // LastName", L"Last Name"}},
    });
}

TEST_F(SimilarVerdict, PlaceholderDatesMatchNothing) {
    for (const wchar_t* date : {L"4501-01-01", L"1899-12-30"}) {
        const Contact contact = {{L"Last Name", L"Smith"}, {L"Birthday", date}};
        EXPECT_EQ(Compare(contact, contact), (Verdict{1, L"Similar. // LastName", L"Last Name"}))
            << Narrow(date);
    }
}

class ZoneOfSimilarDates : public SimilarTest {};

// A birthday is a local date, whatever the hour it is stored with; a year back its offset was another one.
TEST_F(ZoneOfSimilarDates, DatesAreLocal) {
    const struct {
        const char* zone;
        FILETIME one, sameDay, nextDay;
    } kZones[] = {
        {"UTC", Utc(1980, 3, 22), Utc(1980, 3, 22, 23, 59, 59), Utc(1980, 3, 23)},
        {"America/New_York", Utc(1980, 7, 22, 4), Utc(1980, 7, 23, 3, 59, 59), Utc(1980, 7, 23, 4)},
        {"Europe/Berlin", Utc(1990, 1, 21, 23), Utc(1990, 1, 22, 22, 59, 59), Utc(1990, 1, 22, 23)},
        {"Australia/Sydney", Utc(1990, 1, 21, 13), Utc(1990, 1, 22, 12, 59, 59), Utc(1990, 1, 22, 13)},
        {"Asia/Kolkata", Utc(1990, 1, 21, 18, 30), Utc(1990, 1, 22, 18, 29, 59), Utc(1990, 1, 22, 18, 30)},
    };
    const char* zone = getenv("TZ");
    ASSERT_TRUE(zone);
    const auto born = [this](const FILETIME& time) {
        return Open(Add({{L"Last Name", L"Smith"}}).Time(PR_BIRTHDAY, time));
    };
    bool known = false;
    for (const auto& z : kZones) {
        if (strcmp(zone, z.zone) != 0) continue;
        known = true;
        Search search(Session(), Store().Id());
        search.SetSearchBy(born(z.one).Get());
        EXPECT_EQ(search.Check(born(z.sameDay).Get()).fields, L"Last Name, Birthday")
            << "the last second of the day";
        EXPECT_EQ(search.Check(born(z.nextDay).Get()).fields, L"Last Name")
            << "the first second of the next day";
    }
    EXPECT_TRUE(known) << "nothing is known about the zone " << zone;
}

// Some programs store "no date" as midnight of UTC, some as midnight of the user.
TEST_F(ZoneOfSimilarDates, PlaceholderIsOneInEveryZone) {
    for (int hour : {0, 5}) {
        const TestItem item = Add({{L"Last Name", L"Smith"}}).Time(PR_BIRTHDAY, Utc(4501, 1, 1, hour));
        Search search(Session(), Store().Id());
        search.SetSearchBy(Open(item).Get());
        EXPECT_EQ(search.Check(Open(item).Get()).fields, L"Last Name");
    }
}

}  // namespace
