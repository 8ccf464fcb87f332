// The store-access exports as a host uses them.

#include <span>

#include "base/mapi_extra.h"
#include "store/attachments.h"
#include "store/checked_calls.h"
#include "store/named_properties.h"
#include "tests/sweep/SweepTest.h"

namespace {

constexpr LONG kLocation = 0x8208;

/// What the steps of a scenario work on.
struct TScene {
    TestItem item, contact;
    std::string itemId, folderId, storeId, otherFolderId, otherStoreId, serviceUid;
    ComPtr<IMAPISession> session;
    ComPtr<IMsgStore> msgStore;
    ComPtr<IMAPIFolder> folder;
    ComPtr<IMessage> message, person;
};

using Step = bool (*)(TScene& scene);

/// Runs a call that hands out an object, and releases it.
template <typename Object, typename Call>
bool HandsOut(Call call) {
    ComPtr<Object> object;
    return call(object.ReleaseAndGetAddressOf()) == S_OK;
}

/// The same for a buffer; whatever a read hands out is a success.
template <typename T, typename Call>
bool HandsOutBuffer(Call call) {
    MapiBuffer<T> buffer;
    const HRESULT hr = call(Out(buffer));
    return store::IsReadSuccess(hr) && buffer;
}

const Step kSessionSteps[] = {
    [](TScene&) {
        IMAPISession* session = nullptr;
        const bool opened = Quorvel_Logon(&session, 1, 0) == S_OK;
        return opened && Quorvel_Logoff(session) == S_OK;
    },
    [](TScene& s) {
        return HandsOut<IMsgStore>(
            [&](auto out) { return Quorvel_OpenStore(s.session.Get(), s.storeId.c_str(), out); });
    },
    [](TScene& s) {
        return HandsOut<IMAPIFolder>(
            [&](auto out) { return Quorvel_OpenStoreFolder(s.msgStore.Get(), s.folderId.c_str(), out); });
    },
    [](TScene& s) {
        return HandsOut<IMessage>(
            [&](auto out) { return Quorvel_OpenStoreItem(s.msgStore.Get(), s.itemId.c_str(), out); });
    },
    [](TScene& s) {
        return HandsOut<IMessage>(
            [&](auto out) { return Quorvel_OpenFolderItem(s.folder.Get(), s.itemId.c_str(), out); });
    },
    [](TScene& s) {
        return HandsOut<IMessage>([&](auto out) {
            return Quorvel_OpenItem(s.session.Get(), s.itemId.c_str(), s.storeId.c_str(), out);
        });
    },
    [](TScene& s) {
        return HandsOut<IMessage>([&](auto out) { return Quorvel_GetIMessageNet(s.message.Get(), out, 1); });
    },
    [](TScene& s) { return MapiBuffer<char>(Quorvel_EntryID2Str(s.message.Get())) != nullptr; },
    [](TScene& s) {
        MapiBuffer<char> dll, entry, service, display;
        return Quorvel_GetServiceProps(s.session.Get(), s.serviceUid.c_str(), Out(dll), Out(entry),
                                       Out(service), Out(display)) == S_OK;
    },
    [](TScene& s) {
        int local = 0;
        return Quorvel_IsStoreLocal(s.session.Get(), s.storeId.c_str(), &local) == S_OK;
    },
};

const Step kReadingSteps[] = {
    [](TScene& s) {
        return HandsOutBuffer<SPropValue>(
            [&](auto out) { return Quorvel_GetPropValue(s.message.Get(), PR_SUBJECT_W, out); });
    },
    [](TScene& s) {
        TagList tags(PR_SUBJECT_W, PR_ENTRYID);
        ULONG count = 0;
        return HandsOutBuffer<SPropValue>(
            [&](auto out) { return Quorvel_GetPropValues(s.message.Get(), tags, &count, out); });
    },
    [](TScene& s) {
        TagList tags(PR_SUBJECT_W, PR_SENDER_NAME_W);
        return HandsOutBuffer<SPropValue>(
            [&](auto out) { return Quorvel_GetPropValuesInOneMValue(s.message.Get(), tags, out); });
    },
    [](TScene& s) {
        MapiBuffer<void> buffer;
        ULONG count = 0;
        return Quorvel_GetStreamPropValue(s.message.Get(), PR_BODY_W, Out(buffer), &count, 1) == S_OK;
    },
    [](TScene& s) {
        ULONG size = 0;
        return Quorvel_StreamPropSize(s.message.Get(), PR_BODY_W, &size) == S_OK;
    },
    [](TScene& s) {
        int empty = 0;
        ULONG size = 0;
        return Quorvel_StreamPropEmpty(s.message.Get(), PR_BODY_W, &empty, &size) == S_OK;
    },
    [](TScene& s) {
        ULONG size = 0;
        return Quorvel_GetSubjectSize(s.message.Get(), 1, &size, nullptr, 0) == S_OK;
    },
    [](TScene& s) { return Quorvel_GetSubjectBodyAttachmentsSize(s.message.Get(), 1, nullptr, 0) != 0; },
    [](TScene& s) {
        return Quorvel_GetIDFromName2(s.message.Get(), kSetAppointment, kLocation, PT_UNICODE) != 0;
    },
    [](TScene& s) {
        TComparyProp property{};
        property.lpszGuid = kSetAppointment;
        property.nID = kLocation;
        property.nType = PT_UNICODE;
        TComparyProps list{1, &property};
        return Quorvel_ResolveTags(s.message.Get(), &list) == S_OK;
    },
    [](TScene& s) {
        long result = 0;
        bool compared = false;
        return Quorvel_CompareStreamProp(s.message.Get(), s.message.Get(), PR_BODY_W, &result, &compared) ==
               S_OK;
    },
    [](TScene& s) {
        TagList tags(PR_SUBJECT_W, PR_SENDER_NAME_W);
        long filled = 0;
        return store::IsReadSuccess(Quorvel_CountProps(s.message.Get(), tags, &filled, nullptr));
    },
    [](TScene& s) {
        TagList tags(PR_BODY_W);
        ULONG sizes[1] = {};
        long filled = 0;
        return Quorvel_CountStreamProps(s.message.Get(), tags, &filled, sizes) == S_OK;
    },
    [](TScene& s) {
        int like = 0, flag = 0;
        return Appointment_AllDayEventLikeEx(s.message.Get(), &like, 1, &flag) == S_OK;
    },
};

const Step kAttachmentSteps[] = {
    [](TScene& s) {
        MapiBuffer<long> numbers;
        ULONG count = 0;
        return Quorvel_GetAttachments(s.message.Get(), Out(numbers), &count) == S_OK;
    },
    [](TScene& s) {
        ULONG total = 0;
        return Quorvel_GetAttachmentsSize(s.message.Get(), &total) == S_OK;
    },
    [](TScene& s) {
        bool all = true;
        for (const long number : {0L, 1L, 2L}) {
            ComPtr<IAttach> attachment;
            ULONG size = 0;
            all = all && Quorvel_OpenAttachment(s.message.Get(), number, &attachment) == S_OK &&
                  store::GetAttachmentRealSize(attachment.Get(), &size) == S_OK;
        }
        return all;
    },
    [](TScene& s) {
        ULONG number = 0;
        return Quorvel_CopyAttachment(s.person.Get(), &number, s.message.Get(), 0, 1) == S_OK;
    },
    [](TScene& s) { return Quorvel_DeleteAttachment(s.message.Get(), 1, 1) == S_OK; },
    [](TScene& s) {
        ULONG number = 0;
        return Quorvel_SetPhotoAttachment(s.person.Get(), &number, s.message.Get(), 0, 1) == S_OK;
    },
    [](TScene& s) { return Quorvel_ClearHasPhotoFlag(s.person.Get(), 1) == S_OK; },
};

const Step kMovingSteps[] = {
    [](TScene& s) { return Quorvel_SaveItem(s.message.Get(), KEEP_OPEN_READWRITE) == S_OK; },
    [](TScene& s) {
        std::string key = s.item.IdBytes() + "search key";
        SPropValue value{};
        value.ulPropTag = PR_SEARCH_KEY;
        value.Value.bin = {static_cast<ULONG>(key.size()), reinterpret_cast<BYTE*>(key.data())};
        char text[1024] = "";
        return Quorvel_FindItem(s.folder.Get(), &value, text) == S_OK;
    },
    [](TScene& s) {
        char text[1024] = "";
        return Quorvel_ItemMove(s.session.Get(), s.itemId.c_str(), s.folderId.c_str(), s.storeId.c_str(),
                                s.otherFolderId.c_str(), s.otherStoreId.c_str(), text) == S_OK;
    },
};

mailbox::Properties Picture() {
    mailbox::Properties picture;
    picture.Long(PR_ATTACH_METHOD, ATTACH_BY_VALUE).Text(PR_DISPLAY_NAME_W, L"photo.jpg");
    return picture.Bool(PR_ATTACHMENT_CONTACTPHOTO, true).Binary(PR_ATTACH_DATA_BIN, "a picture");
}

class StoreScenario : public HostScenario {
  public:
    StoreScenario(TScene scene, std::span<const Step> steps) : m_scene(std::move(scene)), m_steps(steps) {}
    size_t Steps() const override { return m_steps.size(); }
    bool Do(size_t step) override { return m_steps[step](m_scene); }

