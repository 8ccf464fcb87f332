#include "mailbox/file_writer.h"

#include <mapitags.h>

#include <charconv>
#include <cmath>

#include "mailbox/CFileText.h"
#include "mailbox/file_text.h"
#include "mailbox/text.h"
#include "mailbox/values.h"

namespace mailbox {

namespace {

constexpr size_t kPiece = 1 << 20;

/// Builds the text, one member or element a line, indented by one blank a level.
class CWriter {
  public:
    explicit CWriter(const std::function<bool(std::string_view)>& write) : m_write(write) {
        m_text.reserve(kPiece + 4096);
    }

    bool IsOk() const { return m_bOk; }
    bool Flush() {
        if (m_bOk && !m_text.empty()) m_bOk = m_write(m_text);
        m_nFlushed += m_text.size();
        m_text.clear();
        return m_bOk;
    }

    void Open(char bracket) {
        m_text += bracket;
        m_bFirst = true;
        ++m_nDepth;
    }
    void Close(char bracket) {
        --m_nDepth;
        if (!m_bFirst) NewLine();
        m_bFirst = false;
        m_text += bracket;
    }
    /// Begins the next element of a list.
    void Next() {
        if (!m_bFirst) m_text += ',';
        m_bFirst = false;
        NewLine();
        if (m_text.size() >= kPiece) Flush();
    }
    void Key(std::string_view name) {
        Next();
        Text(name);
        m_text += ": ";
    }
    void Raw(std::string_view text) { m_text += text; }
    void Text(std::string_view utf8) {
        m_text += '"';
        for (const char character : utf8) {
            const auto byte = static_cast<unsigned char>(character);
            if (character == '"' || character == '\\') {
                m_text += '\\';
                m_text += character;
            } else if (character == '\n') {
                m_text += "\\n";
            } else if (character == '\r') {
                m_text += "\\r";
            } else if (character == '\t') {
                m_text += "\\t";
            } else if (byte < 0x20 || byte == 0x7F) {
                m_text += "\\u00" + ToHex({&character, 1});
            } else {
                m_text += character;
            }
        }
        m_text += '"';
    }
    /// A value that lies in the file that is being replaced, as it stands there.
    void Placed(const TPlace& place) {
        m_text += '"';
        place.movesTo = m_nFlushed + m_text.size();
        std::string_view raw;
        for (unsigned long long done = 0; m_bOk && done < place.rawSize; done += raw.size()) {
            const unsigned long long left = place.rawSize - done;
            const size_t piece = left < CFileText::kMostRaw ? static_cast<size_t>(left) : CFileText::kMostRaw;
            if (place.offset == TPlace::kNowhere)
                m_bOk = place.file->Gone(place);
            else
                m_bOk = place.file->Raw(place.offset + done, piece, raw);
            if (!m_bOk) break;
            m_text += raw;
            if (m_text.size() >= kPiece) Flush();
        }
        m_text += '"';
    }
    template <typename Number>
    void Digits(Number number) {
        char digits[32];
        const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
        m_text.append(digits, end);
    }

  private:
    void NewLine() {
        m_text += '\n';
        m_text.append(m_nDepth, ' ');
    }

