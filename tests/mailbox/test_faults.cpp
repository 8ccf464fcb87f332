// The control that tests have over calls: records, faults of each kind, and the count of what is alive.

#include "mailbox/Calls.h"
#include "tests/mailbox/values.h"
#include "tests/support/MailboxFixture.h"

namespace {

namespace calls = mailbox::calls;

class Faults : public MailboxTest {};

TEST_F(Faults, RecordNamesTheCallsInOrder) {
    TestItem item = Inbox().Item();
    Session();
    calls::Record();
    const ComPtr<IMessage> message = Open(item);
    Get(message.Get(), {PR_SUBJECT_W});
    void* buffer = nullptr;
    EXPECT_EQ(mapi::AllocateBuffer(10, &buffer), S_OK);
    mapi::FreeBuffer(buffer);
    EXPECT_EQ(calls::Recorded(), (std::vector<std::string>{"IMAPISession::OpenEntry", "IMAPIProp::GetProps",
                                                           "MAPIAllocateBuffer"}));
    EXPECT_EQ(calls::Count("IMAPIProp::GetProps"), 1u);
    const ComPtr<IMessage> target = Open(Inbox().Item());
    calls::Record();
    EXPECT_EQ(message->CopyTo(0, nullptr, nullptr, 0, nullptr, &IID_IMessage, target.Get(), 0, nullptr),
              S_OK);
    EXPECT_EQ(calls::Recorded(), std::vector<std::string>{"IMAPIProp::CopyTo"})
        << "the platform's own calls do not count";
    calls::Record();
    EXPECT_EQ(calls::Count(), 0u);
}

TEST_F(Faults, StrikeTheCallsThatTheyName) {
    TestItem item = Inbox().Item().Subject(L"s");
    TestItem other = Inbox().Item().Subject(L"o");
    const ComPtr<IMessage> message = Open(item);
    const ComPtr<IMessage> second = Open(other);
    // Which of these four calls fails: GetProps(subject), GetProps(class) of the first message; the same of
    // the second.
    const auto run = [&] {
        std::string failed;
        for (IMessage* object : {message.Get(), second.Get()})
            for (const ULONG tag : {PR_SUBJECT_W, PR_MESSAGE_CLASS_W})
                failed += Get(object, {PR_ENTRYID, tag}).result == S_OK ? '.' : 'x';
        return failed;
    };
    const auto fault = [](unsigned nth, unsigned times, const char* method, ULONG tag,
                          const std::string& id) {
        mailbox::Fault made;
        made.nth = nth;
        made.times = times;
        made.method = method;
        made.tag = tag;
        made.entryId = id;
        return made;
    };
    const struct {
        const char* what;
        mailbox::Fault fault;
        const char* failed;
    } cases[] = {{"the second call", fault(2, 1, "", 0, ""), ".x.."},
                 {"two calls from the second on", fault(2, 2, "", 0, ""), ".xx."},
                 {"a method by name", fault(4, 1, "IMAPIProp::GetProps", 0, ""), "...x"},
                 {"a property", fault(2, 1, "", PR_MESSAGE_CLASS_W, ""), "...x"},
                 {"an object", fault(1, 2, "", 0, other.IdBytes()), "..xx"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        calls::Reset();
        calls::Fail(c.fault);
        EXPECT_TRUE(calls::IsArmed());
        EXPECT_EQ(run(), c.failed);
        EXPECT_FALSE(calls::IsArmed());
        EXPECT_EQ(calls::Struck(), c.fault.times);
        EXPECT_EQ(run(), "....") << "a fault is used up";
    }
}

TEST_F(Faults, GiveTheOutputsOfAFailureOrTheOnesOfTheCall) {
    TestItem item = Inbox().Item().Subject(L"subject");
    const ComPtr<IMessage> message = Open(item);
    mailbox::Fault fault;
    fault.method = "IMAPIProp::OpenProperty";
    fault.result = MAPI_W_ERRORS_RETURNED;
    for (const bool perform : {false, true}) {
        fault.perform = perform;
        calls::Fail(fault);
        ComPtr<IUnknown> stream;
        EXPECT_EQ(message->OpenProperty(PR_SUBJECT_W, &IID_IStream, 0, 0, stream.GetAddressOf()),
                  MAPI_W_ERRORS_RETURNED);
        EXPECT_EQ(stream != nullptr, perform);
    }

    const ComPtr<IStream> stream = OpenStream(message.Get(), PR_SUBJECT_A);
    mailbox::Fault shortRead;
    shortRead.method = "IStream::Read";
    shortRead.result = S_OK;
    shortRead.perform = true;
    shortRead.limit = 3;
    calls::Fail(shortRead);
    char bytes[7];
    ULONG read = 0;
    EXPECT_EQ(stream->Read(bytes, sizeof bytes, &read), S_OK);
    EXPECT_EQ(read, 3u);
    mailbox::Fault huge;
    huge.method = "IStream::Stat";
    huge.result = S_OK;
    huge.perform = true;
    huge.statSize = 0xFFFFFFFFu;
    calls::Fail(huge);
    STATSTG stat;
    EXPECT_EQ(stream->Stat(&stat, STATFLAG_NONAME), S_OK);
    EXPECT_EQ(stat.cbSize.QuadPart, 0xFFFFFFFFu);
    mailbox::Fault fewer;
    fewer.method = "IMAPIProp::GetProps";
    fewer.result = S_OK;
    fewer.perform = true;
    fewer.limit = 1;
    calls::Fail(fewer);
    EXPECT_EQ(Get(message.Get(), {PR_SUBJECT_W, PR_ENTRYID}).count, 1u);
}

TEST_F(Faults, SweepReachesEveryCallOnce) {
    TestItem item = Inbox().Item();
    Session();
    std::string runs;
    SweepFaults([&](auto arm) {
        arm();
        ComPtr<IUnknown> object;
        std::string id = item.IdBytes();
        const HRESULT opened =
            Session()->OpenEntry(static_cast<ULONG>(id.size()), reinterpret_cast<ENTRYID*>(id.data()),
                                 &IID_IMessage, 0, nullptr, object.GetAddressOf());
        ComPtr<IMessage> message;
        const HRESULT queried =
            opened == S_OK
                ? object->QueryInterface(IID_IMessage, reinterpret_cast<void**>(message.GetAddressOf()))
                : E_FAIL;
        runs += opened != S_OK ? 'o' : queried != S_OK ? 'q' : '.';
    });
    EXPECT_EQ(runs, "oq.");
}

TEST_F(Faults, AliveCountsObjectsAndBuffers) {
    const mailbox::Alive before = mailbox::WhatIsAlive();
    void* root = nullptr;
    void* more = nullptr;
    ASSERT_EQ(mapi::AllocateBuffer(8, &root), S_OK);
    ASSERT_EQ(MAPIAllocateMore(1000, root, &more), S_OK);
    {
        const ComPtr<IMessage> message = Open(Inbox().Item());
        EXPECT_EQ(mailbox::WhatIsAlive().objects, before.objects + 2) << "the session and the message";
        EXPECT_EQ(mailbox::WhatIsAlive().buffers, before.buffers + 1)
            << "blocks that hang onto another are part of it";
        EXPECT_EQ(mailbox::DescribeAlive(), "IMAPISession x 1, IMessage x 1, buffer x 1");
    }
    EXPECT_EQ(mapi::FreeBuffer(root), 0u);
    EXPECT_EQ(mailbox::WhatIsAlive().buffers, before.buffers);
    EXPECT_EQ(mapi::FreeBuffer(nullptr), 0u);
}

TEST_F(Faults, LogonNeedsInitialization) {
    ComPtr<IMAPISession> session;
    EXPECT_EQ(mapi::LogonEx(0, nullptr, nullptr, MAPI_EXTENDED, session.GetAddressOf()),
              MAPI_E_NOT_INITIALIZED);
    EXPECT_EQ(session, nullptr);
}

}  // namespace
