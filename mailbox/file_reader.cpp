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
enum EPart {
    pFile,
    pServices,
    pService,
    pStores,
    pStore,
    pNames,
    pSpecial,
    pFolder,
    pFolders,
    pItems,
    pItem,
    pRecipients,
    pAttachments,
    pAttachment,
    pMessage,
    pAddressBook,
    pAddressEntry,
    pProperties,
    pElements,
    pRawValue,
    pValue
};

/// The members of the objects: what each leads to. pValue: a plain value.
struct TMember {
    EPart object;
    const char* name;
    EPart leadsTo;
    bool isList = false;
};
const TMember kMembers[] = {
    {pFile, "format", pValue},
    {pFile, "version", pValue},
    {pFile, "services", pServices, true},
    {pFile, "stores", pStores, true},
    {pFile, "addressBook", pAddressBook, true},
    {pService, "uid", pValue},
    {pService, "dll", pValue},
    {pService, "entry", pValue},
    {pService, "name", pValue},
    {pService, "displayName", pValue},
    {pStore, "id", pValue},
    {pStore, "default", pValue},
    {pStore, "service", pValue},
    {pStore, "properties", pProperties},
    {pStore, "names", pNames, true},
    {pStore, "special", pSpecial},
    {pStore, "root", pFolder},
    {pSpecial, "ipmSubtree", pValue},
    {pSpecial, "inbox", pValue},
    {pSpecial, "outbox", pValue},
    {pSpecial, "sentItems", pValue},
    {pSpecial, "deletedItems", pValue},
    {pFolder, "id", pValue},
    {pFolder, "properties", pProperties},
    {pFolder, "folders", pFolders, true},
    {pFolder, "items", pItems, true},
    {pItem, "id", pValue},
    {pItem, "associated", pValue},
    {pItem, "properties", pProperties},
    {pItem, "recipients", pRecipients, true},
    {pItem, "attachments", pAttachments, true},
    {pAttachment, "properties", pProperties},
    {pAttachment, "message", pMessage},
    {pMessage, "properties", pProperties},
    {pMessage, "recipients", pRecipients, true},
    {pMessage, "attachments", pAttachments, true},
    {pAddressEntry, "id", pValue},
    {pAddressEntry, "properties", pProperties},
};
/// What the elements of a list are.
const struct {
    EPart list;
    EPart element;
} kElements[] = {
    {pServices, pService},      {pStores, pStore},           {pFolders, pFolder},          {pItems, pItem},
    {pRecipients, pProperties}, {pAttachments, pAttachment}, {pAddressBook, pAddressEntry}};
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
        EPart memberIs = pValue;
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
        if (token == CJsonScanner::tEnd) return true;
        if (!Take(token)) return false;
    }
}

bool CReader::Take(CJsonScanner::EToken token) {
    switch (token) {
        case CJsonScanner::tKey:
            return Key(m_scanner.Key());
        case CJsonScanner::tValue:
            return Value(m_scanner.Value());
        case CJsonScanner::tPlace:
            return PlacedValue();
        case CJsonScanner::tObject:
            return StartObject();
        case CJsonScanner::tObjectEnd:
            return EndObject();
        case CJsonScanner::tList:
            return StartList();
        case CJsonScanner::tListEnd:
            return m_frames.back().part == pElements ? EndElements() : (m_frames.pop_back(), true);
        case CJsonScanner::tNull:
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
            return CJsonScanner::kAsText;
        case PT_BINARY:
        case PT_OBJECT:
            return CJsonScanner::kAsBase64;
        default:
            return CJsonScanner::kNever;
    }
}

