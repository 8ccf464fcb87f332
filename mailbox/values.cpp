#include "mailbox/values.h"

#include <algorithm>

#include "mailbox/buffers.h"
#include "mailbox/calls.h"
#include "mailbox/CFileText.h"
#include "mailbox/text.h"

namespace mailbox {

char* CScratch::Room(size_t size) {
    if (size <= sizeof m_first - m_nUsed) {
        m_nUsed += size;
        return m_first + m_nUsed - size;
    }
    m_more.push_back(std::make_unique_for_overwrite<char[]>(size));
    return m_more.back().get();
}

std::string_view CScratch::Keep(std::string_view bytes) {
    char* const place = Room(bytes.size());
    if (!bytes.empty()) std::memcpy(place, bytes.data(), bytes.size());
    return {place, bytes.size()};
}

std::string_view BytesOf(const CProperties& properties, const CProperties::TSlot& slot, CScratch& scratch) {
    const TPlace* const place = properties.PlaceOf(slot);
    if (place == nullptr) return properties.Bytes(slot);
    char* const bytes = scratch.Room(slot.size);
    if (place->Load(bytes, slot.size)) return {bytes, slot.size};
    scratch.failure = place->file->Failure();
    return {};
}

HRESULT TakeValue(const CProperties& from, const CProperties::TSlot& slot, ULONG tag, CProperties& to) {
    CScratch scratch;
    const std::string_view bytes = BytesOf(from, slot, scratch);
    if (scratch.failure == S_OK) to.Set(tag, bytes);
    return scratch.failure;
}

namespace {
bool IsText(ULONG type) {
    const ULONG single = type & ~MV_FLAG;
    return single == PT_STRING8 || single == PT_UNICODE;
}
}  // namespace

bool CanGive(ULONG held, ULONG asked) {
    return held == asked || (IsText(held) && IsText(asked) && (held & MV_FLAG) == (asked & MV_FLAG));
}

TView Converted(const TView& view, ULONG asked, CScratch& scratch) {
    if (view.type == asked) return view;
    const auto convert = [&](std::string_view text) {
        return (asked & ~MV_FLAG) == PT_STRING8 ? ToAnsi(text) : FromAnsi(text);
    };
    if ((asked & MV_FLAG) == 0)
        return {asked, IsAscii(view.bytes) ? view.bytes : scratch.Keep(convert(view.bytes))};
    std::string elements;
    for (std::string_view rest = view.bytes; !rest.empty();)
        AppendElement(elements, convert(TakeElement(rest)));
    return {asked, scratch.Keep(elements)};
}

namespace {

size_t Aligned(size_t size) {
    return (size + 7) & ~size_t{7};
}

/// Whether the value, in the form in which it would be given, is too large for GetProps.
bool IsTooLarge(const TView& view) {
    switch (view.type) {
        case PT_UNICODE:
            return view.bytes.size() > kMostPlainBytes / 2 && WideLength(view.bytes) > kMostPlainBytes / 2;
        case PT_STRING8:
        case PT_BINARY:
            return view.bytes.size() > kMostPlainBytes;
        default:
            return false;
    }
}

ULONG CountElements(std::string_view bytes, ULONG type) {
    const size_t fixed = FixedSize(type);
    if (fixed != 0) return static_cast<ULONG>(bytes.size() / fixed);
    ULONG count = 0;
    for (; !bytes.empty(); ++count) TakeElement(bytes);
    return count;
}

/// Bytes that one text or binary takes beside its SPropValue. An upper bound for wide text.
size_t ElementRoom(std::string_view bytes, ULONG single) {
    switch (single) {
        case PT_UNICODE:
            return (bytes.size() + 1) * sizeof(wchar_t);
        case PT_STRING8:
            return bytes.size() + 1;
        default:
            return bytes.size();
    }
}

/// Bytes that a value takes beside its SPropValue, or an upper bound.
size_t Room(const TView& view) {
    const ULONG single = view.type & ~MV_FLAG;
    if ((view.type & MV_FLAG) == 0) {
        if (single == PT_CLSID) return sizeof(GUID);
        return FixedSize(single) != 0 || single == PT_OBJECT ? 0 : Aligned(ElementRoom(view.bytes, single));
    }
    if (FixedSize(single) != 0) return Aligned(view.bytes.size());
    size_t room = 0;
    for (std::string_view rest = view.bytes; !rest.empty();)
        room += sizeof(SBinary) + Aligned(ElementRoom(TakeElement(rest), single));
    return room;
}

/// Hands out pieces of the block behind the values.
class CCursor {
  public:
    explicit CCursor(char* place) : m_pPlace(place) {}
    template <typename T>
    T* Take(size_t bytes) {
        T* piece = reinterpret_cast<T*>(m_pPlace);
        m_pPlace += Aligned(bytes);
        return piece;
    }
    void* Put(std::string_view bytes) {
        void* piece = Take<char>(bytes.size());
        if (!bytes.empty()) std::memcpy(piece, bytes.data(), bytes.size());
        return piece;
    }
    wchar_t* PutWide(std::string_view utf8) {
        wchar_t* piece = reinterpret_cast<wchar_t*>(m_pPlace);
        wchar_t* end = WriteWide(utf8, piece);
        *end++ = L'\0';
        m_pPlace += Aligned(static_cast<size_t>(end - piece) * sizeof(wchar_t));
        return piece;
    }
    char* PutNarrow(std::string_view text) {
        char* piece = Take<char>(text.size() + 1);
        if (!text.empty()) std::memcpy(piece, text.data(), text.size());
        piece[text.size()] = '\0';
        return piece;
    }

