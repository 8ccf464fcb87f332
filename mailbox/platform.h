#pragma once
// The process-wide side of Quorvel Mailbox: what a logon opens, the lock around every call, what is alive,
// and the control that tests have over calls. All of it costs a load and a branch a call while no test uses
// it.

#include <windows.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace mailbox {

class CDatabase;

/// The next logons use this mailbox, which has no file, in place of the configured file. Null: the file
/// again.
void Install(std::shared_ptr<CDatabase> database);

/// Objects and buffers handed out and not released or freed yet.
struct TAlive {
    long objects;
    long buffers;
};
TAlive WhatIsAlive();
/// "IMessage x 2, buffer x 1", for a message; empty when nothing is alive.
std::string DescribeAlive();

/// A failure put into the calls. Names are interface and method, "IMAPIProp::GetProps",
/// "IMsgStore::OpenEntry", "IStream::Read", "IUnknown::QueryInterface", or the function,
/// "MAPIAllocateBuffer". What cannot fail (AddRef, Release, MAPIFreeBuffer, FreeProws) is no call here;
/// MAPIUninitialize is recorded but never fails.
struct TFault {
    /// Empty: any call.
    std::string method;
    /// Which of the matching calls from now on, from 1.
    unsigned nth = 1;
    HRESULT result = E_FAIL;
    /// How many matching calls from the nth on fail.
    unsigned times = 1;
    /// The call is carried out, outputs included, and then its result is replaced. Otherwise it does nothing,
    /// and its outputs (pointers null, counts 0) are those of a failed call. The result may be S_OK.
    bool perform = false;
    /// Only calls about this property: a tag in the list of GetProps or SetColumns, the tag of OpenProperty.
    /// 0: any.
    ULONG tag = 0;
    /// Only calls on the object with this entry identifier, or opening it. Empty: any.
    std::string entryId;
    /// With perform: the most that the call gives: bytes of IStream::Read, values of GetProps, rows of
    /// QueryRows.
    std::optional<ULONG> limit;
    /// With perform: the size that IStream::Stat reports.
    std::optional<unsigned long long> statSize;
};

/// Recording and failing of calls; off unless asked for.
namespace calls {
/// Starts a fresh record.
void Record();
/// Calls since Record, in order of their entry; calls that the platform makes on itself are not among them.
std::vector<std::string> Recorded();
/// How many of them; of one method.
unsigned Count();
unsigned Count(const std::string& method);
/// One more fault, besides those armed already.
void Fail(const TFault& fault);
/// The nth call from now on, whichever it is, fails.
void FailNth(unsigned nth, HRESULT result = E_FAIL);
void FailNth(const std::string& method, unsigned nth, HRESULT result = E_FAIL);
/// Whether a fault waits still that did not strike as often as it should.
bool IsArmed();
/// How often faults struck since the last Reset.
unsigned Struck();
/// No faults, no record.
void Reset();
}  // namespace calls

/// What the last failed logon, logoff or save says about its reason; empty when there was no failure.
std::wstring LastError();

}  // namespace mailbox
