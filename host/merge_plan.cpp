#include "host/merge_plan.h"

#include <algorithm>
#include <map>

#include "host/losses.h"
#include "host/merge_rules.h"
#include "host/text.h"

namespace host {

namespace {

constexpr char kThere[] = "it is there already";
constexpr char kTwoValues[] = "two values";

// The kept copy as it has become, and what settles the next loss.
class CMerge {
  public:
    CMerge(CItemReader& reader, const TDefinitions& definitions, const TItemValues& kept)
        : m_reader(reader), m_definitions(definitions), m_state(kept) {}
    /// shared: the attachments of the kept copy, which is the first, and all duplicates. row: the copy's.
    void Attachments(std::vector<TSharedAttachment> shared) { m_shared = std::move(shared); }
    void Settle(const TMergeCopy& copy, size_t row, bool allowLoss);
    /// What a choice took out of the kept copy while this one, which goes, has it in a place of its own, or had brought
    /// it: it is lost with this one now.
    void SettleDisplaced(const TMergeCopy& copy, size_t row);

  private:
    void Settle(const TMergeCopy& copy, size_t row, TLoss& loss);
    void SettleAttachment(size_t row, TLoss& loss);
    void SettleValue(const TItemValues& duplicate, TLoss& loss);
    bool SettleText(const TItemValues& duplicate, TLoss& loss);
    bool SettlePlace(const TItemValue& value, TLoss& loss);
    bool SettleList(const TItemValues& duplicate, TLoss& loss);
    bool SettleState(const TItemValue& value, TLoss& loss) const;
    // A place that shows a name is somebody's, also without an address.
    bool IsNamed(const std::string& place) const {
        const int email = EmailNumber(place);
        return email >= 0 && (m_state.namedEmails & 1u << email) != 0;
    }
    std::string Replaced(const TItemValues& duplicate, const TLoss& loss) const;
    bool DoTheyAgree(const TTogether& together, const TItemValues& duplicate) const;
    const TItemValue* Of(const std::string& name) const { return Find(m_state, name); }
    static const TItemValue* Find(const TItemValues& item, const std::string& name) {
        const auto found = item.values.find(name);
        return found == item.values.end() ? nullptr : &found->second;
    }
    void Take(const TItemValues& duplicate, size_t row, const TLoss& loss);
    void Unite(const TItemValues& duplicate, const std::string& name);
    bool IsDisplaced(const TPlaces& places, const std::string& text) const;
    void SettleDisplacedPlaces(const TMergeCopy& copy, size_t row);

