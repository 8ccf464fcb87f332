// Every store-access export with each of its calls failing in turn: the result, the outputs, the log lines word for
// word. The lists are also the calls in their order: what an export asks for in an undisturbed run is exactly that.

#include <algorithm>
#include <sstream>

#include "tests/support/CapturedLog.h"
#include "tests/sweep/SweepTest.h"
#include "tests/sweep/store_scenarios.h"

namespace {

/// An export and what an undisturbed run gives; then, call by call, what its failure brings about: result and outputs,
/// and behind each bar a line, with its routine where that is not the export. E is the failure, {item} and the like
/// stand for identifiers, dots for more such calls.
const char kExpected[] = R"(
Quorvel_Logon: 0x0 given
  MAPIInitialize: 0x0 given
  MAPILogonEx: E null | ::MAPILogonEx return E
  IMAPISession::Logoff: E given | [Quorvel_Logoff] lpSession->Logoff return E
  MAPIUninitialize: 0x0 given
Quorvel_OpenStore: 0x0 given
  MAPIAllocateBuffer: E kept | MAPIAllocateBuffer returned E
  IMAPISession::OpenMsgStore: E kept | lpSession->OpenMsgStore return E, StoreID="{store}"
Quorvel_OpenStoreFolder: 0x0 given
  MAPIAllocateBuffer: E kept | MAPIAllocateBuffer returned E
  IMsgStore::OpenEntry: E kept | lpStore->OpenEntry return E, FolderID="{folder}"
Quorvel_OpenStoreItem: 0x0 given
  MAPIAllocateBuffer: E kept | MAPIAllocateBuffer returned E
  IMsgStore::OpenEntry: E kept | lpStore->OpenEntry return E, EntryID="{item}"
Quorvel_OpenFolderItem: 0x0 given
  MAPIAllocateBuffer: E kept | MAPIAllocateBuffer returned E
  IMAPIFolder::OpenEntry: E kept | lpFolder->OpenEntry return E, EntryID="{item}"
Quorvel_OpenItem: 0x0 given
  MAPIAllocateBuffer: E kept | MAPIAllocateBuffer returned E
  IMAPISession::OpenMsgStore: E kept | lpSession->OpenMsgStore return E, Store="{store}"
  MAPIAllocateBuffer: E kept | MAPIAllocateBuffer returned E
  IMsgStore::OpenEntry: E kept | lpStore->OpenEntry return E, EntryID="{item}"
Quorvel_GetIMessageNet: 0x0 given
  IUnknown::QueryInterface: E null | lpUnknown->QueryInterface return E
Quorvel_EntryID2Str: 0x0
  IMAPIProp::GetProps: 0x80004005 | lpItem->GetProp(PR_ENTRYID) returned E
  MAPIAllocateBuffer: 0x80004005 | MAPIAllocateBuffer returned E
Quorvel_GetServiceProps: 0x0 given given given given
  IMAPISession::AdminServices: E null null null null | AdminServices -  E (no end)
  IMsgServiceAdmin::GetMsgServiceTable: E null null null null | GetMsgServiceTable -  E (no end)
  MAPIAllocateBuffer: E null null null null | MAPIAllocateBuffer returned E
  IMAPITable::SetColumns: E null null null null | SetColumns -  E (no end)
  IMAPITable::FindRow: E null null null null | FindRow -  E (no end)
  IMAPITable::QueryRows: E null null null null | QueryRows -  E (no end)
  MAPIAllocateBuffer: E null null null null | MAPIAllocateBuffer returned E ...
Quorvel_GetStoreType: 0x0 type=0
  IMAPISession::GetMsgStoresTable: E type=77 | GetMsgStoresTable - E
  MAPIAllocateBuffer: E type=77 | MAPIAllocateBuffer returned E
  IMAPITable::SetColumns: E type=77 | SetColumns - E
  IMAPITable::FindRow: E type=77 | FindRow(PR_ENTRYID) - E
  IMAPITable::QueryRows: E type=77 | QueryRows - E
  MAPIAllocateBuffer: E type=77 | MAPIAllocateBuffer returned E
  IMAPISession::AdminServices: E type=77 | [Quorvel_GetServiceProps] AdminServices -  E (no end)
  IMsgServiceAdmin::GetMsgServiceTable: E type=77 | [Quorvel_GetServiceProps] GetMsgServiceTable -  E (no end)
  MAPIAllocateBuffer: E type=77 | [Quorvel_GetServiceProps] MAPIAllocateBuffer returned E
  IMAPITable::SetColumns: E type=77 | [Quorvel_GetServiceProps] SetColumns -  E (no end)
  IMAPITable::FindRow: E type=77 | [Quorvel_GetServiceProps] FindRow -  E (no end)
  IMAPITable::QueryRows: E type=77 | [Quorvel_GetServiceProps] QueryRows -  E (no end)
  MAPIAllocateBuffer: E type=77 | [Quorvel_GetServiceProps] MAPIAllocateBuffer returned E ...
Quorvel_GetPropValue: 0x0 given
  IMAPIProp::GetProps: E null
Quorvel_GetPropValues: 0x0 given count=2
  IMAPIProp::GetProps: E null count=0
Quorvel_GetPropValuesInOneMValue: 0x0 given
  IMAPIProp::GetProps: E null | lpItem->GetProps returned E
  MAPIAllocateBuffer: E null | MAPIAllocateBuffer returned E
Quorvel_GetStreamPropValue: 0x0 given count=8
  IMAPIProp::OpenProperty: E null count=0 | lpMapiProp->OpenProperty returned E
  IStream::Stat: E null count=0 | pStream->Stat returned E
  MAPIAllocateBuffer: E null count=0 | MAPIAllocateBuffer returned E
  IStream::Read: E null count=0 | pStream1->Read returned E
Quorvel_StreamPropSize: 0x0 size=8
  IMAPIProp::OpenProperty: E size=0 | lpMapiProp->OpenProperty returned E
  IStream::Stat: E size=0 | pStream->Stat returned E
Quorvel_StreamPropEmpty: 0x0 empty=0 size=8
  IMAPIProp::OpenProperty: E empty=1 size=0 | lpMessage->OpenProperty returned E, EntryID = {item}
  IStream::Stat: E empty=1 size=0 | pStream->Stat returned E
  IStream::Read: E empty=1 size=0 | pStream->Read returned E
Quorvel_GetSubjectSize: 0x0 size=14
  IMAPIProp::GetProps: E size=0
Quorvel_GetSubjectBodyAttachmentsSize: 0x0 size=322
  IMAPIProp::GetProps: 0x0 size=308
  IMAPIProp::OpenProperty: 0x0 size=314 | [Quorvel_StreamPropSize] lpMapiProp->OpenProperty returned E
  IStream::Stat: 0x0 size=314 | [Quorvel_StreamPropSize] pStream->Stat returned E
  IMessage::GetAttachmentTable: 0x0 size=22 | [Quorvel_GetAttachmentsSize] lpItem->GetAttachmentTable return E
  IMAPITable::GetRowCount: 0x0 size=22 | [Quorvel_GetAttachmentsSize] lpTable->GetRowCount return E
  IMAPITable::SetColumns: 0x0 size=22 | [Quorvel_GetAttachmentsSize] lpTable->SetColumns return E
  IMAPITable::QueryRows: 0x0 size=22 | [Quorvel_GetAttachmentsSize] lpTable->QueryRows return E
Quorvel_GetIDFromName: 0x0
  IMAPIProp::GetIDsFromNames: 0x80004005 | lpItem->GetIDsFromNames return E
Quorvel_GetIDsFromNames: 0x0 given
  IMAPIProp::GetIDsFromNames: E null | GetIDsFromNames return E
Quorvel_ResolveTags: 0x0 tag
  MAPIAllocateBuffer: E none | MAPIAllocateBuffer return E
  IMAPIProp::GetIDsFromNames: E none | [Quorvel_GetIDsFromNames] GetIDsFromNames return E
    | Quorvel_GetIDsFromNames return E
    | NamedProp->Tag failed for Prop: Key="Appointment.Location", GUID="{00062002-0000-0000-C000-000000000046}", nID=33288, sID="",nType=0x1f
    | (info) hRes != S_OK
Quorvel_CompareStreamProp: 0x0 compared=1 result=0
  IMAPIProp::OpenProperty: E compared=0 result=99 | lpMessage1->OpenProperty returned E, EntryID = {item}
  IMAPIProp::OpenProperty: E compared=0 result=99 | lpMessage2->OpenProperty returned E, EntryID = {contact}
  IStream::Read: E compared=0 result=99 | pStream1->Read returned E
  IStream::Read: E compared=0 result=99 | pStream2->Read returned E
  IStream::Read: E compared=0 result=99 | pStream1->Read returned E
  IStream::Read: E compared=0 result=99 | pStream2->Read returned E
  IStream::Read: E compared=0 result=99 | pStream1->Read returned E
  IStream::Read: E compared=0 result=99 | pStream2->Read returned E
Quorvel_CountProps: 0x0 filled=2
  IMAPIProp::GetProps: E filled=0 | lpItem->GetProps returned E, EntryID = {item}
Quorvel_CountStreamProps: 0x0 filled=1 size=8
  IMAPIProp::OpenProperty: E filled=0 size=0 | [Quorvel_StreamPropEmpty] lpMessage->OpenProperty returned E, EntryID = {item}
  IStream::Stat: E filled=0 size=0 | [Quorvel_StreamPropEmpty] pStream->Stat returned E
  IStream::Read: E filled=0 size=0 | [Quorvel_StreamPropEmpty] pStream->Read returned E
Appointment_AllDayEventLikeEx: 0x0 like=1 flag=0
  IMAPIProp::GetIDsFromNames: E like=0 flag=0 | Quorvel_GetIDsFromNames return E
  IMAPIProp::GetProps: E like=0 flag=0 | Quorvel_GetPropValue return E
QuorvelProps.ContactItem_Addresses: 0x0 (count=1){"1 Work Street"}
  IMAPIProp::GetIDsFromNames: E null | Critical: GetIDFromName(0) failed, error = E
  IMAPIProp::GetIDsFromNames: E null | Critical: GetIDFromName(1) failed, error = E
  IMAPIProp::GetIDsFromNames: E null | Critical: GetIDFromName(2) failed, error = E
  IMAPIProp::GetProps: E null | [Quorvel_GetPropValuesInOneMValue] lpItem->GetProps returned E
  MAPIAllocateBuffer: E null | [Quorvel_GetPropValuesInOneMValue] MAPIAllocateBuffer returned E
QuorvelProps.ContactItem_Emails: 0x0 (count=1){"ann@x.org"}
  IMAPIProp::GetIDsFromNames: E null | Critical: GetIDFromName(0) failed, error = E
  IMAPIProp::GetIDsFromNames: E null | Critical: GetIDFromName(1) failed, error = E
  IMAPIProp::GetIDsFromNames: E null | Critical: GetIDFromName(2) failed, error = E
  IMAPIProp::GetProps: E null | [Quorvel_GetPropValuesInOneMValue] lpItem->GetProps returned E
  MAPIAllocateBuffer: E null | [Quorvel_GetPropValuesInOneMValue] MAPIAllocateBuffer returned E
QuorvelProps.ContactItem_Phones: 0x40380 (count=1){"123"}
  IMAPIProp::GetProps: E null | [Quorvel_GetPropValuesInOneMValue] lpItem->GetProps returned E
  MAPIAllocateBuffer: E null | [Quorvel_GetPropValuesInOneMValue] MAPIAllocateBuffer returned E
QuorvelProps.ContactItem_CompanyContact: 0x0 false
  IMAPIProp::GetProps: 0x0 false | GetPropValue failed, error = E
  IMAPIProp::GetProps: 0x0 MAPI_E_NOT_FOUND | GetPropValue failed, error = E
  MAPIAllocateBuffer: E null | MAPIAllocateBuffer failed, error = E
MailItem_Senders: 0x40380 (count=1){"Ann"}
  IMAPIProp::GetProps: E null | [Quorvel_GetPropValuesInOneMValue] lpItem->GetProps returned E
  MAPIAllocateBuffer: E null | [Quorvel_GetPropValuesInOneMValue] MAPIAllocateBuffer returned E
MailItem_Recipients: 0x0 (count=1) { {"Bob","bob@x.org",1} }
  IMessage::GetRecipientTable: E null | lpItem->GetRecipientTable return E
  IMAPITable::SetColumns: E null | lpTable->SetColumns return E
  IMAPITable::GetRowCount: E null | lpTable->GetRowCount return E
  IMAPITable::QueryRows: E null | lpTable->QueryRows return E
  MAPIAllocateBuffer: E null | MAPIAllocateBuffer return E
Quorvel_GetAttachments: 0x0 given count=3
  IMAPIProp::GetProps: 0x0 null count=0
  IMessage::GetAttachmentTable: E null count=0 | pMessage->GetAttachmentTable return E
  IMAPITable::SetColumns: E null count=0 | pTable->SetColumns return E
  IMAPITable::GetRowCount: E null count=0 | pTable->GetRowCount return E
  IMAPITable::QueryRows: E null count=0 | pTable->QueryRows return E
  MAPIAllocateBuffer: E null count=0 | MAPIAllocateBuffer returned E
Quorvel_OpenAttachment: 0x0 given
  IMessage::OpenAttach: E kept | pMsg->OpenAttach return E
Quorvel_CopyAttachment: 0x0 number=3
  IMessage::OpenAttach: E number=77 | [Quorvel_CopyAttachment_] OpenAttach return E
  IMessage::CreateAttach: E number=77 | [Quorvel_CopyAttachment_] CreateAttach return E
  IMAPIProp::CopyTo: E number=77 | [Quorvel_CopyAttachment_] CopyTo return E
  IMAPIProp::GetProps: 0x0 number=3 | [Attach_IsContactPhoto_get] GetPropValue return E
  IMAPIProp::SetProps: 0x0 number=3 | [Attach_IsContactPhoto_set] SetProps return E
  IMAPIProp::GetProps: 0x0 number=3 | [Attach_Hidden_get] GetPropValue return E
  IMAPIProp::SetProps: 0x0 number=3 | [Attach_RenderingPosition_set] SetProps return E
  IMAPIProp::SaveChanges: 0x0 number=3 ...
Quorvel_DeleteAttachment: 0x0
  IMessage::DeleteAttach: E | cant delete attach, hr=E
  IMAPIProp::SaveChanges: 0x0
Quorvel_GetAttachmentRealSize: 0x0 something
  IMAPIProp::GetProps: E nothing | IMapiProp::GetProp return E
  IMAPIProp::OpenProperty: E nothing | ATTACH_BY_VALUE: OpenProperty(PR_ATTACH_DATA_BIN,IStream) returned E
  IStream::Stat: E nothing | ATTACH_BY_VALUE: pStream->Stat returned E
Quorvel_GetAttachmentRealSize: 0x0 something
  IMAPIProp::GetProps: E nothing | IMapiProp::GetProp return E
  IMAPIProp::OpenProperty: E nothing | ATTACH_EMBEDDED_MSG: OpenProperty(PR_ATTACH_DATA_OBJ,IMessage) returned E
  IMAPIProp::GetProps: E nothing | ATTACH_EMBEDDED_MSG: GetProp(PR_MESSAGE_SIZE) return E
Quorvel_GetAttachmentRealSize: 0x0 something
  IMAPIProp::GetProps: E nothing | IMapiProp::GetProp return E
  IMAPIProp::OpenProperty: 0x0 something
  IMAPIProp::OpenProperty: 0x8004010f nothing | ATTACH_BY_VALUE: OpenProperty retuned 0x8004010f, E, 0x8004010f
  IStream::Stat: E nothing | ATTACH_BY_VALUE: pStream->Stat returned E, i = 1
Quorvel_ClearHasPhotoFlag: 0x0
  IMAPIProp::GetIDsFromNames: E | [ContactItem_HasPhoto_tag] GetIDsFromNames return E
  IMAPIProp::SetProps: E | [ContactItem_HasPhoto_set] SetProps return E
  IMAPIProp::SaveChanges: 0x0
Quorvel_FindItem: 0x0 {item}
  IMAPIFolder::GetContentsTable: E before | lpDstFolder->GetContentsTable return E
  IMAPITable::SetColumns: E before | lpTable->SetColumns return E
  IMAPITable::Restrict: E before | lpTable->Restrict return E
  IMAPITable::GetRowCount: E before | lpTable->GetRowCount return E
  IMAPITable::QueryRows: E before | lpTable->QueryRows return E
Quorvel_ItemMove: 0x0 moved
  MAPIAllocateBuffer: E stays | [Quorvel_OpenStore] MAPIAllocateBuffer returned E
  IMAPISession::OpenMsgStore: E stays | [Quorvel_OpenStore] lpSession->OpenMsgStore return E, StoreID="{store}"
  MAPIAllocateBuffer: E stays | [Quorvel_OpenStoreFolder] MAPIAllocateBuffer returned E
  IMsgStore::OpenEntry: E stays | [Quorvel_OpenStoreFolder] lpStore->OpenEntry return E, FolderID="{folder}"
  MAPIAllocateBuffer: E stays | [Quorvel_OpenStore] MAPIAllocateBuffer returned E
  IMAPISession::OpenMsgStore: E stays | [Quorvel_OpenStore] lpSession->OpenMsgStore return E, StoreID="{otherStore}"
  MAPIAllocateBuffer: E stays | [Quorvel_OpenStoreFolder] MAPIAllocateBuffer returned E
  IMsgStore::OpenEntry: E stays | [Quorvel_OpenStoreFolder] lpStore->OpenEntry return E, FolderID="{otherFolder}"
  MAPIAllocateBuffer: E stays | [Quorvel_OpenFolderItem] MAPIAllocateBuffer returned E
  IMAPIFolder::OpenEntry: E stays | [Quorvel_OpenFolderItem] lpFolder->OpenEntry return E, EntryID="{item}"
  IMAPIProp::GetProps: 0x0 moved, nobody knows whither
  MAPIAllocateBuffer: E stays | MAPIAllocateBuffer returned E
  IMAPIFolder::CopyMessages: E stays
  IMAPIFolder::GetContentsTable: 0x0 moved, nobody knows whither | [Quorvel_FindItem] lpDstFolder->GetContentsTable return E
    | Quorvel_FindItem return E
  IMAPITable::SetColumns: 0x0 moved, nobody knows whither | [Quorvel_FindItem] lpTable->SetColumns return E
    | Quorvel_FindItem return E
  IMAPITable::Restrict: 0x0 moved, nobody knows whither | [Quorvel_FindItem] lpTable->Restrict return E
    | Quorvel_FindItem return E
  IMAPITable::GetRowCount: 0x0 moved, nobody knows whither | [Quorvel_FindItem] lpTable->GetRowCount return E
    | Quorvel_FindItem return E
  IMAPITable::QueryRows: 0x0 moved, nobody knows whither | [Quorvel_FindItem] lpTable->QueryRows return E
    | Quorvel_FindItem return E
Quorvel_SaveItem: 0x0
  IMAPIProp::SaveChanges: E
Quorvel_SetPhotoAttachment: 0x0 number=3
  IMAPIProp::GetIDsFromNames: 0x0 number=3 | [ContactItem_HasPhoto_tag] GetIDsFromNames return E
  IMAPIProp::GetProps: 0x0 number=3 | [ContactItem_HasPhoto_get] GetPropValue return E
  IMAPIProp::GetProps: 0x0 number=3
  IMessage::GetAttachmentTable: 0x0 number=3 | [Quorvel_GetAttachments] pMessage->GetAttachmentTable return E
  IMAPITable::SetColumns: 0x0 number=3 | [Quorvel_GetAttachments] pTable->SetColumns return E
  IMAPITable::GetRowCount: 0x0 number=3 | [Quorvel_GetAttachments] pTable->GetRowCount return E
  IMAPITable::QueryRows: 0x0 number=3 | [Quorvel_GetAttachments] pTable->QueryRows return E
  MAPIAllocateBuffer: 0x0 number=3 | [Quorvel_GetAttachments] MAPIAllocateBuffer returned E
  IMessage::OpenAttach: E number=77 | [Quorvel_CopyAttachment_] OpenAttach return E
  IMessage::CreateAttach: E number=77 | [Quorvel_CopyAttachment_] CreateAttach return E
  IMAPIProp::CopyTo: E number=77 | [Quorvel_CopyAttachment_] CopyTo return E
  IMAPIProp::GetIDsFromNames: 0x0 number=3 | [ContactItem_HasPhoto_tag] GetIDsFromNames return E
    | [Quorvel_CopyAttachment] ContactItem_HasPhoto_set failed
  IMAPIProp::SetProps: 0x0 number=3 | [ContactItem_HasPhoto_set] SetProps return E
    | [Quorvel_CopyAttachment] ContactItem_HasPhoto_set failed
  IMAPIProp::SetProps: E number=3 | [Attach_IsContactPhoto_set] SetProps return E
    | [Quorvel_CopyAttachment] Attach_IsContactPhoto_set failed
  IMessage::OpenAttach: 0x0 number=3 | [Quorvel_OpenAttachment] pMsg->OpenAttach return E
  IMAPIProp::GetProps: 0x0 number=3 | [Attach_IsContactPhoto_get] GetPropValue return E
  IMessage::DeleteAttach: 0x0 number=3 | [Quorvel_CopyAttachment] cant delete pred photo attach, hr=E
  IMessage::OpenAttach: 0x0 number=3 | [Quorvel_OpenAttachment] pMsg->OpenAttach return E
  IMAPIProp::GetProps: 0x0 number=3 | [Attach_IsContactPhoto_get] GetPropValue return E
  IMessage::OpenAttach: 0x0 number=3 | [Quorvel_CopyAttachment_] OpenAttach return E
    | [Quorvel_CopyAttachment] can clear attach.IsContactPhoto (copyattachment), hr=E
  IMessage::CreateAttach: 0x0 number=3 | [Quorvel_CopyAttachment_] CreateAttach return E
    | [Quorvel_CopyAttachment] can clear attach.IsContactPhoto (copyattachment), hr=E
  IMAPIProp::CopyTo: 0x0 number=3 | [Quorvel_CopyAttachment_] CopyTo return E
    | [Quorvel_CopyAttachment] can clear attach.IsContactPhoto (copyattachment), hr=E
  IMAPIProp::GetProps: 0x0 number=3 | [Attach_IsContactPhoto_get] GetPropValue return E
  IMAPIProp::SetProps: 0x0 number=3 | [Attach_IsContactPhoto_set] SetProps return E
  IMAPIProp::GetProps: 0x0 number=3 | [Attach_Hidden_get] GetPropValue return E
  IMAPIProp::SetProps: 0x0 number=3 | [Attach_RenderingPosition_set] SetProps return E
  IMAPIProp::SaveChanges: 0x0 number=3 | [Quorvel_CopyAttachment] can clear attach.IsContactPhoto (copyattachment), hr=E
  IMessage::DeleteAttach: 0x0 number=3 | [Quorvel_CopyAttachment] can clear attach.IsContactPhoto (deleteattach), hr=E
  IMessage::OpenAttach: 0x0 number=3 | [Quorvel_OpenAttachment] pMsg->OpenAttach return E
  IMAPIProp::GetProps: 0x0 number=3 | [Attach_IsContactPhoto_get] GetPropValue return E
  IMAPIProp::SaveChanges: 0x0 number=3 ...
)";

