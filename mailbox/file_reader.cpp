#include "mailbox/file_reader.h"

#include <mapitags.h>

#include <algorithm>
#include <cstring>
#include <unordered_map>

#include "mailbox/CJsonScanner.h"
#include "mailbox/file_index.h"
#include "mailbox/file_text.h"
#include "mailbox/file_values.h"
#include "mailbox/text.h"

namespace mailbox {

namespace {

/// What an object or list of the file is.
enum class EPart {
    File,
    Services,
    Service,
    Stores,
    Store,
    Names,
    Special,
    Folder,
    Folders,
    Items,
    Item,
    Recipients,
    Attachments,
    Attachment,
    Message,
    AddressBook,
    AddressEntry,
    Properties,
    Elements,
    RawValue,
    Value
};

/// The members of the objects: what each leads to. EPart::Value: a plain value.
struct TMember {
    EPart object;
    const char* name;
    EPart leadsTo;
    bool isList = false;
};
const TMember kMembers[] = {
    {EPart::File, "format", EPart::Value},
    {EPart::File, "version", EPart::Value},
    {EPart::File, "services", EPart::Services, true},
    {EPart::File, "stores", EPart::Stores, true},
    {EPart::File, "addressBook", EPart::AddressBook, true},
    {EPart::Service, "uid", EPart::Value},
    {EPart::Service, "dll", EPart::Value},
    {EPart::Service, "entry", EPart::Value},
    {EPart::Service, "name", EPart::Value},
    {EPart::Service, "displayName", EPart::Value},
    {EPart::Store, "id", EPart::Value},
    {EPart::Store, "default", EPart::Value},
    {EPart::Store, "service", EPart::Value},
    {EPart::Store, "properties", EPart::Properties},
    {EPart::Store, "names", EPart::Names, true},
    {EPart::Store, "special", EPart::Special},
    {EPart::Store, "root", EPart::Folder},
    {EPart::Special, "ipmSubtree", EPart::Value},
    {EPart::Special, "inbox", EPart::Value},
    {EPart::Special, "outbox", EPart::Value},
    {EPart::Special, "sentItems", EPart::Value},
    {EPart::Special, "deletedItems", EPart::Value},
    {EPart::Folder, "id", EPart::Value},
    {EPart::Folder, "properties", EPart::Properties},
    {EPart::Folder, "folders", EPart::Folders, true},
    {EPart::Folder, "items", EPart::Items, true},
    {EPart::Item, "id", EPart::Value},
    {EPart::Item, "associated", EPart::Value},
    {EPart::Item, "properties", EPart::Properties},
    {EPart::Item, "recipients", EPart::Recipients, true},
    {EPart::Item, "attachments", EPart::Attachments, true},
    {EPart::Attachment, "properties", EPart::Properties},
    {EPart::Attachment, "message", EPart::Message},
    {EPart::Message, "properties", EPart::Properties},
    {EPart::Message, "recipients", EPart::Recipients, true},
    {EPart::Message, "attachments", EPart::Attachments, true},
    {EPart::AddressEntry, "id", EPart::Value},
    {EPart::AddressEntry, "properties", EPart::Properties},
};
/// What the elements of a list are.
const struct {
    EPart list;
    EPart element;
} kElements[] = {{EPart::Services, EPart::Service},        {EPart::Stores, EPart::Store},
                 {EPart::Folders, EPart::Folder},          {EPart::Items, EPart::Item},
                 {EPart::Recipients, EPart::Properties},   {EPart::Attachments, EPart::Attachment},
                 {EPart::AddressBook, EPart::AddressEntry}};
const struct {
    const char* member;
    ULONG tag;
} kServiceTexts[] = {{"dll", PR_SERVICE_DLL_NAME_W},
                     {"entry", PROP_TAG(PT_UNICODE, PROP_ID(PR_SERVICE_ENTRY_NAME))},
                     {"name", PR_SERVICE_NAME_W},
                     {"displayName", PR_DISPLAY_NAME_W}};

bool IsList(EPart part) {
    return std::ranges::any_of(kElements, [part](const auto& list) { return list.list == part; });
}

constexpr size_t kDeepest = 200;
constexpr size_t kShortestId = 5;
constexpr size_t kLongestId = 255;

/// Takes the tokens of the JSON and builds the records.
class CReader {
  public:
    CReader(CJsonScanner& scanner, CDatabase& database) : m_scanner(scanner), m_database(database) {}

