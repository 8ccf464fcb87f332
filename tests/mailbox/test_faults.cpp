// The control that tests have over calls: records, faults of each kind, and the count of what is alive.

#include "mailbox/calls.h"
#include "tests/mailbox/values.h"
#include "tests/support/MailboxFixture.h"

using store::ComPtr;

namespace {

namespace calls = mailbox::calls;

class Faults : public MailboxTest {};

TEST_F(Faults, AliveCountsObjectsAndBuffers) {
    const mailbox::TAlive before = mailbox::WhatIsAlive();
    void* root = nullptr;
    void* more = nullptr;
    ASSERT_EQ(store::mapi::AllocateBuffer(8, &root), S_OK);
    ASSERT_EQ(MAPIAllocateMore(1000, root, &more), S_OK);
    {
        const ComPtr<IMessage> message = Open(Inbox().Item());
        EXPECT_EQ(mailbox::WhatIsAlive().objects, before.objects + 2) << "the session and the message";
        EXPECT_EQ(mailbox::WhatIsAlive().buffers, before.buffers + 1)
            << "blocks that hang onto another are part of it";
        EXPECT_EQ(mailbox::DescribeAlive(), "IMAPISession x 1, IMessage x 1, buffer x 1");
    }
    EXPECT_EQ(store::mapi::FreeBuffer(root), 0u);
    EXPECT_EQ(mailbox::WhatIsAlive().buffers, before.buffers);
    EXPECT_EQ(store::mapi::FreeBuffer(nullptr), 0u);
}

TEST_F(Faults, LogonNeedsInitialization) {
    ComPtr<IMAPISession> session;
    EXPECT_EQ(store::mapi::LogonEx(0, nullptr, nullptr, MAPI_EXTENDED, session.GetAddressOf()),
              MAPI_E_NOT_INITIALIZED);
    EXPECT_EQ(session, nullptr);
}

}  // namespace