  private:
    char* m_pPlace;
};

void FillElements(__UPV& out, const TView& view, CCursor& cursor) {
    const ULONG single = view.type & ~MV_FLAG;
    const ULONG count = CountElements(view.bytes, view.type);
    // All counted arrays of the union begin with the count and the pointer.
    out.MVbin.cValues = count;
    if (FixedSize(single) != 0) {
        out.MVbin.lpbin = static_cast<SBinary*>(cursor.Put(view.bytes));
        return;
    }
    std::string_view rest = view.bytes;
    if (single == PT_BINARY) {
        out.MVbin.lpbin = cursor.Take<SBinary>(count * sizeof(SBinary));
        for (ULONG index = 0; index < count; ++index) {
            const std::string_view element = TakeElement(rest);
            out.MVbin.lpbin[index] = {static_cast<ULONG>(element.size()),
                                      static_cast<BYTE*>(cursor.Put(element))};
        }
    } else if (single == PT_UNICODE) {
        out.MVszW.lppszW = cursor.Take<wchar_t*>(count * sizeof(wchar_t*));
        for (ULONG index = 0; index < count; ++index)
            out.MVszW.lppszW[index] = cursor.PutWide(TakeElement(rest));
    } else {
        out.MVszA.lppszA = cursor.Take<char*>(count * sizeof(char*));
        for (ULONG index = 0; index < count; ++index)
            out.MVszA.lppszA[index] = cursor.PutNarrow(TakeElement(rest));
    }
}

void Fill(__UPV& out, const TView& view, CCursor& cursor) {
    if ((view.type & MV_FLAG) != 0) return FillElements(out, view, cursor);
    switch (view.type) {
        case PT_UNICODE:
            out.lpszW = cursor.PutWide(view.bytes);
            break;
        case PT_STRING8:
            out.lpszA = cursor.PutNarrow(view.bytes);
            break;
        case PT_BINARY:
            out.bin = {static_cast<ULONG>(view.bytes.size()), static_cast<BYTE*>(cursor.Put(view.bytes))};
            break;
        case PT_CLSID:
            out.lpguid = static_cast<GUID*>(cursor.Put(view.bytes));
            break;
        case PT_OBJECT:
            break;
        default:
            std::memcpy(&out, view.bytes.data(), view.bytes.size());
    }
}

/// One value on its way out: the tag that it gets, and what it holds.
struct TOutgoing {
    ULONG tag;
    TView view;
};

TOutgoing Failed(ULONG tag, HRESULT error, CScratch& scratch) {
    return {CHANGE_PROP_TYPE(tag, PT_ERROR), {PT_ERROR, scratch.KeepValue(error)}};
}

TOutgoing Prepare(const CPropertySource& source, ULONG tag, bool wide, CScratch& scratch) {
    TView view;
    if (!source.Get(PROP_ID(tag), view, scratch)) return Failed(tag, MAPI_E_NOT_FOUND, scratch);
    if (view.type == PT_ERROR) return {CHANGE_PROP_TYPE(tag, PT_ERROR), view};
    ULONG asked = PROP_TYPE(tag) & ~MV_INSTANCE;
    if (asked == PT_UNSPECIFIED)
        asked = IsText(view.type) ? (view.type & MV_FLAG) | (wide ? PT_UNICODE : PT_STRING8) : view.type;
    if (!CanGive(view.type, asked)) return Failed(tag, MAPI_E_NOT_FOUND, scratch);
    view = Converted(view, asked, scratch);
    if (IsTooLarge(view)) return Failed(tag, MAPI_E_NOT_ENOUGH_MEMORY, scratch);
    return {CHANGE_PROP_TYPE(tag, asked), view};
}

}  // namespace

HRESULT ReadValues(const CPropertySource& source, const ULONG* tags, ULONG tagCount, bool wide, ULONG* count,
                   SPropValue** values) {
    CScratch scratch;
    std::vector<ULONG> all;
    if (tags == nullptr) {
        source.List(all);
        for (ULONG& tag : all) tag = CHANGE_PROP_TYPE(tag, PT_UNSPECIFIED);
        tags = all.data();
        tagCount = static_cast<ULONG>(all.size());
    }

    constexpr ULONG kUsual = 48;
    TOutgoing usual[kUsual];
    std::vector<TOutgoing> many(tagCount > kUsual ? tagCount : 0);
    TOutgoing* outgoing = many.empty() ? usual : many.data();
    size_t size = tagCount * sizeof(SPropValue);
    HRESULT hr = S_OK;
    for (ULONG index = 0; index < tagCount; ++index) {
        outgoing[index] = Prepare(source, tags[index], wide, scratch);
        size += Room(outgoing[index].view);
        if (PROP_TYPE(outgoing[index].tag) == PT_ERROR) hr = MAPI_W_ERRORS_RETURNED;
    }
    // A value that cannot be read is not one that is missing: nobody is to compare without it.
    if (scratch.failure != S_OK) return scratch.failure;

    auto* block = static_cast<SPropValue*>(NewBuffer(size));
    if (block == nullptr) return MAPI_E_NOT_ENOUGH_MEMORY;
    CCursor cursor(reinterpret_cast<char*>(block + tagCount));
    for (ULONG index = 0; index < tagCount; ++index) {
        block[index] = {};
        block[index].ulPropTag = outgoing[index].tag;
        Fill(block[index].Value, outgoing[index].view, cursor);
    }
    *count = tagCount;
    *values = block;
    return hr;
}

namespace {

template <typename T>
void AppendRaw(std::string& bytes, const T* values, size_t count) {
    if (count != 0) bytes.append(reinterpret_cast<const char*>(values), count * sizeof(T));
}

bool AppendElements(const SPropValue& value, std::string& bytes) {
    const __UPV& from = value.Value;
    const ULONG count = from.MVbin.cValues;
    const ULONG single = PROP_TYPE(value.ulPropTag) & ~MV_FLAG;
    if (count != 0 && from.MVbin.lpbin == nullptr) return false;
    const size_t fixed = FixedSize(single);
    if (fixed != 0) {
        AppendRaw(bytes, reinterpret_cast<const char*>(from.MVbin.lpbin), count * fixed);
        return true;
    }
    for (ULONG index = 0; index < count; ++index) {
        if (single == PT_BINARY) {
            const SBinary& element = from.MVbin.lpbin[index];
            AppendElement(bytes, {reinterpret_cast<const char*>(element.lpb), element.cb});
        } else if (single == PT_UNICODE) {
            if (from.MVszW.lppszW[index] == nullptr) return false;
            AppendElement(bytes, FromWide(from.MVszW.lppszW[index]));
        } else {
            if (from.MVszA.lppszA[index] == nullptr) return false;
            AppendElement(bytes, from.MVszA.lppszA[index]);
        }
    }
    return true;
}

}  // namespace

bool BytesOf(const SPropValue& value, std::string& bytes) {
    const ULONG type = PROP_TYPE(value.ulPropTag);
    bytes.clear();
    if (!IsKnownType(type) || type == PT_ERROR || type == PT_OBJECT) return false;
    if ((type & MV_FLAG) != 0) return AppendElements(value, bytes);
    const __UPV& from = value.Value;
    switch (type) {
        case PT_UNICODE:
            if (from.lpszW == nullptr) return false;
            bytes = FromWide(from.lpszW);
            return true;
        case PT_STRING8:
            if (from.lpszA == nullptr) return false;
            bytes = from.lpszA;
            return true;
        case PT_BINARY:
            if (from.bin.cb != 0 && from.bin.lpb == nullptr) return false;
            AppendRaw(bytes, from.bin.lpb, from.bin.cb);
            return true;
        case PT_CLSID:
            if (from.lpguid == nullptr) return false;
            AppendRaw(bytes, from.lpguid, 1);
            return true;
        default:
            AppendRaw(bytes, reinterpret_cast<const char*>(&from), FixedSize(type));
            return true;
    }
}

namespace {

template <typename T>
int CompareAs(std::string_view left, std::string_view right) {
    const T a = As<T>(left);
    const T b = As<T>(right);
    return a < b ? -1 : b < a ? 1 : 0;
}

int CompareTexts(std::string_view left, std::string_view right) {
    return CompareStringW(LOCALE_USER_DEFAULT, NORM_IGNORECASE, ToWide(left).c_str(), -1,
                          ToWide(right).c_str(), -1) -
           CSTR_EQUAL;
}

}  // namespace

int CompareViews(const TView& left, const TView& right) {
    switch (left.type) {
        case PT_I2:
            return CompareAs<short>(left.bytes, right.bytes);
        case PT_BOOLEAN:
            return (As<unsigned short>(left.bytes) != 0) - (As<unsigned short>(right.bytes) != 0);
        case PT_LONG:
        case PT_ERROR:
            return CompareAs<LONG>(left.bytes, right.bytes);
        case PT_R4:
            return CompareAs<float>(left.bytes, right.bytes);
        case PT_DOUBLE:
        case PT_APPTIME:
            return CompareAs<double>(left.bytes, right.bytes);
        case PT_CURRENCY:
        case PT_I8:
            return CompareAs<long long>(left.bytes, right.bytes);
        case PT_SYSTIME:
            return CompareAs<unsigned long long>(left.bytes, right.bytes);
        case PT_STRING8:
            return CompareTexts(FromAnsi(left.bytes), FromAnsi(right.bytes));
        case PT_UNICODE:
            return CompareTexts(left.bytes, right.bytes);
        default:
            return left.bytes.compare(right.bytes);
    }
}

}  // namespace mailbox