    bool Run();
    const std::wstring& Why() const { return m_why; }

  private:
    struct TFrame {
        EPart part;
        /// The member being read, for objects.
        std::string name{};
        EPart memberIs = EPart::Value;
        bool memberIsList = false;
        /// Elements begun so far, for lists.
        size_t elements = 0;
        /// The raw value came.
        bool isGiven = false;
        /// What is being built.
        TFolder* folder = nullptr;
        TMessageData* message = nullptr;
        TAttachment* attachment = nullptr;
        CProperties* properties = nullptr;
        /// Long values may stay in the file.
        bool mayStay = false;
    };

    bool Take(CJsonScanner::EToken token);
    bool StartObject();
    bool StartList();
    bool Key(std::string_view name);
    bool EndObject();
    bool PlacedValue();
    bool Fail(const std::string& what);
    std::string Where() const;
    bool Begin(EPart part, const TFrame& outer);
    bool Value(const TScalar& scalar);
    bool MemberValue(TFrame& frame, const TScalar& scalar);
    bool TakeId(const TScalar& scalar, std::string& id);
    bool TakeText(const TScalar& scalar, std::string& text);
    bool TakeName(const TScalar& scalar);
    bool TakeFlag(const TScalar& scalar, bool& flag);
    bool PropertyValue(const char* problem);
    bool EndElements();

    CJsonScanner& m_scanner;
    CDatabase& m_database;
    std::vector<TFrame> m_frames;
    std::wstring m_why;
    bool m_bHasFormat = false;
    bool m_bHasVersion = false;

    // The object that the last frame of its kind builds.
    TStore* m_pStore = nullptr;

