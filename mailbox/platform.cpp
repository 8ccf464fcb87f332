#include "mailbox/platform.h"

#include <algorithm>

#include "mailbox/calls.h"

namespace mailbox {

CPlatformLock g_lock;
volatile long g_alive[okCount];
bool g_watched = false;
const TVerdict* g_striking = nullptr;

namespace {

const char* const kKindNames[okCount] = {"IMAPISession", "IMsgServiceAdmin", "IMsgStore",  "IMAPIFolder",
                                         "IMessage",     "IAttach",          "IMAPITable", "IStream",
                                         "IAddrBook",    "IMailUser",        "buffer"};

struct TArmedFault {
    TFault fault;
    unsigned seen = 0;
    unsigned struck = 0;
};

/// What tests asked for. Never destroyed: objects of the test program may still call at exit.
struct TControl {
    bool recording = false;
    std::vector<std::string> record;
    std::vector<TArmedFault> faults;
    unsigned struck = 0;
};
TControl& TheControl() {
    static TControl& control = *new TControl;
    return control;
}

std::wstring& TheLastError() {
    static std::wstring& text = *new std::wstring;
    return text;
}

bool Matches(const TFault& fault, const TCallSite& site) {
    if (!fault.method.empty() && fault.method != site.name) return false;
    if (!fault.entryId.empty() && fault.entryId != site.entryId) return false;
    return fault.tag == 0 ||
           std::find(site.tags, site.tags + site.tagCount, fault.tag) != site.tags + site.tagCount;
}

bool CanFail(const TCallSite& site) {
    return std::string_view(site.name) != "MAPIUninitialize";
}

}  // namespace

TVerdict Observe(const TCallSite& site) {
    TControl& control = TheControl();
    if (control.recording) control.record.emplace_back(site.name);
    TVerdict verdict;
    if (!CanFail(site)) return verdict;
    for (TArmedFault& armed : control.faults) {
        if (!Matches(armed.fault, site)) continue;
        ++armed.seen;
        if (verdict.strike || armed.seen < armed.fault.nth ||
            armed.seen >= armed.fault.nth + armed.fault.times)
            continue;
        ++armed.struck;
        ++control.struck;
        verdict = {true, armed.fault.perform, armed.fault.result, armed.fault.limit, armed.fault.statSize};
    }
    return verdict;
}

TAlive WhatIsAlive() {
    TAlive alive{0, g_alive[okBuffer]};
    for (size_t kind = 0; kind < okBuffer; ++kind) alive.objects += g_alive[kind];
    return alive;
}

std::string DescribeAlive() {
    std::string text;
    for (size_t kind = 0; kind < okCount; ++kind) {
        if (g_alive[kind] == 0) continue;
        text += (text.empty() ? "" : ", ") + std::string(kKindNames[kind]) + " x " +
                std::to_string(g_alive[kind]);
    }
    return text;
}

namespace calls {

void Record() {
    const std::lock_guard<CPlatformLock> guard(g_lock);
    TheControl().record.clear();
    TheControl().recording = true;
    g_watched = true;
}

std::vector<std::string> Recorded() {
    const std::lock_guard<CPlatformLock> guard(g_lock);
    return TheControl().record;
}

unsigned Count() {
    const std::lock_guard<CPlatformLock> guard(g_lock);
    return static_cast<unsigned>(TheControl().record.size());
}

unsigned Count(const std::string& method) {
    const std::lock_guard<CPlatformLock> guard(g_lock);
    return static_cast<unsigned>(std::ranges::count(TheControl().record, method));
}

void Fail(const TFault& fault) {
    const std::lock_guard<CPlatformLock> guard(g_lock);
    TheControl().faults.push_back({fault});
    g_watched = true;
}

void FailNth(unsigned nth, HRESULT result) {
    FailNth({}, nth, result);
}

void FailNth(const std::string& method, unsigned nth, HRESULT result) {
    TFault fault;
    fault.method = method;
    fault.nth = nth;
    fault.result = result;
    Fail(fault);
}

bool IsArmed() {
    const std::lock_guard<CPlatformLock> guard(g_lock);
    return std::ranges::any_of(TheControl().faults,
                               [](const TArmedFault& armed) { return armed.struck < armed.fault.times; });
}

unsigned Struck() {
    const std::lock_guard<CPlatformLock> guard(g_lock);
    return TheControl().struck;
}

void Reset() {
    const std::lock_guard<CPlatformLock> guard(g_lock);
    TheControl() = {};
    g_watched = false;
}

}  // namespace calls

void SetLastError(const std::wstring& reason) {
    TheLastError() = reason;
    if (!reason.empty()) OutputDebugStringW((L"Quorvel Mailbox: " + reason + L"\n").c_str());
}

const wchar_t* LastErrorText() {
    return TheLastError().c_str();
}

std::wstring LastError() {
    const std::lock_guard<CPlatformLock> guard(g_lock);
    return TheLastError();
}

}  // namespace mailbox