class Failures : public SweepTest {
  protected:
    static std::string Readable(std::string text, const TScene& scene) {
        const std::pair<std::string, const char*> named[] = {
            {"0x8007000e", "E"},
            {"-2147024882", "E"},
            {scene.itemId, "{item}"},
            {scene.folderId, "{folder}"},
            {scene.storeId, "{store}"},
            {scene.otherFolderId, "{otherFolder}"},
            {scene.otherStoreId, "{otherStore}"},
            {scene.contactId, "{contact}"},
        };
        for (const auto& [plain, shown] : named) {
            for (size_t at; (at = text.find(plain)) != std::string::npos;)
                text.replace(at, plain.size(), shown);
        }
        return text;
    }

    /// What one run gives.
    static std::string Run(const TStoreOperation& operation, TScene& scene) {
        CapturedLog log;
        std::string outputs;
        std::ostringstream text;
        const HRESULT hr = operation.run(scene, outputs);
        text << std::hex << "0x" << static_cast<ULONG>(hr) << outputs;
        const LogLines lines = log.Lines();
        for (const LogLine& line : lines) {
            text << (&line == lines.data() ? " | " : "\n    | ")
                 << (line.severity == sevInfo ? "(info) " : "");
            if (line.tag != operation.name) text << "[" << line.tag << "] ";
            text << (line.text.ends_with('\n') ? line.text.substr(0, line.text.size() - 1)
                                               : line.text + " (no end)");
        }
        return Readable(text.str(), scene);
    }
};

