#include "mailbox/restriction.h"

#include <algorithm>

#include "mailbox/text.h"

namespace mailbox {

namespace {

HRESULT CheckAll(const SRestriction* restrictions, ULONG count) {
    if (count != 0 && restrictions == nullptr) return MAPI_E_INVALID_PARAMETER;
    for (ULONG index = 0; index < count; ++index) {
        const HRESULT hr = CheckRestriction(restrictions[index]);
        if (hr != S_OK) return hr;
    }
    return S_OK;
}

HRESULT CheckValue(ULONG tag, const SPropValue* value) {
    std::string bytes;
    if (value == nullptr) return MAPI_E_INVALID_PARAMETER;
    if (((PROP_TYPE(tag) | PROP_TYPE(value->ulPropTag)) & MV_FLAG) != 0) return MAPI_E_TOO_COMPLEX;
    if (!BytesOf(*value, bytes)) return MAPI_E_INVALID_PARAMETER;
    return S_OK;
}

bool HoldsRelation(ULONG relation, int order) {
    switch (relation) {
        case RELOP_LT:
            return order < 0;
        case RELOP_LE:
            return order <= 0;
        case RELOP_GT:
            return order > 0;
        case RELOP_GE:
            return order >= 0;
        case RELOP_EQ:
            return order == 0;
        default:
            return order != 0;
    }
}

/// The source's property in the type of the value that it is held against.
bool GetAs(const CPropertySource& source, ULONG tag, ULONG type, TView& view, CScratch& scratch) {
    if (!source.Get(PROP_ID(tag), view, scratch) || view.type == PT_ERROR || !CanGive(view.type, type))
        return false;
    view = Converted(view, type, scratch);
    return true;
}

bool MatchesProperty(const CPropertySource& source, const SPropertyRestriction& restriction) {
    CScratch scratch;
    std::string bytes;
    TView view;
    BytesOf(*restriction.lpProp, bytes);
    const ULONG type = PROP_TYPE(restriction.lpProp->ulPropTag);
    if (!GetAs(source, restriction.ulPropTag, type, view, scratch)) return false;
    // Equality of binaries, which is how items are found, needs no order.
    if (type == PT_BINARY && restriction.relop == RELOP_EQ) return view.bytes == bytes;
    return HoldsRelation(restriction.relop, CompareViews(view, {type, bytes}));
}

std::string Folded(ULONG type, std::string_view bytes, ULONG level) {
    if (type == PT_BINARY) return std::string(bytes);
    std::string text = type == PT_STRING8 ? FromAnsi(bytes) : std::string(bytes);
    if ((level & (FL_IGNORECASE | FL_LOOSE)) == 0) return text;
    std::wstring wide = ToWide(text);
    CharLowerBuffW(wide.data(), static_cast<DWORD>(wide.size()));
    return FromWide(wide);
}

bool MatchesContent(const CPropertySource& source, const SContentRestriction& restriction) {
    CScratch scratch;
    std::string bytes;
    TView view;
    BytesOf(*restriction.lpProp, bytes);
    const ULONG type = PROP_TYPE(restriction.lpProp->ulPropTag);
    if (!GetAs(source, restriction.ulPropTag, type, view, scratch)) return false;
    const std::string text = Folded(type, view.bytes, restriction.ulFuzzyLevel);
    const std::string wanted = Folded(type, bytes, restriction.ulFuzzyLevel);
    switch (restriction.ulFuzzyLevel & 0xFFFF) {
        case FL_FULLSTRING:
            return text == wanted;
        case FL_PREFIX:
            return text.starts_with(wanted);
        default:
            return text.find(wanted) != std::string::npos;
    }
}

bool MatchesBitMask(const CPropertySource& source, const SBitMaskRestriction& restriction) {
    CScratch scratch;
    TView view;
    if (!GetAs(source, restriction.ulPropTag, PT_LONG, view, scratch)) return false;
    const bool isSet = (As<ULONG>(view.bytes) & restriction.ulMask) != 0;
    return isSet == (restriction.relBMR == BMR_NEZ);
}

bool MatchesSize(const CPropertySource& source, const SSizeRestriction& restriction) {
    CScratch scratch;
    TView view;
    if (!source.Get(PROP_ID(restriction.ulPropTag), view, scratch) || view.type == PT_ERROR) return false;
    size_t size = view.bytes.size();
    if (view.type == PT_UNICODE) size = (WideLength(view.bytes) + 1) * sizeof(wchar_t);
    if (view.type == PT_STRING8) ++size;
    return HoldsRelation(restriction.relop, size < restriction.cb ? -1 : size > restriction.cb ? 1 : 0);
}

}  // namespace

HRESULT CheckRestriction(const SRestriction& restriction) {
    switch (restriction.rt) {
        case RES_AND:
            return CheckAll(restriction.res.resAnd.lpRes, restriction.res.resAnd.cRes);
        case RES_OR:
            return CheckAll(restriction.res.resOr.lpRes, restriction.res.resOr.cRes);
        case RES_NOT:
            return CheckAll(restriction.res.resNot.lpRes, 1);
        case RES_COMMENT:
            return CheckAll(restriction.res.resComment.lpRes,
                            restriction.res.resComment.lpRes != nullptr ? 1u : 0u);
        case RES_CONTENT: {
            const SContentRestriction& content = restriction.res.resContent;
            const HRESULT hr = CheckValue(content.ulPropTag, content.lpProp);
            if (hr != S_OK) return hr;
            const ULONG type = PROP_TYPE(content.lpProp->ulPropTag);
            if (type != PT_UNICODE && type != PT_STRING8 && type != PT_BINARY) return MAPI_E_TOO_COMPLEX;
            return (content.ulFuzzyLevel & FL_IGNORENONSPACE) != 0 ? MAPI_E_TOO_COMPLEX : S_OK;
        }
        case RES_PROPERTY:
            if (restriction.res.resProperty.relop > RELOP_NE) return MAPI_E_TOO_COMPLEX;
            return CheckValue(restriction.res.resProperty.ulPropTag, restriction.res.resProperty.lpProp);
        case RES_SIZE:
            return restriction.res.resSize.relop > RELOP_NE ? MAPI_E_TOO_COMPLEX : S_OK;
        case RES_BITMASK:
        case RES_EXIST:
            return S_OK;
        default:
            return MAPI_E_TOO_COMPLEX;
    }
}

bool Matches(const CPropertySource& source, const SRestriction& restriction) {
    const auto matches = [&source](const SRestriction& part) { return Matches(source, part); };
    switch (restriction.rt) {
        case RES_AND: {
            const SAndRestriction& all = restriction.res.resAnd;
            return std::all_of(all.lpRes, all.lpRes + all.cRes, matches);
        }
        case RES_OR: {
            const SOrRestriction& any = restriction.res.resOr;
            return std::any_of(any.lpRes, any.lpRes + any.cRes, matches);
        }
        case RES_NOT:
            return !matches(*restriction.res.resNot.lpRes);
        case RES_COMMENT:
            return restriction.res.resComment.lpRes == nullptr || matches(*restriction.res.resComment.lpRes);
        case RES_CONTENT:
            return MatchesContent(source, restriction.res.resContent);
        case RES_PROPERTY:
            return MatchesProperty(source, restriction.res.resProperty);
        case RES_BITMASK:
            return MatchesBitMask(source, restriction.res.resBitMask);
        case RES_SIZE:
            return MatchesSize(source, restriction.res.resSize);
        default: {
            CScratch scratch;
            TView view;
            return source.Get(PROP_ID(restriction.res.resExist.ulPropTag), view, scratch) &&
                   view.type != PT_ERROR;
        }
    }
}

}  // namespace mailbox
