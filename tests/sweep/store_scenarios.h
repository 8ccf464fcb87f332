#pragma once
// Each store-access export as one call on a scene: the sweep runs them under every fault, test_failures.cpp says
// what each failure brings about.

#include <span>
#include <string>

#include "tests/support/MailboxFixture.h"

class SweepTest;

/// What a run works on, made anew for each.
struct TScene {
    TestItem item;
    std::string itemId, contactId, folderId, storeId, otherFolderId, otherStoreId, serviceUid;
    mailbox::TFolder* inbox;
    store::ComPtr<IMAPISession> session;
    store::ComPtr<IMsgStore> msgStore;
    store::ComPtr<IMAPIFolder> folder;
    /// With a contact photo, an embedded message and an object.
    store::ComPtr<IMessage> message;
    /// With the photo flag, two attachments marked as photos, and an ordinary one.
    store::ComPtr<IMessage> contact;
    /// Those of the message.
    store::ComPtr<IAttach> attachments[3];
};

struct TStoreOperation {
    /// The export, or what the log calls it.
    const char* name;
    /// Appends what stands in the outputs afterwards, each behind a blank.
    HRESULT (*run)(TScene& scene, std::string& outputs);
};

std::span<const TStoreOperation> StoreOperations();
TScene MakeScene(SweepTest& test, const TestFolder& otherFolder);