    const std::function<bool(std::string_view)>& m_write;
    std::string m_text;
    unsigned long long m_nFlushed = 0;
    size_t m_nDepth = 0;
    bool m_bFirst = true;
    bool m_bOk = true;
};

void WriteRaw(CWriter& out, std::string_view bytes) {
    out.Raw("{\"base64\": ");
    out.Text(ToBase64(bytes));
    out.Raw("}");
}

template <typename Real>
void WriteReal(CWriter& out, std::string_view bytes) {
    const Real value = As<Real>(bytes);
    if (std::isfinite(value))
        out.Digits(value);
    else
        WriteRaw(out, bytes);
}

void WriteText(CWriter& out, std::string_view utf8) {
    if (IsStrictUtf8(utf8)) return out.Text(utf8);
    const std::wstring wide = ToWide(utf8);
    WriteRaw(out, {reinterpret_cast<const char*>(wide.data()), wide.size() * sizeof(wchar_t)});
}

void WriteText8(CWriter& out, std::string_view bytes) {
    const std::string utf8 = FromAnsi(bytes);
    // Only what comes back as the same bytes is written as text.
    if (IsStrictUtf8(utf8) && ToAnsi(utf8) == bytes)
        out.Text(utf8);
    else
        WriteRaw(out, bytes);
}

void WriteTime(CWriter& out, std::string_view bytes) {
    const auto ticks = As<unsigned long long>(bytes);
    const std::string text = FormatTime(ticks);
    if (text.empty())
        out.Digits(ticks);
    else
        out.Text(text);
}

void WriteSingle(CWriter& out, ULONG type, std::string_view bytes) {
    switch (type) {
        case PT_I2:
            return out.Digits(As<short>(bytes));
        case PT_LONG:
        case PT_ERROR:
            return out.Digits(As<LONG>(bytes));
        case PT_I8:
        case PT_CURRENCY:
            return out.Digits(As<long long>(bytes));
        case PT_R4:
            return WriteReal<float>(out, bytes);
        case PT_DOUBLE:
        case PT_APPTIME:
            return WriteReal<double>(out, bytes);
        case PT_BOOLEAN:
            return out.Raw(As<unsigned short>(bytes) != 0 ? "true" : "false");
        case PT_SYSTIME:
            return WriteTime(out, bytes);
        case PT_CLSID:
            return out.Text(FormatGuid(As<GUID>(bytes)));
        case PT_UNICODE:
            return WriteText(out, bytes);
        case PT_STRING8:
            return WriteText8(out, bytes);
        default:
            return out.Text(ToBase64(bytes));
    }
}

void WriteValue(CWriter& out, ULONG type, std::string_view bytes) {
    if ((type & MV_FLAG) == 0) return WriteSingle(out, type, bytes);
    const ULONG single = type & ~MV_FLAG;
    const size_t fixed = FixedSize(single);
    out.Raw("[");
    for (const char* separator = ""; !bytes.empty(); separator = ", ") {
        out.Raw(separator);
        WriteSingle(out, single, fixed != 0 ? bytes.substr(0, fixed) : TakeElement(bytes));
        if (fixed != 0) bytes.remove_prefix(fixed);
    }
    out.Raw("]");
}

void WriteProperties(CWriter& out, const CProperties& properties, const CNameTable* names) {
    out.Open('{');
    for (const CProperties::TSlot& slot : properties.Slots()) {
        const TName* name = names != nullptr ? names->Of(PROP_ID(slot.tag)) : nullptr;
        out.Key(FormatKey(slot.tag, name));
        if (const TPlace* const place = properties.PlaceOf(slot))
            out.Placed(*place);
        else
            WriteValue(out, PROP_TYPE(slot.tag), properties.Bytes(slot));
    }
    out.Close('}');
}

void WriteId(CWriter& out, std::string_view key, std::string_view id) {
    out.Key(key);
    out.Text(ToHex(id));
}

void WriteMessage(CWriter& out, const TMessageData& data, const CNameTable& names) {
    out.Key("properties");
    WriteProperties(out, data.properties, &names);
    if (!data.recipients.empty()) {
        out.Key("recipients");
        out.Open('[');
        for (const CProperties& recipient : data.recipients) {
            out.Next();
            WriteProperties(out, recipient, &names);
        }
        out.Close(']');
    }
    if (data.attachments.empty()) return;
    out.Key("attachments");
    out.Open('[');
    for (const auto& attachment : data.attachments) {
        out.Next();
        out.Open('{');
        out.Key("properties");
        WriteProperties(out, attachment->properties, &names);
        if (attachment->message != nullptr) {
            out.Key("message");
            out.Open('{');
            WriteMessage(out, *attachment->message, names);
            out.Close('}');
        }
        out.Close('}');
    }
    out.Close(']');
}

void WriteFolder(CWriter& out, const TFolder& folder) {
    const CNameTable& names = folder.store->names;
    out.Open('{');
    WriteId(out, "id", folder.id);
    out.Key("properties");
    WriteProperties(out, folder.properties, &names);
    if (!folder.folders.empty()) {
        out.Key("folders");
        out.Open('[');
        for (const auto& child : folder.folders) {
            out.Next();
            WriteFolder(out, *child);
        }
        out.Close(']');
    }
    if (!folder.items.empty()) {
        out.Key("items");
        out.Open('[');
        for (const auto& item : folder.items) {
            out.Next();
            out.Open('{');
            WriteId(out, "id", item->id);
            if (item->associated) {
                out.Key("associated");
                out.Raw("true");
            }
            WriteMessage(out, *item->data, names);
            out.Close('}');
        }
        out.Close(']');
    }
    out.Close('}');
}

/// All names that the store knows, so that they keep their identifiers.
void WriteNames(CWriter& out, const CNameTable& names) {
    if (names.All().empty()) return;
    out.Key("names");
    out.Open('[');
    for (const TName* name : names.All()) {
        out.Next();
        out.Text(FormatName(*name));
    }
    out.Close(']');
}

void WriteStore(CWriter& out, const TStore& store) {
    out.Open('{');
    WriteId(out, "id", store.id);
    if (store.isDefault) {
        out.Key("default");
        out.Raw("true");
    }
    if (!store.serviceUid.empty()) WriteId(out, "service", store.serviceUid);
    WriteNames(out, store.names);
    out.Key("properties");
    WriteProperties(out, store.properties, &store.names);
    out.Key("special");
    out.Open('{');
    for (size_t which = 0;
         const char* name : {"ipmSubtree", "inbox", "outbox", "sentItems", "deletedItems"}) {
        if (!store.special[which].empty()) WriteId(out, name, store.special[which]);
        ++which;
    }
    out.Close('}');
    out.Key("root");
    WriteFolder(out, *store.root);
    out.Close('}');
}

void WriteService(CWriter& out, const TService& service) {
    const struct {
        const char* member;
        ULONG tag;
    } texts[] = {{"dll", PR_SERVICE_DLL_NAME},
                 {"entry", PR_SERVICE_ENTRY_NAME},
                 {"name", PR_SERVICE_NAME},
                 {"displayName", PR_DISPLAY_NAME}};
    out.Open('{');
    WriteId(out, "uid", service.uid);
    for (const auto& text : texts) {
        const CProperties::TSlot* slot = service.properties.Find(PROP_ID(text.tag));
        if (slot == nullptr) continue;
        out.Key(text.member);
        WriteSingle(out, PROP_TYPE(slot->tag), service.properties.Bytes(*slot));
    }
    out.Close('}');
}

}  // namespace

bool FormatMailbox(const CDatabase& database, const std::function<bool(std::string_view piece)>& write) {
    CWriter out(write);
    out.Open('{');
    out.Key("format");
    out.Text("quorvel-mailbox");
    out.Key("version");
    out.Raw("1");
    out.Key("services");
    out.Open('[');
    for (const auto& service : database.services) {
        out.Next();
        WriteService(out, *service);
    }
    out.Close(']');
    out.Key("stores");
    out.Open('[');
    for (const auto& store : database.stores) {
        out.Next();
        WriteStore(out, *store);
        if (!out.IsOk()) return false;
    }
    out.Close(']');
    out.Key("addressBook");
    out.Open('[');
    for (const auto& entry : database.addressBook) {
        out.Next();
        out.Open('{');
        WriteId(out, "id", entry->id);
        out.Key("properties");
        WriteProperties(out, entry->properties, nullptr);
        out.Close('}');
    }
    out.Close(']');
    out.Close('}');
    out.Raw("\n");
    return out.Flush();
}

}  // namespace mailbox