bool CReader::Key(std::string_view name) {
    TFrame& frame = m_frames.back();
    frame.name = name;
    if (frame.part == pProperties) {
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
    if (frame.part == pRawValue) return name == "base64" || Fail("unknown member");
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
        case pService:
            m_database.services.push_back(std::make_unique<TService>());
            break;
        case pStore:
            m_database.stores.push_back(std::make_unique<TStore>());
            m_pStore = m_database.stores.back().get();
            m_tagsByKey.clear();
            break;
        case pNames:
            if (!m_pStore->names.All().empty()) return Fail("must stand before the first named property");
            break;
        case pAddressEntry:
            m_database.addressBook.push_back(std::make_unique<TAddressEntry>());
            m_pStore = nullptr;
            m_tagsByKey.clear();
            break;
        case pFolder: {
            auto folder = std::make_shared<TFolder>();
            folder->store = m_pStore;
            folder->parent = outer.part == pFolders ? outer.folder : nullptr;
            (folder->parent != nullptr ? folder->parent->folders.emplace_back() : m_pStore->root) = folder;
            frame.folder = folder.get();
            break;
        }
        case pItem: {
            auto item = std::make_shared<TItem>();
            auto data = std::make_shared<TMessageData>();
            frame.message = data.get();
            item->folder = outer.folder;
            item->data = std::move(data);
            outer.folder->items.push_back(std::move(item));
            break;
        }
        case pAttachment: {
            auto attachment = std::make_shared<TAttachment>();
            attachment->number = outer.message->nextAttachment++;
            frame.attachment = attachment.get();
            outer.message->attachments.push_back(std::move(attachment));
            break;
        }
        case pMessage: {
            auto data = std::make_shared<TMessageData>();
            frame.message = data.get();
            outer.attachment->message = std::move(data);
            break;
        }
        case pProperties:
            switch (outer.part) {
                case pStore:
                    frame.properties = &m_pStore->properties;
                    break;
                case pFolder:
                    frame.properties = &outer.folder->properties;
                    break;
                case pAttachment:
                    frame.properties = &outer.attachment->properties;
                    break;
                case pRecipients:
                    frame.properties = &outer.message->recipients.emplace_back();
                    break;
                case pAddressEntry:
                    frame.properties = &m_database.addressBook.back()->properties;
                    break;
                default:
                    frame.properties = &outer.message->properties;
            }
            if (!frame.properties->Slots().empty()) return Fail("given twice");
            frame.mayStay = outer.part == pItem || outer.part == pMessage || outer.part == pAttachment;
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
        m_frames.push_back({pFile});
        return true;
    }
    if (m_frames.size() >= kDeepest) return Fail("nested too deeply");
    TFrame& outer = m_frames.back();
    if (outer.part == pProperties || outer.part == pElements) {
        if (outer.part == pElements)
            ++outer.elements;
        else if ((m_nTag & MV_FLAG) != 0)
            return Fail("not a list");
        m_frames.push_back({pRawValue});
        return true;
    }
    for (const auto& list : kElements) {
        if (list.list != outer.part) continue;
        ++outer.elements;
        return Begin(list.element, outer);
    }
    if (outer.part == pRawValue || outer.memberIs == pValue || outer.memberIsList)
        return Fail("not an object");
    if (outer.memberIs == pFolder && m_pStore->root != nullptr) return Fail("given twice");
    return Begin(outer.memberIs, outer);
}

bool CReader::StartList() {
    if (m_frames.empty()) return Fail("a mailbox file is one object");
    TFrame& outer = m_frames.back();
    if (outer.part == pProperties && (m_nTag & MV_FLAG) != 0) {
        m_bytes.clear();
        m_frames.push_back({pElements});
        return true;
    }
    if (!outer.memberIsList || outer.part == pProperties || outer.part == pElements)
        return Fail("not a list");
    return Begin(outer.memberIs, outer);
}

