#include "host/similar_command.h"

#include <algorithm>
#include <map>
#include <memory>

#include "host/text.h"
#include "quorvel.h"

namespace host {

namespace {

struct SimilarDeleter {
    using pointer = HSimilarSearch;
    void operator()(HSimilarSearch search) const { SimilarSearch_Delete(search); }
};
using SimilarSearch = std::unique_ptr<HSimilarSearch, SimilarDeleter>;

/// Ctrl-C is looked for after so many comparisons.
constexpr size_t kComparedAtOnce = 4096;

const std::string& StoreId(const SimilarResult& result, const Item& item) {
    return result.catalog.stores[result.catalog.folders[item.folder].store].entryId;
}

ComPtr<IMessage> OpenContact(IMAPISession* session, const SimilarResult& result, size_t contact) {
    const Item& item = result.contacts[contact];
    ComPtr<IMessage> message;
    if (Quorvel_OpenItem(session, item.entryId.c_str(), StoreId(result, item).c_str(),
                         message.GetAddressOf()) != S_OK)
        return {};
    return message;
}

std::vector<size_t> ChooseContacts(const SimilarResult& result, const std::string& contact) {
    std::vector<size_t> chosen;
    std::vector<std::string> names;
    for (size_t i = 0; i < result.contacts.size(); ++i) {
        const Item& item = result.contacts[i];
        names.push_back(item.title);
        if (contact.empty() || EqualNoCase(item.title, contact) || EqualNoCase(item.entryId, contact) ||
            EqualNoCase(Place(result.catalog, item), contact)) {
            chosen.push_back(i);
        }
    }
    if (chosen.empty() && !contact.empty()) {
        throw Failure("There is no contact \"" + contact + "\"." + Suggestion(contact, names));
    }
    return chosen;
}

void ReadContacts(IMAPISession* session, const SimilarOptions& options, SimilarResult& result) {
    result.catalog = ReadCatalog(session);
    std::vector<size_t> chosen;
    for (const std::string& path : options.folders) {
        for (const size_t folder : FindFolders(result.catalog, path)) chosen.push_back(folder);
    }
    for (size_t i = 0; i < result.catalog.folders.size(); ++i) {
        const bool isChosen =
            options.folders.empty() || std::find(chosen.begin(), chosen.end(), i) != chosen.end();
        if (isChosen && result.catalog.folders[i].kind == Kind::Contact)
            ReadItems(session, result.catalog, i, result.contacts);
    }
    result.filled.assign(result.contacts.size(), 0);
}

/// Holds contacts against each other.
class CComparing {
  public:
    // One search for each store: the search reopens contacts in the store that it was created for.
    CComparing(IMAPISession* session, const std::string& storeId, SimilarResult& result)
        : m_session(session),
          m_result(result),
          m_isLeftOut(result.contacts.size()),
          m_search(SimilarSearch_Create(session, storeId.c_str(), 0)) {
        if (!m_search) throw Failure("The similar-contact search cannot be created.");
    }

    void Read(Progress& progress) {
        std::set<std::string> identifiers;
        for (size_t i = 0; i < m_result.contacts.size(); ++i) {
            std::vector<size_t>* leftOut = nullptr;
            if (!identifiers.insert(m_result.contacts[i].entryId).second) {
                leftOut = &m_result.sameIdentifier;
            } else {
                const ComPtr<IMessage> message = OpenContact(m_session, m_result, i);
                if (!message || !SimilarSearch_AddToCache(m_search.get(), message.Get()))
                    leftOut = &m_result.unreadable;
            }
            if (leftOut) leftOut->push_back(i);
            m_isLeftOut[i] = leftOut != nullptr;
            progress("contacts read", i + 1, m_result.contacts.size());
            StopIfInterrupted();
        }
    }

    bool IsLeftOut(size_t contact) const { return m_isLeftOut[contact]; }

    bool SearchBy(uint32_t contact) {
        m_searchBy = kNobody;
        const ComPtr<IMessage> message = OpenContact(m_session, m_result, contact);
        if (!message ||
            !SimilarSearch_SetSearchByItem(m_search.get(), message.Get(), &m_result.filled[contact]))
            return false;
        m_searchBy = contact;
        return true;
    }

    /// The verdict; texts, when given, receive the library's words.
    unsigned Check(uint32_t contact, const wchar_t** explanation = nullptr,
                   const wchar_t** fields = nullptr) {
        unsigned verdict = 0, filled = 0;
        if (!SimilarSearch_CheckItemFastW(m_search.get(), m_result.contacts[contact].entryId.c_str(),
                                          &verdict, &filled, explanation, fields))
            return 0;
        if (verdict != 0) m_result.filled[contact] = filled;
        return verdict;
    }

    bool AreRelated(uint32_t a, uint32_t b) {
        if (m_searchBy != a && !SearchBy(a)) return false;
        return Check(b) != 0;
    }

  private:
    static constexpr uint32_t kNobody = ~0u;

    IMAPISession* m_session;
    SimilarResult& m_result;
    std::vector<bool> m_isLeftOut;
    SimilarSearch m_search;
    uint32_t m_searchBy = kNobody;
};

/// The reasons that turned up, each once.
class CReasons {
  public:
    explicit CReasons(std::vector<TReason>& reasons) : m_reasons(reasons) {}

