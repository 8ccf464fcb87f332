// Two values of one type, well made and badly: equal ones hash alike and swap, texts of them end where they must.

#include <windows.h>

#include <cstring>
#include <deque>
#include <memory>

#include "compare/value_compare.h"
#include "compare/value_hash.h"
#include "fuzz/fuzz.h"
#include "log/value_text.h"

using compare::CHash;
using compare::CTextHash;

namespace fuzz {
namespace {

constexpr ULONG kTypes[] = {PT_I2,          PT_LONG,       PT_R4,         PT_DOUBLE,     PT_BOOLEAN,
                            PT_CURRENCY,    PT_APPTIME,    PT_SYSTIME,    PT_STRING8,    PT_UNICODE,
                            PT_BINARY,      PT_CLSID,      PT_I8,         PT_ERROR,      PT_NULL,
                            PT_OBJECT,      PT_MV_I2,      PT_MV_LONG,    PT_MV_R4,      PT_MV_DOUBLE,
                            PT_MV_CURRENCY, PT_MV_APPTIME, PT_MV_SYSTIME, PT_MV_STRING8, PT_MV_UNICODE,
                            PT_MV_BINARY,   PT_MV_CLSID,   PT_MV_I8,      0x00FD};

/// Makes values whose memory is as long as they are and no longer.
class CMaker {
  public:
    explicit CMaker(CChoices& choices) : m_choices(choices) {}

    SPropValue Make(ULONG type) {
        SPropValue value{};
        value.ulPropTag = PROP_TAG(type, 0x6700);
        _PV& v = value.Value;
        const ULONG count = m_choices.Below(4);
        switch (type) {
            case PT_STRING8:
                v.lpszA = Text<char>();
                break;
            case PT_UNICODE:
                v.lpszW = Text<wchar_t>();
                break;
            case PT_CLSID:
                v.lpguid = Block<GUID>(1);
                break;
            case PT_MV_STRING8:
                v.MVszA = {count, Texts<char>(count)};
                break;
            case PT_MV_UNICODE:
                v.MVszW = {count, Texts<wchar_t>(count)};
                break;
            case PT_BINARY:
                v.bin = {count, Block<BYTE>(count)};
                break;
            case PT_MV_BINARY: {
                v.MVbin = {count, Block<SBinary>(count)};
                for (ULONG i = 0; v.MVbin.lpbin && i < count; ++i) v.MVbin.lpbin[i] = {i, Block<BYTE>(i)};
                break;
            }
            default:
                if (type & MV_FLAG)
                    v.MVguid = {count, Block<GUID>(count)};  // the largest element
                else
                    v.li.QuadPart =
                        m_choices.OneIn(3) ? static_cast<LONGLONG>(m_choices.Any()) : m_choices.Below(3);
        }
        return value;
    }

  private:
    template <typename T>
    T* Block(size_t count) {
        if (m_choices.OneIn(12)) return nullptr;
        const size_t size = count * sizeof(T);
        char* const block = m_blocks.emplace_back(new char[size]).get();
        for (size_t i = 0; i < size; ++i)
            block[i] = static_cast<char>(m_choices.OneIn(4) ? m_choices.Any() : 0);
        return reinterpret_cast<T*>(block);
    }
    template <typename TCharacter>
    TCharacter* Text() {
        static const wchar_t units[] = L"aAb1 2-'\u00e9\u00c9\u00df\u00ad\u0301\u4e2d\xD83D\xDE00\r\n\t(";
        if (m_choices.OneIn(20)) return nullptr;
        const size_t length = m_choices.OneIn(30) ? 200 + m_choices.Below(600) : m_choices.Below(12);
        auto* const text = reinterpret_cast<TCharacter*>(
            m_blocks.emplace_back(new char[(length + 1) * sizeof(TCharacter)]).get());
        const bool same = m_choices.OneIn(2);
        for (size_t i = 0; i < length; ++i)
            text[i] = static_cast<TCharacter>(same ? units[m_choices.Below(2)]
                                                   : units[m_choices.Below(std::size(units) - 1)]);
        text[length] = 0;
        return text;
    }
    template <typename TCharacter>
    TCharacter** Texts(size_t count) {
        auto* const texts = Block<TCharacter*>(count);
        for (size_t i = 0; texts && i < count; ++i) texts[i] = Text<TCharacter>();
        return texts;
    }

