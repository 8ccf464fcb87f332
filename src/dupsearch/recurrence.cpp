#include "dupsearch/recurrence.h"

#include "base/mapi_extra.h"
#include "compare/calendar.h"
#include "compare/named_values.h"
#include "log/CLog.h"
#include "log/local_time.h"
#include "store/properties.h"

namespace dupsearch {

using base::EName;
using compare::CNames;
using enum base::EName;
using logging::g_Log;
using store::MapiBuffer;

namespace {

constexpr char kTag[] = "CDuplicateSearch.CalcODProps_RecurApntIndex_";

enum class ERead { Found, NotFound, Failed };
struct TNamedRead {
    ERead outcome = ERead::Failed;
    MapiBuffer<SPropValue> value;
};

/// Reads a named appointment property; failures of the platform are logged here.
TNamedRead ReadNamed(IMessage* item, EName name, CNames& names) {
    TNamedRead read;
    ULONG tag = 0;
    HRESULT hr = compare::LookUpNames(item, {&name, 1}, &tag, &names);
    if (hr != S_OK) {
        g_Log.Error(kTag, "Quorvel_GetIDsFromNames return 0x%x\n", static_cast<unsigned>(hr));
        return read;
    }
    if (tag == 0) {
        read.outcome = ERead::NotFound;
        return read;
    }
    hr = store::GetPropValue(item, tag, store::Out(read.value));
    if (!store::IsReadSuccess(hr) || !read.value) {
        g_Log.Error(kTag, "Quorvel_GetPropValue return 0x%x\n", static_cast<unsigned>(hr));
        return read;
    }
    const bool missing =
        PROP_TYPE(read.value->ulPropTag) == PT_ERROR && read.value->Value.err == MAPI_E_NOT_FOUND;
    read.outcome = missing ? ERead::NotFound : ERead::Found;
    return read;
}

/// A start that could not be read counts as one with a time of day.
bool StartHasTimeOfDay(IMessage* item, CNames& names) {
    const TNamedRead read = ReadNamed(item, nameApntStart, names);
    if (read.outcome == ERead::NotFound) g_Log.Warning(kTag, "Prop Start is not exists\n");
    if (read.outcome != ERead::Found) return true;
    const SPropValue* const lpvalStart = read.value.get();
    switch (PROP_TYPE(lpvalStart->ulPropTag)) {
        case PT_SYSTIME:
            break;
        case PT_ERROR:
            g_Log.Error(kTag, "lpvalStart->Value.err = 0x%x\n", static_cast<unsigned>(lpvalStart->Value.err));
            return true;
        default:
            g_Log.Error(kTag, "PROP_TYPE( lpvalStart->ulPropTag ) = 0x%x\n",
                        static_cast<unsigned>(PROP_TYPE(lpvalStart->ulPropTag)));
            return true;
    }
    FILETIME local;
    if (!logging::FileTimeToLocalFileTimeFIX(&lpvalStart->Value.ft, &local)) {
        g_Log.Error(kTag, "FileTimeToLocalFileTimeFIX failed, last error = 0x%x\n",
                    static_cast<unsigned>(GetLastError()));
        return true;
    }
    SYSTEMTIME fields;
    if (!FileTimeToSystemTime(&local, &fields)) {
        g_Log.Error(kTag, "FileTimeToSystemTime failed, last error = 0x%x\n",
                    static_cast<unsigned>(GetLastError()));
        return true;
    }
    return fields.wHour != 0 || fields.wMinute != 0 || fields.wSecond != 0;
}

}  // namespace

short CalcRecurIndex(IMessage* item, CNames& names) {
    const TNamedRead read = ReadNamed(item, nameApntRecurring, names);
    if (read.outcome == ERead::NotFound) return 0;
    if (read.outcome == ERead::Failed) return 1;
    const SPropValue* const valIsRecurring = read.value.get();
    switch (PROP_TYPE(valIsRecurring->ulPropTag)) {
        case PT_BOOLEAN:
            break;
        case PT_ERROR:
            g_Log.Error(kTag, "valIsRecurring->Value.err = 0x%x\n",
                        static_cast<unsigned>(valIsRecurring->Value.err));
            return 1;
        default:
            g_Log.Error(kTag, "PROP_TYPE( lpvalIsRecurring->ulPropTag ) = 0x%x\n",
                        static_cast<unsigned>(PROP_TYPE(valIsRecurring->ulPropTag)));
            return 1;
    }
    if (!valIsRecurring->Value.b) return 0;

    int allDayLike = 0, yearly = 0;
    if (compare::AllDayEventLike(item, &allDayLike, TRUE, &names) != S_OK) return 1;
    if (compare::Appointment_IsBirthdayOrAnniversary(item, true, &yearly, &allDayLike, nullptr, &names) !=
        S_OK)
        yearly = 0;
    if (!allDayLike && !yearly) return 1;
    const bool timeOfDay = StartHasTimeOfDay(item, names);
    if (yearly) return timeOfDay ? 4 : 5;
    return timeOfDay ? 2 : 3;
}

bool IsYearlyAppointment(IMessage* item, CNames& names) {
    int yearly = 0;
    return compare::Appointment_IsBirthdayOrAnniversary(item, true, &yearly, nullptr, nullptr, &names) ==
               S_OK &&
           yearly != 0;
}

}  // namespace dupsearch
