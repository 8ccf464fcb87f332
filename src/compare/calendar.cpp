// What kind of appointment an item is.

#include "compare/calendar.h"

#include "base/mapi_extra.h"
#include "compare/calendar_subject.h"
#include "compare/named_values.h"
#include "log/CPlatformCalls.h"
#include "store/properties.h"

namespace compare {

using base::EName;
using enum base::EName;
using logging::CPlatformCalls;
using logging::g_Log;
using store::MapiBuffer;

namespace {

constexpr LONG kMinutesPerDay = 1440;

enum EField : size_t { fieldDuration, fieldStart, fieldEnd, fieldAllDay, fieldCount };
// The flag is last: it is read only when somebody asks for it.
constexpr EName kFieldNames[fieldCount] = {nameApntDuration, nameApntStart, nameApntEnd, nameApntAllDay};

/// Whether the two times lie on different days at the same second of the day.
bool SpanWholeDays(const FILETIME& start, const FILETIME& end, const char* tag) {
    SYSTEMTIME st1, st2;
    if (!FileTimeToSystemTime(&start, &st1) || !FileTimeToSystemTime(&end, &st2)) {
        g_Log.Error(tag, "FileTimeToSystemTime failed, LastError = 0x%x\n",
                    static_cast<unsigned>(GetLastError()));
        return false;
    }
    const bool sameDate = st1.wYear == st2.wYear && st1.wMonth == st2.wMonth && st1.wDay == st2.wDay;
    const bool sameTime = st1.wHour == st2.wHour && st1.wMinute == st2.wMinute && st1.wSecond == st2.wSecond;
    return !sameDate && sameTime;
}

HRESULT NotFoundIsNone(HRESULT hr) {
    return hr == MAPI_E_NOT_FOUND ? S_OK : hr;
}

/// A text of either width without characters.
bool IsEmptyText(const SPropValue& value) {
    switch (PROP_TYPE(value.ulPropTag)) {
        case PT_UNICODE:
            return *base::OrEmpty(value.Value.lpszW) == 0;
        case PT_STRING8:
            return *base::OrEmpty(value.Value.lpszA) == 0;
        default:
            return false;
    }
}

/// PR_SUBJECT of an item; *subject stays null when it has none. A failure is logged.
HRESULT ReadSubject(IMessage* item, bool wide, CPlatformCalls& calls, MapiBuffer<SPropValue>* subject) {
    HRESULT hr = store::GetPropValue(item, wide ? PR_SUBJECT_W : PR_SUBJECT_A, store::Out(*subject));
    if (hr == MAPI_W_ERRORS_RETURNED) hr = S_OK;
    if (hr == S_OK && *subject && PROP_TYPE((*subject)->ulPropTag) == PT_ERROR) hr = (*subject)->Value.err;
    if (hr == MAPI_E_NOT_FOUND) subject->reset();
    calls(NotFoundIsNone(hr), "Quorvel_GetPropValue return 0x%x\n");
    return calls.result;
}

}  // namespace

HRESULT AllDayEventLike(IMessage* item, int* allDayLike, int askAllDayFlag, CNames* names) {
    return AllDayEventLikeEx(item, allDayLike, askAllDayFlag, nullptr, names);
}

HRESULT AllDayEventLikeEx(IMessage* item, int* allDayLike, int askAllDayFlag, int* allDayFlag,
                          CNames* names) {
    constexpr char lookupFailed[] = "Quorvel_GetIDsFromNames return 0x%x\n";
    constexpr char readFailed[] = "Quorvel_GetPropValue return 0x%x\n";
    CPlatformCalls calls("Appointment_AllDayEventLikeEx");
    *allDayLike = 0;
    if (allDayFlag) *allDayFlag = 0;

    // All that a step may need is read in one request; what a step does not reach may be unreadable.
    const bool readFlag = askAllDayFlag || allDayFlag;
    const CNamedValues fields(item, {kFieldNames, readFlag ? fieldCount : fieldAllDay}, names);
    if (!calls(NotFoundIsNone(fields.Lookup()), lookupFailed)) return calls.result;
    if (!calls(NotFoundIsNone(fields.Read()), readFailed)) return calls.result;

    if (readFlag) {
        if (!calls(fields.Error(fieldAllDay), readFailed)) return calls.result;
        const SPropValue* flag = fields.Find(fieldAllDay);
        const bool allDay = flag && flag->Value.b;
        if (allDayFlag) *allDayFlag = allDay;
        if (allDay && askAllDayFlag) {
            *allDayLike = 1;
            return S_OK;
        }
    }

    if (!calls(fields.Error(fieldDuration), readFailed)) return calls.result;
    if (const SPropValue* duration = fields.Find(fieldDuration)) {
        *allDayLike = duration->Value.l != 0 && duration->Value.l % kMinutesPerDay == 0;
        return S_OK;
    }

    if (!calls(fields.Error(fieldStart), readFailed) || !calls(fields.Error(fieldEnd), readFailed)) {
        return calls.result;
    }
    const SPropValue *start = fields.Find(fieldStart), *end = fields.Find(fieldEnd);
    if (start && end) *allDayLike = SpanWholeDays(start->Value.ft, end->Value.ft, calls.tag);
    return S_OK;
}

HRESULT Appointment_IsBirthdayOrAnniversary(IMessage* item, bool wide, int* result, const int* allDayLike,
                                            const SPropValue* subject, CNames* names) {
    CPlatformCalls calls("Appointment_IsBirthdayOrAnniversary");
    *result = 0;
    int like = 0;
    if (allDayLike) {
        like = *allDayLike;
    } else if (const HRESULT hr = AllDayEventLike(item, &like, 1, names); hr != S_OK) {
        return hr;
    }
    if (!like) return S_OK;

    MapiBuffer<SPropValue> own;
    if (!subject || PROP_TYPE(subject->ulPropTag) == PT_ERROR) {
        if (const HRESULT hr = ReadSubject(item, wide, calls, &own); hr != S_OK) return hr;
        subject = own.get();
    }
    if (!subject || IsEmptyText(*subject)) return S_OK;

    const bool isString = PROP_TYPE(subject->ulPropTag) == (wide ? PT_UNICODE : PT_STRING8);
    g_Log.Assert(isString, calls.tag, 0, "PROP_TYPE(Subject) == STRING");
    if (!isString) return -1;
    // A test alone writes nothing, and takes an empty or null subject.
    *result = wide ? NormalizeBirthdayOrAnnvrsrySubjectW(subject->Value.lpszW, 1)
                   : NormalizeBirthdayOrAnnvrsrySubject(subject->Value.lpszA, 1);
    return S_OK;
}

}  // namespace compare