TEST_F(Failures, OfEachCallAreReported) {
    const TestFolder otherFolder = AddStore(L"Archive").Root().Folder(L"Old");
    Session();
    std::istringstream expected(kExpected + 1);
    for (const TStoreOperation& operation : StoreOperations()) {
        std::string found, row;
        std::vector<std::string> calls;
        for (unsigned nth = 0; nth <= calls.size(); ++nth) {
            TScene scene = MakeScene(*this, otherFolder);
            mailbox::calls::Record();
            if (nth) mailbox::calls::FailNth(nth, MAPI_E_NOT_ENOUGH_MEMORY);
            const std::string given = Run(operation, scene);
            // One call gives no result that could say so.
            EXPECT_TRUE(mailbox::calls::Struck() || nth == 0 || calls[nth - 1] == "MAPIUninitialize");
            if (nth == 0) calls = mailbox::calls::Recorded();
            const std::string former = row;
            row = (nth ? "  " + calls[nth - 1] : operation.name) + ": " + given + "\n";
            if (row != former)
                found += row;
            else if (!found.ends_with(" ...\n"))
                found.replace(found.size() - 1, 1, " ...\n");
            mailbox::calls::Reset();
        }
        std::string wanted, line;
        for (auto lines = std::count(found.begin(), found.end(), '\n'); lines > 0; --lines) {
            std::getline(expected, line);
            wanted += line + "\n";
        }
        EXPECT_EQ(found, wanted);
    }
}

}  // namespace
