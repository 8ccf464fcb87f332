#include "host/losses.h"

#include <algorithm>
#include <limits>

#include "host/attachments.h"
#include "host/duplicate_search.h"
#include "host/merge_rules.h"
#include "host/show_value.h"
#include "host/text.h"
#include "quorvel.h"

namespace host {

namespace {

constexpr size_t kShown = 200;  // characters of a value
constexpr size_t kAllOfIt = std::numeric_limits<size_t>::max();

std::string Cut(const std::string& text) {
    const std::string line = OneLine(text);
    return Width(line) <= kShown ? line : Fit(line, kShown);
}

}  // namespace

std::string ShownValue(const TItemValue& value, bool isMark) {
    if (isMark) return "set";
    std::string text;
    for (const std::string& element : value.elements) {
        if (!text.empty()) text += ", ";
        const ULONG type = value.type & ~MV_FLAG;
        text += type == PT_BINARY    ? SizeText(element.size()) + " of data"
                : type == PT_SYSTIME ? element.substr(0, 10) + " " + element.substr(11, 5) + " UTC"
                                     : element;
        if (text.size() > 4 * kShown) break;
    }
    return Cut(text);
}

namespace {

// Texts are equal without blanks and line breaks at their ends, and whatever their form: plain or in a set.
std::string Trimmed(const std::string& text) {
    const size_t end = text.find_last_not_of(" \t\r\n");
    return end == std::string::npos ? std::string() : text.substr(0, end + 1);
}

bool Holds(const TItemValue& kept, const std::string& element, bool isText) {
    return std::any_of(kept.elements.begin(), kept.elements.end(), [&](const std::string& other) {
        return other == element || (isText && Trimmed(other) == Trimmed(element));
    });
}

}  // namespace

TItemValue Missing(const TItemValue* kept, const TItemValue& value) {
    if (!kept) return value;
    const bool isText = (value.type & ~MV_FLAG) == PT_UNICODE;
    TItemValue missing{value.type, {}};
    for (const std::string& element : value.elements) {
        if (!Holds(*kept, element, isText)) missing.elements.push_back(element);
    }
    return missing;
}

namespace {

// Properties that the definitions compare, by how.
struct TCompared {
    std::map<std::string, const TPropertyChoice*> alone;
    std::map<std::string, const TPropertyChoice*> gathered;  // one of several fields that count as one
    bool hasRecipients = false;
};

TCompared ComparedProperties(const TDefinitions& definitions) {
    TCompared compared;
    for (const TPropertyChoice& choice : definitions.properties) {
        if (!choice.compare) continue;
        const TCatalogueEntry& property = *choice.property;
        if (!property.set || std::string_view(property.set) != kDerivedSet) {
            compared.alone.emplace(PropertyName(property.tag, property.set, property.id, property.stringId),
                                   &choice);
            continue;
        }
        compared.hasRecipients = compared.hasRecipients || property.id == 6;
        for (const int id : DerivedNumbers(property.id))
            compared.gathered.emplace(PropertyName(0, kAddressSet, id, nullptr), &choice);
        for (const ULONG tag : DerivedTags(property.id))
            compared.gathered.emplace(PropertyName(tag, nullptr, 0, nullptr), &choice);
    }
    return compared;
}

}  // namespace

bool AreEqualTexts(const std::string& a, const std::string& b, ECompareMethod method) {
    std::wstring wideA = Widen(a);
    std::wstring wideB = Widen(b);
    wchar_t* textA = wideA.data();
    wchar_t* textB = wideB.data();
    SPropValue one{};
    SPropValue other{};
    one.ulPropTag = other.ulPropTag = PROP_TAG(PT_MV_UNICODE, 1);
    one.Value.MVszW = {1, &textA};
    other.Value.MVszW = {1, &textB};
    int intersects = 0;
    return Quorvel_IsMVPropsIntersects(&one, &other, &intersects, method) == 0 && intersects;
}

namespace {

// Whether the kept copy has the text in any of the fields that the property is gathered from.
bool HasAnywhere(const TItemValues& kept, const TCompared& compared, const TPropertyChoice& choice,
                 const std::string& text) {
    return std::any_of(kept.values.begin(), kept.values.end(), [&](const auto& entry) {
        const auto field = compared.gathered.find(entry.first);
        if (field == compared.gathered.end() || field->second != &choice) return false;
        return std::any_of(
            entry.second.elements.begin(), entry.second.elements.end(),
            [&](const std::string& other) { return AreEqualTexts(text, other, choice.method); });
    });
}

// In grouped mode an equal pair may differ in what was not asked: the property is compared by itself.
bool IsEqualByDefinitions(CItemReader& reader, const TDefinitions& definitions, const TPropertyChoice& choice,
                          const TItem& kept, const TItem& duplicate) {
    if (!definitions.grouped) return true;
    TDefinitions one;
    one.properties = {choice};
    return ComparePair(reader, one, kept, duplicate) == EPair::Equal;
}

std::string Recipients(CItemReader& reader, const TItem& item) {
    const ComPtr<IMessage> message = reader.Open(item);
    return message ? ShowValue(message.Get(), *FindProperty("Mail.Recipients"), kAllOfIt) : std::string();
}

}  // namespace

std::vector<TLoss> Losses(CItemReader& reader, const TDefinitions& definitions, const TItem& keptItem,
                          const TItemValues& kept, const TItem& duplicateItem, const TItemValues& duplicate) {
    std::vector<TLoss> losses;
    const TCompared compared = ComparedProperties(definitions);
    for (const auto& [name, value] : duplicate.values) {
        const auto own = kept.values.find(name);
        const TItemValue* keptValue = own == kept.values.end() ? nullptr : &own->second;
        const TItemValue missing = Missing(keptValue, value);
        if (missing.elements.empty()) continue;
        if (keptValue && reader.bookkeeping().keys.contains(name)) continue;
        const auto alone = compared.alone.find(name);
        if (keptValue && alone != compared.alone.end() &&
            IsEqualByDefinitions(reader, definitions, *alone->second, keptItem, duplicateItem)) {
            continue;
        }
        const auto gathered = compared.gathered.find(name);
        if (gathered != compared.gathered.end() &&
            HasAnywhere(kept, compared, *gathered->second, missing.elements.front())) {
            continue;
        }
        const bool isMark = reader.bookkeeping().Meaningful(name) != kAllBits;
        losses.push_back({OneLine(reader.bookkeeping().Name(definitions.kind, name)),
                          ShownValue(missing, isMark),
                          keptValue ? ShownValue(*keptValue, isMark) : std::string(), name});
    }
    // Where they are compared they agree, unless another property decided or the kept copy has none.
    const bool decides = compared.hasRecipients && !definitions.grouped;
    if (!decides || definitions.algorithm == saSimilar) {
        const std::string recipients = Recipients(reader, duplicateItem);
        const std::string other = recipients.empty() ? std::string() : Recipients(reader, keptItem);
        if (recipients != other && (!decides || other.empty()))
            losses.push_back({"Recipients", Cut(recipients), Cut(other), "recipients"});
    }
    if (duplicate.attachments != 0 && !definitions.attachments) {
        for (const TAttachmentName& missing :
             MissingAttachments(reader.session(), reader.catalog(), keptItem, duplicateItem)) {
            losses.push_back({missing.isPhoto ? "Photo" : "Attachment",
                              missing.name,
                              {},
                              (missing.isPhoto ? "photo:" : "attachment:") + std::to_string(missing.number)});
        }
    }
    if (duplicate.attachments != 0) {
        const auto text = duplicate.values.find(kHtmlText);
        const std::string html =
            text == duplicate.values.end() ? std::string() : text->second.elements.front();
        for (const TAttachmentTrait& trait :
             MissingTraits(reader.session(), reader.catalog(), keptItem, duplicateItem, html)) {
            losses.push_back({trait.property, Cut(trait.value), Cut(trait.kept), trait.id});
        }
    }
    return losses;
}

std::vector<TLoss> LossesOfUnlike(CItemReader& reader, const TDefinitions& definitions, const TItem& keptItem,
                                  const TItemValues& kept, const TItem& duplicateItem,
                                  const TItemValues& duplicate) {
    TDefinitions unlike = definitions;
    unlike.grouped = true;
    unlike.attachments = false;
    return Losses(reader, unlike, keptItem, kept, duplicateItem, duplicate);
}

}  // namespace host