    // The properties that are being read, and the one of them: its tag, its bytes so far, and those of one element.
    CProperties m_properties;
    ULONG m_nTag = 0;
    std::string m_bytes;
    std::string m_element;
    struct TKeyHash {
        using is_transparent = void;
        size_t operator()(std::string_view key) const { return std::hash<std::string_view>()(key); }
    };
    std::unordered_map<std::string, ULONG, TKeyHash, std::equal_to<>> m_tagsByKey;
};

bool CReader::Fail(const std::string& what) {
    const std::string place = Where();
    m_why = ToWide(place.empty() ? what : place + ": " + what);
    return false;
}

std::string CReader::Where() const {
    std::string place;
    for (const TFrame& frame : m_frames) {
        const bool isList = frame.elements != 0;
        if (isList)
            place += "[" + std::to_string(frame.elements - 1) + "]";
        else if (!frame.name.empty())
            place += (place.empty() ? "" : ".") + frame.name;
    }
    return place;
}

bool CReader::Run() {
    for (;;) {
        const CJsonScanner::EToken token = m_scanner.Next();
        if (token == CJsonScanner::EToken::End) return true;
        if (!Take(token)) return false;
    }
}

bool CReader::Take(CJsonScanner::EToken token) {
    switch (token) {
        case CJsonScanner::EToken::Key:
            return Key(m_scanner.Key());
        case CJsonScanner::EToken::Value:
            return Value(m_scanner.Value());
        case CJsonScanner::EToken::Place:
            return PlacedValue();
        case CJsonScanner::EToken::Object:
            return StartObject();
        case CJsonScanner::EToken::ObjectEnd:
            return EndObject();
        case CJsonScanner::EToken::List:
            return StartList();
        case CJsonScanner::EToken::ListEnd:
            return m_frames.back().part == EPart::Elements ? EndElements() : (m_frames.pop_back(), true);
        case CJsonScanner::EToken::Null:
            return Fail("null is no value here");
        default:
            m_why = ToWide(m_scanner.Problem());
            return false;
    }
}

/// How a long value of the property may stay in the file. What is looked at all the time, or must be converted,
/// does not.
CJsonScanner::EStay StayOf(ULONG tag) {
    switch (PROP_TYPE(tag)) {
        case PT_UNICODE:
            return CJsonScanner::EStay::AsText;
        case PT_BINARY:
        case PT_OBJECT:
            return CJsonScanner::EStay::AsBase64;
        default:
            return CJsonScanner::EStay::Never;
    }
}

bool CReader::Key(std::string_view name) {
    TFrame& frame = m_frames.back();
    frame.name = name;
    if (frame.part == EPart::Properties) {
        const auto known = m_tagsByKey.find(name);
        if (known != m_tagsByKey.end()) {
            m_nTag = known->second;
        } else {
            TPropertyKey key;
            if (!ParseKey(name, key)) return Fail("not a property");
            if (key.isNamed && m_pStore == nullptr) return Fail("named properties belong to stores");
            const ULONG id = key.isNamed ? m_pStore->names.FindOrAdd(key.name) : PROP_ID(key.tag);
            if (id == 0) return Fail("too many named properties in this store");
            m_nTag = PROP_TAG(PROP_TYPE(key.tag), id);
            m_tagsByKey.emplace(name, m_nTag);
        }
        if (frame.mayStay) m_scanner.MayStay(StayOf(m_nTag));
        return m_properties.Find(PROP_ID(m_nTag)) == nullptr || Fail("a property given twice");
    }
    if (frame.part == EPart::RawValue) return name == "base64" || Fail("unknown member");
    for (const TMember& member : kMembers) {
        if (member.object != frame.part || name != member.name) continue;
        frame.memberIs = member.leadsTo;
        frame.memberIsList = member.isList;
        return true;
    }
    return Fail("unknown member");
}

bool CReader::Begin(EPart part, const TFrame& outer) {
    TFrame frame{part};
    frame.folder = outer.folder;
    frame.message = outer.message;
    frame.attachment = outer.attachment;
    switch (part) {
        case EPart::Service:
            m_database.services.push_back(std::make_unique<TService>());
            break;
        case EPart::Store:
            m_database.stores.push_back(std::make_unique<TStore>());
            m_pStore = m_database.stores.back().get();
            m_tagsByKey.clear();
            break;
        case EPart::Names:
            if (!m_pStore->names.All().empty()) return Fail("must stand before the first named property");
            break;
        case EPart::AddressEntry:
            m_database.addressBook.push_back(std::make_unique<TAddressEntry>());
            m_pStore = nullptr;
            m_tagsByKey.clear();
            break;
        case EPart::Folder: {
            auto folder = std::make_shared<TFolder>();
            folder->store = m_pStore;
            folder->parent = outer.part == EPart::Folders ? outer.folder : nullptr;
            (folder->parent != nullptr ? folder->parent->folders.emplace_back() : m_pStore->root) = folder;
            frame.folder = folder.get();
            break;
        }
        case EPart::Item: {
            auto item = std::make_shared<TItem>();
            auto data = std::make_shared<TMessageData>();
            frame.message = data.get();
            item->folder = outer.folder;
            item->data = std::move(data);
            outer.folder->items.push_back(std::move(item));
            break;
        }
        case EPart::Attachment: {
            auto attachment = std::make_shared<TAttachment>();
            attachment->number = outer.message->nextAttachment++;
            frame.attachment = attachment.get();
            outer.message->attachments.push_back(std::move(attachment));
            break;
        }
        case EPart::Message: {
            auto data = std::make_shared<TMessageData>();
            frame.message = data.get();
            outer.attachment->message = std::move(data);
            break;
        }
        case EPart::Properties:
            switch (outer.part) {
                case EPart::Store:
                    frame.properties = &m_pStore->properties;
                    break;
                case EPart::Folder:
                    frame.properties = &outer.folder->properties;
                    break;
                case EPart::Attachment:
                    frame.properties = &outer.attachment->properties;
                    break;
                case EPart::Recipients:
                    frame.properties = &outer.message->recipients.emplace_back();
                    break;
                case EPart::AddressEntry:
                    frame.properties = &m_database.addressBook.back()->properties;
                    break;
                default:
                    frame.properties = &outer.message->properties;
            }
            if (!frame.properties->Slots().empty()) return Fail("given twice");
            frame.mayStay =
                outer.part == EPart::Item || outer.part == EPart::Message || outer.part == EPart::Attachment;
            m_properties.Clear();
            break;
        default:
            break;
    }
    m_frames.push_back(std::move(frame));
    return true;
}

bool CReader::StartObject() {
    if (m_frames.empty()) {
        m_frames.push_back({EPart::File});
        return true;
    }
    if (m_frames.size() >= kDeepest) return Fail("nested too deeply");
    TFrame& outer = m_frames.back();
    if (outer.part == EPart::Properties || outer.part == EPart::Elements) {
        if (outer.part == EPart::Elements)
            ++outer.elements;
        else if ((m_nTag & MV_FLAG) != 0)
            return Fail("not a list");
        m_frames.push_back({EPart::RawValue});
        return true;
    }
    for (const auto& list : kElements) {
        if (list.list != outer.part) continue;
        ++outer.elements;
        return Begin(list.element, outer);
    }
    if (outer.part == EPart::RawValue || outer.memberIs == EPart::Value || outer.memberIsList)
        return Fail("not an object");
    if (outer.memberIs == EPart::Folder && m_pStore->root != nullptr) return Fail("given twice");
    return Begin(outer.memberIs, outer);
}

bool CReader::StartList() {
    if (m_frames.empty()) return Fail("a mailbox file is one object");
    TFrame& outer = m_frames.back();
    if (outer.part == EPart::Properties && (m_nTag & MV_FLAG) != 0) {
        m_bytes.clear();
        m_frames.push_back({EPart::Elements});
        return true;
    }
    if (!outer.memberIsList || outer.part == EPart::Properties || outer.part == EPart::Elements)
        return Fail("not a list");
    return Begin(outer.memberIs, outer);
}

bool CReader::EndObject() {
    const TFrame ended = std::move(m_frames.back());
    m_frames.pop_back();
    switch (ended.part) {
        case EPart::Properties:
            // A copy takes no more memory than it needs.
            *ended.properties = m_properties;
            break;
        case EPart::RawValue:
            if (!ended.isGiven) return Fail("an object without \"base64\"");
            break;
        case EPart::Item:
            ended.message->attachments.shrink_to_fit();
            ended.message->recipients.shrink_to_fit();
            break;
        case EPart::Service:
            if (m_database.services.back()->uid.empty()) return Fail("a service without uid");
            break;
        case EPart::Store:
            if (m_pStore->root == nullptr) return Fail("a store without root folder");
            break;
        case EPart::AddressEntry:
            if (m_database.addressBook.back()->id.empty()) return Fail("an address-book entry without id");
            break;
        case EPart::File:
            if (!m_bHasFormat || !m_bHasVersion)
                return Fail("not a mailbox file: \"format\" or \"version\" is missing");
            break;
        default:
            break;
    }
    return true;
}

bool CReader::EndElements() {
    m_frames.pop_back();
    m_properties.Set(m_nTag, m_bytes);
    return true;
}

/// Takes the value that was encoded into m_element as the property, or as its next element.
bool CReader::PropertyValue(const char* problem) {
    if (problem != nullptr) return Fail(problem);
    const bool isElement = m_frames.back().part == EPart::Elements;
    if (!isElement)
        m_properties.Set(m_nTag, m_element);
    else if (FixedSize(m_nTag & ~MV_FLAG & PROP_TYPE_MASK) != 0)
        m_bytes += m_element;
    else
        AppendElement(m_bytes, m_element);
    return true;
}

bool CReader::PlacedValue() {
    if (m_scanner.StayedSize() > MAXLONG) return Fail("a value of more than 2 GB");
    m_properties.SetPlace(m_nTag, m_scanner.StayedAt(), static_cast<ULONG>(m_scanner.StayedSize()));
    return true;
}

bool CReader::Value(const TScalar& scalar) {
    if (m_frames.empty()) return Fail("a mailbox file is one object");
    TFrame& frame = m_frames.back();
    const ULONG single = PROP_TYPE(m_nTag) & ~MV_FLAG;
    switch (frame.part) {
        case EPart::Properties:
            if ((m_nTag & MV_FLAG) != 0) return Fail("not a list");
            return PropertyValue(EncodeValue(single, scalar, m_element));
        case EPart::Elements:
            ++frame.elements;
            return PropertyValue(EncodeValue(single, scalar, m_element));
        case EPart::Names:
            ++frame.elements;
            return TakeName(scalar);
        case EPart::RawValue: {
            const char* problem = scalar.kind == TScalar::EKind::Text
                                      ? EncodeRawValue(single, scalar.text, m_element)
                                      : "not base64";
            if (problem != nullptr) return Fail(problem);
            // The value belongs to what stands around the raw form.
            const TFrame raw = std::move(m_frames.back());
            m_frames.pop_back();
            if (raw.isGiven) return Fail("given twice");
            PropertyValue(nullptr);
            m_frames.push_back(raw);
            m_frames.back().isGiven = true;
            return true;
        }
        default:
            if (IsList(frame.part)) ++frame.elements;
            if (frame.memberIs != EPart::Value || frame.name.empty()) return Fail("not an object or list");
            return MemberValue(frame, scalar);
    }
}

bool CReader::TakeText(const TScalar& scalar, std::string& text) {
    if (scalar.kind != TScalar::EKind::Text) return Fail("not a text");
    text = scalar.text;
    return true;
}

bool CReader::TakeName(const TScalar& scalar) {
    TName name;
    if (scalar.kind != TScalar::EKind::Text || !ParseName(scalar.text, name)) return Fail("not a name");
    if (m_pStore->names.Find(name) != 0) return Fail("given twice");
    return m_pStore->names.FindOrAdd(name) != 0 || Fail("too many named properties in this store");
}

bool CReader::TakeFlag(const TScalar& scalar, bool& flag) {
    if (scalar.kind != TScalar::EKind::Boolean) return Fail("not true or false");
    flag = scalar.boolean;
    return true;
}

bool CReader::TakeId(const TScalar& scalar, std::string& id) {
    if (scalar.kind != TScalar::EKind::Text || !FromHex(scalar.text, id)) return Fail("not hexadecimal text");
    return (id.size() >= kShortestId && id.size() <= kLongestId) ||
           Fail("not an identifier of 5 to 255 bytes");
}

bool CReader::MemberValue(TFrame& frame, const TScalar& scalar) {
    std::string text;
    switch (frame.part) {
        case EPart::File:
            if (frame.name == "format") {
                m_bHasFormat = scalar.kind == TScalar::EKind::Text && scalar.text == "quorvel-mailbox";
                return m_bHasFormat || Fail("not \"quorvel-mailbox\"");
            }
            m_bHasVersion = scalar.kind == TScalar::EKind::Unsigned && scalar.unsignedNumber == 1;
            return m_bHasVersion || Fail("not 1, the version that this program reads");
        case EPart::Service: {
            TService& service = *m_database.services.back();
            if (frame.name == "uid")
                return TakeId(scalar, service.uid) &&
                       (service.uid.size() == sizeof(GUID) || Fail("not 16 bytes"));
            for (const auto& entry : kServiceTexts)
                if (frame.name == entry.member)
                    return TakeText(scalar, text) && (service.properties.Set(entry.tag, text), true);
            return false;
        }
        case EPart::Store:
            if (frame.name == "id") return TakeId(scalar, m_pStore->id);
            if (frame.name == "default") return TakeFlag(scalar, m_pStore->isDefault);
            return TakeId(scalar, m_pStore->serviceUid);
        case EPart::Special:
            for (size_t which = 0;
                 const char* name : {"ipmSubtree", "inbox", "outbox", "sentItems", "deletedItems"}) {
                if (frame.name == name) return TakeId(scalar, m_pStore->special[which]);
                ++which;
            }
            return false;
        case EPart::Folder:
            return TakeId(scalar, frame.folder->id);
        case EPart::Item: {
            TItem& item = *frame.folder->items.back();
            return frame.name == "id" ? TakeId(scalar, item.id) : TakeFlag(scalar, item.associated);
        }
        case EPart::AddressEntry:
            return TakeId(scalar, m_database.addressBook.back()->id);
        default:
            return Fail("no plain value belongs here");
    }
}

}  // namespace

bool ReadMailbox(const std::shared_ptr<CFileText>& text, CDatabase& database, std::wstring& why,
                 size_t piece) {
    database.text = text;
    CJsonScanner scanner(*text, piece);
    CReader reader(scanner, database);
    const bool ok = reader.Run();
    if (!ok) why = reader.Why();
    return ok && IndexMailbox(database, why);
}

}  // namespace mailbox
