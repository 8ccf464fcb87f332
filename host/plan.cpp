#include "host/plan.h"

#include <iterator>
#include <set>

#include "host/text.h"

namespace host {

namespace {
constexpr const char* kFates[] = {"move", "loss", "protected"};
constexpr const char* kChoices[] = {"", "kept", "duplicate"};

// By EMerge: the name in reports, and what is done for people. What is left says why.
constexpr struct {
    const char* name;
    const char* text;
} kMerges[] = {
    {"copy", "copies it"},
    {"slot", "puts it to "},
    {"unite", "adds it to the list"},
    {"join", "writes it below the kept one"},
    {"mark", "sets it"},
    {"attach", "copies it"},
    {"photo", "copies it"},
    {"held", "leaves it: "},
    {"conflict", "leaves it: "},
};
}  // namespace

const char* FateName(EFate fate) {
    return kFates[static_cast<size_t>(fate)];
}

EFate FateOf(const std::string& name) {
    for (size_t i = 0; i < std::size(kFates); ++i) {
        if (name == kFates[i]) return static_cast<EFate>(i);
    }
    throw TFailure("\"" + name + "\" is nothing that becomes of a duplicate.");
}

const char* MergeName(EMerge merge) {
    return kMerges[static_cast<size_t>(merge)].name;
}

const char* ChoiceName(EChoice choice) {
    return kChoices[static_cast<size_t>(choice)];
}

EChoice ChoiceOf(const std::string& name) {
    for (size_t i = 1; i < std::size(kChoices); ++i) {
        if (name == kChoices[i]) return static_cast<EChoice>(i);
    }
    throw TFailure("\"" + name + "\" is no choice: kept or duplicate.");
}

bool IsSettled(const TLoss& loss) {
    if (loss.merge != EMerge::Conflict) return true;
    return loss.choice == EChoice::Kept || (loss.choice == EChoice::Duplicate && loss.isReplaceable);
}

std::string MergeText(const TLoss& loss) {
    if (loss.choice == EChoice::Kept && loss.merge != EMerge::Held) return "merging leaves it, as chosen";
    if (loss.merge == EMerge::Conflict && IsSettled(loss))
        return "merging puts it in the place of the kept one, as chosen";
    return std::string("merging ") + kMerges[static_cast<size_t>(loss.merge)].text + loss.note;
}

std::string MergesText(const std::vector<TLoss>& losses) {
    std::string text;
    for (const TLoss& loss : losses)
        text += (text.empty() ? "" : "; ") + loss.property + ": " + MergeText(loss);
    return text;
}

std::string WhyItStays(EFate fate, const std::vector<TLoss>& losses) {
    if (fate == EFate::Protected) return "is in a protected folder";
    if (fate != EFate::Loss) return {};
    std::string names;
    std::set<std::string> said;  // several attachments are one thing to say
    for (const TLoss& loss : losses) {
        if (said.insert(loss.property).second) names += (names.empty() ? "" : ", ") + loss.property;
    }
    return "holds what the kept copy lacks: " + names;
}

}  // namespace host
