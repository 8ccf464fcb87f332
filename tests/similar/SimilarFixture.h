#pragma once
// Contacts by the names of their fields, and a search over them through the exports.

#include <string>
#include <utility>
#include <vector>

#include "quorvel.h"
#include "tests/support/MailboxFixture.h"

/// Display names and values of a contact's fields, L"First Name=Jon;Last Name=Smith". "Full Name" and "File As"
/// are its names, "Notes" is its body; a date is "1980-03-22", at midnight of UTC, and the elements of a list
/// are separated by "|".
struct Contact : std::vector<std::pair<std::wstring, std::wstring>> {
    using vector::vector;
    Contact(const wchar_t* fields) : Contact(std::wstring(fields)) {}
    Contact(const std::wstring& fields);
};

struct Verdict {
    unsigned verdict = 0;
    std::wstring text;
    std::wstring fields;
    bool operator==(const Verdict&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Verdict& verdict);
/// The verdict by the fields with these labels, Decided(1, L"FirstName(MissChar) + E-mail2 // LastNameOK"); no
/// label at all is no verdict.
Verdict Decided(unsigned verdict, const std::wstring& labels);

std::string Narrow(std::wstring_view text);
std::vector<std::wstring> Split(const std::wstring& text, wchar_t separator);
std::wstring WithoutSpaces(std::wstring text);

/// Owns a search; its operations fail the test that calls them when the export refuses.
class Search {
  public:
    Search(IMAPISession* session, const std::string& storeId, unsigned countMode = 0)
        : m_handle(SimilarSearch_Create(session, storeId.c_str(), countMode)) {}
    Search(const Search&) = delete;
    ~Search() { SimilarSearch_Delete(m_handle); }
    operator HSimilarSearch() const { return m_handle; }

    /// Number of filled fields.
    unsigned SetSearchBy(IMessage* contact);
    Verdict Check(IMessage* contact, unsigned* filled = nullptr);
    Verdict CheckFast(const std::string& entryId, unsigned* filled = nullptr);

  private:
    HSimilarSearch m_handle;
};

class SimilarTest : public MailboxTest {
  protected:
    SimilarTest();

    /// A contact, modified on 1 January 2026.
    TestItem Add(const Contact& contact);
    ULONG FieldTag(TestItem& item, const std::wstring& field);
    void SetField(TestItem& item, const std::wstring& field, const std::wstring& value);
    /// A check of the second contact against the first, in a search of its own.
    Verdict Compare(const Contact& searchBy, const Contact& checked);
};