    uint32_t Find(bool isStrict, const wchar_t* explanation, const wchar_t* fields) {
        const auto [known, isNew] =
            m_byText.try_emplace(explanation, static_cast<uint32_t>(m_reasons.size()));
        if (isNew) {
            TReason reason{isStrict, Narrow(fields), Narrow(explanation), 0};
            reason.strength = StrengthOf(reason.fields, reason.explanation);
            m_reasons.push_back(std::move(reason));
        }
        return known->second;
    }

  private:
    std::vector<TReason>& m_reasons;
    std::map<std::wstring, uint32_t> m_byText;
};

/// Compares until all is done or Ctrl-C is pressed.
CResembling Compare(CComparing& comparing, const SimilarOptions& options, const std::vector<size_t>& chosen,
                    SimilarResult& result, Progress& progress) {
    const size_t count = result.contacts.size();
    const bool isOne = !options.contact.empty();
    for (const size_t a : chosen) result.toCompare += isOne ? count - 1 : count - 1 - a;
    CResembling resembling;
    CReasons reasons(result.reasons);
    for (const size_t a : chosen) {
        const auto one = static_cast<uint32_t>(a);
        const size_t begin = isOne ? 0 : a + 1;
        if (!comparing.IsLeftOut(a) && comparing.SearchBy(one)) {
            for (size_t b = begin; b < count; ++b) {
                if (b % kComparedAtOnce == 0) {
                    progress("pairs compared", static_cast<size_t>(result.compared + b - begin),
                             static_cast<size_t>(result.toCompare));
                    if (Interrupted()) break;
                }
                if (b == a || comparing.IsLeftOut(b)) continue;
                const wchar_t *explanation = nullptr, *fields = nullptr;
                const auto other = static_cast<uint32_t>(b);
                const unsigned verdict = comparing.Check(other, &explanation, &fields);
                if (verdict == 0) continue;
                if (result.notSame.contains(std::minmax(one, other))) {
                    ++result.notSamePairs;
                    continue;
                }
                const bool isStrict = verdict == 2;
                const TSimilarPair pair{one, other, reasons.Find(isStrict, explanation, fields)};
                ++(isStrict ? result.strictPairs : result.similarPairs);
                if (isStrict || options.pairs)
                    result.pairs.push_back(pair);
                else
                    resembling.Add(pair, result.reasons[pair.reason], count);
            }
        }
        result.isInterrupted = Interrupted();
        if (result.isInterrupted) break;
        result.compared += isOne ? count - 1 : count - 1 - a;
        progress("pairs compared", static_cast<size_t>(result.compared),
                 static_cast<size_t>(result.toCompare));
    }
    return resembling;
}

}  // namespace

SimilarResult FindSimilar(IMAPISession* session, const SimilarOptions& options, Progress& progress) {
    SimilarResult result;
    ReadContacts(session, options, result);
    if (!options.notSame.empty()) ReadNotSame(options.notSame, &result);
    const std::vector<size_t> chosen = ChooseContacts(result, options.contact);
    if (chosen.empty()) return result;
    CComparing comparing(session, StoreId(result, result.contacts[chosen[0]]), result);
    comparing.Read(progress);
    const CResembling resembling = Compare(comparing, options, chosen, result, progress);
    if (options.pairs) return result;
    progress("clusters formed");
    const size_t count = result.contacts.size();
    result.clusters =
        BuildClusters(count, result.pairs, result.reasons, result.notSame,
                      [&comparing](uint32_t a, uint32_t b) { return comparing.AreRelated(a, b); });
    result.resembling = resembling.Lists();
    result.others = AttachResembling(count, result.resembling, &result.clusters);
    return result;
}

uint32_t MostFilled(const SimilarResult& result, const TCluster& cluster) {
    return *std::max_element(cluster.contacts.begin(), cluster.contacts.end(),
                             [&](uint32_t a, uint32_t b) { return result.filled[a] < result.filled[b]; });
}

std::string NotSameLine(const SimilarResult& result, const TCluster& cluster) {
    std::string line;
    for (const uint32_t contact : cluster.contacts)
        line += (line.empty() ? "" : " <> ") + result.contacts[contact].entryId;
    return line;
}

std::string NameOf(const SimilarResult& result, uint32_t contact) {
    const std::string& title = result.contacts[contact].title;
    return title.empty() ? "(no name)" : OneLine(title);
}

std::string CutText(const SimilarResult& result, const TCut& cut) {
    const auto named = [&](uint32_t contact) {
        return NameOf(result, contact) + " (" + Place(result.catalog, result.contacts[contact]) + ")";
    };
    const bool isSaid = result.notSame.contains(std::minmax(cut.strangers[0], cut.strangers[1]));
    return named(cut.pair.a) + " and " + named(cut.pair.b) + " agree by " +
           result.reasons[cut.pair.reason].fields + ", but " + named(cut.strangers[0]) + " and " +
           named(cut.strangers[1]) + (isSaid ? " are not the same" : " share nothing");
}

}  // namespace host
