#pragma once
// Sessions, stores, folders and items over entry-identifier texts. The export Quorvel_X is store::X with an
// entry trace in front; failures are logged here, once, under the export's name. Results are the platform's;
// any result but 0 is a failure, and what came back with it is released. Outputs are written on success only,
// unless said otherwise. A null text counts as an empty one.

#include "store/resources.h"

namespace store {

/// Looks for the platform again if it was not found, initialises it and logs on to the default profile. The
/// session is ended with Logoff.
HRESULT Logon(IMAPISession** session, int newSession, int showLogonUi);
/// Ends and releases the session and uninitialises the platform, all three whatever fails; the result is the
/// first's.
HRESULT Logoff(IMAPISession* session);

HRESULT OpenStore(IMAPISession* session, const char* storeId, IMsgStore** out);
HRESULT OpenStoreFolder(IMsgStore* msgStore, const char* folderId, IMAPIFolder** out);
HRESULT OpenStoreItem(IMsgStore* msgStore, const char* entryId, IMessage** out);
HRESULT OpenFolderItem(IMAPIFolder* folder, const char* entryId, IMessage** out);
/// Opens the store with best access, and in it the item with the flags given. Logged as Quorvel_OpenItem.
HRESULT OpenItemEx(IMAPISession* session, const char* entryId, const char* storeId, int flags,
                   IMessage** out);
HRESULT OpenItem(IMAPISession* session, const char* entryId, const char* storeId, IMessage** out);

/// The host's object as a message. query 0: the very pointer, no new reference; else a new reference, or null
/// in *out and a failure.
HRESULT GetIMessage(const VARIANT* object, IMessage** out, int query);
HRESULT GetIMessageNet(IUnknown* object, IMessage** out, int query);

/// Entry-identifier text of an item; null on failure. Reads PR_ENTRYID.
MapiBuffer<char> EntryID2Str(IMessage* item);

}  // namespace store
