// One person as several programs export him, and people who are none of him. For each pair the verdict that a
// person would give stands beside the search's, and where they differ, why.

#include "tests/similar/SimilarFixture.h"

namespace {

// The programs agree on the name only; each has its own idea of which phone is which, and of his birthday.
const Contact kWorkstation =
    L"Full Name=Mr. John Richter, James Doe Sr.;File As=Doe, John;Title=Mr.;First Name=John;"
    L"Middle Name=Richter, James;Last Name=Doe;Suffix=Sr.;Nickname=Johny;Company=IBM;"
    L"Department=Accounting;Job Title=Money Counter;Mobile Phone=905-666-1234;"
    L"Business Phone=905-555-1234;E-mail=john.doe@ibm.com;Home Address Street=15 Crescent moon drive;"
    L"Birthday=1980-03-22;Anniversary=1980-03-22;Categories=VIP;Spouse=Maria";
const Contact kWebMail =
    L"Full Name=Mr. John Richter, James Doe Sr.;First Name=John;Middle Name=Richter, James;"
    L"Last Name=Doe;Company=IBM;Job Title=Money Counter;Mobile Phone=905-555-1234;"
    L"Home Phone=905-666-1234;E-mail=john.doe@ibm.com;Birthday=1980-03-22;Anniversary=1975-03-01;"
    L"Spouse=Jenny";
const Contact kPhone =
    L"Full Name=Mr. John Richter James Doe Sr.;First Name=John;Last Name=Doe;Nickname=Johny;Company=IBM;"
    L"Department=Accounting;Job Title=Money Counter;Mobile Phone=905-555-1234;Home Phone=905-666-1234;"
    L"Business Phone=905-777-1234;Pager=905-111-1234;E-mail=john.doe@ibm.com;"
    L"Home Address Street=Silicon Alley 5,;Birthday=2012-06-06";
const Contact kDesktop =
    L"Full Name=Mr. John Richter James Doe Sr.;First Name=John;Last Name=Doe;Nickname=Johny;Company=IBM;"
    L"Department=Accounting;Job Title=Money Counter;Business Phone=(905) 555-1234;"
    L"Home Phone=(905) 666-1234;E-mail=john.doe@ibm.cm;Home Address Street=Silicon Alley 5,;"
    L"IM Address=johny5@aol.com;Birthday=1980-03-22";
// A card without a name, as a phone makes them of an e-mail only.
const Contact kCardOfAnEmail = L"E-mail=john.doe@ibm.com;Categories=My Contacts";
// His wife, who shares his address.
const Contact kWife =
    L"Full Name=Jane Doe;First Name=Jane;Last Name=Doe;Home Phone=(905) 666-1234;"
    L"Home Address Street=Silicon Alley 5,;E-mail=jane.doe@ibm.com";
// Another man of this name, years older, in another country.
const Contact kNamesake =
    L"Full Name=John Doe III;First Name=John;Last Name=Doe;Nickname=Joey;Company=Company, The;"
    L"E-mail=jdoe@hotmail.com;Birthday=1960-09-10";
const Contact kStranger =
    L"Full Name=Greg Dartmouth;First Name=Greg;Last Name=Dartmouth;Nickname=Gman;Company=TheCompany;"
    L"Job Title=TheJobTitle;Mobile Phone=555 555 1111;E-mail=gdartmouth@hotmail.com;Birthday=1960-09-10";
const Contact kColleague =
    L"Full Name=Arnold Smith;First Name=Arnold;Last Name=Smith;Company=IBM;E-mail=asmithk@ibm.com";

class SimilarPeople : public SimilarTest {};

TEST_F(SimilarPeople, OnePersonFromSeveralPrograms) {
    const wchar_t byName[] = L"FirstName + LastName";
    const struct {
        const char* what;
        const Contact &searchBy, &checked;
        unsigned person, verdict;
        const wchar_t* labels;
        const char* whyNot = nullptr;
    } kPairs[] = {
        {"workstation, web mail", kWorkstation, kWebMail, 2, 2, byName},
        {"web mail, phone", kWebMail, kPhone, 2, 2, byName},
        {"phone, desktop", kPhone, kDesktop, 2, 2, byName},
        {"desktop, workstation", kDesktop, kWorkstation, 2, 2, byName},
        {"phone, card of an e-mail", kPhone, kCardOfAnEmail, 1, 1, L"E-mail // LastNameOK"},
        {"desktop, card of an e-mail: a letter of the address is missing", kDesktop, kCardOfAnEmail, 1, 1,
         L"E-mail(MissChar) // LastNameOK"},
        {"desktop, wife", kDesktop, kWife, 1, 1, L"LastName"},
        {"desktop, namesake", kDesktop, kNamesake, 1, 2, byName,
         "The same first and last name is a strict match, and nothing that differs speaks against one."},
        {"web mail, colleague", kWebMail, kColleague, 0, 1, L"Company",
         "People of one company are shown as similar: entries of companies are often kept under such names."},
        {"workstation, stranger", kWorkstation, kStranger, 0, 0, L""},
        {"stranger, card of an e-mail", kStranger, kCardOfAnEmail, 0, 0, L""},
    };
    for (const auto& pair : kPairs) {
        const Verdict verdict = Compare(pair.searchBy, pair.checked);
        EXPECT_EQ(verdict, Decided(pair.verdict, pair.labels)) << pair.what;
        EXPECT_EQ(Compare(pair.checked, pair.searchBy).verdict, verdict.verdict)
            << pair.what << ", from the other side";
        EXPECT_EQ(verdict.verdict == pair.person, pair.whyNot == nullptr)
            << pair.what << ": a person would say " << pair.person << ", not " << verdict.verdict;
    }
}

}  // namespace
