// Whether a contact is a company rather than a person.

#include "compare/derived_value.h"
#include "compare/propex.h"
#include "compare/value_compare.h"
#include "log/PlatformCalls.h"
#include "store/properties.h"

namespace {

constexpr char kTag[] = "QuorvelProps.ContactItem_CompanyContact";

enum class Text { Failed, Empty, Filled };

/// Reads one name and judges it. On Failed, which is logged, *error says why: the read's result, or, for a value
/// that cannot be judged, unjudged.
Text ReadName(IMessage* item, ULONG tag, HRESULT* error, HRESULT unjudged) {
    MapiBuffer<SPropValue> name;
    const HRESULT hr = store::GetPropValue(item, tag, Out(name));
    if (!store::IsReadSuccess(hr)) {
        g_Log.Error(kTag, "GetPropValue failed, error = 0x%x\n", static_cast<unsigned>(hr));
        *error = hr;
        return Text::Failed;
    }
    int empty = 0;
    if (!compare::IsEmptyValue(name.get(), &empty, nullptr)) {
        g_Log.Error(kTag, "Quorvel_IsEmptyValue failed");
        *error = unjudged;
        return Text::Failed;
    }
    return empty ? Text::Empty : Text::Filled;
}

enum class Verdict { Failed, Unknown, Person, Company };

/// A failed given name does not decide: what the later names say still counts.
Verdict Judge(IMessage* item, HRESULT* error) {
    const Text given = ReadName(item, PR_GIVEN_NAME_W, error, -1);
    if (given == Text::Filled) return Verdict::Person;
    const Text surname = ReadName(item, PR_SURNAME_W, error, -1);
    if (surname == Text::Filled) return Verdict::Person;
    if (given == Text::Failed && surname == Text::Failed) return Verdict::Failed;
    // A company that cannot be judged leaves what an earlier name failed with.
    switch (ReadName(item, PR_COMPANY_NAME_W, error, *error)) {
        case Text::Filled:
            return Verdict::Company;
        case Text::Empty:
            return Verdict::Unknown;
        default:
            return Verdict::Failed;
    }
}

}  // namespace

HRESULT ContactItem_CompanyContact(IMessage* item, SPropValue** value) {
    *value = nullptr;
    HRESULT error = -1;
    const Verdict verdict = Judge(item, &error);
    if (verdict == Verdict::Failed) return error;

    PlatformCalls calls(kTag);
    MapiBuffer<SPropValue> result;
    if (!calls(AllocateValue(sizeof(SPropValue), &result), "MAPIAllocateBuffer failed, error = 0x%x\n")) {
        return calls.result;
    }
    if (verdict == Verdict::Unknown) {
        SetNotFound(*result, kIdCompanyContact);
    } else {
        result->ulPropTag = PROP_TAG(PT_BOOLEAN, kIdCompanyContact);
        result->Value.b = verdict == Verdict::Company;
    }
    *value = result.release();
    return S_OK;
}