    CItemReader& m_reader;
    const TDefinitions& m_definitions;
    TItemValues m_state;
    std::vector<TSharedAttachment> m_shared;
    std::vector<std::pair<std::string, TItemValue>> m_displaced;  // values in whose place another was chosen
};

void Conflict(TLoss& loss, const std::string& why, bool isReplaceable) {
    loss.merge = EMerge::Conflict;
    loss.note = why;
    loss.isReplaceable = isReplaceable;
}

void Held(TLoss& loss, const char* why) {
    loss.merge = EMerge::Held;
    loss.note = why;
}

bool HasText(const TItemValue* value, const std::string& text, ECompareMethod method) {
    return value && std::ranges::any_of(value->elements, [&](const std::string& other) {
               return AreEqualTexts(text, other, method);
           });
}

// A text without what nobody sees: line breaks of one form, and no blanks behind it.
std::string Bare(const std::string& text) {
    std::string bare;
    for (const char c : text) {
        if (c != '\r') bare += c;
    }
    bare.erase(bare.find_last_not_of(" \t\n") + 1);
    return bare;
}

void CMerge::SettleAttachment(size_t row, TLoss& loss) {
    const bool isPhoto = loss.id.starts_with("photo:");
    const int number = NumberOf(loss);
    bool hasPhoto = false;
    TSharedAttachment* own = nullptr;
    for (TSharedAttachment& one : m_shared) {
        if (one.isPhoto && one.numbers[0] != -1) hasPhoto = true;
        if (one.isPhoto == isPhoto && number >= 0 && one.numbers[row] == number) own = &one;
    }
    if (!own) return Conflict(loss, "it cannot be read", false);
    if (own->numbers[0] != -1) return Held(loss, kThere);
    loss.merge = isPhoto ? EMerge::Photo : EMerge::Attach;
    if (isPhoto && hasPhoto) Conflict(loss, "there is a photo", false);
}

// The text and its formatted forms. False when the property is none of them.
bool CMerge::SettleText(const TItemValues& duplicate, TLoss& loss) {
    if (!IsTextForm(loss.id)) return false;
    const auto hasFormatted = [](const TItemValues& item) {
        return Find(item, kHtmlText) || Find(item, kRtfText);
    };
    const TItemValue* const kept = Of(kPlainText);
    const TItemValue* const other = Find(duplicate, kPlainText);
    const bool isSameText = kept && other && Bare(kept->elements[0]) == Bare(other->elements[0]);
    if (!kept && !hasFormatted(m_state)) {
        loss.merge = EMerge::Copy;
    } else if (loss.id != kPlainText) {
        if (!Of(loss.id) && isSameText)
            loss.merge = EMerge::Copy;
        else
            Conflict(loss, "formatted text cannot be joined", false);
    } else if (kept && other && Bare(kept->elements[0]).find(Bare(other->elements[0])) != std::string::npos) {
        Held(loss, kThere);
    } else if (!kept || hasFormatted(m_state) || hasFormatted(duplicate)) {
        Conflict(loss, "formatted text cannot be joined", false);
    } else {
        loss.merge = EMerge::Join;
    }
    return true;
}

// A number or an address whose own place is taken.
bool CMerge::SettlePlace(const TItemValue& value, TLoss& loss) {
    const TPlaces* const places = PlacesOf(loss.id);
    if (!places) return false;
    const std::string& text = value.elements.front();
    for (const std::string& place : PlacesOfKind(*places)) {
        if (HasText(Of(place), text, places->method)) {
            Held(loss, kThere);
            return true;
        }
    }
    for (const std::string& place : places->places) {
        if (Of(place) || IsNamed(place)) continue;
        loss.merge = place == loss.id ? EMerge::Copy : EMerge::Slot;
        if (place == loss.id) return true;
        loss.into = place;
        loss.note = m_reader.bookkeeping().Name(m_definitions.kind, place);
        return true;
    }
    Conflict(loss, "no place of its kind is free", true);
    return true;
}

bool CMerge::SettleList(const TItemValues& duplicate, TLoss& loss) {
    const TItemValue& value = *Find(duplicate, loss.id);
    if ((value.type & MV_FLAG) == 0) return false;
    const auto count = [](const TItemValue* list) { return list ? list->elements.size() : 0; };
    const bool isMembers = loss.id == kMembers || loss.id == kMemberNames;
    const bool isParallel = count(Of(kMembers)) == count(Of(kMemberNames)) &&
                            count(Find(duplicate, kMembers)) == count(Find(duplicate, kMemberNames));
    if (isMembers && (!isParallel || Of(kMemberStream) || Find(duplicate, kMemberStream))) {
        Conflict(loss, "the members and their names do not go together", false);
    } else if (loss.id == kMemberNames) {
        // They go with the members, or one is another name of a member that is there.
        const std::vector<std::string>& members = Find(duplicate, kMembers)->elements;
        loss.merge = EMerge::Unite;
        for (size_t i = 0; i < members.size(); ++i) {
            const TItemValue name{value.type, {value.elements[i]}};
            if (Missing(Of(kMembers), {value.type, {members[i]}}).elements.empty() &&
                !Missing(Of(kMemberNames), name).elements.empty()) {
                Conflict(loss, kTwoValues, false);
            }
        }
    } else if (value.type == PT_MV_BINARY) {
        loss.merge = EMerge::Unite;
    } else if (value.type == PT_MV_UNICODE) {
        const TItemValue missing = Missing(Of(loss.id), value);
        const bool isHeld = std::ranges::all_of(
            missing.elements, [&](const std::string& one) { return HasText(Of(loss.id), one, cmExact); });
        loss.merge = EMerge::Unite;
        if (isHeld) Held(loss, kThere);
    } else {
        return false;
    }
    return true;
}

bool CMerge::SettleState(const TItemValue& value, TLoss& loss) const {
    if (m_reader.bookkeeping().Meaningful(loss.id) != kAllBits) {
        loss.merge = EMerge::Mark;
        return true;
    }
    const TRanked* const ranked = RankedStates(loss.id);
    if (!ranked) return false;
    const auto own = std::ranges::find(ranked->states, Of(loss.id)->elements[0]);
    const auto other = std::ranges::find(ranked->states, value.elements[0]);
    if (own == ranked->states.end() || other == ranked->states.end()) return false;
    const bool isHigher = other < own;
    loss.merge = EMerge::Copy;
    if (!isHigher) Held(loss, "the kept state counts more");
    return true;
}

bool CMerge::DoTheyAgree(const TTogether& together, const TItemValues& duplicate) const {
    return std::ranges::all_of(together.properties, [&](const std::string& name) {
        const TItemValue* const kept = Of(name);
        const TItemValue* const other = Find(duplicate, name);
        return !kept || !other || Missing(kept, *other).elements.empty();
    });
}

void CMerge::SettleValue(const TItemValues& duplicate, TLoss& loss) {
    const TItemValue* const value = Find(duplicate, loss.id);
    if (!value) return Conflict(loss, "it cannot be read", false);
    const TItemValue* const kept = Of(loss.id);
    if (const char* const why = WhyNever(m_definitions.kind, loss.id)) return Conflict(loss, why, false);
    if (kept && Missing(kept, *value).elements.empty()) return Held(loss, kThere);
    if (SettleText(duplicate, loss) || SettlePlace(*value, loss)) return;
    if (const TTogether* const together = TogetherWith(loss.id);
        together && !DoTheyAgree(*together, duplicate)) {
        return Conflict(loss, kept ? kTwoValues : together->why, true);
    }
    if (SettleList(duplicate, loss)) return;
    if (kept && SettleState(*value, loss)) return;
    loss.merge = m_reader.bookkeeping().Meaningful(loss.id) != kAllBits ? EMerge::Mark : EMerge::Copy;
    if (kept) Conflict(loss, kTwoValues, true);
}

void CMerge::Settle(const TMergeCopy& copy, size_t row, TLoss& loss) {
    loss.into.clear();
    loss.note.clear();
    loss.isReplaceable = false;
    if (loss.id == "recipients")
        Conflict(loss, "who an item went to is its sender's", false);
    else if (loss.id.starts_with("attachment-"))
        Conflict(loss, "of an attachment that is there already", false);
    else if (loss.id.starts_with("attachment:") || loss.id.starts_with("photo:"))
        SettleAttachment(row, loss);
    else
        SettleValue(*copy.values, loss);
    if (loss.merge == EMerge::Copy) loss.note = Replaced(*copy.values, loss);
}

// What else of the kept copy goes when a value takes its place: "; it replaces Flag completed, 2024-03-04 08:15 UTC".
std::string CMerge::Replaced(const TItemValues& duplicate, const TLoss& loss) const {
    std::string text;
    for (const std::string& name : Companions(loss.id)) {
        const TItemValue* const kept = Of(name);
        if (!kept || Missing(Find(duplicate, name), *kept).elements.empty()) continue;
        text += (text.empty() ? "; it replaces " : ", ") +
                OneLine(m_reader.bookkeeping().Name(m_definitions.kind, name)) + ", " +
                ShownValue(*kept, false);
    }
    return text;
}

// What the kept copy holds once this has gone into it.
void CMerge::Take(const TItemValues& duplicate, size_t row, const TLoss& loss) {
    const TItemValue* const value = Find(duplicate, loss.id);
    const TItemValue* const kept = Of(loss.id);
    if (loss.merge == EMerge::Conflict && kept) m_displaced.emplace_back(loss.id, *kept);
    switch (loss.merge == EMerge::Conflict ? EMerge::Copy : loss.merge) {
        case EMerge::Copy:
            m_state.values[loss.id] = *value;
            for (const std::string& name : Companions(loss.id)) {
                m_state.values.erase(name);
                if (const TItemValue* const with = Find(duplicate, name)) m_state.values[name] = *with;
            }
            break;
        case EMerge::Slot:
            m_state.values[loss.into] = *value;
            break;
        case EMerge::Unite:
        case EMerge::Mark:
            Unite(duplicate, loss.id);
            break;
        case EMerge::Join: {
            std::string& text = m_state.values[loss.id].elements[0];
            text = JoinTexts(text, value->elements[0]);
            break;
        }
        case EMerge::Attach:
        case EMerge::Photo:
            for (TSharedAttachment& one : m_shared) {
                if (one.isPhoto == (loss.merge == EMerge::Photo) && one.numbers[row] == NumberOf(loss))
                    one.numbers[0] = NumberOf(loss);
            }
            break;
        case EMerge::Held:
        case EMerge::Conflict:
            break;
    }
}

void CMerge::Unite(const TItemValues& duplicate, const std::string& name) {
    if (name == kMemberNames) return;  // with the members
    const TItemValue& value = *Find(duplicate, name);
    TItemValue& list = m_state.values[name];
    list.type = value.type;
    for (size_t i = 0; i < value.elements.size(); ++i) {
        const std::string& one = value.elements[i];
        if (std::ranges::find(list.elements, one) != list.elements.end()) continue;
        if (value.type == PT_MV_UNICODE && HasText(&list, one, cmExact)) continue;
        list.elements.push_back(one);
        const TItemValue* const names = name == kMembers ? Find(duplicate, kMemberNames) : nullptr;
        if (names) m_state.values[kMemberNames].elements.push_back(names->elements[i]);
    }
}

void CMerge::Settle(const TMergeCopy& copy, size_t row, bool allowLoss) {
    TItemValues before = m_state;
    std::vector<TSharedAttachment> attachmentsBefore = m_shared;
    const size_t displacedBefore = m_displaced.size();
    // What one value brings, the next one of the same copy meets: two numbers do not go to one place. A conflict may be
    // none once the others are in.
    for (int turn = 0; turn < 2; ++turn) {
        for (TLoss& loss : *copy.losses) {
            if (turn != 0 && (loss.merge != EMerge::Conflict || IsTaken(loss))) continue;
            Settle(copy, row, loss);
            if (IsTaken(loss)) Take(*copy.values, row, loss);
        }
    }
    if (copy.mayMove && IsMergeable(*copy.losses, allowLoss)) return;
    m_state = std::move(before);
    m_shared = std::move(attachmentsBefore);
    m_displaced.resize(displacedBefore);
}

bool CMerge::IsDisplaced(const TPlaces& places, const std::string& text) const {
    const auto isIt = [&](const auto& one) {
        const TPlaces* const own = PlacesOf(one.first);
        return own && own->isEmail == places.isEmail && HasText(&one.second, text, places.method);
    };
    return std::ranges::any_of(m_displaced, isIt) &&
           std::ranges::none_of(PlacesOfKind(places), [&](const std::string& place) {
               return HasText(Of(place), text, places.method);
           });
}

// A number or an address that the copy has in whatever place.
void CMerge::SettleDisplacedPlaces(const TMergeCopy& copy, size_t row) {
    for (const auto& [name, value] : copy.values->values) {
        const TPlaces* const places = PlacesOf(name);
        if (!places || value.elements.empty() || !IsDisplaced(*places, value.elements.front())) continue;
        auto loss = std::ranges::find(*copy.losses, name, &TLoss::id);
        // Somebody was asked about it.
        if (loss != copy.losses->end() &&
            (loss->choice == EChoice::Kept ||
             (loss->merge == EMerge::Conflict && loss->choice == EChoice::None))) {
            continue;
        }
        if (loss == copy.losses->end()) {
            const TItemValue* const kept = Of(name);
            copy.losses->push_back({m_reader.bookkeeping().Name(m_definitions.kind, name),
                                    ShownValue(value, false), kept ? ShownValue(*kept, false) : std::string(),
                                    name});
            loss = std::prev(copy.losses->end());
        }
        loss->choice = EChoice::None;  // of two copies the one was chosen and the other
        Settle(copy, row, *loss);
        if (IsTaken(*loss)) Take(*copy.values, row, *loss);
    }
}

void CMerge::SettleDisplaced(const TMergeCopy& copy, size_t row) {
    SettleDisplacedPlaces(copy, row);
    // What this one, or another one with the same value, had brought.
    for (TLoss& loss : *copy.losses) {
        const TItemValue* const value = Find(*copy.values, loss.id);
        const bool isDisplaced =
            std::ranges::any_of(m_displaced, [&](const auto& one) { return one.first == loss.id; });
        if (!isDisplaced || !value || PlacesOf(loss.id) || loss.choice == EChoice::Kept ||
            Missing(Of(loss.id), *value).elements.empty()) {
            continue;
        }
        loss.choice = EChoice::None;
        Conflict(loss, kTwoValues, true);
    }
}

}  // namespace

std::string ConflictId(const TLoss& loss) {
    return loss.id.starts_with("photo:") ? "photo" : loss.id;
}

int NumberOf(const TLoss& loss) {
    return std::stoi(loss.id.substr(loss.id.find(':') + 1));
}

bool IsTaken(const TLoss& loss) {
    if (loss.merge == EMerge::Conflict) return loss.choice == EChoice::Duplicate && loss.isReplaceable;
    return loss.merge != EMerge::Held && loss.choice != EChoice::Kept;
}

std::string JoinTexts(const std::string& kept, const std::string& other) {
    const std::string first = Bare(kept);
    const std::string second = Bare(other);
    if (first.find(second) != std::string::npos) return kept;
    if (second.find(first) != std::string::npos) return other;
    return kept.substr(0, kept.find_last_not_of(" \t\r\n") + 1) + "\r\n--------\r\n" + other;
}

bool IsMergeable(const std::vector<TLoss>& losses, bool allowLoss) {
    return allowLoss || std::ranges::all_of(losses, IsSettled);
}

void PlanMerge(CItemReader& reader, const TDefinitions& definitions, const TItem& keptItem,
               const TItemValues& kept, const std::vector<TMergeCopy>& copies, bool allowLoss) {
    const auto isAttachment = [](const TLoss& loss) {
        return loss.id.starts_with("attachment:") || loss.id.starts_with("photo:");
    };
    std::vector<TItem> items{keptItem};
    bool hasAttachments = false;
    for (const TMergeCopy& copy : copies) {
        items.push_back(*copy.item);
        hasAttachments = hasAttachments || std::ranges::any_of(*copy.losses, isAttachment);
    }
    std::vector<TSharedAttachment> shared;
    if (hasAttachments) shared = SharedAttachments(reader.session(), reader.catalog(), items);
    // A copy that stays for what a choice displaced brings nothing: then the others are settled without it.
    std::vector<TMergeCopy> going = copies;
    std::map<size_t, std::vector<TLoss>> staying;
    for (bool isSettled = false; !isSettled;) {
        isSettled = true;
        CMerge merge(reader, definitions, kept);
        merge.Attachments(shared);
        for (size_t i = 0; i < going.size(); ++i) {
            if (!going[i].losses->empty()) merge.Settle(going[i], i + 1, allowLoss);
        }
        for (size_t i = 0; i < going.size(); ++i) {
            if (!going[i].mayMove || !IsMergeable(*going[i].losses, allowLoss)) continue;
            merge.SettleDisplaced(going[i], i + 1);
            if (IsMergeable(*going[i].losses, allowLoss)) continue;
            staying[i] = *going[i].losses;
            going[i].mayMove = false;
            isSettled = false;
        }
    }
    for (auto& [i, losses] : staying) *copies[i].losses = std::move(losses);
}

void PlanMergeOfTwo(CItemReader& reader, const TDefinitions& definitions, const TItem& keptItem,
                    const TItemValues& kept, const TItem& item, const TItemValues& values,
                    std::vector<TLoss>& losses) {
    PlanMerge(reader, definitions, keptItem, kept, {{&item, &values, &losses, true}}, false);
}

}  // namespace host