    CChoices& m_choices;
    std::deque<std::unique_ptr<char[]>> m_blocks;
};

/// Where equality holds both ways; 64 bits, and numbers that are none, contradict themselves.
bool IsSymmetric(ULONG type) {
    return type != PT_I8 && type != PT_CURRENCY && type != PT_DOUBLE && type != PT_APPTIME && type != PT_R4 &&
           type != PT_OBJECT && type != PT_UNSPECIFIED && type != 0x00FD;
}

std::string TextOf(const SPropValue& value, size_t capacity, unsigned flags) {
    const std::unique_ptr<wchar_t[]> text(new wchar_t[capacity]);
    logging::PropValueText(&value, text.get(), capacity, flags);
    const std::wstring_view shown(text.get(), wcsnlen(text.get(), capacity));
    return shown.size() < capacity ? std::string(shown.begin(), shown.end()) : "unterminated";
}

}  // namespace

void ValuePair(const TCorpus&, CChoices& choices) {
    CMaker maker(choices);
    const ULONG type = choices.Of(kTypes);
    const auto method =
        static_cast<ECompareMethod>(choices.OneIn(2) ? 0 : choices.Below(cmApntApproxStart + 1));
    if (method == cmRecipients && type == PT_BINARY) return;  // lists are not made of bytes from anywhere
    const SPropValue a = maker.Make(type), b = choices.OneIn(5) ? a : maker.Make(type);
    const std::string input = "type " + std::to_string(type) + ", method " + std::to_string(method) + ": " +
                              TextOf(a, 4000, 1) + " and " + TextOf(b, 4000, 1);

    const int order = compare::PV_Compare(a.Value, b.Value, type, method),
              back = compare::PV_Compare(b.Value, a.Value, type, method);
    if (IsSymmetric(type)) Require((order == 0) == (back == 0), "equal one way only", input);
    static CTextHash texts;
    const CHash hashA = compare::HashValue(a, method, texts), hashB = compare::HashValue(b, method, texts);
    if (order == 0 && hashA && hashB) Require(hashA == hashB, "equal values of different hashes", input);

    ULONG size = 99;
    const bool isEmpty = compare::PV_IsEmpty(a.Value, type, &size) != 0;
    Require(isEmpty == (size == 0), "emptiness and size do not agree", input);
    int shared = 9, sharedBack = 9;
    if (compare::PV_IsMVIntersects(a.Value, b.Value, type, method, &shared) == 0) {
        compare::PV_IsMVIntersects(b.Value, a.Value, type, method, &sharedBack);
        Require(shared == sharedBack, "shared one way only", input);
        const auto elements = [](const SPropValue& value) {
            return static_cast<int>(value.Value.MVszW.cValues);
        };
        bool found = false;
        for (int i = -1; i <= elements(a); ++i) {
            for (int j = -1; j <= elements(b); ++j) {
                int element = 9;
                if (compare::PV_SubCompare(a.Value, i, b.Value, j, type, method, &element) == 0 &&
                    element == 0 && i >= 0 && compare::PV_IsSubEmpty(a.Value, i, type) &&
                    compare::PV_IsSubEmpty(b.Value, j, type))
                    found = true;
            }
        }
        Require(found == (shared == 1), "shared, and no two elements equal; or the other way round", input);
    }
    const unsigned flags = choices.Below(2);
    const std::string whole = TextOf(a, 8000, flags), cut = TextOf(a, 1 + choices.Below(60), flags);
    Require(whole.starts_with(cut), "a text that is cut is another one", input + "\n" + cut);
}

}  // namespace fuzz
