// One person as several programs export him, and people who are none of him. For each pair the verdict that a
// person would give stands beside the search's, and where they differ, why.

#include "tests/similar/SimilarFixture.h"

namespace {

// The programs agree on the name only; each has its own idea of which phone is which, and of his birthday.
const Contact kWorkstation = {{L"Full Name", L"Mr. John Richter, James Doe Sr."},
                              {L"File As", L"Doe, John"},
                              {L"Title", L"Mr."},
                              {L"First Name", L"John"},
                              {L"Middle Name", L"Richter, James"},
                              {L"Last Name", L"Doe"},
                              {L"Suffix", L"Sr."},
                              {L"Nickname", L"Johny"},
                              {L"Company", L"IBM"},
                              {L"Department", L"Accounting"},
                              {L"Job Title", L"Money Counter"},
                              {L"Mobile Phone", L"905-666-1234"},
                              {L"Business Phone", L"905-555-1234"},
                              {L"E-mail", L"john.doe@ibm.com"},
                              {L"Home Address Street", L"15 Crescent moon drive"},
                              {L"Birthday", L"1980-03-22"},
                              {L"Anniversary", L"1980-03-22"},
                              {L"Categories", L"VIP"},
                              {L"Spouse", L"Maria"}};
const Contact kWebMail = {{L"Full Name", L"Mr. John Richter, James Doe Sr."},
                          {L"First Name", L"John"},
                          {L"Middle Name", L"Richter, James"},
                          {L"Last Name", L"Doe"},
                          {L"Company", L"IBM"},
                          {L"Job Title", L"Money Counter"},
                          {L"Mobile Phone", L"905-555-1234"},
                          {L"Home Phone", L"905-666-1234"},
                          {L"E-mail", L"john.doe@ibm.com"},
                          {L"Birthday", L"1980-03-22"},
                          {L"Anniversary", L"1975-03-01"},
                          {L"Spouse", L"Jenny"}};
const Contact kPhone = {{L"Full Name", L"Mr. John Richter James Doe Sr."},
                        {L"First Name", L"John"},
                        {L"Last Name", L"Doe"},
                        {L"Nickname", L"Johny"},
                        {L"Company", L"IBM"},
                        {L"Department", L"Accounting"},
                        {L"Job Title", L"Money Counter"},
                        {L"Mobile Phone", L"905-555-1234"},
                        {L"Home Phone", L"905-666-1234"},
                        {L"Business Phone", L"905-777-1234"},
                        {L"Pager", L"905-111-1234"},
                        {L"E-mail", L"john.doe@ibm.com"},
                        {L"Home Address Street", L"Silicon Alley 5,"},
                        {L"Birthday", L"2012-06-06"}};
const Contact kDesktop = {{L"Full Name", L"Mr. John Richter James Doe Sr."},
                          {L"First Name", L"John"},
                          {L"Last Name", L"Doe"},
                          {L"Nickname", L"Johny"},
                          {L"Company", L"IBM"},
                          {L"Department", L"Accounting"},
                          {L"Job Title", L"Money Counter"},
                          {L"Business Phone", L"(905) 555-1234"},
                          {L"Home Phone", L"(905) 666-1234"},
                          {L"E-mail", L"john.doe@ibm.cm"},
                          {L"Home Address Street", L"Silicon Alley 5,"},
                          {L"IM Address", L"johny5@aol.com"},
                          {L"Birthday", L"1980-03-22"}};
// A card without a name, as a phone makes them of an e-mail only.
const Contact kCardOfAnEmail = {{L"E-mail", L"john.doe@ibm.com"}, {L"Categories", L"My Contacts"}};
// His wife, who shares his address.
const Contact kWife = {{L"Full Name", L"Jane Doe"},
                       {L"First Name", L"Jane"},
                       {L"Last Name", L"Doe"},
                       {L"Home Phone", L"(905) 666-1234"},
                       {L"Home Address Street", L"Silicon Alley 5,"},
                       {L"E-mail", L"jane.doe@ibm.com"}};
// Another man of this name, years older, in another country.
const Contact kNamesake = {{L"Full Name", L"John Doe III"}, {L"First Name", L"John"},
                           {L"Last Name", L"Doe"},          {L"Nickname", L"Joey"},
                           {L"Company", L"Company, The"},   {L"E-mail", L"jdoe@hotmail.com"},
                           {L"Birthday", L"1960-09-10"}};
const Contact kStranger = {{L"Full Name", L"Greg Dartmouth"},  {L"First Name", L"Greg"},
                           {L"Last Name", L"Dartmouth"},       {L"Nickname", L"Gman"},
                           {L"Company", L"TheCompany"},        {L"Job Title", L"TheJobTitle"},
                           {L"Mobile Phone", L"555 555 1111"}, {L"E-mail", L"gdartmouth@hotmail.com"},
                           {L"Birthday", L"1960-09-10"}};
const Contact kColleague = {{L"Full Name", L"Arnold Smith"},
                            {L"First Name", L"Arnold"},
                            {L"Last Name", L"Smith"},
                            {L"Company", L"IBM"},
                            {L"E-mail", L"asmithk@ibm.com"}};

class SimilarPeople : public SimilarTest {};

TEST_F(SimilarPeople, OnePersonFromSeveralPrograms) {
    const Verdict byName = {2, L"Strict . // FirstName + LastName", L"First Name, Last Name"};
    const struct {
        const char* what;
        const Contact& searchBy;
        const Contact& checked;
        unsigned person;
        const char* whyNot;
        Verdict expected;
    } kPairs[] = {
        {"workstation, web mail", kWorkstation, kWebMail, 2, nullptr, byName},
        {"web mail, phone", kWebMail, kPhone, 2, nullptr, byName},
        {"phone, desktop", kPhone, kDesktop, 2, nullptr, byName},
        {"desktop, workstation", kDesktop, kWorkstation, 2, nullptr, byName},
        {"phone, card of an e-mail",
         kPhone,
         kCardOfAnEmail,
         1,
         nullptr,
         {1, L"Similar. // E-mail // LastNameOK", L"E-mail"}},
        {"desktop, card of an e-mail: a letter of the address is missing",
         kDesktop,
         kCardOfAnEmail,
         1,
         nullptr,
         {1, L"Similar. // E-mail(MissChar) // LastNameOK", L"E-mail"}},
        {"desktop, wife", kDesktop, kWife, 1, nullptr, {1, L"Similar. // LastName", L"Last Name"}},
        {"desktop, namesake", kDesktop, kNamesake, 1,
         "The same first and last name is a strict match, and nothing that differs speaks against one.",
         byName},
        {"web mail, colleague",
         kWebMail,
         kColleague,
         0,
         "People of one company are shown as similar: entries of companies are often kept under such names.",
         {1, L"Similar. // Company", L"Company"}},
        {"workstation, stranger", kWorkstation, kStranger, 0, nullptr, {}},
        {"stranger, card of an e-mail", kStranger, kCardOfAnEmail, 0, nullptr, {}},
    };
    for (const auto& pair : kPairs) {
        const Verdict verdict = Compare(pair.searchBy, pair.checked);
        EXPECT_EQ(verdict, pair.expected) << pair.what;
        EXPECT_EQ(Compare(pair.checked, pair.searchBy).verdict, verdict.verdict)
            << pair.what << ", from the other side";
        EXPECT_EQ(verdict.verdict == pair.person, pair.whyNot == nullptr)
            << pair.what << ": a person would say " << pair.person << ", not " << verdict.verdict;
    }
}

}  // namespace
