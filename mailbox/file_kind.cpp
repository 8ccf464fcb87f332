#include "mailbox/file_kind.h"

#include <windows.h>

namespace mailbox {

namespace {

constexpr wchar_t kMail[] = L"a mail";
constexpr wchar_t kMbox[] = L"an mbox file";
constexpr wchar_t kContacts[] = L"a contact file";
constexpr wchar_t kCalendar[] = L"a calendar file";
constexpr wchar_t kData[] = L"a mail client's data file";

const struct {
    std::string_view start;
    const wchar_t* kind;
} kStarts[] = {{"From ", kMbox},
               {"BEGIN:VCARD", kContacts},
               {"BEGIN:VCALENDAR", kCalendar},
               {"!BDN", kData},
               {"\xD0\xCF\x11\xE0", L"a saved item of a mail client"}};

const struct {
    std::wstring_view extension;
    const wchar_t* kind;
} kExtensions[] = {{L".eml", kMail},     {L".emlx", kMail}, {L".msg", kMail},
                   {L".mbox", kMbox},    {L".mbx", kMbox},  {L".vcf", kContacts},
                   {L".ics", kCalendar}, {L".pst", kData},  {L".ost", kData}};

/// "Received: ..."
bool BeginsWithField(std::string_view text) {
    const size_t end = text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-");
    return end != 0 && end != text.npos && text[end] == ':';
}

bool EndsWith(const std::wstring& path, std::wstring_view extension) {
    return path.size() >= extension.size() &&
           CompareStringOrdinal(path.c_str() + path.size() - extension.size(), -1, extension.data(),
                                static_cast<int>(extension.size()), TRUE) == CSTR_EQUAL;
}

}  // namespace

const wchar_t* KindOfFile(std::string_view begin, const std::wstring& path) {
    const size_t first = begin.find_first_not_of("\xEF\xBB\xBF \t\r\n");
    if (first != begin.npos && begin[first] == '{') return nullptr;
    for (const auto& start : kStarts)
        if (begin.starts_with(start.start)) return start.kind;
    for (const auto& known : kExtensions)
        if (EndsWith(path, known.extension)) return known.kind;
    return BeginsWithField(begin) ? kMail : nullptr;
}

}  // namespace mailbox
