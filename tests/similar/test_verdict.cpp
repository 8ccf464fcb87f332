// Pairs of contacts as people write them, with the verdict and its explanation worked out by hand.

#include "tests/similar/SimilarFixture.h"

namespace {

class SimilarVerdict : public SimilarTest {
  protected:
    struct Case {
        const char* what;
        const wchar_t *searchBy, *checked;
        unsigned verdict = 0;
        const wchar_t* labels = L"";
    };
    void Expect(const std::vector<Case>& cases) {
        for (const Case& c : cases)
            EXPECT_EQ(Compare(c.searchBy, c.checked), Decided(c.verdict, c.labels)) << c.what;
    }
};

TEST_F(SimilarVerdict, OfNames) {
    Expect({
        {"both names nearly the same", L"First Name=Jon;Last Name=Smith;Birthday=1980-03-22",
         L"First Name=John;Last Name=Smyth;Birthday=1980-03-22", 1,
         L"FirstName(MissChar) + LastName(DiffChar)"},
        {"a name begins with the other", L"First Name=Anne-Marie;Last Name=Meier",
         L"First Name=anne;Last Name=Maier", 1, L"FirstName(StartWith) + LastName(DiffChar)"},
        {"one name nearly the same", L"First Name=REN\u00c9;Last Name=Weber",
         L"First Name=Ren\u00e9;Last Name=Webber", 2, L"FirstName + LastName(MissChar)"},
        {"the same last name of other people", L"First Name=Peter;Last Name=Smith",
         L"First Name=Walter;Last Name=Smith", 1, L"LastName"},
        {"names in the wrong fields of the search-by contact", L"First Name=Smith;Last Name=John",
         L"First Name=John;Last Name=Smith", 2, L"FirstName(item1reversed) + LastName(item1reversed)"},
        {"the same, one of them written differently", L"First Name=Smyth;Last Name=John",
         L"First Name=John;Last Name=Smith", 2,
         L"FirstName(item1reversed) + LastName(item1reversed)(DiffChar)"},
        {"a last name that stands in all places but one is compared straight",
         L"First Name=Peter;Last Name=John;Job Title=Clerk;IM Address=a",
         L"First Name=John;Last Name=John;Job Title=Clerk;IM Address=a", 1, L"LastName"},
        {"a first name where the checked contact has its last name", L"First Name=John;Department=Sales",
         L"Last Name=John;Department=Sales", 1, L"FirstName(item2reversed) + Department // LastNameOK"},
        {"the same with first names too: one last name is missing, so no strict rule is kept from it",
         L"First Name=John;Nickname=Joe;Mobile Phone=5551234",
         L"First Name=Walter;Last Name=John;Nickname=Joe;Mobile Phone=5551234", 2,
         L"Nickname + MobilePhone // LastNameOK"},
        {"the same from the other side: what stands for the last name is missing",
         L"Last Name=John;Nickname=Joe;Mobile Phone=5551234",
         L"First Name=John;Last Name=Walter;Nickname=Joe;Mobile Phone=5551234", 2,
         L"Nickname + MobilePhone // LastNameOK"},
        {"a first name that is the other's last name: taken the other way round, the last names match",
         L"First Name=Peter;Last Name=John", L"First Name=John;Last Name=Walter", 1,
         L"LastName(item2reversed)"},
        {"the same from the other side", L"First Name=John;Last Name=Walter",
         L"First Name=Peter;Last Name=John", 1, L"LastName(item1reversed)"},
        {"a missing first name agrees with any", L"Last Name=Smith;Birthday=1980-03-22",
         L"First Name=Peter;Last Name=Smith;Birthday=1980-03-22", 2, L"LastName + Birthday"},
        {"other people in every name", L"First Name=Peter;Last Name=Smith",
         L"First Name=Walter;Last Name=Jones"},
    });
}

TEST_F(SimilarVerdict, OfGroupsOfFields) {
    Expect({
        {"one e-mail in another place", L"E-mail=ann@example.org", L"E-mail 2=ANN@example.org", 1,
         L"E-mail(item2.E-mail2) // LastNameOK"},
        {"two e-mails in each other's place", L"E-mail=ann@example.org;E-mail 2=b@example.org",
         L"E-mail=b@example.org;E-mail 2=ann@example.org", 2,
         L"E-mail(item2.E-mail2) + E-mail2(item2.E-mail)"},
        {"an e-mail that stands twice counts once", L"E-mail=ann@example.org;E-mail 2=Ann@example.org",
         L"E-mail=ann@example.org;E-mail 2=ann@example.org", 1, L"E-mail // LastNameOK"},
        {"exact pairs are made before near ones", L"E-mail=ann@example.org",
         L"E-mail=an@example.org;E-mail 3=ann@example.org", 1, L"E-mail(item2.E-mail3) // LastNameOK"},
        {"each value pairs at most once", L"E-mail=ann@example.org;E-mail 2=anne@example.org",
         L"E-mail 3=ann@example.org", 1, L"E-mail(item2.E-mail3) // LastNameOK"},
        {"a letter is missing in an e-mail", L"E-mail=ann@example.org", L"E-mail=ann@exmple.org", 1,
         L"E-mail(MissChar) // LastNameOK"},
        {"a business phone that is the other's mobile phone", L"Business Phone=+1 (555) 123-4567",
         L"Mobile Phone=555-123-4567", 1, L"BusinessPhone(item2.MobilePhone)(Last7Digits) // LastNameOK"},
        {"a digit is missing", L"Home Phone=123-456", L"Home Phone=123-4567", 1,
         L"HomePhone(Last7Digits1Miss) // LastNameOK"},
        {"a digit differs", L"Pager=123-4568", L"Pager=(0) 123-4567", 1,
         L"Pager(Last7Digits1Diff) // LastNameOK"},
        {"home phones pair across", L"Birthday=1980-03-22;Home Phone=555-1234",
         L"Birthday=1980-03-22;Home Phone 2=555-1234", 2, L"Birthday + HomePhone(item2.HomePhone2)"},
        {"home and mobile phone do not make a strict pair", L"Birthday=1980-03-22;Home Phone=555-1234",
         L"Birthday=1980-03-22;Mobile Phone=555-1234", 1, L"HomePhone(item2.MobilePhone) // LastNameOK"},
        {"one street in another place", L"Home Address Street=1 Main St.", L"Other Address Street=1 main st.",
         1, L"HomeAddressStreet(item2.OtherAddressStreet) // LastNameOK"},
        {"what was compared place by place in search of a third field is compared across afterwards",
         L"IM Address=ann.im;Pager=5;Home Address Street=1 Main St.",
         L"IM Address=ann.im;Pager=5;Other Address Street=1 Main St.", 1,
         L"HomeAddressStreet(item2.OtherAddressStreet) // LastNameOK"},
        {"streets in another place are no strict pair", L"Birthday=1980-03-22;Home Address Street=1 Main St.",
         L"Birthday=1980-03-22;Business Address Street=1 Main St.", 1,
         L"HomeAddressStreet(item2.BusinessAddressStreet) // LastNameOK"},
    });
}

TEST_F(SimilarVerdict, OfFieldsWithMethodsOfTheirOwn) {
    Expect({
        {"a letter is missing in a company", L"Company=Lindqvist AB", L"Company=Lindquvist AB", 1,
         L"Company(MissChar)"},
        {"a letter differs in a company", L"Company=Lindqvist AB", L"Company=Lindkvist AB", 1,
         L"Company(DiffChar)"},
        {"a letter differs in a nickname", L"Nickname=Johny", L"Nickname=Jonny", 1,
         L"Nickname(DiffChar) // LastNameOK"},
        {"a letter is missing in a nickname", L"Nickname=Johny", L"Nickname=Johnny"},
        {"a personal home page", L"Personal Home Page=www.example.org",
         L"Personal Home Page=http://example.org/", 1, L"PersonalHomePage(HttpUrlCompare) // LastNameOK"},
        {"a birthday on another day", L"Last Name=Smith;Birthday=1980-03-22",
         L"Last Name=Smith;Birthday=1980-03-23", 1, L"LastName"},
        {"no birthday", L"Last Name=Smith;Birthday=4501-01-01", L"Last Name=Smith;Birthday=4501-01-01", 1,
         L"LastName"},
        {"no birthday, as other programs say it", L"Last Name=Smith;Birthday=1899-12-30",
         L"Last Name=Smith;Birthday=1899-12-30", 1, L"LastName"},
    });
}

// Two women of one first name chat under one address; one more field that matches makes them one.
TEST_F(SimilarVerdict, OfAThirdField) {
    const struct {
        const char* what;
        std::wstring one, other, label;
    } kCases[] = {
        {"a web page written differently", L"Web Page=HTTP://WWW.example.org/ann/",
         L"Web Page=example.org/ann", L"WebPage(HttpUrlCompare)"},
        {"a company's web page", L"Business Home Page=www.example.org", L"Business Home Page=example.org/",
         L"BusinessHomePage(HttpUrlCompare)"},
        {"a secure web page is another one", L"Web Page=https://example.org", L"Web Page=http://example.org",
         L""},
        {"the same categories", L"Categories=Friends|Rowing", L"Categories=friends|ROWING", L"Categories"},
        {"categories that have one in common", L"Categories=Friends|Rowing", L"Categories=Work|rowing|Chess",
         L"Categories(Intercept)"},
        {"categories that have none", L"Categories=Friends", L"Categories=Family", L""},
        {"children that have one in common are others", L"Children=Tom|Eva", L"Children=Eva", L""},
        {"notes without regard to case and surrounding blanks", L"Notes= \r\nMet in Oslo.\t",
         L"Notes=met in OSLO.", L"Notes"},
        {"long notes that differ at their end", L"Notes=" + std::wstring(600, L'x') + L"a",
         L"Notes=" + std::wstring(600, L'x') + L"b", L""},
        {"blank notes are none", L"Notes= \r\n", L"Notes= \r\n", L""},
    };
    const std::wstring ann = L"First Name=Ann;IM Address=ann.im;Last Name=";
    for (const auto& c : kCases)
        EXPECT_EQ(Compare(ann + L"Smith;" + c.one, ann + L"Jones;" + c.other),
                  Decided(2, c.label.empty() ? L"" : L"FirstName + IMAddress + " + c.label))
            << c.what;
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