  private:
    TScene m_scene;
    std::span<const Step> m_steps;
};

TScene MakeScene(SweepTest& test, const TestStore& otherStore) {
    TestItem item = test.Inbox().Item().Subject(L"subject").Body(L"body").Text(PR_SENDER_NAME_W, L"Ann");
    item.Named(kSetAppointment, kLocation, L"Room 1").Named(kSetAppointment, 0x820D, Utc(2024, 3, 4));
    item.Named(kSetAppointment, 0x820E, Utc(2024, 3, 5)).Named(kSetAppointment, 0x8215, false);
    item.Binary(PR_SEARCH_KEY, item.IdBytes() + "search key");
    mailbox::Properties ole;
    ole.Long(PR_ATTACH_METHOD, ATTACH_OLE).Binary(PR_ATTACH_DATA_BIN, "an object");
    item.Attach(Picture()).AttachMessage(L"inner", test.Inbox().Item().Subject(L"inner")).Attach(ole);
    TestItem contact = test.Inbox().Item(L"IPM.Contact").Named(kSetAddress, 0x8015, true);
    contact.Attach(Picture()).Attach(Picture()).Attach(L"notes.txt", "data");
    return {item,
            contact,
            item.Id(),
            test.Inbox().Id(),
            test.Store().Id(),
            otherStore.Root().Id(),
            otherStore.Id(),
            HexText(test.Store().Record().serviceUid),
            test.Session(),
            test.Open(test.Store()),
            test.Open(test.Inbox()),
            test.Open(item),
            test.Open(contact)};
}

}  // namespace

std::vector<TScenario> StoreScenarios(SweepTest& test) {
    const struct {
        const char* name;
        std::span<const Step> steps;
    } families[] = {{"sessions", kSessionSteps},
                    {"readings", kReadingSteps},
                    {"attachments", kAttachmentSteps},
                    {"moving", kMovingSteps}};
    const TestStore otherStore = test.AddStore(L"Archive");
    std::vector<TScenario> scenarios;
    for (const auto& family : families) {
        scenarios.push_back({family.name, [&test, otherStore, steps = family.steps] {
                                 return std::make_unique<StoreScenario>(MakeScene(test, otherStore), steps);
                             }});
    }
    return scenarios;
}
