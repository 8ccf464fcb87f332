#include "host/plan.h"

#include <iterator>
#include <set>

#include "host/text.h"

namespace host {

namespace {
constexpr const char* kFates[] = {"move", "loss", "protected"};
}  // namespace

const char* FateName(EFate fate) {
    return kFates[static_cast<size_t>(fate)];
}

EFate FateOf(const std::string& name) {
    for (size_t i = 0; i < std::size(kFates); ++i) {
        if (name == kFates[i]) return static_cast<EFate>(i);
    }
    throw Failure("\"" + name + "\" is nothing that becomes of a duplicate.");
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
