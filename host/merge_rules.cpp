#include "host/merge_rules.h"

#include <algorithm>
#include <iterator>

namespace host {

#define ADDRESS "{00062004-0000-0000-C000-000000000046}:"
#define APPOINTMENT "{00062002-0000-0000-C000-000000000046}:"
#define TASK "{00062003-0000-0000-C000-000000000046}:"
#define COMMON "{00062008-0000-0000-C000-000000000046}:"
#define JOURNAL "{0006200A-0000-0000-C000-000000000046}:"
#define PUBLIC "{00020329-0000-0000-C000-000000000046}:"

const char kPlainText[] = "1000";
const char kHtmlText[] = "1013";
const char kRtfText[] = "1009";
const char kMembers[] = ADDRESS "0x8055";
const char kMemberNames[] = ADDRESS "0x8054";
const char kMemberStream[] = ADDRESS "0x8064";
const char kReadMark[] = "0E07";
const char kStatusMark[] = "0E17";
const char kPhotoFlag[] = ADDRESS "0x8015";
const char kEmailList[] = ADDRESS "0x8028";
const char kEmailBits[] = ADDRESS "0x8029";

namespace {

struct TNever {
    bool isOfMails;  // of no other kind
    const char* property;
    const char* why;
};
constexpr TNever kNever[] = {
    {true, kPlainText, "what a mail says is its sender's"},
    {true, kHtmlText, "what a mail says is its sender's"},
    {true, kRtfText, "what a mail says is its sender's"},
    {false, "001A", "says what the item is"},
};

constexpr char kAddressWhy[] = "the parts of an address belong together";

// Each name is a property set and a number, joined.
// NOLINTBEGIN(bugprone-suspicious-missing-comma)
const std::vector<TTogether>& Together() {
    static const std::vector<TTogether> kTable{
        {kAddressWhy, {"3A5D", "3A59", "3A5C", "3A5B", "3A5A", "3A5E", ADDRESS "0x801A", ADDRESS "0x80DA"}},
        {kAddressWhy,
         {ADDRESS "0x8045", ADDRESS "0x8046", ADDRESS "0x8047", ADDRESS "0x8048", ADDRESS "0x8049",
          ADDRESS "0x804A", ADDRESS "0x801B", ADDRESS "0x80DB"}},
        {kAddressWhy, {"3A63", "3A5F", "3A62", "3A61", "3A60", "3A64", ADDRESS "0x801C", ADDRESS "0x80DC"}},
        {kAddressWhy, {"3A29", "3A27", "3A28", "3A2A", "3A26", "3A2B", "3A15", ADDRESS "0x8022"}},
        {"when something is, and how it repeats, belongs together",
         {APPOINTMENT "0x820D", APPOINTMENT "0x820E", APPOINTMENT "0x8213", APPOINTMENT "0x8215",
          APPOINTMENT "0x8216", APPOINTMENT "0x8223", APPOINTMENT "0x8228", APPOINTMENT "0x8231",
          APPOINTMENT "0x8232", APPOINTMENT "0x8233", APPOINTMENT "0x8234", APPOINTMENT "0x8235",
          APPOINTMENT "0x8236", APPOINTMENT "0x825E", APPOINTMENT "0x825F", APPOINTMENT "0x8260",
          PUBLIC "import-recurrence"}},
        {"a reminder's parts belong together",
         {COMMON "0x8501", COMMON "0x8502", COMMON "0x8503", COMMON "0x8560"}},
        {"how far a task is belongs together", {TASK "0x8101", TASK "0x8102", TASK "0x810F", TASK "0x811C"}},
        {"how a task repeats belongs together", {TASK "0x8116", TASK "0x8126"}},
        {"when something was, and how long, belongs together",
         {JOURNAL "0x8706", JOURNAL "0x8707", JOURNAL "0x8708"}},
    };
    return kTable;
}
// NOLINTEND(bugprone-suspicious-missing-comma)

const std::vector<std::string> kPhones{"3A1E", "3A09", "3A2F", "3A25", "3A1C", "3A21", "3A1D",
                                       "3A08", "3A1B", "3A24", "3A57", "3A2C", "3A2E", "3A02",
                                       "3A2D", "3A1A", "3A1F", "3A23", "3A4B"};
const std::vector<std::string> kEmails{ADDRESS "0x8083", ADDRESS "0x8093", ADDRESS "0x80A3"};

// A second place of the same sort, then the one for any. A fax number goes to a fax.
const std::vector<TPlaces>& Places() {
    static const std::vector<TPlaces> kTable{
        {{"3A09", "3A2F", "3A1F"}, cmLast7Digits, false},
        {{"3A2F", "3A09", "3A1F"}, cmLast7Digits, false},
        {{"3A08", "3A1B", "3A1F"}, cmLast7Digits, false},
        {{"3A1B", "3A08", "3A1F"}, cmLast7Digits, false},
        {{"3A1C", "3A1F"}, cmLast7Digits, false},
        {{"3A1A", "3A1F"}, cmLast7Digits, false},
        {{"3A1E", "3A1F"}, cmLast7Digits, false},
        {{"3A02", "3A1F"}, cmLast7Digits, false},
        {{"3A25", "3A23"}, cmLast7Digits, false},
        {{"3A24", "3A23"}, cmLast7Digits, false},
        {{"3A1F"}, cmLast7Digits, false},
        {{"3A23"}, cmLast7Digits, false},
        // Numbers of a sort of their own.
        {{"3A21"}, cmLast7Digits, false},
        {{"3A1D"}, cmLast7Digits, false},
        {{"3A57"}, cmLast7Digits, false},
        {{"3A2C"}, cmLast7Digits, false},
        {{"3A2E"}, cmLast7Digits, false},
        {{"3A2D"}, cmLast7Digits, false},
        {{"3A4B"}, cmLast7Digits, false},
        {{kEmails[0], kEmails[1], kEmails[2]}, cmExact, true},
        {{kEmails[1], kEmails[0], kEmails[2]}, cmExact, true},
        {{kEmails[2], kEmails[0], kEmails[1]}, cmExact, true},
    };
    return kTable;
}

// An open flag before one that is done; an answer before a forwarding. Another state is a value like any other.
const std::vector<TRanked> kRanked{{"1090", {"2", "1"}}, {"1081", {"103", "102", "104"}}};

constexpr const char* kOfEmails[][4] = {
    {ADDRESS "0x8080", ADDRESS "0x8082", ADDRESS "0x8084", ADDRESS "0x8085"},
    {ADDRESS "0x8090", ADDRESS "0x8092", ADDRESS "0x8094", ADDRESS "0x8095"},
    {ADDRESS "0x80A0", ADDRESS "0x80A2", ADDRESS "0x80A4", ADDRESS "0x80A5"},
};

struct TCompanions {
    const char* property;
    std::vector<std::string> with;
};
const std::vector<TCompanions>& CompanionTable() {
    static const std::vector<TCompanions> kTable{
        {"1090", {"1091"}},          // when it was done
        {"1081", {"1080", "1082"}},  // the picture of what was done last, and when
        {kHtmlText, {"3FDE"}},       // the code page of the bytes
        {kRtfText, {"0E1F"}},        // whether the plain text is made of it
        {"{6ED8DA90-450B-101B-98DA-00AA003F1305}:0x0003",
         {"{6ED8DA90-450B-101B-98DA-00AA003F1305}:0x0023"}},  // a meeting's identifier without the day
    };
    return kTable;
}

bool Has(const std::vector<std::string>& list, const std::string& name) {
    return std::ranges::find(list, name) != list.end();
}

}  // namespace

const char* WhyNever(EKind kind, const std::string& property) {
    for (const TNever& row : kNever) {
        if (property == row.property && (!row.isOfMails || kind == EKind::Mail)) return row.why;
    }
    return nullptr;
}

const TTogether* TogetherWith(const std::string& property) {
    for (const TTogether& row : Together()) {
        if (Has(row.properties, property)) return &row;
    }
    return nullptr;
}

const TPlaces* PlacesOf(const std::string& property) {
    for (const TPlaces& row : Places()) {
        if (row.places.front() == property) return &row;
    }
    return nullptr;
}

const std::vector<std::string>& PlacesOfKind(const TPlaces& places) {
    return places.isEmail ? kEmails : kPhones;
}

const TRanked* RankedStates(const std::string& property) {
    for (const TRanked& row : kRanked) {
        if (row.property == property) return &row;
    }
    return nullptr;
}

std::vector<std::string> Companions(const std::string& property) {
    if (const int number = EmailNumber(property); number >= 0) {
        // How the address is shown, of what sort it is, and how the platform finds it.
        return {std::begin(kOfEmails[number]), std::end(kOfEmails[number])};
    }
    for (const TCompanions& row : CompanionTable()) {
        if (property == row.property) return row.with;
    }
    return {};
}

int EmailNumberOfName(const std::string& property) {
    for (size_t number = 0; number < std::size(kOfEmails); ++number) {
        if (property == kOfEmails[number][0] || property == kOfEmails[number][2])
            return static_cast<int>(number);
    }
    return -1;
}

bool IsTextForm(const std::string& property) {
    return property == kPlainText || property == kHtmlText || property == kRtfText;
}

int EmailNumber(const std::string& property) {
    const auto found = std::ranges::find(kEmails, property);
    return found == kEmails.end() ? -1 : static_cast<int>(found - kEmails.begin());
}

}  // namespace host
