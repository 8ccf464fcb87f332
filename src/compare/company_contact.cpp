#include "compare/company_contact.h"

#include "compare/derived_value.h"
#include "compare/value_operations.h"
#include "log/CPlatformCalls.h"
#include "store/properties.h"

namespace compare {

using logging::CPlatformCalls;
using logging::g_Log;
using store::MapiBuffer;

namespace {

constexpr char kTag[] = "QuorvelProps.ContactItem_CompanyContact";

enum class EText { Failed, Empty, Filled };

/// Reads one name and judges it. On Failed, which is logged, *error says why: the read's result, or, for a value
/// that cannot be judged, unjudged.
EText ReadName(IMessage* item, ULONG tag, HRESULT* error, HRESULT unjudged) {
    MapiBuffer<SPropValue> name;
    const HRESULT hr = store::GetPropValue(item, tag, store::Out(name));
    if (!store::IsReadSuccess(hr)) {
        g_Log.Error(kTag, "GetPropValue failed, error = 0x%x\n", static_cast<unsigned>(hr));
        *error = hr;
        return EText::Failed;
    }
    int empty = 0;
    if (!IsEmptyValue(name.get(), &empty, nullptr)) {
        g_Log.Error(kTag, "Quorvel_IsEmptyValue failed");
        *error = unjudged;
        return EText::Failed;
    }
    return empty ? EText::Empty : EText::Filled;
}

enum class EVerdict { Failed, Unknown, Person, Company };

/// A failed given name does not decide: what the later names say still counts.
EVerdict Judge(IMessage* item, HRESULT* error) {
    const EText given = ReadName(item, PR_GIVEN_NAME_W, error, -1);
    if (given == EText::Filled) return EVerdict::Person;
    const EText surname = ReadName(item, PR_SURNAME_W, error, -1);
    if (surname == EText::Filled) return EVerdict::Person;
    if (given == EText::Failed && surname == EText::Failed) return EVerdict::Failed;
    // A company that cannot be judged leaves what an earlier name failed with.
    switch (ReadName(item, PR_COMPANY_NAME_W, error, *error)) {
        case EText::Filled:
            return EVerdict::Company;
        case EText::Empty:
            return EVerdict::Unknown;
        default:
            return EVerdict::Failed;
    }
}

}  // namespace

HRESULT ContactItem_CompanyContact(IMessage* item, SPropValue** value) {
    *value = nullptr;
    HRESULT error = -1;
    const EVerdict verdict = Judge(item, &error);
    if (verdict == EVerdict::Failed) return error;

    CPlatformCalls calls(kTag);
    MapiBuffer<SPropValue> result;
    if (!calls(AllocateValue(sizeof(SPropValue), &result), "MAPIAllocateBuffer failed, error = 0x%x\n")) {
        return calls.result;
    }
    if (verdict == EVerdict::Unknown) {
        SetNotFound(*result, kIdCompanyContact);
    } else {
        result->ulPropTag = PROP_TAG(PT_BOOLEAN, kIdCompanyContact);
        result->Value.b = verdict == EVerdict::Company;
    }
    *value = result.release();
    return S_OK;
}

}  // namespace compare