bool CReader::EndObject() {
    const TFrame ended = std::move(m_frames.back());
    m_frames.pop_back();
    switch (ended.part) {
        case pProperties:
            // A copy takes no more memory than it needs.
            *ended.properties = m_properties;
            break;
        case pRawValue:
            if (!ended.isGiven) return Fail("an object without \"base64\"");
            break;
        case pItem:
            ended.message->attachments.shrink_to_fit();
            ended.message->recipients.shrink_to_fit();
            break;
        case pService:
            if (m_database.services.back()->uid.empty()) return Fail("a service without uid");
            break;
        case pStore:
            if (m_pStore->root == nullptr) return Fail("a store without root folder");
            break;
        case pAddressEntry:
            if (m_database.addressBook.back()->id.empty()) return Fail("an address-book entry without id");
            break;
        case pFile:
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
    const bool isElement = m_frames.back().part == pElements;
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
        case pProperties:
            if ((m_nTag & MV_FLAG) != 0) return Fail("not a list");
            return PropertyValue(EncodeValue(single, scalar, m_element));
        case pElements:
            ++frame.elements;
            return PropertyValue(EncodeValue(single, scalar, m_element));
        case pNames:
            ++frame.elements;
            return TakeName(scalar);
        case pRawValue: {
            const char* problem =
                scalar.kind == TScalar::kText ? EncodeRawValue(single, scalar.text, m_element) : "not base64";
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
            if (frame.memberIs != pValue || frame.name.empty()) return Fail("not an object or list");
            return MemberValue(frame, scalar);
    }
}

bool CReader::TakeText(const TScalar& scalar, std::string& text) {
    if (scalar.kind != TScalar::kText) return Fail("not a text");
    text = scalar.text;
    return true;
}

bool CReader::TakeName(const TScalar& scalar) {
    TName name;
    if (scalar.kind != TScalar::kText || !ParseName(scalar.text, name)) return Fail("not a name");
    if (m_pStore->names.Find(name) != 0) return Fail("given twice");
    return m_pStore->names.FindOrAdd(name) != 0 || Fail("too many named properties in this store");
}

bool CReader::TakeFlag(const TScalar& scalar, bool& flag) {
    if (scalar.kind != TScalar::kBoolean) return Fail("not true or false");
    flag = scalar.boolean;
    return true;
}

bool CReader::TakeId(const TScalar& scalar, std::string& id) {
    if (scalar.kind != TScalar::kText || !FromHex(scalar.text, id)) return Fail("not hexadecimal text");
    return (id.size() >= kShortestId && id.size() <= kLongestId) ||
           Fail("not an identifier of 5 to 255 bytes");
}

bool CReader::MemberValue(TFrame& frame, const TScalar& scalar) {
    std::string text;
    switch (frame.part) {
        case pFile:
            if (frame.name == "format") {
                m_bHasFormat = scalar.kind == TScalar::kText && scalar.text == "quorvel-mailbox";
                return m_bHasFormat || Fail("not \"quorvel-mailbox\"");
            }
            m_bHasVersion = scalar.kind == TScalar::kUnsigned && scalar.unsignedNumber == 1;
            return m_bHasVersion || Fail("not 1, the version that this program reads");
        case pService: {
            TService& service = *m_database.services.back();
            if (frame.name == "uid")
                return TakeId(scalar, service.uid) &&
                       (service.uid.size() == sizeof(GUID) || Fail("not 16 bytes"));
            for (const auto& entry : kServiceTexts)
                if (frame.name == entry.member)
                    return TakeText(scalar, text) && (service.properties.Set(entry.tag, text), true);
            return false;
        }
        case pStore:
            if (frame.name == "id") return TakeId(scalar, m_pStore->id);
            if (frame.name == "default") return TakeFlag(scalar, m_pStore->isDefault);
            return TakeId(scalar, m_pStore->serviceUid);
        case pSpecial:
            for (size_t which = 0;
                 const char* name : {"ipmSubtree", "inbox", "outbox", "sentItems", "deletedItems"}) {
                if (frame.name == name) return TakeId(scalar, m_pStore->special[which]);
                ++which;
            }
            return false;
        case pFolder:
            return TakeId(scalar, frame.folder->id);
        case pItem: {
            TItem& item = *frame.folder->items.back();
            return frame.name == "id" ? TakeId(scalar, item.id) : TakeFlag(scalar, item.associated);
        }
        case pAddressEntry:
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
